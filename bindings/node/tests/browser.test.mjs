// The installed package with the real DLL and the simulator. KX_SIMULATOR and KX_SCRATCH come from run.sh.
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { createHash } from 'node:crypto';
import { once } from 'node:events';
import fs from 'node:fs';
import path from 'node:path';
import { after, afterEach, test } from 'node:test';

import koffi from 'koffi';
import { Browser, commandLine, ErrorNumber, KxError, Result } from 'kxtcp64';

const simulator = process.env.KX_SIMULATOR;
const scratch = process.env.KX_SCRATCH;
process.env.KXSIM_PARENT_PID = String(process.pid);

// Each test has a folder and a profile of its own.
let count = 0;
function world(script = '') {
  count += 1;
  const folder = path.join(scratch, `world-${count}`);
  fs.mkdirSync(folder);
  fs.writeFileSync(path.join(folder, 'script'), script);
  process.env.KXSIM_RECORD = folder;
  process.env.KXSIM_SCRIPT = path.join(folder, 'script');
  const profile = `node ${process.pid} ${count}`;
  return {
    folder,
    profile,
    start: { profile, path: simulator },
    recorded: (name) => fs.readFileSync(path.join(folder, name), 'utf8'),
  };
}

// Windows' events are what a script of the simulator can wait for, or set.
const kernel = koffi.load('kernel32.dll');
const createEvent = kernel.func('void *CreateEventW(void *attributes, int manual, int state, str16 name)');
const setEvent = kernel.func('int SetEvent(void *event)');
const waitFor = kernel.func('unsigned int WaitForSingleObject(void *handle, unsigned int milliseconds)');
const closeHandle = kernel.func('int CloseHandle(void *handle)');
const signalled = (handle) => new Promise((resolve) => waitFor.async(handle, 0xffffffff, resolve));

const starting = [];
const children = [];
// A browser that serves before it is asked for, as a host starts it.
async function running(script = '', words = (profile) => commandLine({ profile })) {
  const name = `Local\\node-serving-${process.pid}-${count}`;
  const at = world(`${script}\non serving set-event ${name}`);
  const serving = createEvent(null, 1, 0, name);
  const child = spawn(simulator, [words(at.profile)], { windowsVerbatimArguments: true, stdio: 'ignore' });
  children.push(child);
  await signalled(serving);
  closeHandle(serving);
  return { ...at, child, start: { profile: at.profile, runner: true } };
}

afterEach(async () => {
  for (const browser of starting.splice(0)) await browser.exit().catch(() => {});
});
after(() => children.forEach((child) => child.kill()));

async function start(given) {
  const browser = await Browser.start(given);
  starting.push(browser);
  return browser;
}

const kx = (expected) => (error) => {
  assert.ok(error instanceof KxError, String(error));
  for (const [name, value] of Object.entries(expected)) {
    (value instanceof RegExp ? assert.match : assert.deepEqual)(error[name], value, name);
  }
  return true;
};

test('a conversation: what is sent, and what comes back', async () => {
  const at = world();
  const texts = ['Tromsø', 'Ωμέγα', 'Привет', 'שלום', 'سلام', 'नमस्ते', '你好', '🌍'];
  await Browser.use({ ...at.start, profiler: true, newWindow: true }, async (browser) => {
    await browser.setVariable('last', texts.at(-1));
    const left = await browser.play(
        ['extract', 'extract a[EXTRACT]b', 'extract $(all)', 'extract $(last)', 'extract', 'performance load 0.25',
         'performance größe', 'profile here'].join('\n'),
        { variables: { all: texts.join('\n') } });
    assert.deepEqual(left.extracts, ['', 'a[EXTRACT]b', texts.join('\n'), '🌍', '']);
    assert.deepEqual(left.performance, [['load', '0.25'], ['größe', '']]);
    assert.match(left.profilerData, /^here$/m);

    await browser.show('Your order is on "its" way');
    const picture = path.join(at.folder, 'page.png');
    await browser.screenshot(path.relative(process.cwd(), picture), { of: 'page' });
    assert.equal(fs.readFileSync(picture).readUInt32BE(16), 320);

    assert.ok(browser.processId > 0);
  });
  assert.match(at.recorded('command-line.txt'), new RegExp(`-P "${at.profile}"`));
  assert.match(at.recorded('request-1-1.bin'), /"openNewBrowser" : true/);
  assert.deepEqual(JSON.parse(at.recorded('request-1-2.bin')).args.vars, { all: texts.join('\n'), last: '🌍' });
  assert.equal(JSON.parse(at.recorded('request-1-3.bin')).args.message, 'Your order is on "its" way');
  assert.equal(JSON.parse(at.recorded('request-1-4.bin')).args.type, 'webpage');
  assert.equal(JSON.parse(at.recorded('request-1-5.bin')).type, 'exit');
});

test('a play that fails tells why, and gives what it left; the browser can be used on', async () => {
  const at = await running();
  const browser = await start(at.start);
  await assert.rejects(
      browser.play('extract one\nperformance load 1\nfail -50 There is no such button'),
      kx({
        call: 'kx_Play',
        result: Result.FAILED,
        number: -50,
        text: 'There is no such button',
        message: 'kx_Play failed: result -1, error -50: There is no such button',
        left: { extracts: ['one'], performance: [['load', '1']], profilerData: '' },
      }));
  assert.deepEqual(await browser.play(''), { extracts: [], performance: [], profilerData: '' });
});

test('an answer that is an error is one, also where the library says KX_OK', async () => {
  const at = await running('on show result 7 Not now\non capture result -8 No picture\non play result 3 Mine');
  const browser = await start(at.start);
  await assert.rejects(browser.show('x'), kx({ call: 'kx_Display', result: Result.OK, number: -7, text: 'Not now' }));
  await assert.rejects(
      browser.screenshot(path.join(at.folder, 'x.png')), kx({ call: 'kx_TakeBrowserScreenshot', result: Result.OK, number: -8 }));
  // This number is the extension's own. No time has run out, and nothing is refused.
  for (const text of ['Mine', 'Mine']) {
    await assert.rejects(browser.play(''), kx({ number: ErrorNumber.TIMEOUT, text }));
  }
});

test('a start that is answered with an error ends the browser', async () => {
  const at = await running('on init result -20 No licence');
  const ended = once(at.child, 'exit');
  await assert.rejects(
      Browser.start(at.start), kx({ call: 'kxr_Init', result: Result.OK, number: -20, text: 'No licence' }));
  await ended;
});

test('a start that finds no program tells so', async () => {
  await assert.rejects(
      Browser.start({ profile: 'x', path: 'none.exe', timeout: 1 }), kx({ call: 'kx_Init', result: 2, number: -2 }));
});

test('the event loop goes on during a play, and calls of one browser wait for one another', async () => {
  const go = createEvent(null, 1, 0, `Local\\node-go-${process.pid}`);
  const at = await running(`on play 1 wait-event Local\\node-go-${process.pid}`);
  const browser = await start(at.start);
  const ended = [];
  const plays = ['first', 'second'].map(async (name) => {
    const { extracts } = await browser.play(`extract ${name} $(own)`, { variables: { own: name } });
    ended.push(...extracts);
  });
  const shown = browser.show('third').then(() => ended.push('third'));
  // The first play ends when this timer has been served.
  setTimeout(() => {
    assert.deepEqual(ended, []);
    setEvent(go);
  }, 10);
  await Promise.all([...plays, shown]);
  closeHandle(go);
  assert.deepEqual(ended, ['first first', 'second second', 'third']);
});

test('browsers play at the same time', async () => {
  const name = (letter) => `Local\\node-${letter}-${process.pid}`;
  const events = ['a', 'b'].map((letter) => createEvent(null, 1, 0, name(letter)));
  // Each is answered when the other one plays.
  const one = await running(`on play set-event ${name('a')}\non play wait-event ${name('b')}`);
  const two = await running(`on play set-event ${name('b')}\non play wait-event ${name('a')}`);
  const browsers = await Promise.all([one, two].map((at) => start(at.start)));
  const left = await Promise.all(browsers.map((browser, index) => browser.play(`extract ${index}`)));
  assert.deepEqual(left.map(({ extracts }) => extracts), [['0'], ['1']]);
  events.forEach((event) => closeHandle(event));
});

test('after a time-out requests are refused with the remedy, and a new start works', async () => {
  const at = await running('on play 1 no-reply');
  const browser = await start(at.start);
  await assert.rejects(browser.play('', { timeout: 1 }), kx({
                         call: 'kx_Play',
                         number: ErrorNumber.TIMEOUT,
                         text: 'Error while receiving response',
                       }));
  for (const refused of [() => browser.play(''), () => browser.show(''), () => browser.screenshot('x.png')]) {
    await assert.rejects(refused(), kx({ number: ErrorNumber.TIMEOUT, text: /close this browser and start another$/ }));
  }
  await browser.exit();
  assert.equal(JSON.parse(at.recorded('request-1-3.bin')).type, 'exit');
  const again = await start((await running()).start);
  assert.deepEqual((await again.play('extract again')).extracts, ['again']);
});

test('after an answer that is not valid requests are refused with the remedy', async () => {
  const at = await running('on play 1 reply {"status":"done","x":01}');
  const browser = await start(at.start);
  await assert.rejects(browser.play(''), kx({
                         call: 'kx_Play',
                         result: Result.FAILED,
                         number: ErrorNumber.GENERAL,
                         text: 'Error in response processing',
                       }));
  for (const refused of [() => browser.play('extract 2'), () => browser.show(''), () => browser.screenshot('x.png')]) {
    await assert.rejects(refused(), kx({
                           result: Result.FAILED,
                           number: ErrorNumber.GENERAL,
                           text: 'an earlier answer was not valid, and what is left of it would spoil the next one; ' +
                             'close this browser and start another',
                         }));
  }
});

test('large texts go both ways', async () => {
  const at = await running('on play 2 extract-fill 16000000');
  const browser = await start(at.start);
  const text = 'é'.repeat(2_000_000);
  assert.equal((await browser.play('extract $(text)', { variables: { text } })).extracts[0], text);
  const [extract] = (await browser.play(`# ${'x'.repeat(4_000_000)}`)).extracts;
  assert.equal(extract.length, 16_000_000);
  assert.match(extract, /^abc.*$/);
});

test('attach launches nothing, and close leaves the browser running, exit does not', async () => {
  const pipe = (profile) => `\\\\.\\pipe\\kx-fx-${createHash('md5').update(profile).digest('hex')}.runner`;
  const at = await running('', (profile) => `-P "${profile}" -kx-pipe "${pipe(profile)}"`);
  const given = { profile: at.profile, attach: true };
  await Browser.use(given, async (browser) => {
    assert.equal(browser.processId, 0);
    assert.deepEqual((await browser.play('extract 1')).extracts, ['1']);
  });
  const browser = await start(given);
  assert.deepEqual((await browser.play('extract 2')).extracts, ['2']);
  const ended = once(at.child, 'exit');
  await browser.exit();
  await ended;
  await assert.rejects(Browser.start(given), kx({ call: 'kx_Init', message: /; nobody serves the extension's pipe$/ }));
});

test('a browser that is closed stays so', async () => {
  const at = await running();
  const browser = await start(at.start);
  await browser[Symbol.asyncDispose]();
  await browser.close();
  await browser.exit();
  for (const [call, refused] of [['kx_Play', () => browser.play('')], ['kx_Display', () => browser.show('')],
                                 ['kx_TakeBrowserScreenshot', () => browser.screenshot('x')],
                                 ['kx_SetVar', () => browser.setVariable('a', 'b')]]) {
    await assert.rejects(refused(), kx({ call, result: Result.NO_CONTEXT, text: 'the browser was closed' }));
  }
});

test('an exit that the browser does not confirm fails and can be called again', async () => {
  const at = await running('on exit 1 no-reply');
  const browser = await start(at.start);
  await assert.rejects(browser.exit({ timeout: 1 }), kx({ call: 'kxr_Exit', result: Result.TIMEOUT }));
  const ended = once(at.child, 'exit');
  await browser.exit();
  await ended;
});

test('a browser is closed when its object is forgotten, and when the process ends', async () => {
  const program = `
    import { Browser } from 'kxtcp64';
    const [profile, how] = process.argv.slice(1);
    await Browser.start({ profile, runner: true });
    if (how === 'ended') throw new Error('nobody catches this');
    for (;;) {
      globalThis.gc();
      await new Promise(setImmediate);
    }`;
  for (const how of ['forgotten', 'ended']) {
    const at = await running();
    const gone = once(at.child, 'exit');
    const host = spawn(
        process.execPath, ['--expose-gc', '--input-type=module', '--eval', program, at.profile, how],
        { stdio: ['ignore', 'ignore', fs.openSync(path.join(at.folder, 'host.log'), 'w')] });
    const ended = once(host, 'exit');
    if (how === 'forgotten') {
      // It has forgotten its browser, and goes on.
      const first = await Promise.race([gone.then(() => 'browser'), ended.then(() => 'host')]);
      assert.equal(first, 'browser', at.recorded('host.log'));
      host.kill();
    } else {
      assert.equal((await ended)[0], 1);
      assert.match(at.recorded('host.log'), /nobody catches this/);
      await gone;
    }
  }
});

test('the handler for Ctrl+C that the README shows closes the browser, also one that plays', async () => {
  const readme = fs.readFileSync(new URL('README.md', import.meta.resolve('kxtcp64')), 'utf8');
  const [handler] = readme.match(/process\.once\('SIGINT', [^`]*/);
  const program = `
    import { Browser } from 'kxtcp64';
    const browser = await Browser.start({ profile: process.argv[1], runner: true });
    ${handler}
    const played = browser.play('');
    process.emit('SIGINT');
    await played;`;
  const at = await running();
  const gone = once(at.child, 'exit');
  const log = fs.openSync(path.join(at.folder, 'host.log'), 'w');
  const host = spawn(process.execPath, ['--input-type=module', '--eval', program, at.profile], { stdio: ['ignore', log, log] });
  assert.equal((await once(host, 'exit'))[0], 130, at.recorded('host.log'));
  await gone;
  assert.deepEqual([1, 2, 3].map((n) => JSON.parse(at.recorded(`request-1-${n}.bin`)).type), ['init', 'play', 'exit']);
});

test('options that cannot be right are refused', async () => {
  const wrong = [
    [{ fxProfile: 'x' }, /^there is no option fxProfile, only browser, profile/],
    [{ toString: 'x' }, /there is no option toString/],
    [{ browser: 'firefox' }, /browser has to be 'fx' for Firefox or 'cr' for Chrome, not "firefox"/],
    [{ browser: 'cr', profile: 'x' }, /profile is Firefox's/],
    [{ userDataDir: 'x' }, /userDataDir is Chrome's/],
    [{ profile: '' }, /profile is empty/],
    [{ profile: 'a"b' }, /double quote/],
    [{ profile: 'a\nb' }, /line end/],
    [{ profile: 'a\0b' }, /zero character/],
    [{ profile: 7 }, /profile has to be a text/],
    [{ browser: 'cr', userDataDir: 'C:\\data\\' }, /ends in a backslash/],
    [{ profiler: 1 }, /profiler has to be true or false/],
    [{ path: 'x.exe', attach: true }, /path means nothing with attach/],
    [{ path: '' }, /path is empty/],
    [{ runner: true }, /needs profile/],
    [{ runner: true, profile: 'x', timeout: Infinity }, /has to have an end/],
    [{ timeout: 0 }, /above 0/],
    [{ timeout: -1 }, /above 0/],
    [{ timeout: NaN }, /above 0/],
    [{ timeout: '30' }, /above 0/],
    [{ timeout: 2 ** 31 * 1000 }, /above 0/],
  ];
  for (const [given, message] of wrong) await assert.rejects(Browser.start(given), { message }, JSON.stringify(given));
  assert.throws(() => commandLine({ profile: 'x', startPage: 'x.html' }), /startPage is for Chrome/);
  assert.throws(() => new Browser(), /comes from Browser.start/);

  const at = await running();
  const browser = await start(at.start);
  for (const name of ['', 'a"b', 'a\\b', 'a\nb']) {
    await assert.rejects(browser.setVariable(name, ''), /cannot be the name of a variable/);
    await assert.rejects(browser.play('', { variables: { [name]: '' } }), /cannot be the name of a variable/);
  }
  await assert.rejects(browser.setVariable('a', 1), /the value of a has to be a text/);
  await assert.rejects(browser.play('a\0b'), /the macro has a zero character/);
  await assert.rejects(browser.play('', { time: 1 }), /there is no option time, only variables, timeout/);
  await assert.rejects(browser.screenshot('x', { of: 'window' }), /of has to be 'browser' or 'page'/);
  await assert.rejects(browser.show('x', { timeout: 0 }), /above 0/);
  assert.equal(JSON.stringify((await browser.play('extract fine')).extracts), '["fine"]');
});

test('time-outs are rounded up to whole seconds', async () => {
  const { seconds } = await internal('options.js');
  assert.deepEqual([1, 999, 1000, 1001, Infinity].map((time) => seconds('timeout', time)), [1, 1, 1, 2, 0]);
});

test('the arguments of a browser that the host starts', () => {
  assert.equal(commandLine({ profile: 'a b', profiler: true }),
               '-no-remote -P "a b" -kx-pipe "\\\\.\\pipe\\a b.runner" -kx-profiler');
  assert.match(commandLine({ browser: 'cr', userDataDir: 'C:\\my data', startPage: 'C:\\x.html' }),
               /^--user-data-dir="C:\\my data" file:\/\/C:\\x\.html\?pipe=/);
});

test('the DLL is that of the option, of KXTCP64_DLL, or the one in the package', async () => {
  await assert.rejects(Browser.start({ dll: 'none.dll' }), /none\.dll/);
  process.env.KXTCP64_DLL = 'other.dll';
  await assert.rejects(Browser.start({ path: 'none.exe' }), /other\.dll/);
  delete process.env.KXTCP64_DLL;
  await assert.rejects(Browser.start({ path: 'none.exe', timeout: 1 }), kx({ result: 2 }));
});

// The package's own files are no part of its interface.
const internal = (name) =>
  import(new URL(`lib/${name}`, new URL(import.meta.resolve('kxtcp64'))).href);

test('the types know the numbers that there are', () => {
  const types = fs.readFileSync(new URL('index.d.ts', import.meta.resolve('kxtcp64')), 'utf8');
  for (const [name, numbers] of Object.entries({ Result, ErrorNumber })) {
    const [, declared] = types.match(new RegExp(`const ${name}: {([^}]*)}`));
    assert.deepEqual(declared.trim().split(/\s*\n\s*/),
                     Object.entries(numbers).map(([key, value]) => `readonly ${key}: ${value};`));
  }
});
