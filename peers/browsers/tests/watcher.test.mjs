// The watcher with a shell script in the place of a browser: it prints an endpoint, starts a child that leaves its
// process group, and sleeps. What ends when, and what is left, is the same as with a real one.
import assert from 'node:assert/strict';
import crypto from 'node:crypto';
import fs from 'node:fs';
import net from 'node:net';
import os from 'node:os';
import path from 'node:path';
import test from 'node:test';
import { spawn } from 'node:child_process';
import { fileURLToPath } from 'node:url';
import { markedProcesses } from '../watcher/marked_processes.mjs';

const kWatcher = fileURLToPath(new URL('../watcher/watcher.mjs', import.meta.url));
const kOnLinux = { skip: process.platform !== 'linux' && 'it plays a browser with a shell script' };
const kPatienceMilliseconds = 15000;

const kPatientBrowser = `#!/bin/sh
echo "DevTools listening on ws://127.0.0.1:9/devtools/browser/x" >&2
setsid sleep 300 &
exec sleep 300
`;

async function until(condition) {
  const end = Date.now() + kPatienceMilliseconds;
  while (!condition()) {
    assert.ok(Date.now() < end, `never came: ${condition}`);
    await new Promise((resolve) => setTimeout(resolve, 20));
  }
}

async function startRun(t, script) {
  const base = fs.mkdtempSync(path.join(os.tmpdir(), 'kxb-watch-'));
  const runFolder = path.join(base, 'run');
  const temporary = path.join(base, 'temporary');
  fs.mkdirSync(runFolder);
  fs.mkdirSync(temporary);
  const program = path.join(base, 'browser.sh');
  fs.writeFileSync(program, script, { mode: 0o755 });
  const messages = [];
  let bridge;
  const server = net.createServer((socket) => {
    bridge = socket;
    let text = '';
    socket.on('error', () => {});
    socket.on('data', (chunk) => {
      text += chunk;
      const lines = text.split('\n');
      text = lines.pop();
      messages.push(...lines.map((line) => JSON.parse(line)));
    });
  });
  await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
  const mark = crypto.randomUUID();
  const runFile = path.join(runFolder, 'run.json');
  fs.writeFileSync(runFile, JSON.stringify({
    port: server.address().port, token: 'secret', mark, type: 'cr', program, runFolder,
    profileFolder: path.join(runFolder, 'profile'), logFile: path.join(base, 'log'),
  }));
  const watcher = spawn(process.execPath, [kWatcher, runFile], {
    stdio: 'ignore', env: { ...process.env, TMPDIR: temporary },
  });
  const ended = new Promise((resolve) => watcher.once('exit', resolve));
  t.after(() => {
    watcher.kill('SIGKILL');
    bridge?.destroy();
    server.close();
    fs.rmSync(base, { recursive: true, force: true });
  });
  const nothingLeft = () =>
    markedProcesses(mark).length === 0 && !fs.existsSync(runFolder) && fs.readdirSync(temporary).length === 0;
  return {
    messages, watcher, ended, nothingLeft, mark, runFolder,
    bridge: () => bridge,
    started: () => until(() => messages.some((message) => message.endpoint)),
  };
}

test('the watcher tells its token first and then where the browser listens', kOnLinux, async (t) => {
  const run = await startRun(t, kPatientBrowser);
  await run.started();
  assert.deepEqual(run.messages.slice(0, 2),
    [{ token: 'secret' }, { endpoint: 'ws://127.0.0.1:9/devtools/browser/x' }]);
  assert.ok(markedProcesses(run.mark).length >= 2);
});

test('told to end, it ends the browser and its children, removes the folders, says so and ends', kOnLinux, async (t) => {
  const run = await startRun(t, kPatientBrowser);
  await run.started();
  run.bridge().write('{"end":true,"graceMilliseconds":3000}\n');
  assert.equal(await run.ended, 0);
  assert.ok(run.nothingLeft());
  await until(() => run.messages.some((message) => message.ended === 'told to end'));
});

test('a browser that does not listen to the request to end is ended all the same', kOnLinux, async (t) => {
  const run = await startRun(t, kPatientBrowser.replace('exec sleep 300', "trap '' TERM\nwhile :; do sleep 1; done"));
  await run.started();
  run.bridge().write('{"end":true,"graceMilliseconds":100}\n');
  await run.ended;
  assert.ok(run.nothingLeft());
});

test('when the bridge is gone, the browser ends and nothing is left', kOnLinux, async (t) => {
  const run = await startRun(t, kPatientBrowser);
  await run.started();
  run.bridge().destroy();
  await run.ended;
  assert.ok(run.nothingLeft());
});

test('when the browser ends by itself, the bridge is told how', kOnLinux, async (t) => {
  const run = await startRun(t, kPatientBrowser.replace('exec sleep 300', 'exit 7'));
  await run.ended;
  await until(() => run.messages.some((message) => message.ended));
  assert.equal(run.messages.at(-1).ended, 'the browser ended with 7');
  assert.ok(run.nothingLeft());
});

test('a browser that is not there is reported', kOnLinux, async (t) => {
  const run = await startRun(t, '#!/no/such/shell\n');
  await run.ended;
  await until(() => run.messages.some((message) => message.ended));
  assert.match(run.messages.at(-1).ended, /could not be started/);
  assert.ok(run.nothingLeft());
});

test('when the watcher is killed, the browser ends and nothing is left', kOnLinux, async (t) => {
  const run = await startRun(t, kPatientBrowser);
  await run.started();
  run.watcher.kill('SIGKILL');
  await run.ended;
  await until(run.nothingLeft);
});
