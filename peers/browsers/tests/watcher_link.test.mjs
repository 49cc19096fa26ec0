// The bridge's end of the connection to the watcher, with this test as the watcher, and as others who find its port.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import net from 'node:net';
import os from 'node:os';
import path from 'node:path';
import test from 'node:test';
import { WatcherLink } from '../bridge/watcher_link.mjs';

// A link that waits for its watcher, and what the watcher would find in the run's file.
async function startLink(t) {
  const runFolder = fs.mkdtempSync(path.join(os.tmpdir(), 'kxb-link-'));
  // In the place of the watcher: a program that does nothing.
  const watcherSeen = path.join(runFolder, 'nothing.mjs');
  fs.writeFileSync(watcherSeen, '');
  const link = new WatcherLink({ runFolder, runFolderSeen: runFolder, watcherSeen, startSeconds: 30 }, () => {});
  await link.start();
  t.after(() => fs.rmSync(runFolder, { recursive: true, force: true }));
  return { link, run: JSON.parse(fs.readFileSync(path.join(runFolder, 'run.json'), 'utf8')) };
}

async function connect(t, run) {
  const socket = net.connect(run.port, '127.0.0.1');
  socket.on('error', () => {});
  t.after(() => socket.destroy());
  await new Promise((resolve) => socket.once('connect', resolve));
  return socket;
}

test('the watcher is known by its token, and tells where the browser can be driven', async (t) => {
  const { link, run } = await startLink(t);
  const watcher = await connect(t, run);

  watcher.write(`${JSON.stringify({ token: run.token })}\n${JSON.stringify({ endpoint: 'ws://x' })}\n`);

  assert.equal(await link.endpoint, 'ws://x');
});

for (const [what, line] of [
  ['does not speak its language', 'GET / HTTP/1.1'],
  ['says nothing that it could mean', 'null'],
  ['has another token', '{"token":"guessed"}'],
]) {
  test(`a stranger who ${what} is hung up on, and the watcher is still awaited`, async (t) => {
    const { link, run } = await startLink(t);
    const stranger = await connect(t, run);
    const hungUp = new Promise((resolve) => stranger.once('close', resolve));
    stranger.resume();

    stranger.write(`${line}\n`);
    await hungUp;

    const watcher = await connect(t, run);
    watcher.write(`${JSON.stringify({ token: run.token })}\n${JSON.stringify({ endpoint: 'ws://x' })}\n`);
    assert.equal(await link.endpoint, 'ws://x');
  });
}
