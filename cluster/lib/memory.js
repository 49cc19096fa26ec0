// How much memory a process and all that it started hold, on Windows.
import koffi from 'koffi';

const kernel = koffi.load('kernel32.dll');
const SNAPSHOT_OF_PROCESSES = 2;
const MAY_QUERY_AND_READ = 0x0410;

const Entry = koffi.struct({
  size: 'uint32',
  usage: 'uint32',
  processId: 'uint32',
  heap: 'uintptr',
  module: 'uint32',
  threads: 'uint32',
  parentId: 'uint32',
  priority: 'int32',
  flags: 'uint32',
  file: koffi.array('char16', 260),
});
const Counters = koffi.struct({
  size: 'uint32',
  faults: 'uint32',
  peakWorkingSet: 'size_t',
  workingSet: 'size_t',
  peakPagedPool: 'size_t',
  pagedPool: 'size_t',
  peakPool: 'size_t',
  pool: 'size_t',
  pagefile: 'size_t',
  peakPagefile: 'size_t',
});
const snapshot = kernel.func('CreateToolhelp32Snapshot', 'intptr', ['uint32', 'uint32']);
const first = kernel.func('Process32FirstW', 'int', ['intptr', koffi.inout(koffi.pointer(Entry))]);
const next = kernel.func('Process32NextW', 'int', ['intptr', koffi.inout(koffi.pointer(Entry))]);
const open = kernel.func('OpenProcess', 'intptr', ['uint32', 'int', 'uint32']);
const close = kernel.func('CloseHandle', 'int', ['intptr']);
const counters = kernel.func('K32GetProcessMemoryInfo', 'int', ['intptr', koffi.out(koffi.pointer(Counters)), 'uint32']);

function processes() {
  const handle = snapshot(SNAPSHOT_OF_PROCESSES, 0);
  const found = [];
  const entry = { size: koffi.sizeof(Entry), usage: 0, processId: 0, heap: 0, module: 0, threads: 0, parentId: 0, priority: 0, flags: 0, file: '' };
  for (let isThere = first(handle, entry); isThere; isThere = next(handle, entry)) {
    found.push({ id: entry.processId, parent: entry.parentId });
  }
  close(handle);
  return found;
}

function bytesOf(id) {
  const handle = open(MAY_QUERY_AND_READ, 0, id);
  if (Number(handle) === 0) return 0;
  const found = {};
  const isKnown = counters(handle, found, koffi.sizeof(Counters));
  close(handle);
  return isKnown ? Number(found.workingSet) : 0;
}

/** Megabytes of the process and its descendants; 0 when it is no more. */
export function megabytesOf(processId) {
  const all = processes();
  const family = new Set([processId]);
  // A child may stand in front of its parent.
  for (let size = 0; size !== family.size;) {
    size = family.size;
    for (const { id, parent } of all) if (family.has(parent)) family.add(id);
  }
  return [...family].reduce((sum, id) => sum + bytesOf(id), 0) / (1 << 20);
}
