// KXTCP64.dll and its functions, with texts and sizes handled.
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import { promisify } from 'node:util';

import koffi from 'koffi';

import { KxError, Result } from './errors.js';
import { functions } from './interface.js';

const TYPES = { void: 'void', int: 'int', text: 'str', buffer: 'void *', 'int*': '_Inout_ int *' };
const prototype = ({ returns, name, arguments: list }) =>
  `${TYPES[returns]} ${name}(${list.map((argument) => `${TYPES[argument.type]} ${argument.name}`).join(', ')})`;

// Sizes count the zero at the end; nothing has none.
const textIn = (buffer, size) => buffer.toString('utf8', 0, Math.max(size - 1, 0));

function open(file) {
  try {
    return koffi.load(file);
  } catch (cause) {
    throw new Error(`${file} cannot be loaded: ${cause.message}`, { cause });
  }
}

class Library {
  constructor(file) {
    const handle = open(file);
    this.call = {};
    // The calls that may wait, on a thread of Node's pool, as promises.
    this.later = {};
    for (const described of functions) {
      const call = handle.func(prototype(described));
      this.call[described.name] = call;
      if (described.blocks) this.later[described.name] = promisify(call.async);
    }
  }

  // The text of a function with a context, a buffer and its size.
  text(name, context, ...rest) {
    const call = this.call[name];
    const size = call(context, null, 0, ...rest);
    const buffer = Buffer.alloc(Math.max(size, 0));
    const copied = size > 0 ? call(context, buffer, size, ...rest) : size;
    if (copied < 0) throw this.error(name, copied, context);
    return textIn(buffer, size);
  }

  // The entry as a pair, or null behind the last one.
  performanceEntry(context, index) {
    const call = this.call.kx_GetLastPerformance;
    const nameSize = [0];
    const valueSize = [0];
    if (call(context, index, null, nameSize, null, valueSize) !== Result.OK) return null;
    const name = Buffer.alloc(nameSize[0]);
    const value = Buffer.alloc(valueSize[0]);
    const result = call(context, index, name, nameSize, value, valueSize);
    if (result !== Result.OK) throw this.error('kx_GetLastPerformance', result, context);
    return [textIn(name, name.length), textIn(value, value.length)];
  }

  error(name, result, context, remark) {
    return new KxError(
        name, result, this.call.kx_GetLastErrorNumber(context), this.text('kx_GetLastErrorText', context), remark);
  }
}

// A library that was loaded stays: to load it again and again costs memory.
const loaded = new Map();

/** The option's file, else that of KXTCP64_DLL, else the one in this package. */
export function loadLibrary(file = process.env.KXTCP64_DLL || undefined) {
  if (process.platform !== 'win32' || process.arch !== 'x64') {
    throw new Error(`KXTCP64.dll is for 64-bit Windows, and this Node is for ${process.platform} ${process.arch}`);
  }
  const whole = path.resolve(file ?? fileURLToPath(new URL('../KXTCP64.dll', import.meta.url)));
  if (!loaded.has(whole)) loaded.set(whole, new Library(whole));
  return loaded.get(whole);
}
