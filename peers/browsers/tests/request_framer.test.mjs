import assert from 'node:assert/strict';
import test from 'node:test';
import { RequestFramer, readRequest } from '../bridge/request_framer.mjs';

const kInit = '{\n "type" : "init",\n "args" : {\n  "openNewBrowser" : false,\n  "launched" : true\n }\n}';
const kExit = '{\n "type" : "exit",\n "args" : {}\n}';

function framed(...chunks) {
  const framer = new RequestFramer();
  const requests = [];
  for (const chunk of chunks) {
    framer.feed(Buffer.from(chunk));
    for (let bytes = framer.next(); bytes; bytes = framer.next()) {
      requests.push(bytes.toString('utf8'));
    }
  }
  return requests;
}

test('a request is complete at its closing brace', () => {
  assert.deepEqual(framed(kInit), [kInit]);
  assert.deepEqual(framed(kInit.slice(0, -1)), []);
});

test('a request that comes in single bytes is found once', () => {
  assert.deepEqual(framed(...Buffer.from(kInit).toString('latin1')), [kInit]);
});

test('two requests in one piece are parted', () => {
  assert.deepEqual(framed(kInit + kExit), [kInit, kExit]);
});

test('a piece that ends inside a letter of several bytes is put together again', () => {
  const bytes = Buffer.from('{\n "type" : "show",\n "args" : {\n  "message" : "Łódź 🐉"\n }\n}');
  for (let at = 1; at < bytes.length; ++at) {
    assert.deepEqual(framed(bytes.subarray(0, at), bytes.subarray(at)), [bytes.toString('utf8')]);
  }
});

test('braces and quotes in values end nothing', () => {
  const text = '{\n "type" : "play",\n "args" : {\n  "source" : "a } \\" \\\\",\n  "vars" : {}\n }\n}';
  assert.deepEqual(framed(text), [text]);
  assert.equal(readRequest(Buffer.from(text)).args.source, 'a } " \\');
});

test('a compact request is followed by its braces', () => {
  const text = '{"type":"play","args":{"source":"}{\\"","vars":{}}}';
  assert.deepEqual(framed(text.slice(0, 20), text.slice(20) + kExit), [text, kExit]);
});

test('a request that was given up half-way is dropped for the next one', () => {
  assert.deepEqual(framed(kInit.slice(0, 30), kExit), [kExit]);
});

test('blanks between requests are skipped', () => {
  assert.deepEqual(framed(`${kInit}\r\n \0`, kExit), [kInit, kExit]);
});

test('raw control characters inside strings are read', () => {
  const text = '{\n "type" : "show",\n "args" : {\n  "message" : "bell \x07 and escape \x1b"\n }\n}';
  assert.equal(readRequest(Buffer.from(text)).args.message, 'bell \x07 and escape \x1b');
});

test('bytes that are no UTF-8 become replacement characters', () => {
  const text = Buffer.concat([Buffer.from('{"type":"show","args":{"message":"'), Buffer.from([0xf8]), Buffer.from('"}}')]);
  assert.equal(readRequest(text).args.message, '\ufffd');
});

test('a name that holds a quote cannot be read', () => {
  const text = '{\n "type" : "play",\n "args" : {\n  "source" : "",\n  "vars" : {\n   "a"b" : "c"\n  }\n }\n}';
  assert.throws(() => readRequest(Buffer.from(text)), SyntaxError);
});

test('a request without arguments has none', () => {
  assert.deepEqual(readRequest(Buffer.from('{"type":"exit"}')), { type: 'exit', args: {} });
});
