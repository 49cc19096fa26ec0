// A browser starts helpers that leave its process group. They all carry the mark of the run in their environment, by
// which they are found and ended. On Windows the launcher's job does this, and nothing is looked for.
import fs from 'node:fs';

const kRounds = 40;
const kRoundMilliseconds = 50;

function isMarked(id, mark) {
  try {
    return fs.readFileSync(`/proc/${id}/environ`).includes(`KXB_MARK=${mark}\0`);
  } catch {
    return false;
  }
}

export function markedProcesses(mark) {
  if (process.platform === 'win32' || !mark) {
    return [];
  }
  return fs
    .readdirSync('/proc')
    .filter((name) => /^\d+$/.test(name))
    .map(Number)
    .filter((id) => id !== process.pid && isMarked(id, mark));
}

// Looks again until none is left, since one may start another while it is being ended.
export async function endMarkedProcesses(mark) {
  for (let round = 0; round < kRounds; ++round) {
    const left = markedProcesses(mark);
    if (left.length === 0) {
      return;
    }
    for (const id of left) {
      try {
        process.kill(id, 'SIGKILL');
      } catch {
        // It has ended by itself.
      }
    }
    await new Promise((resolve) => setTimeout(resolve, kRoundMilliseconds));
  }
}
