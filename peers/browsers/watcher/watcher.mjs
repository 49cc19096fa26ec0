// Starts the real browser and ends it when the bridge is gone. It runs where the browser runs: under Wine that is
// Linux, whose programs a Windows program can start but neither wait for nor end. One argument: the file in which the
// bridge says what to run. Their TCP connection is the sign of life, and lines of JSON go over it:
//   to the bridge    {"token":t}   {"endpoint":url}   {"ended":text}
//   from the bridge  {"end":true,"graceMilliseconds":n}
// The watcher is the last to go: it removes the folder of the run.
import fs from 'node:fs';
import net from 'node:net';
import os from 'node:os';
import path from 'node:path';
import { Guard } from './guard.mjs';
import { RealBrowser } from './real_browser.mjs';

const run = JSON.parse(fs.readFileSync(process.argv[2], 'utf8'));
// A working directory inside the run's folder would keep Windows from removing it.
process.chdir(path.parse(process.execPath).root);

// Browsers make sockets in their temporary folder, and the path of a socket must be short.
const homeFolder = fs.mkdtempSync(path.join(os.tmpdir(), 'kxb-'));
const temporaryFolders = run.keep ? [homeFolder] : [homeFolder, run.runFolder];
const guard = new Guard(run.mark, temporaryFolders);

function log(text) {
  if (run.logFile) {
    fs.appendFileSync(run.logFile, text);
  }
}

let browser;
let ending;

function removeFolders() {
  for (const folder of temporaryFolders) {
    try {
      fs.rmSync(folder, { recursive: true, force: true, maxRetries: 10, retryDelay: 100 });
    } catch (error) {
      log(`watcher: ${error.message}\n`);
    }
  }
}

function finish(reason, graceMilliseconds) {
  ending ??= (async () => {
    log(`watcher: ${reason}\n`);
    await browser?.end(graceMilliseconds);
    removeFolders();
    await guard.dismiss();
    if (bridge.writable) {
      await new Promise((resolve) => bridge.end(`${JSON.stringify({ ended: reason })}\n`, resolve));
    }
    process.exit(0);
  })();
}

function say(message) {
  bridge.write(`${JSON.stringify(message)}\n`);
}

const bridge = net.connect({ port: run.port, host: '127.0.0.1' }, () => {
  say({ token: run.token });
  browser = new RealBrowser({ ...run, homeFolder, log });
  guard.watch(browser.processId);
  browser.endpoint.then((endpoint) => say({ endpoint }), (error) => log(`watcher: ${error.message}\n`));
  browser.ended.then((how) => finish(`the browser ${how}`, 0));
});
bridge.setNoDelay(true);
bridge.on('error', () => {});
// Nobody is left to wait for a slow farewell.
bridge.on('close', () => finish('the bridge is gone', 0));

let received = '';
bridge.setEncoding('utf8');
bridge.on('data', (text) => {
  received += text;
  if (received.includes('\n')) {
    finish('told to end', JSON.parse(received).graceMilliseconds);
  }
});
for (const signal of ['SIGINT', 'SIGTERM', 'SIGHUP']) {
  process.on(signal, () => finish(`got ${signal}`, 0));
}
