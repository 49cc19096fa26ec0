// The description of the library's interface that all languages share.
import { readFileSync } from 'node:fs';

export const { constants, functions } = JSON.parse(readFileSync(new URL('../interface.json', import.meta.url), 'utf8'));

/** The constants of a group, without what their names begin with. */
export function numbers(group, prefix) {
  return Object.freeze(Object.fromEntries(
      constants.filter((constant) => constant.group === group)
          .map(({ name, value }) => [name.slice(prefix.length), value])));
}
