import assert from 'node:assert/strict';
import test from 'node:test';
import * as failures from '../bridge/failures.mjs';
import { Macro } from '../bridge/macro.mjs';

function timeout() {
  return Object.assign(new Error('waited'), { name: 'TimeoutError' });
}

// A page of which only what a test needs is there.
function fakeTab(page = {}) {
  const tab = {
    pageErrors: [],
    dialogs: [],
    dialogAnswer: undefined,
    page: { evaluate: async () => 0, waitForSelector: async () => ({}), goto: async () => {}, ...page },
  };
  return tab;
}

async function play(source, { tab = fakeTab(), variables = {}, signal = new AbortController().signal } = {}) {
  return new Macro({ tab, variables, signal, log: () => {} }).play(source);
}

test('a macro that reaches its end succeeds', async () => {
  const played = await play('');
  assert.equal(played.errorCode, failures.kSuccess);
  assert.equal(played.status, 'OK');
});

test('a macro says its own status', async () => {
  assert.equal((await play('status("three found")')).status, 'three found');
});

test("the host's variables are at hand, and cannot be changed", async () => {
  const played = await play('extractText(variables.who); variables.who = "b"; extractText(variables.who)', {
    variables: { who: 'Zoë' },
  });
  assert.deepEqual(played.extracts, ['Zoë', 'Zoë']);
});

test('a syntax error is told with its line, and nothing is run', async () => {
  const played = await play('extractText("a");\nlet b = ;');
  assert.equal(played.errorCode, failures.kMacroSyntax);
  assert.match(played.status, /\(line 2\)$/);
  assert.deepEqual(played.extracts, []);
});

test('an error in the macro is told with its line', async () => {
  const played = await play('\n\nnull.x');
  assert.equal(played.errorCode, failures.kMacroError);
  assert.match(played.status, /\(line 3\)$/);
});

test('fail with a number and a text gives both', async () => {
  const played = await play('fail(-50, "no such button")');
  assert.deepEqual([played.errorCode, played.status], [-50, 'no such button']);
});

test('fail with a text alone has a number of its own', async () => {
  const played = await play('fail("no")');
  assert.deepEqual([played.errorCode, played.status], [failures.kFailed, 'no']);
});

test('what was extracted before a failure is kept', async () => {
  assert.deepEqual((await play('extractText("a"); fail("no"); extractText("b")')).extracts, ['a']);
});

test('an error that the page throws fails the macro', async () => {
  const tab = fakeTab({ goto: async () => tab.pageErrors.push(new Error('broken')) });
  const played = await play('await open("http://x/")', { tab });
  assert.deepEqual([played.errorCode, played.status], [failures.kPageError, 'The page has thrown: broken']);
});

test('an error that comes up behind the last step is still found', async () => {
  const tab = fakeTab({ evaluate: async () => tab.pageErrors.push(new Error('Error: late')) });
  assert.equal((await play('', { tab })).status, 'The page has thrown: late');
});

test('a macro may allow the page its errors', async () => {
  const tab = fakeTab({ goto: async () => tab.pageErrors.push(new Error('broken')) });
  assert.equal((await play('allowPageErrors(); await open("http://x/")', { tab })).errorCode, failures.kSuccess);
});

test('an element that does not come is named', async () => {
  const tab = fakeTab({ waitForSelector: async () => { throw timeout(); } });
  const played = await play('await click("#buy")', { tab });
  assert.deepEqual([played.errorCode, played.status], [failures.kNoSuchElement, 'The page has no element #buy']);
});

test('an address that cannot be reached is a failed navigation, told in one line', async () => {
  const tab = fakeTab({ goto: async () => { throw new Error('refused\n at inner.js:1'); } });
  const played = await play('await open("http://x/")', { tab });
  assert.deepEqual([played.errorCode, played.status], [failures.kNavigationFailed, 'refused']);
});

// The page's navigation is interrupted so many times, then succeeds.
function interruptedTab(times) {
  const tab = fakeTab({
    goto: async () => {
      tab.navigations += 1;
      if (tab.navigations <= times) {
        throw new Error('unknown error: A new navigation interrupted an unfinished navigation');
      }
    },
  });
  tab.navigations = 0;
  return tab;
}

test('a navigation that the one before interrupts is tried again', async () => {
  const tab = interruptedTab(4);
  const played = await play('await open("http://x/")', { tab });
  assert.deepEqual([played.errorCode, tab.navigations], [failures.kSuccess, 5]);
});

test('a navigation that is interrupted each time fails in the end', async () => {
  const tab = interruptedTab(5);
  const played = await play('await open("http://x/")', { tab });
  assert.deepEqual([played.errorCode, tab.navigations], [failures.kNavigationFailed, 5]);
});

test('a page that does not come in time is a time-out', async () => {
  const tab = fakeTab({ goto: async () => { throw timeout(); } });
  assert.equal((await play('await open("http://x/", 2)', { tab })).errorCode, failures.kTimedOut);
});

test('a step that the macro did not wait for ends before the macro does', async () => {
  let opened = false;
  const tab = fakeTab({ goto: async () => { await new Promise(setImmediate); opened = true; } });
  await play('open("http://x/")', { tab });
  assert.ok(opened);
});

test('a step that fails without being waited for fails the macro', async () => {
  const tab = fakeTab({ goto: async () => { throw new Error('refused'); } });
  assert.equal((await play('open("http://x/")', { tab })).errorCode, failures.kNavigationFailed);
});

test('a failure that the macro catches is its own affair', async () => {
  const tab = fakeTab({ goto: async () => { throw new Error('refused'); } });
  const played = await play('try { await open("http://x/"); } catch { extractText("caught"); }', { tab });
  assert.equal(played.errorCode, failures.kSuccess);
  assert.deepEqual(played.extracts, ['caught']);
});

test('measured times come in order, the total last, also of what failed', async () => {
  const played = await play('await measure("a", async () => {}); await measure("b", () => fail("no"))');
  assert.deepEqual(played.measures.map(([name]) => name), ['a', 'b', 'Total']);
  assert.ok(played.measures.every(([, seconds]) => /^\d+\.\d{3}$/.test(seconds)));
});

test('a macro ends when the host has given up waiting', async () => {
  const host = new AbortController();
  const playing = play('await new Promise(() => {})', { signal: host.signal });
  host.abort();
  assert.equal((await playing).errorCode, failures.kTimedOut);
});

test('no step begins once the host has given up waiting', async () => {
  const host = new AbortController();
  let opened = false;
  const tab = fakeTab({ goto: async () => { opened = true; } });
  host.abort();
  await play('await open("http://x/")', { tab, signal: host.signal });
  assert.ok(!opened);
});

test('dialogs are dismissed unless the macro says otherwise, and not remembered from the last one', async () => {
  const tab = fakeTab();
  tab.dialogs.push({ type: 'alert', message: 'old' });
  tab.dialogAnswer = { accept: true, text: 'old' };
  const played = await play('extractText(dialogs().length); onDialog("accept", "Bob")', { tab });
  assert.deepEqual(played.extracts, ['0']);
  assert.deepEqual(tab.dialogAnswer, { accept: true, text: 'Bob' });
  await play('', { tab });
  assert.equal(tab.dialogAnswer.accept, false);
});
