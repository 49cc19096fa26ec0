// How far something is, on the error stream: a bar that is drawn over and over on a terminal, otherwise a line now and then.
const WIDTH = 30;

export class Progress {
  #shown = 0;
  #started = Date.now();

  constructor(what, total, { stream = process.stderr, isQuiet = false } = {}) {
    Object.assign(this, { what, total, stream, isQuiet });
  }

  show(count, remark = '') {
    const now = Date.now();
    const isEnd = count === this.total;
    const pause = this.stream.isTTY ? 100 : 5000;
    if (this.isQuiet || (!isEnd && now - this.#shown < pause)) return;
    this.#shown = now;
    const share = this.total > 0 ? count / this.total : 1;
    const seconds = (now - this.#started) / 1000;
    const text = `${this.what} ${count} of ${this.total}${remark}, ${seconds.toFixed(1)} s`;
    if (this.stream.isTTY) {
      const filled = Math.round(share * WIDTH);
      this.stream.write(`\r[${'#'.repeat(filled)}${'.'.repeat(WIDTH - filled)}] ${text}\x1b[K${isEnd ? '\n' : ''}`);
    } else {
      this.stream.write(`${text}\n`);
    }
  }
}
