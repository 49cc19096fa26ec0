// The arguments with which a host starts a browser by itself.
import { ErrorNumber, KxError, Result } from './errors.js';
import { loadLibrary } from './library.js';
import { named, target, wholePath } from './options.js';

export function commandLine(options = {}) {
  const given = named(options, {
    browser: 'fx',
    profile: undefined,
    userDataDir: undefined,
    profiler: false,
    startPage: undefined,
    dll: undefined,
  });
  const { browser, options: words } = target({ ...given, runner: true });
  if (given.startPage !== undefined && browser !== 'cr') throw new TypeError('startPage is for Chrome');
  const page = given.startPage === undefined ? null : wholePath('startPage', given.startPage);
  const call = loadLibrary(given.dll).call.kxr_GetCommandLine;
  const size = call(browser, words, null, 0, page);
  const buffer = Buffer.alloc(Math.max(size, 0));
  const result = size > 0 ? call(browser, words, buffer, size, page) : size;
  if (result !== Result.OK) {
    throw new KxError(
        'kxr_GetCommandLine', result, ErrorNumber.NONE,
        'the start page could not be written to the folder that TEMP names, or memory ran out');
  }
  return buffer.toString('utf8', 0, size - 1);
}
