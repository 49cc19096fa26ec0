// Rows become jobs. Rows are taken in bundles, so that a million of them are never in memory at once.
import { checkedName, digest, jobIdOf } from './keys.js';
import { Mistake } from './mistake.js';
import { pipelined } from './group.js';

const BUNDLE = 500;
const LARGEST_MACRO = 1 << 20;
const LARGEST_ROW = 256 * 1024;

const DEFAULTS = Object.freeze({
  priority: 0,
  timeout: 30_000,
  deadline: 300_000,
  retries: 2,
  backoff: 1000,
  retryMacro: false,
  keepDays: undefined,
});

export const newBatchName = (now = new Date()) =>
  `${now.toISOString().slice(0, 19).replace(/[-:]/g, '').replace('T', '-')}-${Math.random().toString(36).slice(2, 6)}`;

function checkedWork(given) {
  const work = { ...DEFAULTS, ...given };
  const whole = (name, least, most) => {
    if (!Number.isInteger(work[name]) || work[name] < least || work[name] > most) {
      throw new Mistake(`${name} has to be a whole number from ${least} to ${most}, and is ${work[name]}.`);
    }
  };
  whole('priority', 0, 2_097_152);
  whole('timeout', 1, 86_400_000);
  whole('deadline', 1, 86_400_000);
  whole('retries', 0, 1000);
  whole('backoff', 0, 86_400_000);
  if (typeof work.macro !== 'string' || work.macro.includes('\0')) {
    throw new Mistake('the macro has to be a text without a zero character.');
  }
  if (Buffer.byteLength(work.macro) > LARGEST_MACRO) {
    throw new Mistake(`the macro is larger than ${LARGEST_MACRO} bytes, the most that is kept in Redis.`);
  }
  return work;
}

function engineOptions(work) {
  const age = work.keepDays === undefined ? undefined : { age: Math.round(work.keepDays * 86_400) };
  return {
    attempts: work.retries + 1,
    stackTraceLimit: 3,
    backoff: { type: 'exponential', delay: work.backoff },
    ...(work.priority > 0 ? { priority: work.priority } : {}),
    ...(age ? { removeOnComplete: age, removeOnFail: age } : {}),
  };
}

/** Why no job can be made of a row, as a sentence; empty when one can. */
export function problemOfRow(variables, key) {
  const lacking = key?.find((name) => !Object.hasOwn(variables, name));
  if (lacking !== undefined) {
    return `this row has no "${lacking}", which the key is made of. It has ${Object.keys(variables).map((name) => `"${name}"`).join(', ')}.`;
  }
  const size = Buffer.byteLength(JSON.stringify(variables));
  if (size <= LARGEST_ROW) return '';
  return `this row has ${size} bytes, and ${LARGEST_ROW} is the most that is kept in Redis. ` +
    'Put large values into files, and their names into the row.';
}

async function* bundlesOf(rows) {
  let bundle = [];
  for await (const row of rows) {
    bundle.push(row);
    if (bundle.length === BUNDLE) {
      yield bundle;
      bundle = [];
    }
  }
  if (bundle.length > 0) yield bundle;
}

/**
 * Submits a macro, once for each row. Gives { batch, rows, added, known }: known are the rows whose jobs were there already.
 */
export async function submit(group, rows, given) {
  const work = checkedWork(given);
  const batch = checkedName('the batch', work.batch ?? newBatchName());
  const macroId = digest(work.macro, 32);
  const options = engineOptions(work);
  const { keys, redis } = group;
  const sum = { batch, rows: 0, added: 0, known: 0 };
  for await (const bundle of bundlesOf(rows)) {
    const jobs = bundle.map((variables, index) => jobOf(sum.rows + index + 1, variables));
    if (sum.rows === 0) await begin();
    const bases = jobs.map((job) => job.opts.jobId);
    const isThere = await pipelined(redis, (pipeline) => bases.forEach((id) => pipeline.exists(group.queue.toKey(id))));
    // Before the jobs: when a submit breaks off, its rows are in the batch, and the second submit adds what is missing.
    await pipelined(redis, (pipeline) => {
      jobs.forEach((job) => pipeline.zadd(keys.batch(batch), 'NX', job.data.row, job.opts.jobId));
    });
    const fresh = jobs.filter((job, index) => !isThere[index] && bases.indexOf(job.opts.jobId) === index);
    await group.queue.addBulk(fresh);
    sum.rows += jobs.length;
    sum.added += fresh.length;
    sum.known += jobs.length - fresh.length;
    work.onProgress?.(sum);
  }
  if (sum.rows === 0) await begin();
  return sum;

  // Not before the first rows are known to be good.
  async function begin() {
    await pipelined(redis, (pipeline) => {
      pipeline.hset(keys.macros, macroId, work.macro);
      pipeline.zadd(keys.batches, 'NX', Date.now(), batch);
    });
  }

  function jobOf(row, variables) {
    const problem = problemOfRow(variables, work.key);
    if (problem) throw new Mistake(`row ${row}: ${problem}`);
    return {
      name: work.macroName ?? 'macro',
      data: {
        batch,
        row,
        macro: macroId,
        variables,
        timeout: work.timeout,
        deadline: work.deadline,
        ...(work.retryMacro ? { retryMacro: true } : {}),
      },
      opts: { ...options, jobId: jobIdOf(macroId, variables, work.key) },
    };
  }
}
