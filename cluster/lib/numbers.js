// Numbers that a user gives.
import { Mistake } from './mistake.js';

/** The option as a whole number; `unit` is what one of them is in what the program counts, 1000 for seconds. */
export function wholeNumber(values, name, { least = 0, most = 1_000_000, unit = 1 } = {}) {
  const given = values[name];
  if (given === undefined) return undefined;
  if (!/^\d{1,9}$/.test(given) || Number(given) < least || Number(given) > most) {
    throw new Mistake(`--${name} ${given}: this has to be a whole number from ${least} to ${most}.`);
  }
  return Number(given) * unit;
}

/** Without the members that are undefined, which would take the place of defaults. */
export const given = (members) => Object.fromEntries(Object.entries(members).filter(([, value]) => value !== undefined));
