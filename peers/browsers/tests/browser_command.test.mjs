import assert from 'node:assert/strict';
import test from 'node:test';
import { browserCommand } from '../watcher/browser_command.mjs';

const kRun = { type: 'fx', platform: 'linux', program: '', profileFolder: '/p/dev', runFolder: '/run', homeFolder: '/h',
  mark: 'm1', visible: false, superUser: false };

test('Firefox is started on its profile, headless, with a free port', () => {
  const { program, args } = browserCommand(kRun);

  assert.equal(program, 'firefox-esr');
  assert.equal(args[args.indexOf('--profile') + 1], '/p/dev');
  assert.ok(args.includes('--headless') && args.includes('--remote-debugging-port=0'));
});

test('Chrome is started on its data folder, headless, with a free port', () => {
  const { program, args } = browserCommand({ ...kRun, type: 'cr', profileFolder: '/data dir' });

  assert.equal(program, 'chromium');
  assert.ok(args.includes('--user-data-dir=/data dir'));
  assert.ok(args.includes('--headless=new') && args.includes('--remote-debugging-port=0'));
});

test('only the super-user goes without the sandbox', () => {
  const chrome = { ...kRun, type: 'cr' };
  assert.ok(!browserCommand(chrome).args.includes('--no-sandbox'));
  assert.ok(browserCommand({ ...chrome, superUser: true }).args.includes('--no-sandbox'));
});

test('a visible browser has no switch that hides it', () => {
  for (const type of ['fx', 'cr']) {
    const { args } = browserCommand({ ...kRun, type, visible: true });
    assert.ok(!args.some((argument) => argument.startsWith('--headless')));
  }
});

test('on Windows the installed programs are the default, and the environment keeps its folders', () => {
  const firefox = browserCommand({ ...kRun, platform: 'win32' });
  const chrome = browserCommand({ ...kRun, platform: 'win32', type: 'cr' });

  assert.match(firefox.program, /\\firefox\.exe$/);
  assert.ok(firefox.args.includes('--wait-for-browser'));
  assert.match(chrome.program, /\\chrome\.exe$/);
  assert.ok(!('TEMP' in chrome.environment) && !('HOME' in chrome.environment));
});

test('a program that the user names is the one that is started', () => {
  assert.equal(browserCommand({ ...kRun, program: '/opt/ff/firefox' }).program, '/opt/ff/firefox');
});

test('the browser and all that it starts carry the mark of the run', () => {
  assert.equal(browserCommand(kRun).environment.KXB_MARK, 'm1');
});
