// Rules that need no Redis.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { test } from 'node:test';

import { BrowserKeeper } from '../node_modules/kx-cluster/lib/browser_keeper.js';
import { rowOf } from '../node_modules/kx-cluster/lib/catalogue.js';
import { Context } from '../node_modules/kx-cluster/lib/context.js';
import { problemOfServer, warningsOfServer } from '../node_modules/kx-cluster/lib/connection.js';
import { csvLine, readCsv } from '../node_modules/kx-cluster/lib/csv.js';
import { readJsonLines } from '../node_modules/kx-cluster/lib/json_lines.js';
import { jobIdOf } from '../node_modules/kx-cluster/lib/keys.js';
import { AttemptFailed, outcomeOf, recordIn } from '../node_modules/kx-cluster/lib/outcome.js';
import { ProfileLease, profileIdentity } from '../node_modules/kx-cluster/lib/profile_lease.js';
import { Tally } from '../node_modules/kx-cluster/lib/results.js';
import { redisSettings } from '../node_modules/kx-cluster/lib/settings.js';
import { scratch } from './support/programs.mjs';

async function rowsOf(read, text, size = text.length) {
  async function* pieces() {
    for (let at = 0; at < text.length; at += size) yield text.slice(at, at + size);
  }
  const rows = [];
  for await (const row of read(pieces(), 'rows')) rows.push(row);
  return rows;
}

const tables = [
  ['city\nOslo\n', [{ city: 'Oslo' }]],
  ['city,name\r\nOslo,Ada\r\nBergen,Bo', [{ city: 'Oslo', name: 'Ada' }, { city: 'Bergen', name: 'Bo' }]],
  ['a,b\n"x,""y""\nz",2\n', [{ a: 'x,"y"\nz', b: '2' }]],
  ['a,b\n"x"\r\n'.replace('"x"', '"x","y"'), [{ a: 'x', b: 'y' }]],
  ['a,b\n,\n', [{ a: '', b: '' }]],
  ['a,b\nx,', [{ a: 'x', b: '' }]],
  ['a;b\n1,5;2\n', [{ a: '1,5', b: '2' }]],
  ['a\tb\n1\t2\n', [{ a: '1', b: '2' }]],
  ['"a;b",c\n1,2\n', [{ 'a;b': '1', c: '2' }]],
  ['a\n1\n\n2\n\n', [{ a: '1' }, { a: '2' }]],
  ['a\n""\n', [{ a: '' }]],
  ['a\nx\ry\n', [{ a: 'x\ry' }]],
];

test('a table is read into rows, however its text is cut', async () => {
  for (const [text, rows] of tables) {
    for (const size of [text.length, 1, 2, 3]) assert.deepEqual(await rowsOf(readCsv, text, size), rows, JSON.stringify([text, size]));
  }
});

test('a table that is wrong is refused with line and column', async () => {
  const cases = [
    ['a,b\n1,2\n3\n', 'rows, line 3, column 1: this row has 1 value, and the header has 2 names.'],
    ['a,b\n1,"x\n2,y\n', 'rows, line 2, column 3: a value begins with a double quote here, and no double quote ends it.'],
    ['a\n"x"y\n', 'rows, line 2, column 4: text behind a value\'s closing double quote. A double quote inside the value is written twice.'],
    ['a\n"x\n\n"y\n', 'rows, line 4, column 2: text behind a value\'s closing double quote. A double quote inside the value is written twice.'],
    ['a\n\u{1F30D}"x\n', 'rows, line 2, column 2: a double quote inside a value that does not begin with one. Put the whole value in ' +
      'double quotes and write this one twice.'],
    ['a,,b\n', 'rows, line 1, column 3: the header names the variables, and a name is empty.'],
    ['a,b,a\n', 'rows, line 1, column 5: the header names the variable "a" a second time.'],
    ['a\\b\n', 'rows, line 1, column 1: the header names the variables, and "a\\b" has a character that no name of a variable may ' +
      'have: a double quote, a backslash or a control character.'],
    ['a,b\n', 'rows has a header and no row behind it: there is nothing to do.'],
    ['', 'rows, line 1, column 1: the header names the variables, and a name is empty.'],
  ];
  for (const [text, sentence] of cases) await assert.rejects(rowsOf(readCsv, text, 2), { name: 'Mistake', message: sentence });
});

test('a line of CSV that is written is read back equal', async () => {
  const values = ['plain', 'with,comma', 'with "quotes"', 'two\nlines', '', ' blank '];
  const [row] = await rowsOf(readCsv, `a,b,c,d,e,f\n${csvLine(values)}`);
  assert.deepEqual(Object.values(row), values);
});

test('JSON Lines are read into rows, and refused with the line', async () => {
  const text = '{"city":"Oslo","n":1}\n\n{"city":"Bergen","n":true}';
  assert.deepEqual(await rowsOf(readJsonLines, text, 5), [{ city: 'Oslo', n: '1' }, { city: 'Bergen', n: 'true' }]);
  // No digit is lost, and what looks like a number in a text stays as it is.
  const written = '{"order":12345678901234567890,"price": 1.50 ,"e":-1E+2,"text":"a 1.50 \\" 2","3":"\\\\","z":0}';
  assert.deepEqual(await rowsOf(readJsonLines, written, 3),
      [{ 3: '\\', order: '12345678901234567890', price: '1.50', e: '-1E+2', text: 'a 1.50 " 2', z: '0' }]);
  const cases = [
    ['{"a":1}\n{"a":[1]}', /^rows, line 2: the value of "a" has to be a text/],
    ['{"a":01}', /^rows, line 1.*: this is not valid JSON/],
    ['{"a":1}\n{"a":}', /^rows, line 2: this is not valid JSON\. A line is one object/],
    ['{"a":1}\n{"a":1 "b":2}', /^rows, line 2(, column \d+)?: this is not valid JSON\./],
    ['[1]', /^rows, line 1: a line has to be an object/],
    ['{"a":null}', /^rows, line 1: the value of "a" has to be a text, a number, true or false\.$/],
    ['\n', /^rows has no row: there is nothing to do\.$/],
  ];
  for (const [wrong, sentence] of cases) await assert.rejects(rowsOf(readJsonLines, wrong), { name: 'Mistake', message: sentence });
});

test('a job\'s id follows from macro and values, not from their order', () => {
  const id = jobIdOf('m', { a: '1', b: '2' });
  assert.equal(jobIdOf('m', { b: '2', a: '1' }), id);
  for (const other of [jobIdOf('n', { a: '1', b: '2' }), jobIdOf('m', { a: '1', b: '3' }), jobIdOf('m', { a: '12', b: '' })]) {
    assert.notEqual(other, id);
  }
  assert.equal(jobIdOf('m', { a: '1', b: '2' }, ['a']), jobIdOf('n', { a: '1', b: '3' }, ['a']));
});

test('a Redis that is too old, keeps no file or drops keys is told of', () => {
  assert.match(problemOfServer('redis_version:5.0.14\r\n', 'box:6379'), /^The Redis at box:6379 is version 5\.0\.14, and 6\.2 is the oldest/);
  for (const version of ['6.0.16', '6.1.9']) assert.notEqual(problemOfServer(`redis_version:${version}\r\n`, 'x'), '');
  for (const version of ['6.2.0', '7.0.15', '8.0.1', '10.0.0']) assert.equal(problemOfServer(`redis_version:${version}\r\n`, 'x'), '');
  assert.equal(warningsOfServer('aof_enabled:0\r\n', 'allkeys-lru').length, 2);
  assert.deepEqual(warningsOfServer('aof_enabled:1\r\n', 'noeviction'), []);
});

test('the connection\'s settings come from options, the environment and files, and no password from a command line', () => {
  const file = path.join(scratch, 'password');
  fs.writeFileSync(file, 'from file\nsecond line\n');
  assert.deepEqual(redisSettings({}, {}),
      { host: '127.0.0.1', port: 6379, username: undefined, password: undefined, tls: undefined, prefix: 'kx' });
  const settings = redisSettings({ redis: '[::1]:7000', user: 'ada', 'password-file': file, tls: true }, { KX_CLUSTER_REDIS: 'x' });
  assert.deepEqual([settings.host, settings.port, settings.username, settings.password, settings.tls], ['::1', 7000, 'ada', 'from file', {}]);
  assert.equal(redisSettings({}, { KX_CLUSTER_PASSWORD: 'p' }).password, 'p');
  for (const wrong of ['redis://:secret@box', 'user@box', 'box:99999', 'a:b:c', 'ada:secret@box:6379', ':secret@box', 'secret@box', 'p@secret@box',
    'rediss://box/?password=secret', 'box:6379#secret', 'box secret', 'box:secret', ':secret', 'box:6379:secret']) {
    for (const [given, environment, from] of [[{ redis: wrong }, {}, '--redis'], [{}, { KX_CLUSTER_REDIS: wrong }, 'KX_CLUSTER_REDIS']]) {
      assert.throws(() => redisSettings(given, environment),
          ({ name, message }) => name === 'Mistake' && message.startsWith(`${from} is `) && !message.includes('secret'), wrong);
    }
  }
  for (const [right, host] of [['linux-box', 'linux-box'], ['größe.example:1', 'größe.example'], ['[fe80::1%eth0]:1', 'fe80::1%eth0']]) {
    assert.equal(redisSettings({ redis: right }, {}).host, host);
  }
});

test('the catalogue\'s row for an error is the first that fits', () => {
  const idOf = (call, result, number, text) => rowOf({ call, result, number, text })?.id;
  assert.equal(idOf('kx_Play', -1, -50, 'There is no such button'), 'macro-failed');
  assert.equal(idOf('kx_Play', -1, 0, 'anything'), 'no-number');
  assert.equal(idOf('kx_Init', -1, -4, 'Could not open server pipe \\\\.\\pipe\\x'), 'profile-in-use');
  assert.equal(rowOf({ call: 'kx_Play', result: -1, number: -3, text: 'Error while receiving response' }).kind, 'connection');
  assert.equal(rowOf({ call: 'kx_Play', result: -1, number: -1, text: 'Error while receiving response' }).kind, 'connection');
});

test('a failure\'s record comes through the engine\'s stack, whatever its text holds', () => {
  const error = { call: 'kx_Play', result: -1, number: -50, text: 'a\n#record {"b":1}' };
  const record = outcomeOf({ left: { extracts: ['\n#record {}'], performance: [], profilerData: '' }, error, attempt: 2, worker: 'w', context: 1, profile: 'p', started: 0, ended: 1500 });
  assert.deepEqual([record.outcome, record.failure, record.seconds], ['macro failed', 'macro-failed', 1.5]);
  assert.deepEqual(recordIn(new AttemptFailed(record, false).stack), record);
});

test('texts of others reach a terminal without control characters', () => {
  const tally = new Tally();
  tally.add({ outcome: 'macro failed', variables: {}, attempts: 1, number: -50, text: '\x1b]0;owned\x07 a\r\nb\t\x7f\x9b2Jß', failure: { id: 'other' } });
  assert.equal(tally.explanation(), '1 x other\n    1 x "-50 \\x1B]0;owned\\x07 a\\r\\nb\\t\\x7F\\x9B2Jß"');
});

test('a profile is one for all that could meet on it', () => {
  assert.equal(profileIdentity({ browser: 'cr', userDataDir: 'C:\\Data' }), profileIdentity({ browser: 'cr', userDataDir: 'c:/data' }));
  assert.notEqual(profileIdentity({ profile: 'a' }), profileIdentity({ profile: 'b' }));
  for (const [one, ...others] of [
    ['\\\\box\\p', '\\\\box\\p\\', '//BOX/p/', '\\\\box\\\\p', '\\\\?\\UNC\\box\\p', '\\\\box\\p\\x\\..'],
    ['C:\\Data\\p', 'c:/data/p/', 'C:\\Data\\.\\p', 'C:\\Data.\\p ', '\\\\?\\C:\\Data\\p', 'C:\\Data\\\\p\\\\'],
    ['data', 'Data\\', '.\\data'],
  ]) {
    const identityOf = (userDataDir) => profileIdentity({ browser: 'cr', userDataDir });
    for (const other of others) assert.equal(identityOf(other), identityOf(one), other);
  }
  assert.equal(profileIdentity({ profile: 'shop\\' }), profileIdentity({ profile: 'shop' }));
  for (const [a, b] of [['C:\\p', '\\\\box\\p'], ['C:\\p', 'C:\\p\\q'], ['C:\\p.q', 'C:\\pq'], ['C:\\p q', 'C:\\pq']]) {
    assert.notEqual(profileIdentity({ browser: 'cr', userDataDir: a }), profileIdentity({ browser: 'cr', userDataDir: b }));
  }
  // A folder of the network is one folder on every machine.
  assert.equal(profileIdentity({ browser: 'cr', userDataDir: '\\\\box\\p' }), 'cr\n\n\\\\box\\p');
});

test('a lease that Redis refuses to renew does not count as held until it is renewed', async () => {
  const answers = [1, new Error('READONLY'), 1];
  const redis = {
    async eval() {
      const answer = answers.shift();
      if (answer instanceof Error) throw answer;
      return answer;
    },
  };
  const lease = new ProfileLease(redis, 'key', `${path.basename(scratch)}-refused`, { worker: 'w', milliseconds: 1e6 });
  assert.equal(await lease.take(), true);
  await assert.rejects(lease.take(), { message: 'READONLY' });
  assert.equal(lease.isHeld, false);
  assert.equal(await lease.take(), true);
  await lease.release();
});

test('a browser is kept, and started afresh after so many jobs, when it is too large, and after a lost connection', async () => {
  const error = (number, text) => Object.assign(new Error(text), { call: 'kx_Play', result: -1, number, text });
  const kept = (limits) => {
    let starts = 0;
    let fails = null;
    const browser = { processId: 7, exit: async () => {}, screenshot: async () => {}, play: async () => { if (fails) throw fails; } };
    const keeper = new BrowserKeeper(async () => (starts += 1) && browser, {}, limits);
    return async (failure = null) => {
      fails = failure;
      await keeper.ready();
      await keeper.play('', { variables: {}, timeout: 1000, deadline: 1000 }).catch(() => {});
      await keeper.tidy();
      return starts;
    };
  };
  const startsOf = async (play, ...failures) => {
    const starts = [];
    for (const failure of failures) starts.push(await play(failure));
    return starts;
  };
  assert.deepEqual(await startsOf(kept(), null, null, error(-50, 'There is no such button'), null), [1, 1, 1, 1]);
  assert.deepEqual(await startsOf(kept({ jobs: 2 }), null, null, null, null, null), [1, 1, 2, 2, 3]);
  assert.deepEqual(await startsOf(kept(), error(-3, 'Error while receiving response'), null), [1, 2]);
  const sizes = [10, 99, 101, 10];
  assert.deepEqual(await startsOf(kept({ megabytes: 100, sizeOf: (id) => (id === 7 ? sizes.shift() : 0) }), null, null, null, null), [1, 1, 1, 2]);
});

// A context whose job, browser and report are played; `held` and `play` are what a test puts in their place.
function playedContext({ held, play = async () => ({ extracts: [], performance: [], profilerData: '' }), settings = {} }) {
  const told = [];
  const left = [held];
  const context = new Context({
    number: 1,
    profile: 'p',
    lease: { isHeld: true, release: async () => {} },
    engine: {
      async next() {
        if (left.length === 0) context.stop();
        return left.shift() ?? null;
      },
    },
    keeper: { ready: async () => {}, play, tidy: async () => {}, end: async () => {} },
    group: { redis: { hget: async () => 'macro' }, keys: {} },
    settings: { name: 'w', screenshot: 'never', pause: 1, ...settings },
    tell: (text) => told.push(text),
  });
  return { context, told };
}

function heldJob(report) {
  const held = {
    id: 'r1',
    data: { batch: 'b', row: 1, macro: 'm', variables: {} },
    attempt: 1,
    isLetGo: false,
    succeed: (record) => report('ok', record),
    fail: (error) => report('failed', recordIn(error.stack)),
    letGo: () => (held.isLetGo = true),
  };
  return held;
}

test('an error between a play and its report is reported as a failure with the reason, and the context goes on', async () => {
  const reports = [];
  const held = heldJob(async (...report) => reports.push(report));
  const { context } = playedContext({ held, play: async () => ({ extracts: [], performance: 7 }) });
  await context.run();
  assert.deepEqual(reports.map(([kind, { outcome, failure }]) => [kind, outcome, failure]), [['failed', 'connection failed', 'other']]);
  assert.match(reports[0][1].text, /is not a function/);
  assert.equal(held.isLetGo, true);
});

test('a job\'s lock is renewed no more when its report fails, and the reason is told', async () => {
  const held = heldJob(async () => {
    throw new Error('Connection is closed.');
  });
  const { context, told } = playedContext({ held });
  await assert.rejects(context.run(), { message: 'Connection is closed.' });
  assert.equal(held.isLetGo, true);
  assert.equal(told.at(-1), 'context 1 ends: Connection is closed.');
});

