// The answer to each kind of request. One per connection: it knows the tab its host works in. A reply is an object with
// the members that the library reads; what goes wrong is told in it by number and text.
import fs from 'node:fs/promises';
import * as failures from './failures.mjs';
import { asFailure } from './failures.mjs';
import { Macro } from './macro.mjs';
import { within } from './within.mjs';

// A page that is still being loaded does not answer.
const kPageMilliseconds = 1000;

function success(members) {
  return { status: 'OK', errorCode: failures.kSuccess, ...members };
}

// Runs in the page.
function showInPage(message) {
  const id = 'kx-message';
  document.getElementById(id)?.remove();
  const box = document.createElement('div');
  box.id = id;
  box.textContent = message;
  box.style.cssText =
    'position:fixed;left:0;right:0;top:0;z-index:2147483647;padding:12px 16px;white-space:pre-wrap;' +
    'font:16px sans-serif;color:#fff;background:#1b4f8f;box-shadow:0 2px 6px rgba(0,0,0,.4)';
  document.documentElement.append(box);
}

// Runs in the page.
function navigationTimes() {
  const [entry] = performance.getEntriesByType('navigation');
  return entry ? entry.toJSON() : null;
}

export class Answers {
  #session;
  #settings;
  #log;
  #ownTab;

  constructor(session, settings, log) {
    this.#session = session;
    this.#settings = settings;
    this.#log = log;
  }

  async answer({ type, args }, signal) {
    try {
      switch (type) {
        case 'init':
          return await this.#init(args);
        case 'play':
          return await this.#play(args, signal);
        case 'show':
          return await this.#show(args);
        case 'capture':
          return await this.#capture(args);
        case 'exit':
          return success({ waitForProcessId: this.#settings.launcherId });
        default:
          return { status: `Unknown request "${type}"`, errorCode: failures.kBadRequest };
      }
    } catch (error) {
      const failure = asFailure(error, failures.kBrowserError);
      return { status: failure.message, errorCode: failure.number };
    }
  }

  async #tab() {
    return this.#ownTab && !this.#ownTab.page.isClosed() ? this.#ownTab : this.#session.currentTab();
  }

  async #init(args) {
    // A browser that was launched for this host has just opened its first tab. Another host may open further ones.
    this.#ownTab =
      args.openNewBrowser && !args.launched ? await this.#session.newTab() : await this.#session.currentTab();
    return success();
  }

  async #play(args, signal) {
    const tab = await this.#tab();
    const macro = new Macro({ tab, variables: args.vars ?? {}, signal, log: this.#log });
    const played = await macro.play(String(args.source ?? ''));
    const reply = {
      status: played.status,
      errorCode: played.errorCode,
      extractData: played.extracts,
      lastPerformance: played.measures.map(([name, value]) => ({ name, value })),
    };
    if (args.use_profiler || this.#settings.profiler) {
      reply.profilerData = JSON.stringify({
        browser: await this.#session.version(),
        steps: played.steps,
        navigation: (await within(kPageMilliseconds, tab.page.evaluate(navigationTimes).catch(() => null))) ?? null,
      });
    }
    return reply;
  }

  async #show(args) {
    const tab = await this.#tab();
    await tab.page.evaluate(showInPage, String(args.message ?? ''));
    return success();
  }

  async #capture(args) {
    const tab = await this.#tab();
    const picture = await tab.page.screenshot({ type: 'png', fullPage: args.type === 'webpage' });
    try {
      await fs.writeFile(String(args.path), picture);
    } catch (error) {
      throw asFailure(error, failures.kCannotWrite);
    }
    return success();
  }
}
