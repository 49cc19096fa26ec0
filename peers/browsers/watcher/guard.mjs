// The watcher's own watcher: a small process that ends the browser and removes the folders when the watcher was killed.
// On Windows the launcher's job does that, and there is none.
import path from 'node:path';
import { spawn } from 'node:child_process';
import { fileURLToPath } from 'node:url';

const kScript = path.join(path.dirname(fileURLToPath(import.meta.url)), 'guard.sh');

export class Guard {
  #child;

  constructor(mark, folders) {
    if (process.platform !== 'win32') {
      this.#child = spawn('/bin/sh', [kScript, mark, ...folders], {
        stdio: ['pipe', 'ignore', 'ignore'],
        detached: true,
      });
      this.#child.on('error', () => {});
      this.#child.stdin.on('error', () => {});
      this.#child.unref();
    }
  }

  watch(processGroup) {
    this.#child?.stdin.write(`${processGroup ?? ''}\n`);
  }

  // The watcher has cleared up itself.
  async dismiss() {
    if (this.#child) {
      await new Promise((resolve) => this.#child.stdin.end('done\n', resolve));
    }
  }
}
