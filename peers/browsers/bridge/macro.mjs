// Plays one macro: JavaScript that runs in the bridge with helpers that work on the real page. MACROS.md is the
// reference of the helpers. Everything that goes wrong becomes a number and a text, and what was extracted or measured
// until then is kept.
import { performance } from 'node:perf_hooks';
import vm from 'node:vm';
import * as failures from './failures.mjs';
import { Failure, asFailure } from './failures.mjs';
import { within } from './within.mjs';

const kDefaultSeconds = 10;
const kNavigationSeconds = 60;
const kNavigationAttempts = 5;
// A page that the macro has left in the middle of its loading does not answer.
const kLastErrorsMilliseconds = 2000;
const kFile = 'macro';

function compile(source, names) {
  const wrapped = `(async ({ ${names.join(', ')} }) => {\n${source}\n})`;
  try {
    return new vm.Script(wrapped, { filename: kFile, lineOffset: -1 }).runInThisContext();
  } catch (error) {
    const line = new RegExp(`^${kFile}:(\\d+)`).exec(error.stack)?.[1];
    throw new Failure(failures.kMacroSyntax, line ? `${error.message} (line ${line})` : error.message);
  }
}

// Runs in the page. What a user reads in the element; a button's label is its text, not its value.
function textInPage(element) {
  return element.matches('input, textarea, select') ? element.value : element.textContent;
}

// Runs in the page.
function textsInPage(selector) {
  return [...document.querySelectorAll(selector)].map((element) => element.textContent);
}

// Runs in the page. A row is its cells with tabs between them.
function rowsInPage(selector) {
  return [...document.querySelectorAll(`${selector} tbody tr`)].map((row) =>
    [...row.cells].map((cell) => cell.textContent).join('\t'));
}

function isTimeout(error) {
  return error?.name === 'TimeoutError';
}

// The line of the macro that an error came from, for its text.
function lineOf(error) {
  return new RegExp(`\\b${kFile}:(\\d+)`).exec(error?.stack ?? '')?.[1];
}

export class Macro {
  #tab;
  #variables;
  #signal;
  #log;
  #extracts = [];
  #measures = [];
  #steps = [];
  #status = 'OK';
  #allowsPageErrors = false;
  #running = new Set();
  #began = performance.now();

  constructor({ tab, variables, signal, log }) {
    this.#tab = tab;
    this.#variables = Object.freeze({ __proto__: null, ...variables });
    this.#signal = signal;
    this.#log = log;
  }

  // { status, errorCode, extracts, measures, steps }; never throws.
  async play(source) {
    this.#tab.pageErrors.length = 0;
    this.#tab.dialogs.length = 0;
    this.#tab.dialogAnswer = { accept: false, text: undefined };
    let errorCode = failures.kSuccess;
    let status;
    try {
      await this.#run(source);
      status = this.#status;
    } catch (error) {
      const failure = this.#explain(error);
      errorCode = failure.number;
      status = failure.message;
    }
    this.#measures.push(['Total', this.#secondsSince(this.#began)]);
    return { status, errorCode, extracts: this.#extracts, measures: this.#measures, steps: this.#steps };
  }

  async #run(source) {
    const helpers = this.#helpers();
    const macro = compile(source, Object.keys(helpers));
    await Promise.race([macro(helpers), this.#givenUp()]);
    // A step that the macro did not wait for belongs to it all the same.
    await Promise.all(this.#running);
    // What the page has thrown until now is known once it has answered.
    await within(kLastErrorsMilliseconds, this.#tab.page.evaluate(() => 0).catch(() => {}));
    this.#checkPage();
  }

  #givenUp() {
    return new Promise((_, reject) => {
      const giveUp = () => reject(new Failure(failures.kTimedOut, 'The host has given up waiting'));
      this.#signal.addEventListener('abort', giveUp, { once: true });
    });
  }

  #explain(error) {
    const failure = asFailure(error, failures.kMacroError);
    const line = failure.number === failures.kMacroError ? lineOf(error) : undefined;
    return line ? new Failure(failure.number, `${failure.message} (line ${line})`) : failure;
  }

  #secondsSince(moment) {
    return ((performance.now() - moment) / 1000).toFixed(3);
  }

  #checkPage() {
    if (!this.#allowsPageErrors && this.#tab.pageErrors.length > 0) {
      const error = this.#tab.pageErrors[0];
      // One browser says "Error: text" where the other says "text".
      const text = String(error?.message ?? error).replace(/^(Uncaught )?Error: /, '');
      throw new Failure(failures.kPageError, `The page has thrown: ${text}`);
    }
  }

  #helpers() {
    const helpers = {
      variables: this.#variables,
      page: this.#tab.page,
      fail: (...what) => this.#fail(what),
      status: (text) => {
        this.#status = String(text);
      },
      extractText: (text) => {
        this.#extracts.push(String(text));
      },
      onDialog: (answer, text) => {
        this.#tab.dialogAnswer = { accept: answer === 'accept', text };
      },
      dialogs: () => [...this.#tab.dialogs],
      allowPageErrors: () => {
        this.#allowsPageErrors = true;
      },
      log: (text) => this.#log(`macro: ${text}`),
      measure: (name, action) => this.#measure(name, action),
    };
    for (const [name, step] of Object.entries(this.#pageSteps())) {
      helpers[name] = (...args) => this.#step(name, step, args);
    }
    return helpers;
  }

  #fail(what) {
    const [number, text] = typeof what[0] === 'number' ? what : [failures.kFailed, what[0]];
    throw new Failure(Math.trunc(number), text === undefined ? 'The macro has failed' : String(text));
  }

  async #measure(name, action) {
    const began = performance.now();
    try {
      return await action();
    } finally {
      this.#measures.push([String(name), this.#secondsSince(began)]);
    }
  }

  // Every step on the page is timed, ends with the macro, and tells of errors that the page has met meanwhile.
  #step(name, step, args) {
    const running = (async () => {
      if (this.#signal.aborted) {
        throw new Failure(failures.kTimedOut, 'The host has given up waiting');
      }
      const began = performance.now();
      try {
        const result = await step(...args);
        this.#checkPage();
        return result;
      } finally {
        this.#steps.push({
          step: name,
          on: typeof args[0] === 'string' ? args[0] : '',
          start: ((began - this.#began) / 1000).toFixed(3),
          seconds: this.#secondsSince(began),
        });
      }
    })();
    // Its failure is found by whoever waits for it, and at the end of the macro.
    running.catch(() => {});
    this.#running.add(running);
    running.then(() => this.#running.delete(running), () => {});
    // A macro that catches a failure has dealt with it.
    return {
      then: (resolve, reject) => {
        this.#running.delete(running);
        return running.then(resolve, reject);
      },
      catch: (reject) => {
        this.#running.delete(running);
        return running.catch(reject);
      },
      finally: (action) => {
        this.#running.delete(running);
        return running.finally(action);
      },
    };
  }

  #pageSteps() {
    const { page } = this.#tab;
    const milliseconds = (seconds) => Math.max(1, Math.round((seconds ?? kDefaultSeconds) * 1000));
    return {
      open: (address, seconds) => this.#navigate(seconds, (timeout) => this.#goTo(String(address), timeout)),
      follow: (selector, seconds) => this.#navigate(seconds, async (timeout) => {
        await Promise.all([page.waitForNavigation({ timeout }), this.#act(selector, timeout, (on) => on.click())]);
      }),
      fill: (selector, text, seconds) =>
        this.#act(selector, milliseconds(seconds), (on) => on.fill(String(text))),
      click: (selector, seconds) => this.#act(selector, milliseconds(seconds), (on) => on.click()),
      choose: async (selector, ...values) => {
        await this.#find(selector, milliseconds());
        return page.select(selector, ...values.map(String));
      },
      press: (key) => page.keyboard.press(key),
      pause: (seconds) => new Promise((resolve) => {
        const timer = setTimeout(resolve, seconds * 1000);
        this.#signal.addEventListener('abort', () => clearTimeout(timer), { once: true });
      }),
      waitFor: (what, seconds, ...args) => this.#waitFor(what, milliseconds(seconds), args),
      extract: async (selector, seconds) => {
        await this.#find(selector, milliseconds(seconds));
        const text = await page.$eval(selector, textInPage);
        this.#extracts.push(String(text));
        return text;
      },
      extractAll: (selector) => this.#extractMany(textsInPage, selector),
      extractTable: (selector) => this.#extractMany(rowsInPage, selector),
      evaluate: async (code, ...args) => {
        try {
          return await page.evaluate(code, ...args);
        } catch (error) {
          throw asFailure(error, failures.kPageError);
        }
      },
    };
  }

  async #extractMany(inPage, selector) {
    // One question for all of them: asking for each element by itself takes seconds for a thousand.
    const texts = await this.#tab.page.evaluate(inPage, selector);
    for (const text of texts) {
      this.#extracts.push(text);
    }
    return texts;
  }

  // Firefox sometimes tells a navigation of the end of the one before, which a macro that was given up has left behind;
  // on a busy machine more than once.
  async #goTo(address, timeout) {
    for (let attempt = 1; ; ++attempt) {
      try {
        await this.#tab.page.goto(address, { timeout });
        return;
      } catch (error) {
        if (attempt === kNavigationAttempts || !/interrupted an unfinished navigation/.test(error?.message)) {
          throw error;
        }
      }
    }
  }

  async #navigate(seconds, go) {
    const limit = seconds ?? kNavigationSeconds;
    try {
      await go(limit * 1000);
    } catch (error) {
      if (isTimeout(error)) {
        throw new Failure(failures.kTimedOut, `The page was not there within ${limit} s`);
      }
      throw asFailure(error, failures.kNavigationFailed);
    }
  }

  async #find(selector, timeout) {
    try {
      return await this.#tab.page.waitForSelector(selector, { timeout });
    } catch (error) {
      throw isTimeout(error) ? new Failure(failures.kNoSuchElement, `The page has no element ${selector}`)
        : asFailure(error, failures.kBrowserError);
    }
  }

  async #act(selector, timeout, action) {
    await this.#find(selector, timeout);
    try {
      await action(this.#tab.page.locator(selector).setTimeout(timeout));
    } catch (error) {
      throw isTimeout(error) ? new Failure(failures.kTimedOut, `The element ${selector} does not take it`)
        : asFailure(error, failures.kBrowserError);
    }
  }

  async #waitFor(what, timeout, args) {
    try {
      await (typeof what === 'function'
        ? this.#tab.page.waitForFunction(what, { timeout }, ...args)
        : this.#tab.page.waitForSelector(what, { timeout, visible: true }));
    } catch (error) {
      throw isTimeout(error)
        ? new Failure(failures.kTimedOut, `Not met within ${timeout / 1000} s: ${what}`)
        : asFailure(error, failures.kPageError);
    }
  }
}
