// JSON Lines: each line is one object, whose members are the variables of one row.
import { Mistake } from './mistake.js';
import { problemOfVariableName } from './variable_names.js';

// Node tells the place of most mistakes, in words.
function columnIn(error) {
  const position = /position (\d+)/.exec(error.message)?.[1];
  return position === undefined ? '' : `, column ${Number(position) + 1}`;
}

function rowOf(text, at) {
  let row;
  try {
    row = JSON.parse(text);
  } catch (error) {
    throw new Mistake(`${at}${columnIn(error)}: this is not valid JSON. A line is one object, ` +
      'for example {"city":"Oslo"}.');
  }
  if (row === null || typeof row !== 'object' || Array.isArray(row)) {
    throw new Mistake(`${at}: a line has to be an object, for example {"city":"Oslo"}.`);
  }
  return Object.fromEntries(Object.entries(row).map(([name, value]) => {
    const problem = problemOfVariableName(name);
    if (problem) throw new Mistake(`${at}: the members name the variables, and ${problem}`);
    if (!['string', 'number', 'boolean'].includes(typeof value)) {
      throw new Mistake(`${at}: the value of "${name}" has to be a text, a number, true or false.`);
    }
    return [name, String(value)];
  }));
}

/** The rows of a text that comes in pieces. Empty lines are passed over. */
export async function* readJsonLines(texts, name) {
  let rest = '';
  let line = 0;
  let rows = 0;
  function* rowsOf(lines) {
    for (const text of lines) {
      line += 1;
      if (text.trim() === '') continue;
      rows += 1;
      yield rowOf(text, `${name}, line ${line}`);
    }
  }
  for await (const text of texts) {
    const lines = (rest + text).split('\n');
    rest = lines.pop();
    yield* rowsOf(lines);
  }
  yield* rowsOf(rest === '' ? [] : [rest]);
  if (rows === 0) throw new Mistake(`${name} has no row: there is nothing to do.`);
}
