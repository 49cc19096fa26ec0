// Orders something in a form, reads what came of it, then reads a table. For a real browser: peers/browsers/MACROS.md
// has the helpers. The host sets the variables "site", "customer" and "city".
await measure('order', async () => {
  await open(`${variables.site}/form`);
  await fill('#customer', variables.customer);
  await fill('#city', variables.city);
  await choose('#size', 'medium');
  await fill('#count', 3);
  await follow('#send');
});
for (const field of ['#greeting', '#destination', '#total']) {
  await extract(field);
}
await measure('table', async () => {
  await open(`${variables.site}/table?rows=12`);
  await extractTable('#names');
});
status('Ordered, and read 12 rows');
