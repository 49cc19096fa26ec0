// What is promised, tried with a real Redis and worker processes that are killed, cut off and restarted. Their browsers are
// played; windows.test.mjs has the library and its simulator in their place.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { after, before, describe, test } from 'node:test';

import { Cluster } from 'kx-cluster';

import { RedisServer } from './support/redis.mjs';
import { Relay } from './support/relay.mjs';
import { kxCluster, kxClusters, scratch, start, until } from './support/programs.mjs';

const LEASE = 2000;
let redis;
let count = 0;
const children = [];

before(async () => {
  redis = await RedisServer.start(path.join(scratch, 'guarantees'));
});
after(async () => {
  children.forEach((child) => child.kill('SIGKILL'));
  await redis.kill();
});

// Each test has a group and a folder of its own.
async function world(t, { server = redis, lease = LEASE } = {}) {
  count += 1;
  const group = `group-${count}`;
  const folder = path.join(scratch, group);
  fs.mkdirSync(folder);
  const cluster = await Cluster.connect({ port: server.port, group });
  t.after(() => cluster.close());
  const journal = path.join(folder, 'journal');
  return {
    group,
    folder,
    cluster,
    journal: () => (fs.existsSync(journal) ? fs.readFileSync(journal, 'utf8').split('\n').filter(Boolean) : []),
    row: (n, more = {}) => ({ n: String(n), journal, ...more }),
    worker: (name, { contexts = 1, profile = '', port = server.port, shared = '', env = {} } = {}) => {
      const child = start(['tests/support/simulated_worker.mjs', port, group, lease, contexts, name, profile, shared].map(String), { env });
      children.push(child);
      return child;
    },
    all: async (batch, options) => {
      const found = [];
      for await (const result of cluster.results(batch, options)) found.push(result);
      return found;
    },
    outcomes: async (...expected) => until(`outcomes ${expected}`, async () => {
      const found = [];
      for await (const result of cluster.results()) found.push(result);
      return found.every(({ outcome }) => expected.includes(outcome)) && found;
    }),
  };
}

// Most of the time they wait for leases.
describe('guarantees', { concurrency: true }, () => {
  test('a job whose worker died is another worker\'s, and its result tells that it was begun twice', async (t) => {
    const { cluster, worker, row, outcomes, journal, folder } = await world(t);
    const file = path.join(folder, 'go');
    await cluster.submit([row(1, { file })], { macro: 'wait-for' });
    const first = worker('first');
    await until('the job is at work', () => journal().length === 1);
    first.kill('SIGKILL');
    await first.ended;
    worker('second');
    fs.writeFileSync(file, '');
    const [result] = await outcomes('ok');
    assert.equal(result.attempts, 2);
    assert.equal(result.worker, 'second');
    assert.deepEqual(journal(), ['1 first', '1 second']);
  });

  test('a job that has killed three workers is set aside, and the next ones are played', async (t) => {
    const { cluster, worker, row, outcomes, journal } = await world(t);
    // Its first attempt loses the connection only: that is no death.
    await cluster.submit([row('bad')], { macro: 'lose-then-die', batch: 'bad', backoff: 1 });
    await cluster.submit([row('good')], { macro: 'nothing', batch: 'good', priority: 5 });
    for (let number = 1; number <= 3; number += 1) {
      const victim = worker(`w${number}`);
      await victim.ended;
      assert.equal(journal().filter((line) => line.startsWith('bad')).length, number + 1);
    }
    worker('survivor');
    const [good] = await outcomes('ok');
    assert.equal(good.batch, 'good');
    const bad = await until('it is set aside', async () => {
      for await (const result of cluster.results('bad')) if (result.outcome === 'set aside') return result;
      return null;
    });
    assert.equal(bad.attempts, 4);
    assert.deepEqual([bad.failure.id, bad.text], ['worker-died', '3 workers died while they played it']);
    assert.deepEqual(journal().filter((line) => line.startsWith('bad')), ['bad w1', 'bad w1', 'bad w2', 'bad w3']);
  });

  test('a Redis that crashes and is started again has lost nothing', async (t) => {
    const own = await RedisServer.start(path.join(scratch, 'restarted'));
    t.after(() => own.kill());
    const folder = path.join(scratch, 'restarted');
    const journal = path.join(folder, 'journal');
    const cluster = await Cluster.connect({ port: own.port });
    t.after(() => cluster.close());
    const rows = Array.from({ length: 200 }, (_, n) => ({ n: String(n), journal }));
    await cluster.submit(rows, { macro: 'nothing' });
    const child = start(['tests/support/simulated_worker.mjs', own.port, 'macros', LEASE, 2, 'w', ''].map(String));
    children.push(child);
    await until('half are done', async () => (await cluster.counts()).completed >= 50);
    await own.kill();
    await own.start();
    await until('all are done', async () => (await cluster.counts()).completed === 200);
    const numbers = new Set(fs.readFileSync(journal, 'utf8').split('\n').filter(Boolean).map((line) => line.split(' ')[0]));
    assert.equal(numbers.size, 200);
    await until('it has said so', () => /no connection to Redis/.test(child.err()));
  });

  test('a worker that is cut off goes on, and is not believed over the one that took over', async (t) => {
    const { cluster, worker, row, outcomes, journal, folder } = await world(t);
    const relay = await Relay.start(redis.port);
    t.after(() => relay.end());
    const file = path.join(folder, 'go');
    await cluster.submit([row(1, { file })], { macro: 'wait-for' });
    const cutOff = worker('cut-off', { port: relay.port });
    await until('the job is at work', () => journal().length === 1);
    relay.hold();
    worker('other');
    await until('it is taken over', () => journal().length === 2);
    fs.writeFileSync(file, '');
    const [result] = await outcomes('ok');
    assert.equal(result.worker, 'other');
    assert.equal(result.attempts, 2);
    relay.release();
    const [late] = await until('the late report', async () => {
      const reports = await cluster.lateReports();
      return reports.length > 0 && reports;
    });
    assert.deepEqual([late.worker, late.attempt, late.outcome, late.key], ['cut-off', 1, 'ok', result.key]);
    assert.deepEqual((await outcomes('ok')).map(({ worker: name }) => name), ['other']);
    await until('it says so', () => /too late, another worker has it/.test(cutOff.err()));
  });

  test('two workers never have one profile: the second one waits, and has it when the first one is dead', async (t) => {
    const { cluster, worker, row, journal, folder, outcomes } = await world(t);
    const file = path.join(folder, 'go');
    await cluster.submit([row(1, { file }), row(2, { file }), row(3, { file })], { macro: 'wait-for' });
    const first = worker('first', { profile: 'one' });
    await until('the job is at work', () => journal().length === 1);
    const second = worker('second', { profile: 'one' });
    await until('it waits', () => /the profile is used by first; waiting/.test(second.err()));
    assert.equal(journal().length, 1);
    first.kill('SIGKILL');
    fs.writeFileSync(file, '');
    await outcomes('ok');
    assert.deepEqual([...new Set(journal().slice(1).map((line) => line.split(' ')[1]))], ['second']);
  });

  test('a worker that comes back finds its profile another worker\'s, and plays nothing in it', async (t) => {
    const { cluster, worker, row, journal, outcomes } = await world(t);
    const relay = await Relay.start(redis.port);
    t.after(() => relay.end());
    const first = worker('first', { port: relay.port, profile: `${path.basename(scratch)}-back` });
    await until('it waits for jobs', async () => (await cluster.workers())[0]?.contexts?.[0].state === 'waiting');
    relay.hold();
    worker('second', { profile: `${path.basename(scratch)}-back` });
    await until('the second one has the profile', async () => (await cluster.workers()).some(({ name, contexts }) => name === 'second' && contexts?.[0].state === 'waiting'));
    relay.release();
    await until('the first one knows', () => /the profile is used by second; waiting for it/.test(first.err()));
    await cluster.submit(Array.from({ length: 20 }, (_, n) => row(n)), { macro: 'nothing' });
    await outcomes('ok');
    assert.deepEqual([...new Set(journal().map((line) => line.split(' ')[1]))], ['second']);
  });

  test('a worker whose browser does not start tries five times, plays nothing, and ends with exit code 3', async (t) => {
    const { cluster, worker, row, all } = await world(t);
    await cluster.submit([row(1)], { macro: 'nothing' });
    const { code, err } = await worker('w', { env: { KX_NO_BROWSER: '1' } }).ended;
    assert.equal(code, 3);
    assert.equal(err.match(/the browser does not start \(\d\): no such program/g).length, 5);
    assert.match(err, /\nNo browser can be started here: no such program\. `kx explain` tells/);
    const [result] = await all();
    assert.deepEqual([result.outcome, result.attempts], ['waiting', 0]);
  });

  test('a second submit of a row makes no second job, and says so', async (t) => {
    const { cluster, row } = await world(t);
    const rows = [row(1), row(2), row(1)];
    assert.deepEqual(await cluster.submit(rows, { macro: 'nothing', batch: 'a' }), { batch: 'a', rows: 3, added: 2, known: 1 });
    assert.deepEqual(await cluster.submit(rows, { macro: 'nothing', batch: 'b' }), { batch: 'b', rows: 3, added: 0, known: 3 });
    // A key of its own: other values of the row do not matter then.
    await cluster.submit([row(7)], { macro: 'nothing', batch: 'c', key: ['n'] });
    const again = await cluster.submit([{ ...row(7), other: 'x' }], { macro: 'fail', batch: 'd', key: ['n'] });
    assert.equal(again.known, 1);
    assert.equal((await cluster.counts()).waiting, 3);
  });

  test('a submit whose first rows are wrong makes neither a job nor a batch', async (t) => {
    const { cluster, row, all } = await world(t);
    await assert.rejects(cluster.submit([row(1), row(2, { large: 'x'.repeat(300_000) })], { macro: 'nothing' }), /^Mistake: row 2: this row has \d+ bytes/);
    await assert.rejects(all(), /has no batch/);
    assert.equal((await cluster.counts()).waiting, 0);
    assert.equal((await cluster.submit([], { macro: 'nothing', batch: 'empty' })).rows, 0);
    assert.deepEqual(await all('empty'), []);
  });

  test('a worker that is asked to stop ends what it has, and takes no more', async (t) => {
    const { cluster, worker, row, journal, folder, all, group } = await world(t);
    const file = path.join(folder, 'go');
    await cluster.submit([row(1, { file }), row(2, { file })], { macro: 'wait-for' });
    const child = worker('w');
    await until('the job is at work', () => journal().length === 1);
    assert.equal((await kxCluster(['stop', 'w', '--redis', redis.where, '--group', group])).code, 0);
    await until('it has heard', () => /stopping/.test(child.err()));
    fs.writeFileSync(file, '');
    assert.equal((await child.ended).code, 0);
    assert.deepEqual((await all()).map(({ outcome }) => outcome), ['ok', 'waiting']);
    assert.deepEqual(await cluster.workers(), []);
  });

  test('a connection that fails is tried again; a macro that fails is not, unless that is asked for', async (t) => {
    const { cluster, worker, row, journal, outcomes } = await world(t);
    await cluster.submit([row('lost')], { macro: 'lose', retries: 2, backoff: 1 });
    await cluster.submit([row('failed')], { macro: 'fail', retries: 2, backoff: 1 });
    await cluster.submit([row('again')], { macro: 'fail', retries: 1, backoff: 1, retryMacro: true, key: ['n'], batch: 'last' });
    worker('w');
    const [again] = await outcomes('macro failed');
    assert.equal(again.attempts, 2);
    await until('all have failed', async () => (await cluster.counts()).failed === 3);
    assert.deepEqual(journal().sort(), ['again w', 'again w', 'failed w', 'lost w', 'lost w', 'lost w']);
  });

  test('results tell why rows failed, with what they left, and failed rows can be tried again', async (t) => {
    const { cluster, worker, row, group, folder, outcomes, journal } = await world(t);
    await cluster.submit([row(1), row(2)], { macro: 'fail', batch: 'b' });
    worker('w', { shared: folder });
    const [result] = await outcomes('macro failed');
    assert.deepEqual([result.run, result.number, result.text, result.extracts, result.failure.id],
        [1, -50, 'There is no such button', ['1'], 'macro-failed']);
    assert.equal(fs.readFileSync(path.join(folder, result.screenshot), 'utf8'), 'picture');
    const page = path.join(folder, 'report.html');
    const redacted = path.join(folder, 'redacted.html');
    const results = (...more) => ({ args: ['results', '--redis', redis.where, '--group', group, ...more] });
    const [sum, csv, report, refused, left, retry] = await kxClusters([
      results(), results('--csv'), results('--report', page, '--shared', folder), results('--report', page),
      results('--report', redacted, '--redact'), results('--retry-failed'),
    ]);
    assert.equal(sum.code, 1);
    assert.match(sum.out, /^batch b: 0 of 2 rows ok, 2 macro failed\n2 x macro-failed: .*\n {4}What to do: .*\n {4}2 x "-50 There is no such button"\n$/);
    assert.match(csv.out, /^run,outcome,number,text,seconds,attempts,worker,started,ended,cause,key,screenshot,file,n,journal,extract 1\r\n1,macro failed,-50,There is no such button,/);
    assert.equal(report.code, 1);
    const data = (file, id) => JSON.parse(new RegExp(`id="data-${id}">(.*?)</script>`, 's').exec(fs.readFileSync(file, 'utf8'))[1]);
    assert.deepEqual(data(page, 'runs').map((run) => [run.run, run.outcome, run.failure.id, run.extracts]),
        [[1, 'macro failed', 'macro-failed', ['1']], [2, 'macro failed', 'macro-failed', ['2']]]);
    assert.match(fs.readFileSync(page, 'utf8'), new RegExp(`data-picture="1">${btoa('picture')}</script>`));
    assert.deepEqual([refused.code, refused.err], [2, `kx-cluster: The report ${page} is there already. --overwrite replaces it.\n`]);
    assert.equal(left.code, 1);
    assert.deepEqual(data(redacted, 'runs')[0].extracts, ['(left out)']);
    // Numbers are what a chart needs; texts are as private as extracts.
    assert.deepEqual(data(redacted, 'runs')[0].performance, [{ name: 'total', value: '1' }, { name: 'who', value: '(left out)' }]);
    assert.doesNotMatch(fs.readFileSync(redacted, 'utf8'), /user 1/);
    assert.doesNotMatch(fs.readFileSync(redacted, 'utf8'), /data-picture="1"/);
    assert.equal(retry.out, 'batch b: 2 failed rows will be tried again\n');
    await until('they are', () => journal().length === 4);
    assert.equal((await outcomes('macro failed')).at(-1).attempts, 2);
  });

  test('what is too large for Redis goes to the shared folder, and without one the row fails with the reason', async (t) => {
    const { cluster, worker, row, group, folder, outcomes, all } = await world(t);
    await cluster.submit([row(1)], { macro: 'large 100000' });
    const first = worker('w', { shared: folder });
    const [result] = await outcomes('ok');
    assert.equal(result.extracts, null);
    assert.equal((await all(undefined, { shared: folder }))[0].extracts[0].length, 100_000);
    // Another folder than that of the worker.
    const elsewhere = path.join(folder, 'elsewhere');
    fs.mkdirSync(elsewhere);
    const wrong = await kxCluster(['results', '--json', '--redis', redis.where, '--group', group, '--shared', elsewhere]);
    assert.equal(wrong.err, `kx-cluster: The result ${path.join(elsewhere, result.file)} cannot be read: ENOENT: no such file or directory, ` +
      `open '${path.join(elsewhere, result.file)}'. --shared names the folder that the workers have; without it large results are left out.\n`);
    assert.equal(wrong.code, 2);
    first.kill();
    await first.ended;
    await cluster.submit([row(2)], { macro: 'large 100000' });
    worker('bare');
    const [refused] = await outcomes('macro failed');
    assert.equal(refused.failure.id, 'result-too-large');
    assert.equal(refused.attempts, 1);
  });

  test('a shared folder that cannot be written to fails the row with the reason, and the worker goes on and ends well', async (t) => {
    const { cluster, worker, row, folder, all } = await world(t);
    const shared = path.join(folder, 'no-folder');
    fs.writeFileSync(shared, '');
    await cluster.submit([row(1)], { macro: 'large 100000', batch: 'large', backoff: 1 });
    await cluster.submit([row(2)], { macro: 'fail', batch: 'picture' });
    await cluster.submit([row(3)], { macro: 'nothing', batch: 'good' });
    const child = worker('w', { shared });
    await until('all are done', async () => {
      const { completed, failed } = await cluster.counts();
      return completed === 1 && failed === 2;
    });
    const [large] = await all('large');
    assert.deepEqual([large.failure.id, large.attempts], ['result-not-stored', 1]);
    assert.match(large.text, /^the result cannot be written to the shared folder: ENOTDIR/);
    // A picture less changes nothing of what became of the row.
    const [picture] = await all('picture');
    assert.deepEqual([picture.failure.id, picture.screenshot], ['macro-failed', null]);
    assert.match(child.err(), /the picture cannot be stored: ENOTDIR/);
    child.kill();
    assert.equal((await child.ended).code, 0);
  });

  for (const contexts of [1, 2]) {
    test(`a Redis that refuses for a while ends no worker, and loses no result: ${contexts} contexts`, async (t) => {
      const server = await RedisServer.start(path.join(scratch, `refuses-${contexts}`));
      t.after(() => server.kill());
      // Long enough that the locks outlive the refusal.
      const { cluster, worker, row, outcomes, journal, folder } = await world(t, { server, lease: 60_000 });
      const file = path.join(folder, 'go');
      await cluster.submit(Array.from({ length: contexts }, (_, n) => row(n, { file })), { macro: 'wait-for' });
      await server.set('maxmemory', '1');
      const child = worker('w', { contexts });
      const refusals = () => child.err().match(/Redis refuses: OOM command not allowed/g)?.length ?? 0;
      await until('each context tells of it', () => refusals() >= contexts);
      await server.set('maxmemory', '0');
      await until('all rows are at work', () => journal().length === contexts);
      await server.set('maxmemory', '1');
      const before = refusals();
      fs.writeFileSync(file, '');
      await until('the reports are refused', () => refusals() >= before + contexts);
      await server.set('maxmemory', '0');
      const results = await outcomes('ok');
      assert.deepEqual(results.map(({ attempts }) => attempts), Array(contexts).fill(1));
      child.kill();
      assert.equal((await child.ended).code, 0);
      assert.doesNotMatch(child.err(), /No browser/);
    });
  }

  test('neither macros nor values are in a worker\'s log', async (t) => {
    const { cluster, worker, row, outcomes } = await world(t);
    await cluster.submit([row('secret-value')], { macro: 'fail secret-macro' });
    const child = worker('w');
    await outcomes('macro failed');
    await until('it tells of it', () => /macro failed/.test(child.err()));
    assert.doesNotMatch(child.err(), /secret/);
  });
});
