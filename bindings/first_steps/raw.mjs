// Starts Firefox with the profile "work", plays a macro, prints its extracts, and closes Firefox: without a wrapper.
//
//     node raw.mjs KXTCP64.DLL BROWSER MACRO-TEXT
import { promisify } from 'node:util';

import koffi from 'koffi';

const [dll, browser, macro] = process.argv.slice(2);
const library = koffi.load(dll);
const create = library.func('int kx_ContextCreate()');
const init = library.func('int kx_Init(int context, str browser, str options, str path, int port, int window, int timeout)');
const setVariable = library.func('int kx_SetVar(int context, str name, str value)');
const play = library.func('int kx_Play(int context, str macro, int timeout)');
const lastExtract = library.func('int kx_GetLastExtract(int context, void *buffer, int size, int index)');
const errorNumber = library.func('int kx_GetLastErrorNumber(int context)');
const errorText = library.func('int kx_GetLastErrorText(int context, void *buffer, int size)');
const exit = library.func('int kx_Exit(int context, int timeout)');
const destroy = library.func('void kx_ContextDestroy(int context)');

const context = create();

function bytesOf(copy, ...rest) {
  const size = copy(context, null, 0, ...rest);
  if (size <= 1) return Buffer.alloc(0);
  const buffer = Buffer.alloc(size);
  copy(context, buffer, size, ...rest);
  return buffer.subarray(0, size - 1);
}

// An empty extract has the size that one beyond the last has; the size of all, joined, tells the end.
function extracts() {
  const whole = lastExtract(context, null, 0, 0);
  const found = [];
  for (let length = 0; whole > 0 && (found.length === 0 || length + 1 < whole);) {
    const extract = bytesOf(lastExtract, found.length + 1);
    length += extract.length + (found.length > 0 ? '[EXTRACT]'.length : 0);
    found.push(extract.toString('utf8'));
  }
  return found;
}

function check(call, result, number = 1) {
  if (result === 0 && number === 1) return;
  throw new Error(`${call} failed: result ${result}, error ${errorNumber(context)}: ${bytesOf(errorText).toString('utf8')}`);
}

let started;
try {
  started = await promisify(init.async)(context, 'fx', '-fxProfile "work"', browser, 0, 0, 60);
  check('kx_Init', started, errorNumber(context));
  check('kx_SetVar', setVariable(context, 'city', 'Oslo'));
  check('kx_Play', await promisify(play.async)(context, macro, 60));
  for (const extract of extracts()) console.log(extract);
} catch (error) {
  console.error(error.message);
  process.exitCode = 1;
} finally {
  if (started === 0) await promisify(exit.async)(context, 10);
  destroy(context);
}
