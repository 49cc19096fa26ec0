import path from 'node:path';

import { readCsv } from '../csv.js';
import { piecesOf, textOf } from '../files.js';
import { readJsonLines } from '../json_lines.js';
import { Mistake } from '../mistake.js';
import { given, wholeNumber } from '../numbers.js';
import { Progress } from '../progress.js';
import { problemOfRow, submit } from '../submit.js';

export const summary = 'makes one job of each row of a table';
export const help = `kx-cluster submit MACRO --csv FILE [OPTION...]: makes one job of each row of a table

  MACRO                a file with the macro's text
  --csv FILE           the rows; the header names the variables. "-" is standard input, which is read
                       once: a mistake in it stops the rows behind it only
  --jsonl FILE         the same as JSON Lines: each line an object of names and values
  --batch NAME         the name under which results are asked for; one is made up without it
  --key NAME,NAME      the variables that tell a row from another; without it the macro and all values. A row that is there
                       already makes no second job
  --priority N         1 is played first; without it before all that have one
  --timeout SECONDS    for each single answer of the browser; 30
  --deadline SECONDS   for the whole job; then its browser is ended. 300
  --retries N          further tries after a failed connection, a dead browser or a deadline; 2
  --backoff SECONDS    before the second try, and twice as long before each further one; 1
  --retry-macro        also when the macro itself fails
  --keep-days N        Redis forgets jobs and results so long after they are done; without it they stay
  -q, --quiet          no progress
`;
export const options = {
  csv: { type: 'string' },
  jsonl: { type: 'string' },
  batch: { type: 'string' },
  key: { type: 'string' },
  priority: { type: 'string' },
  timeout: { type: 'string' },
  deadline: { type: 'string' },
  retries: { type: 'string' },
  backoff: { type: 'string' },
  'retry-macro': { type: 'boolean' },
  'keep-days': { type: 'string' },
  quiet: { type: 'boolean', short: 'q' },
};

// The whole table is read before the first job is made: a mistake in its last row stops all of it. What comes over standard
// input can be read only once.
async function counted(file, read) {
  if (file === '-') return null;
  let count = 0;
  // eslint-disable-next-line no-unused-vars
  for await (const row of read()) count += 1;
  return count;
}

export async function prepare(values, [macroFile, ...more]) {
  if (macroFile === undefined) throw new Mistake('The macro is missing: kx-cluster submit MACRO --csv FILE.');
  if (more.length > 0) throw new Mistake(`One macro is submitted at a time, and "${more[0]}" is a second one.`);
  if ((values.csv === undefined) === (values.jsonl === undefined)) {
    throw new Mistake('The rows come from one file: --csv FILE or --jsonl FILE.');
  }
  const macro = textOf(macroFile, 'the macro');
  const file = values.csv ?? values.jsonl;
  const reader = values.csv === undefined ? readJsonLines : readCsv;
  const key = values.key?.split(',');
  const read = () => reader(piecesOf(file, 'the table'), file === '-' ? 'standard input' : file, (row) => problemOfRow(row, key));
  const work = given({
    macro,
    macroName: path.basename(macroFile),
    batch: values.batch,
    key,
    priority: wholeNumber(values, 'priority', { most: 2_000_000 }),
    timeout: wholeNumber(values, 'timeout', { least: 1, most: 86_400, unit: 1000 }),
    deadline: wholeNumber(values, 'deadline', { least: 1, most: 86_400, unit: 1000 }),
    retries: wholeNumber(values, 'retries', { most: 1000 }),
    backoff: wholeNumber(values, 'backoff', { most: 86_400, unit: 1000 }),
    retryMacro: values['retry-macro'],
    keepDays: wholeNumber(values, 'keep-days', { least: 1, most: 10_000 }),
  });
  return { work, read, total: await counted(file, read), isQuiet: values.quiet };
}

export async function run(group, { work, read, total, isQuiet }) {
  let submitted = 0;
  const progress = new Progress('submitted', total ?? 0, { isQuiet: isQuiet || total === null });
  const onProgress = ({ rows }) => {
    submitted = rows;
    progress.show(rows);
  };
  let sum;
  try {
    sum = await submit(group, read(), { ...work, onProgress });
  } catch (error) {
    if (error instanceof Mistake && submitted > 0) error.message += ` ${submitted} rows before it are submitted.`;
    throw error;
  }
  const known = sum.known > 0 ? `, ${sum.known} known already` : '';
  process.stdout.write(`batch ${sum.batch}: ${sum.rows} rows, ${sum.added} new jobs${known}\n`);
}
