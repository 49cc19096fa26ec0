// CSV in and out, by the rules of `kx play --rows`: the header names the variables; the separator is the comma, semicolon
// or tab that it uses; values may stand in double quotes, with a double quote written twice. The text comes in pieces, so
// that a file of any size needs no more memory than its longest row.
import { Mistake } from './mistake.js';
import { problemOfVariableName } from './variable_names.js';

const INNER_QUOTE = 'a double quote inside a value that does not begin with one. Put the whole value in double quotes ' +
  'and write this one twice.';
const BEHIND_QUOTE = 'text behind a value\'s closing double quote. A double quote inside the value is written twice.';
const NO_END = 'a value begins with a double quote here, and no double quote ends it.';

// The first of the three that the line has outside of quotes; a comma when it has none.
function separatorOf(line) {
  const outside = line.replace(/"[^"]*("|$)/g, '');
  if (outside.includes(',')) return ',';
  return /[;\t]/.exec(outside)?.[0] ?? ',';
}

// Cuts a text that comes in pieces into records: { values: [{ text, column }], line }.
class Records {
  #separator = null;
  #beforeHeaderEnds = '';
  #step = this.#atValueStart;
  #values = [];
  #text = '';
  #start = { line: 1, column: 1 };
  #recordLine = 1;
  #line = 1;
  #column = 1;

  constructor(name) {
    this.name = name;
  }

  refuse({ line, column }, what) {
    throw new Mistake(`${this.name}, line ${line}, column ${column}: ${what}`);
  }

  /** The records that this piece completes. */
  *take(piece) {
    if (this.#separator === null) {
      this.#beforeHeaderEnds += piece;
      const end = this.#beforeHeaderEnds.indexOf('\n');
      if (end < 0) return;
      piece = this.#begin(this.#beforeHeaderEnds.slice(0, end));
    }
    yield* this.#characters(piece);
  }

  /** The last record, when no line end is behind it. */
  *end() {
    if (this.#separator === null) yield* this.#characters(this.#begin(this.#beforeHeaderEnds));
    if (this.#step === this.#quoted) this.refuse(this.#start, NO_END);
    if (this.#step === this.#bareReturn) {
      this.#text += '\r';
      this.#step = this.#bare;
    }
    if (this.#step === this.#atValueStart) {
      if (this.#values.length === 0 && this.#recordLine > 1) return;
      this.#start = { line: this.#line, column: this.#column };
      this.#step = this.#bare;
    }
    this.#valueEnds(true);
    yield this.#record();
  }

  #begin(header) {
    this.#separator = separatorOf(header);
    const text = this.#beforeHeaderEnds;
    this.#beforeHeaderEnds = '';
    return text;
  }

  *#characters(text) {
    for (const character of text) {
      if (this.#step(character)) yield this.#record();
      if (character === '\n') {
        this.#line += 1;
        this.#column = 1;
        if (this.#step === this.#atValueStart && this.#values.length === 0) this.#recordLine = this.#line;
      } else {
        this.#column += 1;
      }
    }
  }

  // Each step takes a character, and tells whether a record has ended with it.
  #atValueStart(character) {
    this.#start = { line: this.#line, column: this.#column };
    this.#text = '';
    if (character === '"') {
      this.#step = this.#quoted;
      return false;
    }
    this.#step = this.#bare;
    return this.#bare(character);
  }

  #bare(character) {
    if (character === this.#separator) return this.#valueEnds(false);
    if (character === '\n') return this.#valueEnds(true);
    if (character === '"') this.refuse({ line: this.#line, column: this.#column }, INNER_QUOTE);
    if (character === '\r') this.#step = this.#bareReturn;
    else this.#text += character;
    return false;
  }

  #bareReturn(character) {
    this.#step = this.#bare;
    if (character !== '\n') this.#text += '\r';
    return this.#bare(character);
  }

  #quoted(character) {
    if (character === '"') this.#step = this.#behindQuote;
    else this.#text += character;
    return false;
  }

  #behindQuote(character) {
    if (character === '"') {
      this.#text += '"';
      this.#step = this.#quoted;
      return false;
    }
    if (character === this.#separator) return this.#valueEnds(false);
    if (character === '\n') return this.#valueEnds(true);
    if (character !== '\r') this.refuse({ line: this.#line, column: this.#column }, BEHIND_QUOTE);
    this.#step = this.#quotedReturn;
    return false;
  }

  #quotedReturn(character) {
    if (character !== '\n') this.refuse({ line: this.#line, column: this.#column - 1 }, BEHIND_QUOTE);
    return this.#valueEnds(true);
  }

  #valueEnds(recordEnds) {
    this.#values.push({ text: this.#text, column: this.#start.column, isQuoted: this.#step !== this.#bare });
    this.#text = '';
    this.#step = this.#atValueStart;
    return recordEnds;
  }

  #record() {
    const record = { values: this.#values, line: this.#recordLine };
    this.#values = [];
    return record;
  }
}

function headerOf(record, records) {
  const names = [];
  for (const { text, column } of record.values) {
    const at = { line: record.line, column };
    const problem = problemOfVariableName(text);
    if (problem) records.refuse(at, `the header names the variables, and ${problem}`);
    if (names.includes(text)) records.refuse(at, `the header names the variable "${text}" a second time.`);
    names.push(text);
  }
  return names;
}

const isEmptyLine = ({ values }) => values.length === 1 && values[0].text === '' && !values[0].isQuoted;
const counted = (number, what) => `${number} ${what}${number === 1 ? '' : 's'}`;

/** The rows of a table that comes as texts: objects of names and values. `problemOf(row)` may find a row wrong, with a sentence. */
export async function* readCsv(texts, name, problemOf = () => '') {
  const records = new Records(name);
  let header = null;
  let rows = 0;
  function* rowsOf(found) {
    for (const record of found) {
      if (header === null) {
        header = headerOf(record, records);
      } else if (!isEmptyLine(record)) {
        if (record.values.length !== header.length) {
          records.refuse({ line: record.line, column: 1 },
              `this row has ${counted(record.values.length, 'value')}, and the header has ${counted(header.length, 'name')}.`);
        }
        rows += 1;
        const row = Object.fromEntries(header.map((column, index) => [column, record.values[index].text]));
        const problem = problemOf(row);
        if (problem) records.refuse({ line: record.line, column: 1 }, problem);
        yield row;
      }
    }
  }
  for await (const text of texts) yield* rowsOf(records.take(text));
  yield* rowsOf(records.end());
  if (rows === 0) throw new Mistake(`${name} has a header and no row behind it: there is nothing to do.`);
}

/** One line, its end included; values are put in quotes where they need it. */
export function csvLine(values) {
  const written = values.map((value) => {
    const text = String(value ?? '');
    return /[",;\t\r\n]|^ | $/.test(text) || (text === '' && values.length === 1) ? `"${text.replaceAll('"', '""')}"` : text;
  });
  return `${written.join(',')}\r\n`;
}
