// The library's pipes against those of Node, which are libuv's: server of the well-known pipe, and client of the library's
// own. The extension is this very program; the library's calls are on other threads.
import assert from 'node:assert/strict';
import { once } from 'node:events';
import net from 'node:net';
import { after, before, test } from 'node:test';

import { Browser } from 'kxtcp64';

const profile = `pipes ${process.pid}`;
const given = { profile, runner: true };

// What a play is answered is the test's.
let answerPlay = async () => {};
// For each conversation the error with which reading ended, or nothing.
const ends = [];

const written = (pipe, bytes) =>
  new Promise((resolve, reject) => pipe.write(bytes, (error) => (error ? reject(error) : resolve())));
const answerWith = (members) => Buffer.from(JSON.stringify({ status: 'OK', errorCode: 1, ...members }));

async function converse(pipe) {
  let text = '';
  pipe.setEncoding('utf8');
  for await (const piece of pipe) {
    text += piece;
    // A request ends with the brace of its outermost object, which alone stands at the beginning of a line.
    if (!text.endsWith('\n}')) continue;
    const { type, args } = JSON.parse(text);
    text = '';
    if (type === 'play') {
      await answerPlay(pipe, args);
    } else {
      await written(pipe, answerWith());
    }
  }
  assert.equal(text, '');
}

// A socket that may not be half open is flushed at its end, on a thread of libuv, and closed by another one. The server of
// Wine 8 crashes when a pipe is closed while a thread flushes it.
const server = net.createServer({ allowHalfOpen: true }, async (wellKnown) => {
  let line = '';
  for await (const piece of wellKnown.setEncoding('utf8')) line += piece;
  wellKnown.destroy();
  assert.match(line, /^\\\\\.\\pipe\\kx-fx-cli-[^\n]*\n$/);
  ends.push(converse(net.connect(line.slice(0, -1))).catch((error) => error));
});

before(() => once(server.listen(`\\\\.\\pipe\\${profile}.runner`), 'listening'));
after(() => server.close());

const TEXT = 'Tromsø, Ωμέγα, Привет, שלום, سلام, नमस्ते, 你好, 🌍';

test('an answer of 16 MB, in one write', async () => {
  const extract = 'x'.repeat(16_000_000);
  answerPlay = (pipe) => written(pipe, answerWith({ extractData: [extract] }));
  await Browser.use(given, async (browser) => {
    assert.ok((await browser.play('')).extracts[0] === extract);
  });
});

test('a request of 4 MB', async () => {
  const macro = `"é\\\n\t${'y'.repeat(4_000_000)}`;
  answerPlay = (pipe, { source }) => written(pipe, answerWith({ extractData: [String(source === macro)] }));
  await Browser.use(given, async (browser) => {
    assert.deepEqual((await browser.play(macro)).extracts, ['true']);
  });
});

test('an answer in pieces, each written when the one before it was taken', async () => {
  const answer = answerWith({ extractData: [TEXT, ''], lastPerformance: [{ name: TEXT, value: '1' }] });
  for (const size of [1, 2, 3, 7]) {
    answerPlay = async (pipe) => {
      for (let at = 0; at < answer.length; at += size) await written(pipe, answer.subarray(at, at + size));
    };
    await Browser.use(given, async (browser) => {
      for (const again of [1, 2]) {
        const left = await browser.play('');
        assert.deepEqual(left, { extracts: [TEXT, ''], performance: [[TEXT, '1']], profilerData: '' }, `${size} ${again}`);
      }
    });
  }
});

test('pieces around the sizes of the library\'s buffers', async () => {
  const extract = 'z'.repeat(50_000);
  for (const size of [511, 512, 513, 4095, 4096, 4097, 65_537]) {
    const answer = answerWith({ extractData: [extract] });
    answerPlay = async (pipe) => {
      for (let at = 0; at < answer.length; at += size) await written(pipe, answer.subarray(at, at + size));
    };
    await Browser.use(given, async (browser) => assert.ok((await browser.play('')).extracts[0] === extract, String(size)));
  }
});

test('a slow answer, whose pieces come some time after one another', async () => {
  const answer = answerWith({ extractData: [TEXT] });
  answerPlay = async (pipe) => {
    for (let at = 0; at < answer.length; at += 20) {
      await new Promise((resolve) => setTimeout(resolve, 20));
      await written(pipe, answer.subarray(at, at + 20));
    }
  };
  await Browser.use(given, async (browser) => {
    assert.deepEqual((await browser.play('', { timeout: Infinity })).extracts, [TEXT]);
  });
});

test('an extension that hangs up in the middle of its answer', async () => {
  answerPlay = async (pipe) => {
    await written(pipe, '{"status":');
    pipe.destroy();
  };
  const browser = await Browser.start(given);
  await assert.rejects(browser.play(''), { name: 'KxError', number: -1, text: 'Server unexpectedly closed connection' });
  await assert.rejects(browser.exit(), { name: 'KxError', call: 'kxr_Exit' });
});

const CONVERSATIONS = Number(process.env.KX_CONVERSATIONS ?? 200);
test(`${CONVERSATIONS} conversations, one after the other`, async () => {
  answerPlay = (pipe, { vars }) => written(pipe, answerWith({ extractData: [vars.n] }));
  ends.length = 0;
  for (let n = 0; n < CONVERSATIONS; n += 1) {
    const left = await Browser.use(given, (browser) => browser.play('', { variables: { n: String(n) } }));
    assert.deepEqual(left.extracts, [String(n)]);
  }
  // The library disconnects its pipe at the end, which libuv tells as an error: a pipe that is closed only would be an end.
  assert.equal(ends.length, CONVERSATIONS);
  for (const end of await Promise.all(ends)) assert.deepEqual([end?.code, end?.syscall], ['EPIPE', 'read']);
});
