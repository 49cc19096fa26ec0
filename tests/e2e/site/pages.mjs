// What the site answers, as text. Pure but for the slow resource, so that a test can ask for what a browser was given.
import { kColumns, tableRows } from './table_data.mjs';

const kStyle = `
  body { font: 16px/1.5 sans-serif; margin: 2em; color: #222; background: #fff; }
  header { background: #0a6b3d; color: #fff; margin: -2em -2em 2em; padding: 1em 2em; }
  label { display: block; margin: .6em 0; } input, select { font: inherit; margin-left: 1em; }
  table { border-collapse: collapse; } td, th { border: 1px solid #bbb; padding: 2px 10px; text-align: start; }`;

function escapeHtml(text) {
  return String(text).replace(/[&<>"]/g, (c) => ({ '&': '&amp;', '<': '&lt;', '>': '&gt;', '"': '&quot;' })[c]);
}

function page(title, body, status = 200) {
  return {
    status,
    type: 'text/html',
    body: `<!doctype html><html lang="en"><head><meta charset="utf-8"><title>${escapeHtml(title)}</title>` +
      `<link rel="icon" href="data:,"><style>${kStyle}</style></head>` +
      `<body><header>${escapeHtml(title)}</header>${body}</body></html>`,
  };
}

function home() {
  const links = ['form', 'table', 'slow', 'throws', 'throws-on-click', 'dialog']
    .map((name) => `<li><a id="${name}" href="/${name}">${name}</a></li>`);
  return page('A small site', `<ul>${links.join('')}</ul>`);
}

const kPrices = { small: 10, medium: 25, large: 40 };

function form() {
  return page('Order form', `
    <form method="post" action="/order">
      <label>Customer <input id="customer" name="customer" required></label>
      <label>City <input id="city" name="city"></label>
      <label>Size <select id="size" name="size"><option>small</option><option>medium</option><option>large</option>
      </select></label>
      <label>Count <input id="count" name="count" type="number" value="1" min="1"></label>
      <button id="send">Send</button>
    </form>`);
}

// The total and the checksum depend on every field, so a field that arrived damaged shows.
export function orderResult(fields) {
  const count = Number(fields.get('count'));
  const price = kPrices[fields.get('size')];
  if (!fields.get('customer') || !price || !Number.isInteger(count) || count < 1) {
    return undefined;
  }
  const text = ['customer', 'city', 'size', 'count'].map((name) => fields.get(name)).join('|');
  const checksum = [...text].reduce((sum, c) => (sum * 31 + c.codePointAt(0)) % 1000003, 7);
  return { total: price * count, checksum };
}

function order(fields) {
  const result = orderResult(fields);
  if (!result) {
    return page('Order refused', '<p id="refused">The order is not complete.</p>', 400);
  }
  return page('Order taken', `
    <p id="greeting">Welcome, ${escapeHtml(fields.get('customer'))}</p>
    <p id="destination">On its way to ${escapeHtml(fields.get('city') || 'nowhere')}</p>
    <p>Total: <span id="total">${result.total}</span></p>
    <p>Checksum: <span id="checksum">${result.checksum}</span></p>`);
}

function table(query) {
  const rows = tableRows(Number(query.get('rows') ?? 1000));
  const line = (cells) =>
    `<tr>${cells.map((cell, i) => `<td class="${kColumns[i]}">${escapeHtml(cell)}</td>`).join('')}</tr>`;
  return page('Names in many scripts', `
    <table id="names"><thead><tr>${kColumns.map((name) => `<th>${name}</th>`).join('')}</tr></thead>
    <tbody>${rows.map(line).join('\n')}</tbody></table>`);
}

async function slow(query) {
  const seconds = Math.min(Number(query.get('seconds') ?? 1), 120);
  await new Promise((resolve) => setTimeout(resolve, seconds * 1000));
  return page('Slow page', `<p id="waited">${seconds}</p>`);
}

function throws() {
  return page('Throws while loading', `<p id="text">This page throws.</p>
    <script>throw new Error('broken while loading');</script>`);
}

function throwsOnClick() {
  return page('Throws on a click', `<button id="break">Break</button><p id="text">Not yet.</p>
    <script>
      document.getElementById('break').addEventListener('click', () => {
        document.getElementById('text').textContent = 'Clicked.';
        throw new Error('broken by a click');
      });
    </script>`);
}

function dialog() {
  return page('Asks', `<button id="alert">Alert</button> <button id="ask">Ask</button>
    <button id="prompt">Prompt</button><p id="answer">none</p>
    <script>
      const answer = document.getElementById('answer');
      document.getElementById('alert').onclick = () => { alert('Look here'); answer.textContent = 'seen'; };
      document.getElementById('ask').onclick = () => { answer.textContent = confirm('Are you sure?') ? 'yes' : 'no'; };
      document.getElementById('prompt').onclick = () => { answer.textContent = prompt('Your name?') ?? 'nobody'; };
    </script>`);
}

export async function pageFor(path, fields, method = 'GET') {
  const pages = { '/': home, '/form': form, '/table': table, '/slow': slow, '/throws': throws,
    '/throws-on-click': throwsOnClick, '/dialog': dialog };
  if (path === '/order' && method === 'POST') {
    return order(fields);
  }
  if (path === '/table.txt') {
    const rows = tableRows(Number(fields.get('rows') ?? 1000));
    return { status: 200, type: 'text/plain', body: rows.map((row) => `${row.join('\t')}\n`).join('') };
  }
  return pages[path] ? pages[path](fields) : page('No such page', `<p>${escapeHtml(path)}</p>`, 404);
}
