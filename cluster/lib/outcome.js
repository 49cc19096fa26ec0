// What one attempt left, as a record: names are those of `kx play --json`.
import { rowOf, rowOfId } from './catalogue.js';

/** The third worker that dies with a job is the last one. */
export const MOST_DEATHS = 3;

/** A failure that the cluster itself has seen, beside those of the catalogue. */
export const OWN_FAILURES = Object.freeze({
  'job-deadline': {
    cause: 'The job was not done when its deadline had come, and its browser was ended.',
    remedy: 'See what the macro waits for, or give more with --deadline.',
  },
  'worker-died': {
    cause: 'Three workers that played this job died, or lost their connection to Redis, before it was done. It was set aside.',
    remedy: 'Play the row alone and see what it does to the machine. --retry-failed gives it another try.',
  },
  'result-too-large': {
    cause: 'What the play left is larger than a result in Redis may be, and the worker has no shared folder for it.',
    remedy: 'Give the worker --shared FOLDER. The macro has been played; another try plays it again.',
  },
  'result-not-stored': {
    cause: 'What the play left is larger than a result in Redis may be, and could not be written to the shared folder.',
    remedy: 'See that the worker reaches the folder of --shared and that its disk has room. The macro has been played; another try plays it again.',
  },
  'macro-missing': {
    cause: 'The macro of this job is no longer in Redis.',
    remedy: 'Submit the rows again.',
  },
});

/** Why an error of a play happened: { id, kind, cause, remedy, page }. */
export function reasonOf(error) {
  if (OWN_FAILURES[error.own]) return { id: error.own, kind: 'connection', ...OWN_FAILURES[error.own], page: 'many-machines.md' };
  const row = rowOf(error);
  return row ? { id: row.id, kind: row.kind, cause: row.cause, remedy: row.remedy, page: row.page } : null;
}

/** The record of a job that has no outcome: it has not been played, or whoever played it has died. */
export const NOTHING = Object.freeze({
  attempt: 0,
  worker: null,
  context: null,
  profile: null,
  started: null,
  ended: null,
  seconds: null,
  call: null,
  result: null,
  number: null,
  text: '',
  failure: null,
  extracts: [],
  performance: [],
  profiler: '',
  screenshot: null,
  file: null,
});

export const setAside = ({ attempt, worker }) => ({
  ...NOTHING,
  outcome: 'set aside',
  attempt,
  worker,
  text: `${MOST_DEATHS} workers died while they played it`,
  failure: 'worker-died',
});

/** The record of an attempt. `error` is what the play was rejected with, or null. */
export function outcomeOf({ left, error, attempt, worker, context, profile, started, ended }) {
  const reason = error ? reasonOf(error) : null;
  const performance = (left?.performance ?? []).map(([name, value]) => ({ name, value }));
  return {
    outcome: !error ? 'ok' : reason?.kind === 'macro' ? 'macro failed' : 'connection failed',
    attempt,
    worker,
    context,
    profile,
    started: new Date(started).toISOString(),
    ended: new Date(ended).toISOString(),
    seconds: Math.round(ended - started) / 1000,
    call: error ? error.call ?? null : 'kx_Play',
    result: error ? error.result ?? null : 0,
    number: error ? error.number ?? null : 1,
    text: error ? error.text ?? error.message : 'OK',
    failure: reason?.id ?? (error ? 'other' : null),
    extracts: left?.extracts ?? [],
    performance,
    profiler: left?.profilerData ?? '',
    screenshot: null,
    file: null,
  };
}

// A failure goes to the engine as an error. The engine keeps the stacks of all attempts, under the job's lock: the record
// stands there, behind what a person wants to read.
export const RECORD_MARK = '\n#record ';

export class AttemptFailed extends Error {
  constructor(record, isFinal) {
    super(`${record.text} (${record.failure})`);
    // The engine gives up at once on an error of this name.
    this.name = isFinal ? 'UnrecoverableError' : 'AttemptFailed';
    const reason = OWN_FAILURES[record.failure] ?? rowOfId(record.failure);
    const lines = [
      `attempt ${record.attempt}, worker ${record.worker}${record.seconds === null ? '' : `, ${record.seconds} s`}`,
      `What: ${record.call ? `${record.call}() gave ${record.result}, error number ${record.number}: ` : ''}${record.text}`,
      ...(reason ? [`Why: ${reason.cause}`, `What to do: ${reason.remedy}`] : []),
      ...(record.screenshot ? [`Picture: ${record.screenshot}`] : []),
    ];
    this.stack = `${lines.join('\n')}${RECORD_MARK}${JSON.stringify(record)}`;
  }
}

/** The record in a stack that the engine has kept, or null. */
export function recordIn(stack) {
  const at = stack.lastIndexOf(RECORD_MARK);
  return at < 0 ? null : JSON.parse(stack.slice(at + RECORD_MARK.length));
}
