// The browser of a context: started when it is needed, kept from one job to the next, and started again after a failure of
// its connection, after so many jobs, or when it has grown too large.
import process from 'node:process';

import { reasonOf } from './outcome.js';

const EXIT_LIMIT = 10_000;

export class BrowserKeeper {
  #browser = null;
  #played = 0;
  #mustGo = false;

  /**
   * @param start gives a browser, as Browser.start() of kxtcp64 does
   * @param options the options of the start
   * @param limits { jobs, megabytes, sizeOf }: undefined is no limit; sizeOf(processId) gives the megabytes of a browser
   */
  constructor(start, options, limits = {}) {
    this.start = start;
    this.options = options;
    this.limits = limits;
  }

  get processId() {
    return this.#browser?.processId ?? 0;
  }

  async ready() {
    this.#browser ??= await this.start(this.options);
  }

  /**
   * Plays. The deadline ends a browser that this program has launched, so that a play which goes on and on fails then; the
   * library itself limits only each single read and write.
   */
  async play(macro, { variables, timeout, deadline }) {
    const browser = this.#browser;
    let isLate = false;
    const timer = setTimeout(() => {
      isLate = true;
      this.#kill();
    }, deadline);
    try {
      this.#played += 1;
      const left = await browser.play(macro, { variables, timeout: Math.min(timeout, deadline) });
      this.#mustGo ||= isLate;
      return left;
    } catch (error) {
      // After an error of the macro's own the browser is as good as before.
      this.#mustGo ||= isLate || reasonOf(error)?.kind !== 'macro';
      if (!isLate) throw error;
      throw Object.assign(new Error(`not done after ${deadline / 1000} s, its deadline`), { own: 'job-deadline', left: error.left });
    } finally {
      clearTimeout(timer);
    }
  }

  /** False when there is none: a browser that answers no more takes none. */
  async screenshot(file) {
    if (this.#mustGo) return false;
    try {
      await this.#browser.screenshot(file, { of: 'page' });
      return true;
    } catch {
      this.#mustGo = true;
      return false;
    }
  }

  /** Ends a browser that must not play the next job. */
  async tidy() {
    const { jobs, megabytes, sizeOf } = this.limits;
    const isWorn = jobs !== undefined && this.#played >= jobs;
    const isLarge = megabytes !== undefined && this.processId !== 0 && sizeOf(this.processId) > megabytes;
    if (this.#mustGo || isWorn || isLarge) await this.end();
  }

  async end() {
    const browser = this.#browser;
    if (browser === null) return;
    const processId = this.processId;
    this.#browser = null;
    this.#played = 0;
    this.#mustGo = false;
    await browser.exit({ timeout: EXIT_LIMIT }).catch(() => this.#kill(processId));
  }

  #kill(processId = this.processId) {
    if (processId === 0) return;
    try {
      process.kill(processId);
    } catch {
      // It has ended by itself.
    }
  }
}
