// The real browser as it is driven: its connection, its tabs, and what happens in them on its own (dialogs, errors that
// nobody catches). One per bridge; the tabs are shared by the connections of the hosts.
import { startPageAddress } from './settings.mjs';
import { within } from './within.mjs';

const kCloseMilliseconds = 3000;

// What a tab has met since it was last asked, and how it answers dialogs.
export class Tab {
  pageErrors = [];
  dialogs = [];
  dialogAnswer = { accept: false, text: undefined };

  constructor(page) {
    this.page = page;
    page.on('pageerror', (error) => this.pageErrors.push(error));
    page.on('dialog', (dialog) => this.#answer(dialog));
  }

  async #answer(dialog) {
    this.dialogs.push({ type: dialog.type(), message: dialog.message() });
    try {
      await (this.dialogAnswer.accept ? dialog.accept(this.dialogAnswer.text) : dialog.dismiss());
    } catch {
      // The page has gone on without an answer.
    }
  }
}

export class Session {
  #browser;
  #tab;

  constructor(browser) {
    this.#browser = browser;
  }

  static async open(settings, puppeteer, endpoint, log) {
    const browser = await puppeteer.connect({
      browserWSEndpoint: endpoint,
      protocol: settings.type === 'fx' ? 'webDriverBiDi' : 'cdp',
      // A macro's own limits and the host's time-out decide how long is waited for.
      protocolTimeout: 0,
      defaultViewport: null,
    });
    log('connected to the browser');
    const session = new Session(browser);
    const pages = await browser.pages();
    session.#tab = new Tab(pages[0] ?? (await browser.newPage()));
    if (settings.startPage) {
      // The page says nothing to read: a browser that cannot find it works all the same.
      await session.#tab.page.goto(startPageAddress(settings.startPage)).catch(() => {});
    }
    log('the first page is open');
    return session;
  }

  async version() {
    return this.#browser.version();
  }

  // The tab that was opened last, or a new one if that was closed.
  async currentTab() {
    return this.#tab.page.isClosed() ? this.newTab() : this.#tab;
  }

  async newTab() {
    this.#tab = new Tab(await this.#browser.newPage());
    return this.#tab;
  }

  // Gives up after a while: the watcher ends what does not close by itself.
  async close() {
    await within(kCloseMilliseconds, this.#browser.close().catch(() => {}));
  }
}
