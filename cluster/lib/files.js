// Files that a user names.
import fs from 'node:fs';

import { Mistake } from './mistake.js';

const REASONS = {
  ENOENT: 'there is no such file',
  EISDIR: 'it is a folder',
  EACCES: 'it may not be read',
  EPERM: 'it may not be read',
  ENOTDIR: 'there is no such file',
};

function mistakeOf(error, what, name) {
  const reason = REASONS[error.code];
  return reason ? new Mistake(`${what} ${name} cannot be read: ${reason}.`) : error;
}

/** The whole text of a file in UTF-8. */
export function textOf(name, what) {
  let bytes;
  try {
    bytes = fs.readFileSync(name);
  } catch (error) {
    throw mistakeOf(error, what, name);
  }
  try {
    return new TextDecoder('utf-8', { fatal: true }).decode(bytes);
  } catch {
    throw new Mistake(`${what} ${name} is not UTF-8 text.`);
  }
}

/** The text of a file, or with "-" of standard input, in pieces. */
export async function* piecesOf(name, what) {
  const stream = name === '-' ? process.stdin : fs.createReadStream(name, { highWaterMark: 1 << 18 });
  const decoder = new TextDecoder('utf-8', { fatal: true });
  let lines = 1;
  const decode = (bytes, more) => {
    try {
      return decoder.decode(bytes, { stream: more });
    } catch {
      throw new Mistake(`${what} ${name} is not UTF-8 text; what is wrong stands in line ${lines} or behind it.`);
    }
  };
  try {
    for await (const bytes of stream) {
      const text = decode(bytes, true);
      yield text;
      for (const byte of bytes) lines += byte === 10 ? 1 : 0;
    }
  } catch (error) {
    throw mistakeOf(error, what, name);
  }
  yield decode(undefined, false);
}
