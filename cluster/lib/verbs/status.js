import { Mistake } from '../mistake.js';
import { countsOf, lateReports, workersOf } from '../results.js';
import { onOneLine } from '../terminal.js';

export const summary = 'tells how many jobs wait, and which workers there are';
export const help = `kx-cluster status [--json]: tells how many jobs wait, and which workers there are
`;
export const options = { json: { type: 'boolean' } };

export function prepare(values, positionals) {
  if (positionals.length > 0) throw new Mistake(`"${positionals[0]}": status takes options only. --help tells them.`);
  return values;
}

// One that has been silent for longer has died or is cut off.
const SILENT = 30;

export async function run(group, { json }) {
  const [counts, workers, late] = await Promise.all([countsOf(group), workersOf(group), lateReports(group, 10_000)]);
  if (json) {
    process.stdout.write(`${JSON.stringify({ group: group.name, jobs: counts, workers, late: late.length })}\n`);
    return;
  }
  const waiting = counts.waiting + counts.prioritized;
  process.stdout.write(`group ${group.name}: ${waiting} waiting, ${counts.active} at work, ${counts.delayed} waiting for another try, ` +
    `${counts.completed} done, ${counts.failed} failed; ${late.length} late report${late.length === 1 ? '' : 's'}\n`);
  for (const { name, silentSeconds, played = 0, contexts = [] } of workers) {
    const silence = silentSeconds > SILENT ? `  silent for ${Math.round(silentSeconds)} s` : '';
    process.stdout.write(`  ${onOneLine(name)}: ${played} played${silence}\n`);
    for (const { state, profile } of contexts) process.stdout.write(`    ${onOneLine(`${profile ?? 'default profile'}: ${state}`)}\n`);
  }
}
