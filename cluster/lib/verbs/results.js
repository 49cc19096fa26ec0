import { once } from 'node:events';
import { readFileSync, statSync } from 'node:fs';
import { setTimeout as sleep } from 'node:timers/promises';

import { Exit, Mistake } from '../mistake.js';
import { Progress } from '../progress.js';
import { batchNamed, csvHeader, csvRow, lateReports, resultsOf, retryFailed, Tally } from '../results.js';

export const summary = 'tells what became of the rows of a batch';
export const help = `kx-cluster results [OPTION...]: tells what became of the rows of a batch

  --batch NAME     the batch; the newest one without it
  --csv            all rows as CSV, with the columns of \`kx play --csv\` and more
  --json           all rows as JSON Lines, with the members of \`kx play --json\` and more
  --report FILE    the page of \`kx play --report\`, with all rows that have ended; --redact leaves values, extracts and pictures out
  --overwrite      replaces a report that is there already
  --failed         only the rows that failed
  --wait           waits until no row is at work any more
  --retry-failed   gives the failed rows another try
  --late           the reports that came when another worker had the job already, as JSON Lines
  --shared FOLDER  where large results and pictures are, as this machine sees the folder; without it they are left out
  -q, --quiet      no progress

Without --csv and --json: the sum, and the causes of failures with what to do.
`;
export const options = {
  batch: { type: 'string' },
  csv: { type: 'boolean' },
  json: { type: 'boolean' },
  report: { type: 'string' },
  redact: { type: 'boolean' },
  overwrite: { type: 'boolean' },
  failed: { type: 'boolean' },
  wait: { type: 'boolean' },
  'retry-failed': { type: 'boolean' },
  late: { type: 'boolean' },
  shared: { type: 'string' },
  quiet: { type: 'boolean', short: 'q' },
};

export function prepare(values, positionals) {
  if (positionals.length > 0) throw new Mistake(`"${positionals[0]}": results takes options only. --help tells them.`);
  const ways = ['csv', 'json', 'report', 'retry-failed', 'late'].filter((name) => values[name]);
  if (values.redact && values.report === undefined) throw new Mistake('--redact says what the report leaves out, and there is no --report.');
  if (ways.length > 1) throw new Mistake(`--${ways[0]} and --${ways[1]}: one of them at a time.`);
  if (values.shared !== undefined && !statSync(values.shared, { throwIfNoEntry: false })?.isDirectory()) {
    throw new Mistake(`--shared ${values.shared}: there is no such folder.`);
  }
  return values;
}

async function put(text) {
  if (!process.stdout.write(text)) await once(process.stdout, 'drain');
}

async function untilDone(group, batch, isQuiet) {
  const total = await group.redis.zcard(group.keys.batch(batch));
  const progress = new Progress('done', total, { isQuiet });
  // Rows at the front are done first; what was done once is not asked for again.
  let done = 0;
  let failed = 0;
  for (let from = 0; from < total;) {
    const ids = await group.redis.zrange(group.keys.batch(batch), from, from + 99);
    const states = await Promise.all(ids.map((id) => group.queue.getJobState(id)));
    const open = states.findIndex((state) => !['completed', 'failed', 'unknown'].includes(state));
    const ended = open < 0 ? states : states.slice(0, open);
    done += ended.length;
    failed += ended.filter((state) => state === 'failed').length;
    from += ended.length;
    progress.show(done, failed > 0 ? `, ${failed} failed` : '');
    if (open >= 0) await sleep(250);
  }
}

export async function run(group, values) {
  if (values.late) {
    for (const report of await lateReports(group, 10_000)) await put(`${JSON.stringify(report)}\n`);
    return Exit.OK;
  }
  const batch = await batchNamed(group, values.batch);
  if (values['retry-failed']) {
    const count = await retryFailed(group, batch);
    await put(`batch ${batch}: ${count} failed row${count === 1 ? '' : 's'} will be tried again\n`);
    return Exit.OK;
  }
  if (values.wait) await untilDone(group, batch, values.quiet);
  const asked = { shared: values.shared, onlyFailed: values.failed };
  const tally = new Tally();
  if (values.report !== undefined) {
    const { writeReport } = await import('../report.js');
    const version = JSON.parse(readFileSync(new URL('../../package.json', import.meta.url), 'utf8')).version;
    await writeReport(group, batch, values.report, { ...asked, overwrite: values.overwrite, isRedacted: values.redact, version });
  }
  if (values.csv) {
    // Twice: the header tells of all rows.
    for await (const result of resultsOf(group, batch, asked)) tally.add(result);
    await put(csvHeader(tally));
    for await (const result of resultsOf(group, batch, asked)) await put(csvRow(result, tally));
  } else {
    for await (const result of resultsOf(group, batch, asked)) {
      tally.add(result);
      if (values.json) await put(`${JSON.stringify(result)}\n`);
    }
  }
  const sum = `batch ${batch}: ${tally.summary()}\n${tally.failed > 0 ? `${tally.explanation()}\n` : ''}`;
  if (values.csv || values.json) process.stderr.write(sum);
  else await put(sum);
  return tally.failed > 0 ? Exit.FAILED : Exit.OK;
}
