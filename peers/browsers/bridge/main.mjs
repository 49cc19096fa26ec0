// The bridge: plays the extension for a real browser. The launcher starts it; it ends when the browser has ended, and
// the launcher with it. What it does is written to its standard output, which the launcher has put into a file.
import fs from 'node:fs';
import { Hosts } from './hosts.mjs';
import { readSettings } from './settings.mjs';
import { Session } from './session.mjs';
import { WatcherLink } from './watcher_link.mjs';

const kExitFailed = 4;

const began = Date.now();

function log(text) {
  fs.writeSync(1, `${((Date.now() - began) / 1000).toFixed(3)} ${text}\n`);
}

process.on('unhandledRejection', (reason) => log(`unhandled: ${reason?.stack ?? reason}`));

const settings = readSettings();
log(`${new Date(began).toISOString()} ${settings.type} for launcher ${settings.launcherId}`);
const link = new WatcherLink(settings, log);
let session;
let ending;

function end(code, reason) {
  ending ??= (async () => {
    log(`ending: ${reason}`);
    await session?.close();
    await link.end();
    process.exit(code);
  })();
}

link.ended.then((how) => {
  log(`ended: ${how}`);
  process.exit(session ? 0 : kExitFailed);
});

try {
  await link.start();
  // The library of the browsers takes seconds to load, in which the browser starts.
  const { default: puppeteer } = await import('puppeteer-core');
  log('the library of the browsers is loaded');
  const endpoint = await link.endpoint;
  session = await Session.open(settings, puppeteer, endpoint, log);
  log(`driving ${await session.version()}`);
  await new Hosts(session, settings, log, (reason) => end(0, reason)).serve();
} catch (error) {
  end(kExitFailed, error.stack ?? String(error));
}
