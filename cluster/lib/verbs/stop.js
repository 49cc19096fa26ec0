import { Mistake } from '../mistake.js';
import { timeOf } from '../worker.js';

export const summary = 'has workers end: they take no more, finish what they have, and exit their browsers';
export const help = `kx-cluster stop WORKER...|--all: has workers end: they take no more, finish what they have, and exit their browsers

\`kx-cluster status\` tells the workers' names.
`;
export const options = { all: { type: 'boolean' } };

export function prepare({ all }, names) {
  if ((names.length > 0) === Boolean(all)) throw new Mistake('Which worker? kx-cluster stop NAME, or --all for all of the group.');
  return { names: all ? ['*'] : names };
}

export async function run(group, { names }) {
  const now = await timeOf(group.redis);
  await group.redis.hset(group.keys.stop, Object.fromEntries(names.map((name) => [name, now])));
  process.stdout.write('asked\n');
}
