// Plays the host over sockets of this system, which Node treats as it treats named pipes.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import net from 'node:net';
import os from 'node:os';
import path from 'node:path';
import test from 'node:test';
import { Connection } from '../bridge/connection.mjs';

const kWindows = process.platform === 'win32';
let count = 0;

function pipeName(folder) {
  return kWindows ? `\\\\.\\pipe\\kxb-test-${process.pid}-${++count}` : path.join(folder, `pipe${++count}`);
}

function requestText(type, args = {}) {
  return JSON.stringify({ type, args });
}

// A host that has shaken hands with a connection whose answers are `answers`.
async function handshake(t, answers) {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'kxb-test-'));
  const own = pipeName(folder);
  const events = { exits: 0, gone: 0 };
  const noted = {};
  noted.exit = new Promise((resolve) => { events.exit = () => { ++events.exits; resolve(); }; });
  noted.gone = new Promise((resolve) => { noted.resolveGone = resolve; });
  const connection = new Connection(answers, () => {}, {
    exit: events.exit,
    gone: () => { ++events.gone; noted.resolveGone(); },
  });
  const host = net.createServer();
  await new Promise((resolve) => host.listen(own, resolve));
  const accepted = new Promise((resolve) => host.once('connection', resolve));

  connection.begin(own);
  const pipe = await accepted;
  t.after(() => {
    pipe.destroy();
    host.close();
    fs.rmSync(folder, { recursive: true, force: true });
  });
  let received = '';
  const waiting = [];
  pipe.setEncoding('utf8');
  pipe.on('data', (text) => {
    received += text;
    waiting.splice(0).forEach((check) => check());
  });
  const reply = async () => {
    for (;;) {
      try {
        const value = JSON.parse(received);
        received = '';
        return value;
      } catch {
        await new Promise((resolve) => waiting.push(resolve));
      }
    }
  };
  return { pipe, reply, connection, events, noted };
}

const kEcho = { answer: async ({ type }) => ({ status: type, errorCode: 1 }) };

test('a host is connected to, and answered', async (t) => {
  const { pipe, reply } = await handshake(t, kEcho);
  pipe.write(requestText('show', { message: 'ü' }));
  assert.deepEqual(await reply(), { status: 'show', errorCode: 1 });
});

test('a request that cannot be read is answered with a number', async (t) => {
  const { pipe, reply } = await handshake(t, kEcho);
  pipe.write('{"type":nothing}');
  assert.equal((await reply()).errorCode, -18);
});

test('the end is announced when the answer to an exit has been written', async (t) => {
  const { pipe, reply, noted, events } = await handshake(t, kEcho);
  pipe.write(requestText('exit'));
  assert.equal((await reply()).status, 'exit');
  await noted.exit;
  assert.equal(events.exits, 1);
});

test('the reply to a request that the host has given up is not sent', async (t) => {
  const { pipe, reply } = await handshake(t, {
    answer: ({ type }, signal) => new Promise((resolve) => {
      if (type === 'play') {
        signal.addEventListener('abort', () => resolve({ status: 'given up', errorCode: -14 }));
      } else {
        // By now the reply to the play has been put together.
        setImmediate(() => resolve({ status: type, errorCode: 1 }));
      }
    }),
  });
  pipe.write(requestText('play'));
  pipe.write(requestText('exit'));
  assert.deepEqual(await reply(), { status: 'exit', errorCode: 1 });
});

test('a host that hangs up ends its request and is reported gone', async (t) => {
  let aborted = false;
  const { pipe, noted } = await handshake(t, {
    answer: (request, signal) => new Promise((resolve) => {
      signal.addEventListener('abort', () => { aborted = true; resolve({}); });
      pipe.destroy();
    }),
  });
  pipe.write(requestText('play'));
  await noted.gone;
  assert.ok(aborted);
});

test('a connection knows whether the browser was launched for its host', async (t) => {
  const { pipe, reply, connection } = await handshake(t, kEcho);
  pipe.write(requestText('init', { openNewBrowser: false, launched: true }));
  await reply();
  assert.ok(connection.launched);
});
