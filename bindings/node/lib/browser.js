// A browser, and the context of the library through which it is driven.
import { ErrorNumber, KxError, Result } from './errors.js';
import { numbers } from './interface.js';
import { loadLibrary } from './library.js';
import * as options from './options.js';

const SEPARATOR_LENGTH = '[EXTRACT]'.length;
const SCREENSHOTS = numbers('screenshot', 'KX_SCREENSHOT_');
const LIMIT_AT_THE_END = 10;

// Why requests and answers no longer go together after a request that failed so; undefined when they still do. The
// extension can have the same numbers with texts of its own.
function outOfStep({ number, text }) {
  if (number === ErrorNumber.TIMEOUT && ['Error while sending request', 'Error while receiving response'].includes(text)) {
    return "an earlier request has timed out, and its late answer would count as the next one's";
  }
  if (number === ErrorNumber.GENERAL && text === 'Error in response processing') {
    return 'an earlier answer was not valid, and what is left of it would spoil the next one';
  }
  return undefined;
}

// What a browser leaves behind it when its object is forgotten; therefore it does not know that object.
class Session {
  constructor(settings) {
    this.library = loadLibrary(settings.dll);
    this.settings = settings;
    this.context = this.library.call.kx_ContextCreate();
    if (this.context < 0) {
      throw new KxError('kx_ContextCreate', this.context, 0, 'there is no memory for another context');
    }
    this.isOpen = false;
    this.isCalling = false;
    this.outOfStep = null; // the number and the reason, once requests and answers no longer go together
    this.last = Promise.resolve();
    this.processId = 0;
  }

  // One after the other: the library allows one call at a time for a context.
  async queue(action) {
    const before = this.last;
    let release;
    this.last = new Promise((resolve) => (release = resolve));
    await before;
    try {
      return await action();
    } finally {
      release();
    }
  }

  async later(name, ...rest) {
    this.isCalling = true;
    try {
      return await this.library.later[name](this.context, ...rest);
    } finally {
      this.isCalling = false;
    }
  }

  check(name, isRequest) {
    if (!this.isOpen) throw new KxError(name, Result.NO_CONTEXT, ErrorNumber.NONE, 'the browser was closed');
    if (isRequest && this.outOfStep) {
      const { number, reason } = this.outOfStep;
      throw new KxError(name, Result.FAILED, number, `${reason}; close this browser and start another`);
    }
  }

  error(name, result, remark) {
    return this.library.error(name, result, this.context, remark);
  }

  // KX_OK alone does not do: the browser may have answered with an error.
  failure(name, result, remark) {
    const number = this.library.call.kx_GetLastErrorNumber(this.context);
    return result === Result.OK && number === ErrorNumber.SUCCESS ? null : this.error(name, result, remark);
  }

  async request(name, ...rest) {
    this.check(name, true);
    const failure = this.failure(name, await this.later(name, ...rest));
    const reason = failure?.result === Result.FAILED ? outOfStep(failure) : undefined;
    if (reason) this.outOfStep = { number: failure.number, reason };
    return failure;
  }

  async start() {
    const { runner, browser, options: words, path, newWindow, seconds, attach } = this.settings;
    const name = runner ? 'kxr_Init' : 'kx_Init';
    const result = await (runner ? this.later(name, browser, words, newWindow, seconds)
                                 : this.later(name, browser, words, path, 0, newWindow, seconds));
    this.isOpen = result === Result.OK;
    const failure = this.failure(name, result, attach && result > 0 ? '; nobody serves the extension\'s pipe' : '');
    if (failure) {
      if (this.isOpen) await this.close(LIMIT_AT_THE_END).catch(() => {});
      this.destroy();
      throw failure;
    }
    this.processId = this.library.call.kx_GetBrowserProcessId(this.context);
    open.add(this);
  }

  setVariable(name, value) {
    this.check('kx_SetVar', false);
    const result = this.library.call.kx_SetVar(this.context, name, value);
    if (result !== Result.OK) throw this.error('kx_SetVar', result);
  }

  async play(macro, variables, seconds) {
    this.check('kx_Play', true);
    for (const [name, value] of variables) this.setVariable(name, value);
    const failure = await this.request('kx_Play', macro, seconds);
    const left = {
      extracts: this.extracts(),
      performance: this.performance(),
      profilerData: this.library.text('kx_GetPerformance', this.context),
    };
    if (failure) throw Object.assign(failure, { left });
    return left;
  }

  // Nothing tells how many there are, and an empty extract looks like none. But the length of all of them, joined, is
  // known: the last one is that with which the lengths add up to it.
  extracts() {
    const sizeOf = (index) => this.library.call.kx_GetLastExtract(this.context, null, 0, index);
    const lengthOf = (index) => Math.max(sizeOf(index) - 1, 0);
    const extracts = [];
    const whole = lengthOf(0);
    if (whole === 0) return extracts;
    for (let sum = -SEPARATOR_LENGTH; sum < whole;) {
      const index = extracts.length + 1;
      sum += SEPARATOR_LENGTH + lengthOf(index);
      extracts.push(this.library.text('kx_GetLastExtract', this.context, index));
    }
    return extracts;
  }

  performance() {
    const entries = [];
    for (let entry; (entry = this.library.performanceEntry(this.context, entries.length + 1)) !== null;) {
      entries.push(entry);
    }
    return entries;
  }

  async exit(seconds) {
    if (!this.isOpen) return;
    const name = this.settings.runner ? 'kxr_Exit' : 'kx_Exit';
    const result = await this.later(name, seconds);
    if (result !== Result.OK) throw this.error(name, result);
    this.destroy();
  }

  async close(seconds) {
    if (!this.settings.attach) return this.exit(seconds);
    if (this.isOpen) this.destroy();
  }

  // When the process ends there is no time for promises.
  closeNow() {
    if (this.isCalling || this.settings.attach) return;
    this.library.call[this.settings.runner ? 'kxr_Exit' : 'kx_Exit'](this.context, LIMIT_AT_THE_END);
  }

  // Once: the library gives the number of a destroyed context to the next one.
  destroy() {
    open.delete(this);
    this.isOpen = false;
    if (this.context !== null) this.library.call.kx_ContextDestroy(this.context);
    this.context = null;
  }
}

const open = new Set();
process.on('exit', () => open.forEach((session) => session.closeNow()));
const forgotten = new FinalizationRegistry(
    (session) => session.queue(() => session.close(LIMIT_AT_THE_END)).catch(() => {}));

export class Browser {
  #session;

  constructor(session) {
    if (!(session instanceof Session)) throw new TypeError('a browser comes from Browser.start()');
    this.#session = session;
    forgotten.register(this, session);
  }

  static async start(given = {}) {
    const session = new Session(options.startSettings(given));
    await session.start();
    return new Browser(session);
  }

  static async use(given, action) {
    const browser = await Browser.start(given);
    try {
      return await action(browser);
    } finally {
      await browser.close();
    }
  }

  get processId() {
    return this.#session.processId;
  }

  async setVariable(name, value) {
    options.variableName(name);
    options.text(`the value of ${name}`, value);
    return await this.#session.queue(() => this.#session.setVariable(name, value));
  }

  async play(macro, given = {}) {
    options.text('the macro', macro);
    const { variables, timeout } = options.named(given, { variables: {}, timeout: 30_000 });
    const pairs = Object.entries(variables);
    for (const [name, value] of pairs) {
      options.variableName(name);
      options.text(`the value of ${name}`, value);
    }
    const seconds = options.seconds('timeout', timeout);
    return await this.#session.queue(() => this.#session.play(macro, pairs, seconds));
  }

  async show(message, given = {}) {
    options.text('the message', message);
    return this.#request('kx_Display', options.named(given, { timeout: 30_000 }), message);
  }

  async screenshot(file, given = {}) {
    const { of, timeout } = options.named(given, { of: 'browser', timeout: 30_000 });
    if (of !== 'browser' && of !== 'page') throw new TypeError("of has to be 'browser' or 'page'");
    return this.#request(
        'kx_TakeBrowserScreenshot', { timeout }, options.wholePath('the path', file), SCREENSHOTS[of.toUpperCase()]);
  }

  async #request(name, { timeout }, ...rest) {
    const seconds = options.seconds('timeout', timeout);
    const failure = await this.#session.queue(() => this.#session.request(name, ...rest, seconds));
    if (failure) throw failure;
  }

  async exit(given = {}) {
    const seconds = options.seconds('timeout', options.named(given, { timeout: 10_000 }).timeout);
    return await this.#session.queue(() => this.#session.exit(seconds));
  }

  async close(given = {}) {
    const seconds = options.seconds('timeout', options.named(given, { timeout: 10_000 }).timeout);
    return await this.#session.queue(() => this.#session.close(seconds));
  }
}

// Node 18 has no such symbol.
if (Symbol.asyncDispose) {
  Object.defineProperty(Browser.prototype, Symbol.asyncDispose, {
    value() {
      return this.close();
    },
    configurable: true,
    writable: true,
  });
}
