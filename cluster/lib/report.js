// The page of `kx play --report`, written for a batch: template and form of the data are its own.
import fs from 'node:fs';
import path from 'node:path';

import { Exit, Mistake } from './mistake.js';
import { resultsOf } from './results.js';

const DATA_PLACE = '<!--DATA-->';
const MOST_ROWS = 50_000;
const MOST_PICTURE_BYTES = 50 << 20;
const ENDED = ['ok', 'macro failed', 'connection failed', 'set aside'];
const HIDDEN = '(left out)';

// No text can end the element that it stands in.
const inPage = (value) => JSON.stringify(value).replaceAll('<', '\\u003c');
const script = (attributes, text) => `<script ${attributes}>${text}</script>\n`;
const json = (id, text) => script(`type="application/json" id="data-${id}"`, text);

// The page knows contexts by a number: each context of each worker gets one.
class Lanes {
  #numbers = new Map();

  of(worker, context) {
    const name = `${worker}, context ${context}`;
    if (!this.#numbers.has(name)) this.#numbers.set(name, this.#numbers.size + 1);
    return this.#numbers.get(name);
  }

  get names() {
    return [...this.#numbers.keys()];
  }
}

const isNumber = (text) => text.trim() !== '' && Number.isFinite(Number(text));

function forThePage(result, began, lanes, isRedacted) {
  const run = {
    ...result,
    outcome: result.outcome === 'set aside' ? 'connection failed' : result.outcome,
    context: result.context === null ? 0 : lanes.of(result.worker, result.context),
    number: result.number ?? 0,
    result: result.result ?? 0,
    seconds: result.seconds ?? 0,
    began: result.started === null ? 0 : (Date.parse(result.started) - began) / 1000,
    extracts: result.extracts ?? [],
    performance: result.performance ?? [],
    profiler: result.profiler ?? '',
    screenshot: result.screenshot ?? '',
    log: [],
  };
  if (!isRedacted) return run;
  return {
    ...run,
    variables: Object.fromEntries(Object.keys(run.variables).map((name) => [name, HIDDEN])),
    extracts: run.extracts.map(() => HIDDEN),
    performance: run.performance.map(({ name, value }) => ({ name, value: isNumber(value) ? value : value && HIDDEN })),
    profiler: run.profiler && HIDDEN,
  };
}

function pictureOf(result, shared, room) {
  if (!result.screenshot || shared === undefined) return null;
  try {
    const bytes = fs.readFileSync(path.join(shared, result.screenshot));
    return bytes.length <= room ? bytes : null;
  } catch {
    return null;
  }
}

// A page is there as a whole or not at all: it is written beside its place, and takes that at the end. A device is written to directly.
function placesOf(file, overwrite) {
  const found = fs.statSync(file, { throwIfNoEntry: false });
  if (found !== undefined && !overwrite) throw new Mistake(`The report ${file} is there already. --overwrite replaces it.`);
  if (found !== undefined && !found.isFile()) return { target: file, draft: file };
  const target = found === undefined ? file : fs.realpathSync(file);
  return { target, draft: `${target}.${process.pid}.part` };
}

/** Writes the page. A file that is there already is replaced only when that is asked for. */
export async function writeReport(group, batch, file, { shared, onlyFailed = false, overwrite = false, isRedacted = false, version }) {
  const rows = await group.redis.zcard(group.keys.batch(batch));
  if (rows > MOST_ROWS && !onlyFailed) {
    throw new Mistake(`A page takes ${MOST_ROWS} rows at most, and the batch has ${rows}. --failed takes those that failed; --csv takes all.`);
  }
  const { target, draft } = placesOf(file, overwrite);
  try {
    const out = fs.openSync(draft, 'w');
    try {
      await write(out);
    } finally {
      fs.closeSync(out);
    }
    if (draft !== target) fs.renameSync(draft, target);
  } catch (error) {
    if (draft !== target) fs.rmSync(draft, { force: true });
    throw error.syscall === undefined ? error : new Mistake(`The report ${file} cannot be written: ${error.message}.`, Exit.PROGRAM);
  }

  async function write(out) {
    const [head, tail] = fs.readFileSync(new URL('../report.html', import.meta.url), 'utf8').split(DATA_PLACE);
    const span = { began: Infinity, ended: 0 };
    let left = 0;
    const macros = new Map();
    for await (const result of resultsOf(group, batch, { onlyFailed })) {
      if (!ENDED.includes(result.outcome)) left += 1;
      if (result.started !== null) {
        span.began = Math.min(span.began, Date.parse(result.started));
        span.ended = Math.max(span.ended, Date.parse(result.ended));
      }
    }
    const put = (text) => fs.writeSync(out, text);
    put(head);
    put('<script type="application/json" id="data-runs">[');
    const lanes = new Lanes();
    const whats = [];
    const steps = [];
    const pictures = { bytes: 0, without: 0 };
    let count = 0;
    const later = [];
    for await (const result of resultsOf(group, batch, { shared, onlyFailed })) {
      if (!ENDED.includes(result.outcome)) continue;
      const run = forThePage(result, span.began, lanes, isRedacted);
      put(`${count > 0 ? ',\n' : ''}${inPage(run)}`);
      count += 1;
      if (run.context > 0) {
        const what = `${result.macro}, ${result.worker}`;
        if (!macros.has(what)) macros.set(what, whats.push(what) - 1);
        steps.push([run.context, run.run, 'play', macros.get(what), run.began, run.began + run.seconds, run.outcome === 'ok' ? 1 : 0]);
      }
      if (result.screenshot && !isRedacted) later.push(result);
    }
    put(']</script>\n');
    put(json('steps', inPage({ steps, whats })));
    for (const result of later) {
      const picture = pictureOf(result, shared, MOST_PICTURE_BYTES - pictures.bytes);
      if (picture === null) {
        pictures.without += 1;
      } else {
        pictures.bytes += picture.length;
        put(script(`type="text/plain" data-picture="${result.run}"`, picture.toString('base64')));
      }
    }
    const notes = [
      ...(left > 0 ? [`${left} rows are waiting or at work; they are not in this page.`] : []),
      ...(pictures.without > 0 ? [`${pictures.without} pictures are not in this page: it takes 50 MB of them, and those below --shared.`] : []),
      ...(isRedacted ? ['Values of variables, extracts, texts of performance entries, profiler data and pictures are left out.'] : []),
    ];
    const began = Number.isFinite(span.began) ? span.began : Date.now();
    put(json('about', inPage({
      started: began,
      seconds: Math.max(0, span.ended - began) / 1000,
      log: { isThere: false },
      notes,
      macros: [],
      contexts: lanes.names.map((name, index) => ({ number: index + 1, closing: [] })),
      launches: [],
      facts: [
        ['Batch', batch],
        ['Group', group.name],
        ['kx-cluster', version],
        ...lanes.names.map((name, index) => [`Context ${index + 1}`, name]),
      ],
    })));
    put(tail);
  }
}
