// JSON Lines: each line is one object, whose members are the variables of one row.
import { Mistake } from './mistake.js';
import { problemOfVariableName } from './variable_names.js';

// Node tells the place of most mistakes, in words.
function columnIn(error) {
  const position = /position (\d+)/.exec(error.message)?.[1];
  return position === undefined ? '' : `, column ${Number(position) + 1}`;
}

// Numbers as they are written: 1.50 and 12345678901234567890 are others when a program has read them. The text is valid JSON; what stands
// in its strings is passed over.
const withNumbersAsTexts = (text) =>
  text.replace(/"(?:[^"\\]|\\.)*"|-?\d[\d.eE+-]*/g, (found) => (found.startsWith('"') ? found : `"${found}"`));

function parsed(text, at) {
  try {
    return JSON.parse(text);
  } catch (error) {
    throw new Mistake(`${at}${columnIn(error)}: this is not valid JSON. A line is one object, ` +
      'for example {"city":"Oslo"}.');
  }
}

function rowOf(text, at) {
  const row = parsed(text, at);
  if (row === null || typeof row !== 'object' || Array.isArray(row)) {
    throw new Mistake(`${at}: a line has to be an object, for example {"city":"Oslo"}.`);
  }
  return Object.fromEntries(Object.entries(JSON.parse(withNumbersAsTexts(text))).map(([name, value]) => {
    const problem = problemOfVariableName(name);
    if (problem) throw new Mistake(`${at}: the members name the variables, and ${problem}`);
    if (!['string', 'boolean'].includes(typeof value)) {
      throw new Mistake(`${at}: the value of "${name}" has to be a text, a number, true or false.`);
    }
    return [name, String(value)];
  }));
}

/** The rows of a text that comes in pieces. Empty lines are passed over. `problemOf(row)` may find a row wrong, with a sentence. */
export async function* readJsonLines(texts, name, problemOf = () => '') {
  let rest = '';
  let line = 0;
  let rows = 0;
  function* rowsOf(lines) {
    for (const text of lines) {
      line += 1;
      if (text.trim() === '') continue;
      rows += 1;
      const row = rowOf(text, `${name}, line ${line}`);
      const problem = problemOf(row);
      if (problem) throw new Mistake(`${name}, line ${line}, column ${text.search(/\S/) + 1}: ${problem}`);
      yield row;
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
