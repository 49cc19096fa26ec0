import assert from 'node:assert/strict';
import test from 'node:test';
import { EndpointFinder } from '../watcher/endpoint_line.mjs';

test("Chrome's line gives its endpoint", () => {
  const finder = new EndpointFinder();
  assert.equal(finder.feed('noise\nDevTools listening on ws://127.0.0.1:41/devtools/browser/ab-c\n'),
    'ws://127.0.0.1:41/devtools/browser/ab-c');
});

test("Firefox's line gives the endpoint of a session", () => {
  const finder = new EndpointFinder();
  assert.equal(finder.feed('WebDriver BiDi listening on ws://127.0.0.1:42\n'), 'ws://127.0.0.1:42/session');
});

test('a line that comes in pieces is read when it is complete', () => {
  const finder = new EndpointFinder();
  assert.equal(finder.feed('WebDriver BiDi list'), undefined);
  assert.equal(finder.feed('ening on ws://127.0.0.1:4'), undefined);
  assert.equal(finder.feed('2\r\n'), 'ws://127.0.0.1:42/session');
});

test('other lines give nothing', () => {
  assert.equal(new EndpointFinder().feed('listening on ws://127.0.0.1:42\n'), undefined);
});
