// Records what Node's regular expression engine finds in many options strings: tests/golden/option_matches.txt, which
// the test of the options scan compares with. The inputs come from a generator with a fixed seed, so that a second
// run writes the same file:
//
//   node tools/record_option_matches.mjs > tests/golden/option_matches.txt
//
// Each line is an input, and behind it name and value of each match, all divided by tabs. A percent sign and two
// hexadecimal digits stand for every byte that is no printable ASCII character, and for the percent sign.

const option = /(-[\w-]+)(?:(?:\s*=\s*|\s+(?=[^-]))("[^"]*"|\S+))?/g;
const quoted = /^"(.*)"$/;

let state = 20240229;
function chance(limit) {
  // A generator of 32 bits; its upper half is good enough.
  state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
  return Math.floor((state / 0x100000000) * limit);
}

// Characters stand for bytes. 0xA0 is left out: it is a blank to the engine, but in UTF-8 it is a part of letters.
const blanks = [' ', '  ', '\t', '\n', '\v', '\f', '\r', '\r\n'];
const names = ['-a', '-b', '--', '-', '-fxProfile', '-crUserDataDir', '-runner', '-profiler', '-_9', '--x-y', '-\u00c3\u00a4', '-a.b'];
const values = ['x', '"x y"', '""', '"', 'C:\\Program Files\\x', '"C:\\Program Files\\x\\"', '"a"b"', '-', '=', '"a\nb"', '\u00d0\u00b6', '"-c"', "'x y'", '"=', '$&', '\\'];
const pieces = [...blanks, '=', ' = ', '"', '-', 'a', '=-'];

function oneOf(list) {
  return list[chance(list.length)];
}

function usual() {
  let text = '';
  for (let n = 1 + chance(4); n > 0; --n) {
    text += oneOf(names) + oneOf([' ', '=', ' = ', '  ', '\t', '']) + oneOf(values) + oneOf([' ', '  ', '', '\n']);
  }
  return text;
}

function wild() {
  let text = '';
  for (let n = chance(14); n > 0; --n) {
    text += oneOf([names, values, pieces, pieces][chance(4)]);
  }
  return text;
}

function bytes() {
  let text = '-a';
  for (let n = chance(8); n > 0; --n) {
    const byte = 1 + chance(255);
    text += byte === 0xa0 ? ' ' : String.fromCharCode(byte);
  }
  return text;
}

function escaped(text) {
  return text.replace(/[^ -$&-~]/g, (c) => '%' + c.charCodeAt(0).toString(16).padStart(2, '0'));
}

const seen = new Set();
while (seen.size < 6000) {
  seen.add([usual, wild, wild, bytes][chance(4)]());
}
for (const text of seen) {
  const fields = [text];
  for (const match of text.matchAll(option)) {
    const value = match[2] ?? '';
    fields.push(match[1], quoted.test(value) ? value.replace(quoted, (_, inner) => inner) : value);
  }
  console.log(fields.map(escaped).join('\t'));
}
