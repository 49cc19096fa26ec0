// A mutex of Windows, by its name.
import koffi from 'koffi';

const kernel = koffi.load('kernel32.dll');
const create = kernel.func('CreateMutexW', 'intptr', ['void *', 'int', 'str16']);
const wait = kernel.func('WaitForSingleObject', 'uint32', ['intptr', 'uint32']);
const release = kernel.func('ReleaseMutex', 'int', ['intptr']);
const close = kernel.func('CloseHandle', 'int', ['intptr']);
const IS_MINE = 0;
// Its owner has died. What it guarded may be in any state; a browser is started afresh in any case.
const WAS_ABANDONED = 0x80;

/** The mutex, with close(); null when another process has it, or it is another user's. */
export function takeMutex(name) {
  const handle = create(null, 0, name);
  if (Number(handle) === 0) return null;
  if (![IS_MINE, WAS_ABANDONED].includes(wait(handle, 0))) {
    close(handle);
    return null;
  }
  return {
    close() {
      release(handle);
      close(handle);
    },
  };
}
