// The program as a user meets it: verbs, sentences, exit codes; with a real Redis.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { after, before, describe, test } from 'node:test';

import { Redis } from 'ioredis';

import { RedisServer } from './support/redis.mjs';
import { kxCluster, kxClusters, program as kxClusterProgram, scratch, start, startKxCluster, until } from './support/programs.mjs';

const folder = path.join(scratch, 'command-line');
const at = (name) => path.join(folder, name);
let redis;

before(async () => {
  fs.mkdirSync(folder, { recursive: true });
  fs.writeFileSync(at('macro.txt'), 'nothing');
  fs.writeFileSync(at('rows.csv'), 'n\n1\n2\n');
  redis = await RedisServer.start(at('redis'));
});
after(() => redis.kill());

const submit = (...more) => ['submit', at('macro.txt'), '--redis', redis.where, ...more];

describe('the command line', { concurrency: 4 }, () => {
  test('help and version', async () => {
    const [help, version] = await kxClusters([{ args: ['--help'] }, { args: ['--version'] }]);
    assert.equal(help.code, 0);
    for (const verb of ['submit', 'work', 'results', 'status', 'stop', 'page']) assert.match(help.out, new RegExp(`^ {2}${verb} `, 'm'));
    assert.match(version.out, /^\d+\.\d+\.\d+\n$/);
  });

  test('a mistake of the user gets a sentence with the place and what would be right', async () => {
    fs.writeFileSync(at('bad.csv'), 'n\n1\n"2\n');
    fs.writeFileSync(at('latin.csv'), Buffer.from([0x6e, 0x0a, 0x31, 0x0a, 0xe5, 0x0a]));
    // The mistakes stand behind the first bundle of rows.
    const many = (row) => Array.from({ length: 600 }, (_, n) => row(n)).join('\n');
    fs.writeFileSync(at('large.csv'), `n,v\n${many((n) => `${n},x`)}\n\n600,${'y'.repeat(300_000)}\n`);
    fs.writeFileSync(at('keyless.jsonl'), `\n${many((n) => `{"order":${n}}`)}\n\n  {"ordr":5}\n`);
    const cases = [
      [submit('--csv', at('bad.csv')), `${at('bad.csv')}, line 3, column 1: a value begins with a double quote here, and no double quote ends it.`],
      [submit('--csv', at('latin.csv')), 'is not UTF-8 text; what is wrong stands in line 1 or behind it.'],
      [submit('--csv', at('none.csv')), `the table ${at('none.csv')} cannot be read: there is no such file.`],
      [submit(), 'The rows come from one file: --csv FILE or --jsonl FILE.'],
      [['submit', at('none.txt'), '--csv', at('rows.csv')], `the macro ${at('none.txt')} cannot be read: there is no such file.`],
      [['submit', folder, '--csv', at('rows.csv')], `the macro ${folder} cannot be read: it is a folder.`],
      [submit('--csv', at('rows.csv'), '--key', 'm'), `${at('rows.csv')}, line 2, column 1: this row has no "m", which the key is made of. It has "n".`],
      [submit('--csv', at('large.csv')), `${at('large.csv')}, line 603, column 1: this row has 300018 bytes, and 262144 is the most`],
      [submit('--jsonl', at('keyless.jsonl'), '--key', 'order'), `${at('keyless.jsonl')}, line 603, column 3: this row has no "order", which the key is made of. It has "ordr".`],
      [submit('--csv', at('rows.csv'), '--retries', 'x'), '--retries x: this has to be a whole number from 0 to 1000.'],
      [submit('--csv', at('rows.csv'), '--password', 'secret'), 'There is no option --password'],
      [submit('--csv', at('rows.csv'), '--nonsense'), 'Unknown option \'--nonsense\'. --help tells the options.'],
      [submit('--csv', at('rows.csv'), '--group', 'a:b'), 'the group "a:b" cannot be used.'],
      [['results', '--redis', redis.where, '--group', 'empty'], 'The group "empty" has no batch: nothing has been submitted to it.'],
      ...['--csv', '--json', '--failed'].map((way) =>
        [['results', '--redis', redis.where, way, '--redact'], '--redact says what the report leaves out, and there is no --report.']),
      [['work', '--contexts', '2', '--profile', 'x'], 'Several contexts need profiles of their own: --profile with {n}'],
      [['work', '--contexts', '3', '--profile', 'x{n}'], '3 contexts need more of Node\'s threads than there are (4)'],
      [['results', '--redis', redis.where, '--shared', at('none')], `--shared ${at('none')}: there is no such folder.`],
      [['page', '--certificate', at('macro.txt'), '--key', at('macro.txt')],
        `The certificate ${at('macro.txt')} with the key ${at('macro.txt')} cannot be used: `],
      [['page', '--host', '0.0.0.0'], '--host 0.0.0.0: other machines would reach the page there'],
      [['play'], 'There is no verb "play". There are: submit, work, results, status, stop, page.'],
    ];
    const found = await kxClusters(cases.map(([args]) => ({ args, env: { UV_THREADPOOL_SIZE: '4' } })));
    found.forEach(({ code, out, err }, index) => {
      const [args, sentence] = cases[index];
      assert.ok(err.startsWith('kx-cluster: ') && err.includes(sentence), `${args}: ${err}`);
      assert.doesNotMatch(err, /secret|\n {4}at /);
      assert.equal(code, 2, err);
      assert.equal(out, '');
    });
    // Not one of these has made a job or a batch.
    const [status, none] = await kxClusters([{ args: ['status', '--json', '--redis', redis.where] }, { args: ['results', '--redis', redis.where] }]);
    assert.equal(status.out.includes('"waiting":0'), true);
    assert.match(none.err, /The group "macros" has no batch/);
  });

  test('a Redis that is not there, or refuses, is told of with the place', async () => {
    const locked = await RedisServer.start(at('locked'), ['--requirepass', 'right']);
    try {
      const file = at('password');
      fs.writeFileSync(file, 'right\n');
      fs.writeFileSync(at('wrong'), 'wrong\n');
      const cases = [
        [[], 3, 'wants a password. Put it into a file that --password-file names, or into KX_CLUSTER_PASSWORD.'],
        [['--password-file', at('wrong')], 3, `The Redis at ${locked.where} refuses the password.`],
        [['--password-file', at('wrong'), '--user', 'ada'], 3, `The Redis at ${locked.where} refuses the user "ada" with this password.`],
        [['--password-file', file, '--tls'], 3, `There is no connection to Redis at ${locked.where}: `],
        [['--redis', '127.0.0.1:1'], 3, 'There is no connection to Redis at 127.0.0.1:1: nothing listens there.'],
        [['--redis', 'no-such-machine.invalid'], 3, 'no machine of that name is known.'],
        [['--password-file', file], 0, ''],
      ];
      const found = await kxClusters([
        ...cases.map(([more]) => ({ args: ['status', '--redis', locked.where, ...more] })),
        { args: ['status', '--redis', locked.where], env: { KX_CLUSTER_PASSWORD: 'right' } },
      ]);
      cases.forEach(([given, code, sentence], index) => {
        assert.ok(found[index].err.includes(sentence), `${given}: ${found[index].err}`);
        assert.equal(found[index].code, code);
      });
      assert.equal(found.at(-1).code, 0);
    } finally {
      await locked.kill();
    }
  });

  test('output that cannot be written is exit code 4 with a sentence, and a reader that has left is none', async () => {
    const where = `--redis ${redis.where} --group output`;
    fs.writeFileSync(at('many.csv'), `n\n${Array.from({ length: 3000 }, (_, n) => `${n} ${'x'.repeat(100)}`).join('\n')}\n`);
    assert.equal((await kxCluster([...submit('--csv', at('many.csv')), '--group', 'output', '--quiet'])).code, 0);
    const shell = (line) => start(['-o', 'pipefail', '-c', line], { node: ['bash'] }).ended;
    const program = `"${process.execPath}" "${kxClusterProgram}"`;
    const [full, left, used] = await Promise.all([
      shell(`${program} results --csv ${where} >/dev/full`),
      shell(`${program} results --csv ${where} | head -n 1`),
      shell(`${program} --help >/dev/full`),
    ]);
    for (const { code, err } of [full, used]) {
      assert.equal(err, 'kx-cluster: The output cannot be written: ENOSPC: no space left on device, write.\n');
      assert.equal(code, 4);
    }
    assert.equal(left.err, '');
    assert.match(left.out, /^run,outcome,.*\n$/);
  });

  test('a report that cannot be written leaves no half page, and the old one as it is', async () => {
    const where = ['--redis', redis.where, '--group', 'report'];
    await kxCluster([...submit('--csv', at('rows.csv')), '--group', 'report', '--batch', 'b']);
    fs.mkdirSync(at('reports'));
    const old = at('reports/old.html');
    fs.writeFileSync(old, 'old');
    // No file of this shell's programs gets larger than 1 KB.
    const limited = (...args) => start(['-c', 'ulimit -f 1 && exec "$0" "$@"', process.execPath, kxClusterProgram, ...args], { node: ['bash'] }).ended;
    const results = await Promise.all([
      limited('results', ...where, '--report', at('reports/new.html')),
      limited('results', ...where, '--report', old, '--overwrite'),
      kxCluster(['results', ...where, '--report', '/dev/full', '--overwrite']),
      kxCluster(['results', ...where, '--report', at('none/new.html')]),
    ]);
    [/EFBIG/, /EFBIG/, /ENOSPC/, /ENOENT/].forEach((reason, index) => {
      const { code, err } = results[index];
      assert.match(err, /^kx-cluster: The report .* cannot be written: .*\.\n$/);
      assert.match(err, reason);
      assert.equal(code, 4);
    });
    assert.deepEqual(fs.readdirSync(at('reports')), ['old.html']);
    assert.equal(fs.readFileSync(old, 'utf8'), 'old');
    assert.equal((await kxCluster(['results', ...where, '--report', old, '--overwrite'])).code, 0);
    assert.match(fs.readFileSync(old, 'utf8'), /^<!doctype html>/i);
    assert.deepEqual(fs.readdirSync(at('reports')), ['old.html']);
  });

  test('what Redis refuses is a sentence', async () => {
    const full = await RedisServer.start(at('full'));
    try {
      await full.set('maxmemory', '1');
      const { code, err } = await kxCluster(['submit', at('macro.txt'), '--csv', at('rows.csv'), '--redis', full.where]);
      assert.match(err, /^kx-cluster: Redis refuses: OOM command not allowed .*\n$/);
      assert.equal(code, 4);
    } finally {
      await full.kill();
    }
  });

  test('TLS: with the authority\'s certificate it connects, without it the sentence names --ca', async () => {
    const openssl = (...args) => execFileSync('openssl', args, { cwd: folder, stdio: 'pipe' });
    openssl('req', '-x509', '-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:P-256', '-nodes', '-keyout', 'key.pem', '-out', 'cert.pem',
        '-subj', '/CN=localhost', '-addext', 'subjectAltName=IP:127.0.0.1', '-days', '2');
    const tls = await RedisServer.start(at('tls'), ['--tls-cert-file', at('cert.pem'), '--tls-key-file', at('key.pem'),
      '--tls-ca-cert-file', at('cert.pem'), '--tls-auth-clients', 'no', '--tls-port', '0']);
    await tls.kill();
    tls.options.splice(-1, 1, String(tls.port + 1));
    await tls.start();
    try {
      const where = `127.0.0.1:${tls.port + 1}`;
      const [accepted, refused] = await kxClusters([['--ca', at('cert.pem')], ['--tls']].map((more) => ({ args: ['status', '--redis', where, ...more] })));
      assert.equal(accepted.code, 0);
      assert.equal(refused.code, 3);
      assert.match(refused.err, /TLS failed .* --ca FILE names the certificate/);
    } finally {
      await tls.kill();
    }
  });

  test('the page is behind a log-in, and shows jobs without the values of their variables', async () => {
    const where = ['--redis', redis.where, '--group', 'page'];
    await kxCluster([...submit('--csv', at('rows.csv')), '--group', 'page', '--batch', 'b']);
    const page = startKxCluster(['page', ...where, '--port', '0'], { env: { KX_CLUSTER_LOGIN: 'right' } });
    try {
      const address = await until('it listens', () => /^http:\/\/127\.0\.0\.1:\d+\//.exec(page.out())?.[0]);
      const get = (path, login) => fetch(address + path, { headers: login ? { Authorization: `Basic ${btoa(login)}` } : {} });
      for (const login of [undefined, 'kx:wrong', 'ada:right', ':']) {
        for (const path of ['', 'api/queues']) assert.equal((await get(path, login)).status, 401, `${login} ${path}`);
      }
      const front = await get('', 'kx:right');
      assert.equal(front.status, 200);
      assert.match(front.headers.get('content-security-policy'), /default-src 'self'.*frame-ancestors 'none'/);
      const { queues: [queue] } = await (await get('api/queues?activeQueue=page&status=waiting', 'kx:right')).json();
      assert.equal(queue.jobs.length, 2);
      assert.deepEqual(queue.jobs.map(({ data }) => data.variables), [{ n: '(hidden)' }, { n: '(hidden)' }]);
      // The page shows, and changes nothing.
      const refused = await fetch(`${address}api/queues/page/${queue.jobs[0].id}/clean`, { method: 'PUT', headers: { Authorization: `Basic ${btoa('kx:right')}` } });
      assert.equal(refused.status, 405);
    } finally {
      page.kill('SIGTERM');
      assert.equal((await page.ended).code, 0);
    }
  });

  test('a page that hides values lets jobs be removed, and nobody write the hidden values back', async () => {
    const where = ['--redis', redis.where, '--group', 'actions'];
    await kxCluster([...submit('--csv', at('rows.csv')), '--group', 'actions', '--batch', 'b']);
    const pages = [[], ['--show-values']].map((more) =>
      startKxCluster(['page', ...where, '--port', '0', '--actions', ...more], { env: { KX_CLUSTER_LOGIN: 'right' } }));
    try {
      const [hiding, showing] = await Promise.all(pages.map((page) =>
        until('it listens', () => /^http:\/\/127\.0\.0\.1:\d+\//.exec(page.out())?.[0])));
      const ask = (address, method, path, body) => fetch(`${address}api/queues${path}`, {
        method,
        headers: { Authorization: `Basic ${btoa('kx:right')}`, 'Content-Type': 'application/json' },
        ...(body ? { body: JSON.stringify(body) } : {}),
      });
      const jobs = async () => (await (await ask(showing, 'GET', '?activeQueue=actions&status=waiting')).json()).queues[0].jobs;
      const [{ id }] = await jobs();
      const { data } = (await (await ask(hiding, 'GET', '?activeQueue=actions&status=waiting')).json()).queues[0].jobs.find((job) => job.id === id);
      assert.equal(data.variables.n, '(hidden)');
      for (const end of ['', '/']) {
        assert.equal((await ask(hiding, 'PATCH', `/actions/${id}/update-data${end}`, { jobData: data })).status, 405);
        assert.equal((await ask(hiding, 'POST', `/actions/add${end}`, { name: 'copy', data, options: {} })).status, 405);
      }
      assert.deepEqual((await jobs()).map((job) => job.data.variables.n).sort(), ['1', '2']);
      // Where values are seen they can be changed; jobs can be removed from either page.
      const changed = { ...data, variables: { n: '7' } };
      assert.equal((await ask(showing, 'PATCH', `/actions/${id}/update-data`, { jobData: changed })).status, 200);
      assert.deepEqual((await jobs()).map((job) => job.data.variables.n).includes('7'), true);
      assert.equal((await ask(hiding, 'PUT', `/actions/${id}/clean`)).status, 204);
      assert.equal((await jobs()).length, 1);
    } finally {
      for (const page of pages) page.kill('SIGTERM');
      await Promise.all(pages.map((page) => page.ended));
    }
  });

  test('--keep-days reaches the engine as seconds', async () => {
    await kxCluster([...submit('--csv', at('rows.csv')), '--group', 'keep', '--batch', 'b', '--keep-days', '3']);
    const { out } = await kxCluster(['results', '--json', '--redis', redis.where, '--group', 'keep']);
    const client = new Redis(redis.port);
    const { removeOnComplete, removeOnFail } = JSON.parse(await client.hget(`kx:keep:${JSON.parse(out.split('\n')[0]).key}`, 'opts'));
    client.disconnect();
    assert.deepEqual([removeOnComplete, removeOnFail], [{ age: 259_200 }, { age: 259_200 }]);
  });

  test('names and texts of others reach the terminals of status and work without control characters', async () => {
    const client = new Redis(redis.port);
    await client.zadd('kx:terminal:kx:workers', Date.now(), 'w\x1b[2J');
    client.disconnect();
    const lib = path.join(path.dirname(kxClusterProgram), '../lib');
    const work = `
      import { connect } from '${lib}/connection.js';
      import { Group } from '${lib}/group.js';
      import { run } from '${lib}/verbs/work.js';
      const { redis } = await connect({ host: '127.0.0.1', port: ${redis.port} });
      const start = async () => { throw new Error('no \\x1b[2J browser'); };
      await run(new Group(redis, { group: 'terminal' }), { name: 'w', pause: 1, start }).catch((error) => process.stderr.write(error.name));
      process.exit();`;
    const [status, mistake, worker] = await Promise.all([
      kxCluster(['status', '--redis', redis.where, '--group', 'terminal']),
      kxCluster(['a\x1b[2J']),
      start(['--input-type=module', '-e', work]).ended,
    ]);
    assert.match(status.out, /\n {2}w\\x1B\[2J: 0 played/);
    assert.match(mistake.err, /There is no verb "a\\x1B\[2J"/);
    assert.match(worker.err, /the browser does not start \(5\): no \\x1B\[2J browser\n/);
    // eslint-disable-next-line no-control-regex
    assert.doesNotMatch(status.out + mistake.err + worker.err, /\x1b/);
  });

  test('rows come over standard input as well', async () => {
    const input = fs.openSync(at('rows.csv'), 'r');
    const { code, out } = await kxCluster(submit('--csv', '-', '--group', 'input', '--batch', 'b'), { input });
    fs.closeSync(input);
    assert.deepEqual([code, out], [0, 'batch b: 2 rows, 2 new jobs\n']);
  });
});
