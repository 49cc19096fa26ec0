// Names in Redis. A group is one queue of the engine; what is kept beside it stands under the queue's name.
import { createHash } from 'node:crypto';

import { Mistake } from './mistake.js';

export const digest = (value, length) => createHash('sha256').update(value).digest('hex').slice(0, length);

export function checkedName(what, name) {
  if (!/^[\w.-]{1,100}$/.test(name)) {
    throw new Mistake(`${what} "${name}" cannot be used. It may have letters, digits, points, hyphens and underscores, up to 100.`);
  }
  return name;
}

export function keysOf(prefix, group) {
  const base = `${prefix}:${group}:kx`;
  return {
    macros: `${base}:macros`,
    batches: `${base}:batches`,
    batch: (name) => `${base}:batch:${name}`,
    workers: `${base}:workers`,
    late: `${base}:late`,
    stop: `${base}:stop`,
    // Profiles are no group's own.
    profile: (identity) => `${prefix}:kx:profile:${digest(identity, 32)}`,
  };
}

/** The job's id, which makes a second submit of the same row no second job. Ids of the engine are no numbers. */
export function jobIdOf(macroId, variables, keyColumns) {
  const pairs = keyColumns ? keyColumns.map((name) => [name, variables[name]])
                           : [macroId, ...Object.entries(variables).sort(([a], [b]) => (a < b ? -1 : 1))];
  return `r${digest(JSON.stringify(pairs), 31)}`;
}
