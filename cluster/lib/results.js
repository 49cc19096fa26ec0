// What became of a batch, row by row, in the rows' order. Rows are read in bundles: a batch of any size needs no more memory.
import { csvLine } from './csv.js';
import { pipelined } from './group.js';
import { Mistake } from './mistake.js';
import { NOTHING, OWN_FAILURES, recordIn } from './outcome.js';
import { rowOfId } from './catalogue.js';
import { unfitted } from './stock.js';
import { onOneLine } from './terminal.js';

const BUNDLE = 200;
/** The batch of that name, or without one the newest. */
export async function batchNamed(group, name) {
  const { redis, keys } = group;
  if (name === undefined) {
    const [newest] = await redis.zrevrange(keys.batches, 0, 0);
    if (newest === undefined) throw new Mistake(`The group "${group.name}" has no batch: nothing has been submitted to it.`);
    return newest;
  }
  if ((await redis.zscore(keys.batches, name)) === null) {
    const some = await redis.zrevrange(keys.batches, 0, 4);
    throw new Mistake(`The group "${group.name}" has no batch "${name}". ` +
      (some.length > 0 ? `The newest are: ${some.join(', ')}.` : 'Nothing has been submitted to it.'));
  }
  return name;
}

const WAITING = { wait: 'waiting', waiting: 'waiting', prioritized: 'waiting', paused: 'waiting', active: 'playing', delayed: 'waiting for another try' };

function recordOf(job, state) {
  if (state === 'completed') return job.returnvalue;
  if (state !== 'failed') return { ...NOTHING, outcome: WAITING[state] ?? state, attempt: job.attemptsStarted };
  return recordIn(job.stacktrace.at(-1));
}

function explained(record) {
  if (record.failure === null) return null;
  const own = OWN_FAILURES[record.failure];
  if (own) return { id: record.failure, ...own, page: 'many-machines.md' };
  const row = rowOfId(record.failure);
  return row ? { id: row.id, cause: row.cause, remedy: row.remedy, page: row.page } : { id: record.failure };
}

/**
 * The results of a batch, as `kx play --json` names them, with what many machines add: key, batch, attempts, worker, started,
 * ended, file. attempts is the number of times that the job was begun; more than one means that its effects may have
 * happened more than once.
 */
export async function* resultsOf(group, batch, { shared, onlyFailed = false } = {}) {
  const { redis, keys, queue } = group;
  for (let from = 0; ; from += BUNDLE) {
    const ids = await redis.zrange(keys.batch(batch), from, from + BUNDLE - 1, 'WITHSCORES');
    if (ids.length === 0) return;
    const bundle = [];
    for (let index = 0; index < ids.length; index += 2) bundle.push({ id: ids[index], run: Number(ids[index + 1]) });
    const found = await Promise.all(bundle.map(async ({ id, run }) => {
      const [state, job] = await Promise.all([queue.getJobState(id), queue.getJob(id)]);
      return { id, run, job, state: job ? state : 'unknown' };
    }));
    for (const { id, run, job, state } of found) {
      const record = job ? recordOf(job, state) : { ...NOTHING, outcome: 'not submitted, or removed since' };
      if (onlyFailed && state !== 'failed') continue;
      const { attempt, failure, ...rest } = unfitted(record, shared);
      yield {
        run,
        key: id,
        batch,
        macro: job?.name ?? null,
        variables: job?.data.variables ?? {},
        ...rest,
        attempts: attempt ?? 0,
        failure: failure === null ? null : explained({ failure }),
      };
    }
  }
}

/** Counts the results of a batch: by outcome, by cause, and those that were begun more than once. */
export class Tally {
  rows = 0;
  repeated = 0;
  outcomes = new Map();
  causes = new Map();
  variables = new Set();
  extracts = 0;

  add(result) {
    this.rows += 1;
    if (result.attempts > 1) this.repeated += 1;
    this.outcomes.set(result.outcome, (this.outcomes.get(result.outcome) ?? 0) + 1);
    Object.keys(result.variables).forEach((name) => this.variables.add(name));
    this.extracts = Math.max(this.extracts, result.extractCount ?? 0, result.extracts?.length ?? 0);
    if (result.failure) {
      const known = this.causes.get(result.failure.id) ?? { count: 0, failure: result.failure, texts: new Map() };
      known.count += 1;
      const text = `${result.number ?? ''} ${result.text}`.trim();
      if (known.texts.size < 20 || known.texts.has(text)) known.texts.set(text, (known.texts.get(text) ?? 0) + 1);
      this.causes.set(result.failure.id, known);
    }
  }

  get done() {
    return this.outcomes.get('ok') ?? 0;
  }

  get failed() {
    return [...this.causes.values()].reduce((sum, { count }) => sum + count, 0);
  }

  /** "97 of 100 rows ok, 2 macro failed, 1 set aside; 4 were begun more than once". */
  summary() {
    const others = [...this.outcomes].filter(([outcome]) => outcome !== 'ok').sort(([, a], [, b]) => b - a);
    return `${this.done} of ${this.rows} row${this.rows === 1 ? '' : 's'} ok${others.map(([outcome, count]) => `, ${count} ${outcome}`).join('')}` +
      `${this.repeated > 0 ? `; ${this.repeated} begun more than once` : ''}`;
  }

  /** Why rows failed, the most frequent cause first, with what to do. */
  explanation() {
    return [...this.causes.values()].sort((a, b) => b.count - a.count).map(({ count, failure, texts }) => [
      `${count} x ${failure.id}${failure.cause ? `: ${failure.cause}` : ''}`,
      ...(failure.remedy ? [`    What to do: ${failure.remedy}`] : []),
      ...[...texts].sort(([, a], [, b]) => b - a).slice(0, 3).map(([text, times]) => `    ${times} x "${onOneLine(text.slice(0, 200))}"`),
    ].join('\n')).join('\n');
  }
}

const FIXED = ['run', 'outcome', 'number', 'text', 'seconds', 'attempts', 'worker', 'started', 'ended', 'cause', 'key', 'screenshot', 'file'];

export function csvHeader(tally) {
  const extracts = Array.from({ length: tally.extracts }, (_, index) => `extract ${index + 1}`);
  return csvLine([...FIXED, ...tally.variables, ...extracts]);
}

export function csvRow(result, tally) {
  const fixed = FIXED.map((name) => (name === 'cause' ? result.failure?.id : result[name]));
  const variables = [...tally.variables].map((name) => result.variables[name]);
  const extracts = Array.from({ length: tally.extracts }, (_, index) => result.extracts?.[index]);
  return csvLine([...fixed, ...variables, ...extracts]);
}

/** Gives the failed rows of a batch another try. Gives their number. */
export async function retryFailed(group, batch) {
  let count = 0;
  for await (const { key } of resultsOf(group, batch, { onlyFailed: true })) {
    const job = await group.queue.getJob(key);
    // Another retry may have been quicker.
    if (job && (await job.isFailed())) {
      await group.redis.hdel(group.queue.toKey(key), 'stc', 'defa');
      await job.retry('failed', { resetAttemptsMade: true });
      count += 1;
    }
  }
  return count;
}

/** The reports that came when another worker had the job already, the newest first. */
export async function lateReports(group, limit = 100) {
  const texts = await group.redis.lrange(group.keys.late, 0, limit - 1);
  return texts.map((text) => JSON.parse(text));
}

/** The numbers of the group's jobs by state. */
export async function countsOf(group) {
  return group.queue.getJobCounts('waiting', 'prioritized', 'active', 'delayed', 'completed', 'failed');
}

/** The workers that have been heard of, with the seconds since then. */
export async function workersOf(group) {
  const { redis, keys } = group;
  const [seen, now, [seconds]] = await pipelined(redis, (pipeline) => {
    pipeline.zrange(keys.workers, 0, -1, 'WITHSCORES');
    pipeline.hgetall(`${keys.workers}:now`);
    pipeline.time();
  });
  const workers = [];
  for (let index = 0; index < seen.length; index += 2) {
    const state = now[seen[index]];
    workers.push({ name: seen[index], silentSeconds: Math.max(0, Number(seconds) - seen[index + 1] / 1000), ...(state ? JSON.parse(state) : {}) });
  }
  return workers;
}
