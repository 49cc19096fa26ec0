// What the promise gives, or undefined when that takes longer.
export async function within(milliseconds, promise) {
  let timer;
  const patience = new Promise((resolve) => {
    timer = setTimeout(resolve, milliseconds);
  });
  try {
    return await Promise.race([promise, patience]);
  } finally {
    clearTimeout(timer);
  }
}
