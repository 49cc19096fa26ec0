// The page in Chromium: drawn from reports that kx_report_sample writes, used with mouse and keys, by day and by night, on a
// phone and on paper. KX_REPORT_SAMPLE is that program; KX_CHROME another browser than chromium.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { pathToFileURL } from 'node:url';

const packages = createRequire(new URL('../../../peers/browsers/package.json', import.meta.url));
const { default: puppeteer } = await import(pathToFileURL(packages.resolve('puppeteer-core')));

// One point, red.
const PICTURE = 'iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAIAAACQd1PeAAAADElEQVR4nGP4z8AAAAMBAQDJ/pLvAAAAAElFTkSuQmCC';

let folder;
let browser;

before(async () => {
  folder = mkdtempSync(join(tmpdir(), 'kx-report-'));
  writeFileSync(join(folder, 'picture.png'), Buffer.from(PICTURE, 'base64'));
  browser = await puppeteer.launch({
    executablePath: execFileSync('sh', ['-c', `command -v "${process.env.KX_CHROME ?? 'chromium'}"`], { encoding: 'utf8' }).trim(),
    userDataDir: join(folder, 'data'),
    args: process.getuid() === 0 ? ['--no-sandbox'] : [],
  });
});

after(async () => {
  await browser?.close();
  rmSync(folder, { recursive: true, force: true, maxRetries: 10 });
});

// The page of a report, open, with all that went wrong on the way.
async function opened(runs, contexts, { width = 1280, scheme = 'light', change = (html) => html } = {}) {
  const file = join(folder, `${runs}-${contexts}.html`);
  execFileSync(process.env.KX_REPORT_SAMPLE, [String(runs), String(contexts), file, join(folder, 'picture.png')]);
  writeFileSync(file, change(readFileSync(file, 'utf8')));
  const page = await browser.newPage();
  const wrong = [];
  page.on('pageerror', (error) => wrong.push(error.message));
  page.on('console', (message) => wrong.push(message.text()));
  page.on('request', (request) => { if (!/^(file|data):/.test(request.url())) wrong.push(`asked for ${request.url()}`); });
  await page.setViewport({ width, height: 900 });
  await page.emulateMediaFeatures([{ name: 'prefers-color-scheme', value: scheme }]);
  await page.goto(pathToFileURL(file).href);
  await page.waitForSelector('html[data-ready]');
  return { page, wrong };
}

function text(page, selector) {
  return page.$eval(selector, (element) => element.innerText);
}

// The texts of a column of the rows in view.
function column(page, table, number) {
  return page.$$eval(`${table} tbody tr:not(.spacer) td:nth-child(${number})`, (cells) => cells.map((cell) => cell.textContent));
}

test('it draws all its parts and asks nobody for anything', async () => {
  const { page, wrong } = await opened(200, 4);
  assert.deepEqual(await page.$$eval('main h2', (titles) => titles.map((title) => title.textContent)),
    ['What went wrong', 'Time line', 'Performance', 'Runs', 'Extracts', 'Pictures', 'What was run where']);
  assert.match(await text(page, '#tiles'), /192\s+ok\s+4\s+macro failed\s+4\s+not played/);
  assert.equal(await page.title(), '8 of 200 not ok – kx report');
  // Two figures and the runs themselves, each with a canvas; the time line has the fourth.
  assert.equal((await page.$$('canvas')).length, 4);
  assert.match(await text(page, '#performance .note'), /state \(196\)/);
  assert.match(await text(page, '#failures'), /4 runs: 7 57 107 157/);
  await page.waitForFunction(() => document.querySelector('#pictures img')?.naturalWidth === 1);
  assert.match(await page.$eval('footer details pre', (licence) => licence.textContent), /MIT/, 'the licence of the charts is in the page');
  assert.deepEqual(wrong, []);
  await page.close();
});

test('what a browser sent stays text, wherever it is shown', async () => {
  const { page, wrong } = await opened(60, 1);
  await page.type('#extracts input', 'taken over');
  const texts = await column(page, '#extracts', 3);
  assert.deepEqual([...new Set(texts)].sort(),
    ['</script><script>document.title = \'taken over\'</script>', '<img src=x onerror="document.title = \'taken over\'">']);
  await page.click('#extracts tbody tr:not(.spacer)');
  assert.match(await text(page, 'dialog'), /<img src=x onerror|<\/script><script>/);
  assert.doesNotMatch(await page.title(), /taken over/);
  assert.deepEqual(wrong, []);
  await page.close();
});

test('its policy keeps a script out that has come in all the same', async () => {
  const { page, wrong } = await opened(2, 1, {
    change: (html) => html.replace('<main>', '<main><script>document.body.dataset.taken = 1</script><img src=x onerror="document.body.dataset.taken = 1">'),
  });
  assert.equal(await page.$eval('body', (body) => body.dataset.taken), undefined);
  assert.ok(wrong.some((message) => message.includes('Content Security Policy')), wrong.join('\n'));
  await page.close();
});

test('tables sort, filter and choose', async () => {
  const { page } = await opened(200, 4);
  await page.click('#runs th:nth-child(3) button');
  const seconds = (await column(page, '#runs', 3)).map(Number);
  assert.deepEqual(seconds, [...seconds].sort((one, other) => one - other));
  assert.equal(await page.$eval('#runs th:nth-child(3)', (cell) => cell.getAttribute('aria-sort')), 'ascending');
  await page.click('#runs th:nth-child(3) button');
  assert.equal((await column(page, '#runs', 3))[0], '2.670');
  await page.click('#runs th:nth-child(3) button');
  assert.equal((await column(page, '#runs', 1))[0], '1');
  await page.type('#runs input', 'OK "customer 150"');
  assert.equal(await text(page, '#runs .count'), '1 of 200 rows');
  await page.$eval('#runs input', (input) => { input.value = ''; });
  await page.select('#runs select', '2');
  assert.deepEqual(await column(page, '#runs', 1), ['7', '57', '107', '157']);
  await page.close();
});

test('a short table has all its rows, and no more room than they need', async () => {
  const { page } = await opened(4, 1);
  assert.deepEqual(await column(page, '#runs', 1), ['1', '2', '3', '4']);
  assert.ok(await page.$eval('#runs .scroller', (scroller) => scroller.scrollHeight === scroller.clientHeight && scroller.clientHeight < 200));
  await page.close();
});

test('everything can be reached with keys', async () => {
  const { page } = await opened(200, 4);
  await page.focus('#runs .scroller');
  for (const key of ['ArrowDown', 'ArrowDown', 'PageDown', 'ArrowUp', 'Home', 'ArrowDown', 'Enter']) await page.keyboard.press(key);
  assert.match(await text(page, 'dialog'), /^Run 2\n/);
  await page.keyboard.press('ArrowRight');
  assert.match(await text(page, 'dialog'), /^Run 3\n/);
  await page.keyboard.press('Escape');
  assert.equal(await page.$eval('dialog', (dialog) => dialog.open), false);
  assert.equal(await page.evaluate(() => document.activeElement.className), 'scroller');
  await page.keyboard.press('End');
  assert.equal((await column(page, '#runs', 1)).at(-1), '200');

  await page.focus('.timeline canvas');
  await page.keyboard.press('ArrowRight');
  assert.match(await text(page, '.timeline .status'), /^Context 1, run 4: starting Firefox, profile work-1, 2\.10 s from 0\.00 s on$/);
  for (const key of ['ArrowDown', 'ArrowRight', '+', '+', '0']) await page.keyboard.press(key);
  assert.match(await text(page, '.timeline .status'), /^Context 2, run 1: playing order\.txt/);
  await page.keyboard.press('Enter');
  assert.match(await text(page, 'dialog'), /^Run 1\n/);
  await page.close();
});

test('a step on the time line opens its run', async () => {
  const { page } = await opened(20, 1);
  const box = await (await page.$('.timeline canvas')).boundingBox();
  await page.mouse.click(box.x + 44 + 10, box.y + 13);
  assert.match(await text(page, 'dialog'), /^Run 1\n/);
  await page.close();
});

test('one run is told of on the page itself', async () => {
  const { page, wrong } = await opened(1, 1);
  assert.match(await text(page, '#run'), /Variables[^]*Extracts[^]*Performance[^]*Picture[^]*Profiler data/);
  assert.equal((await page.$$('#performance .bars tr')).length, 3);
  assert.equal(await page.$('#runs'), null);
  assert.deepEqual(wrong, []);
  await page.close();
});

// Contrast as WCAG 2 defines it.
function contrast(one, other) {
  const luminance = (hex) => {
    const full = hex.length === 4 ? [...hex.slice(1)].map((digit) => digit + digit).join('') : hex.slice(1);
    const [red, green, blue] = [0, 2, 4].map((at) => parseInt(full.slice(at, at + 2), 16) / 255)
      .map((part) => (part <= 0.03928 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4));
    return 0.2126 * red + 0.7152 * green + 0.0722 * blue;
  };
  const [light, dark] = [luminance(one), luminance(other)].sort((first, second) => second - first);
  return (light + 0.05) / (dark + 0.05);
}

for (const scheme of ['light', 'dark']) {
  test(`texts and steps stand out from a ${scheme} page`, async () => {
    const { page } = await opened(2, 1, { scheme });
    const colours = await page.evaluate(() => {
      const style = getComputedStyle(document.documentElement);
      const names = ['paper', 'raised', 'ink', 'faint', 'link', 'good', 'bad', 'lost', 'stopped', 'start', 'play', 'message', 'picture', 'close'];
      return Object.fromEntries(names.map((name) => [name, style.getPropertyValue(`--${name}`).trim()]));
    });
    assert.equal(colours.paper === '#fff', scheme === 'light');
    for (const name of ['ink', 'faint', 'link', 'good', 'bad', 'lost', 'stopped']) {
      for (const ground of ['paper', 'raised']) {
        assert.ok(contrast(colours[name], colours[ground]) >= 4.5, `${name} on ${ground}`);
      }
    }
    for (const name of ['start', 'play', 'message', 'picture', 'close', 'bad']) {
      assert.ok(contrast(colours[name], colours.paper) >= 3, `${name} on paper`);
    }
    await page.close();
  });
}

test('on a phone nothing is wider than the screen', async () => {
  const { page } = await opened(200, 4, { width: 360 });
  const widths = await page.evaluate(() => [document.documentElement.scrollWidth, innerWidth]);
  assert.equal(widths[0], widths[1]);
  await page.focus('#runs .scroller');
  await page.keyboard.press('Enter');
  assert.ok(await page.$eval('dialog', (dialog) => dialog.getBoundingClientRect().width === innerWidth && dialog.scrollWidth <= innerWidth));
  await page.close();
});

test('paper is white, and has the rows that a screen scrolls to', async () => {
  const { page } = await opened(60, 4, { scheme: 'dark' });
  await page.evaluate(() => addEventListener('beforeprint', () => {
    window.printed = {
      runs: document.querySelectorAll('#runs tbody tr').length,
      paper: getComputedStyle(document.body).backgroundColor,
    };
  }));
  const pdf = await page.pdf({ format: 'A4' });
  assert.equal(Buffer.from(pdf.subarray(0, 5)).toString(), '%PDF-');
  assert.deepEqual(await page.evaluate(() => window.printed), { runs: 60, paper: 'rgb(255, 255, 255)' });
  await page.close();
});

test('paper has the first 1,000 rows, says so, and then all is as before', async () => {
  const { page } = await opened(1200, 4);
  const rows = () => page.$$eval('#runs tbody tr', (found) => found.length);
  await page.evaluate(() => dispatchEvent(new Event('beforeprint')));
  assert.equal(await rows(), 1000);
  assert.equal(await text(page, '#runs .note'), 'The first 1,000 of 1,200 rows. Filter the table to print others.');
  await page.evaluate(() => dispatchEvent(new Event('afterprint')));
  assert.ok(await rows() < 100);
  assert.equal(await text(page, '#runs .note'), '');
  await page.close();
});

test('10,000 runs are there, and a few of them as elements', async (context) => {
  const begin = performance.now();
  const { page, wrong } = await opened(10000, 8);
  const loaded = performance.now();
  assert.equal(await text(page, '#runs .count'), '10,000 rows');
  assert.ok((await page.$$('tr')).length < 200);
  await page.focus('#extracts .scroller');
  await page.keyboard.press('End');
  assert.equal((await column(page, '#extracts', 1)).at(-1), '10000');
  const times = await page.evaluate(() => {
    const timed = (action) => {
      const start = performance.now();
      action();
      document.querySelector('#extracts tbody').getBoundingClientRect();
      return Math.round(performance.now() - start);
    };
    const filter = document.querySelector('#extracts input');
    const navigation = performance.getEntriesByType('navigation')[0];
    return {
      drawn: Math.round(navigation.domContentLoadedEventEnd),
      sorted: timed(() => document.querySelector('#extracts th:nth-child(3) button').click()),
      scrolled: timed(() => { document.querySelector('#extracts .scroller').scrollTop = 300000; }),
      filtered: timed(() => { filter.value = 'customer 77'; filter.dispatchEvent(new Event('input')); }),
    };
  });
  context.diagnostic(`written and opened ${Math.round(loaded - begin)} ms; in the page, ms: ${JSON.stringify(times)}`);
  assert.deepEqual(wrong, []);
  await page.close();
});
