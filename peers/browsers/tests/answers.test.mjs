// Answers to a host whose page does not answer itself, as one that is still being loaded does not.
import assert from 'node:assert/strict';
import test from 'node:test';
import { Answers } from '../bridge/answers.mjs';

const kNever = new Promise(() => {});

function answersOfSilentPage() {
  const tab = {
    page: { evaluate: () => kNever, isClosed: () => false },
    pageErrors: [],
    dialogs: [],
  };
  const session = { currentTab: async () => tab, version: async () => 'a browser' };
  return new Answers(session, { profiler: true }, () => {});
}

function play(source) {
  const { signal } = new AbortController();
  return answersOfSilentPage().answer({ type: 'play', args: { source } }, signal);
}

test('a failure is told although the page does not answer', async () => {
  const reply = await play("fail(-50, 'enough');");
  assert.equal(reply.errorCode, -50);
  assert.equal(JSON.parse(reply.profilerData).navigation, null);
});

test('a success is told although the page does not answer', async () => {
  const reply = await play("extractText('here');");
  assert.equal(reply.errorCode, 1);
  assert.deepEqual(reply.extractData, ['here']);
});
