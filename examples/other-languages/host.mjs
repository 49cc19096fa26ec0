// Starts a browser with the profile "work", plays a macro in it, prints its first extract, and ends it.
//
//     node host.mjs KXTCP64.DLL BROWSER MACRO-TEXT
import { resolve } from 'node:path';
import { promisify } from 'node:util';

import koffi from 'koffi';

const [dll, browser, macro] = process.argv.slice(2);
if (macro === undefined) {
  console.error('usage: node host.mjs KXTCP64.DLL BROWSER MACRO-TEXT');
  process.exit(2);
}

const library = koffi.load(resolve(dll));
const create = library.func('int kx_ContextCreate()');
const init = library.func(
    'int kx_Init(int context, str browser, str options, str path, int port, int openNewBrowser, int timeout)');
const setVariable = library.func('int kx_SetVar(int context, str name, str value)');
const play = library.func('int kx_Play(int context, str macro, int timeout)');
const lastExtract = library.func('int kx_GetLastExtract(int context, void *buffer, int size, int index)');
const errorNumber = library.func('int kx_GetLastErrorNumber(int context)');
const errorText = library.func('int kx_GetLastErrorText(int context, void *buffer, int size)');
const exit = library.func('int kx_Exit(int context, int timeout)');
const destroy = library.func('void kx_ContextDestroy(int context)');

// Asks for the size, which counts a zero at the end, then for the text.
function textOf(copy, context, ...rest) {
  const size = copy(context, null, 0, ...rest);
  if (size <= 0) return '';
  const buffer = Buffer.alloc(size);
  copy(context, buffer, size, ...rest);
  return buffer.toString('utf8', 0, size - 1);
}

// KX_OK alone does not do: the browser may have answered with an error.
function check(context, call, result) {
  const number = errorNumber(context);
  if (result !== 0 || number !== 1) {
    throw new Error(`${call} failed: result ${result}, error ${number}: ${textOf(errorText, context)}`);
  }
}

// Calls that wait run on a thread of a pool; `await` sees to it that there is one at a time.
async function run(context) {
  const result = await promisify(init.async)(context, 'fx', '-fxProfile work', resolve(browser), 0, 0, 60);
  try {
    check(context, 'kx_Init', result);
    setVariable(context, 'city', 'Tromsø');
    check(context, 'kx_Play', await promisify(play.async)(context, macro, 30));
    return textOf(lastExtract, context, 1);
  } finally {
    if (result === 0) await promisify(exit.async)(context, 10);
  }
}

const context = create();
try {
  console.log('the first extract:', await run(context));
} catch (error) {
  console.error(error.message);
  process.exitCode = 1;
} finally {
  destroy(context);
}
