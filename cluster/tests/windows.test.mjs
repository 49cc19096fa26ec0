// The whole way with Node for Windows, the library and its simulator: a worker is killed, browsers die and hang, and every row is
// done. `./dev cluster` is the long form.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { describe, test } from 'node:test';

import { Cluster } from 'kx-cluster';

import { RedisServer } from './support/redis.mjs';
import { app, kxCluster, scratch, start, until } from './support/programs.mjs';
import { windowsNode, windowsPath, windowsWorker } from './support/windows.mjs';

const ROWS = 10;
const skip = windowsNode ? false : 'Node for Windows is not here';

describe('workers on Windows', { concurrency: true }, () => {
  test('a worker is killed and browsers die: every row is done, and what was begun twice is named', { skip }, async (t) => {
    const folder = path.join(scratch, 'windows');
    const redis = await RedisServer.start(path.join(folder, 'redis'));
    const children = [];
    t.after(async () => {
      children.forEach((child) => child.kill('SIGKILL'));
      await redis.kill();
    });
    const macro = path.join(folder, 'macro.txt');
    const rows = path.join(folder, 'rows.csv');
    fs.writeFileSync(macro, 'extract Hello $(city)\nperformance total 0.31\n');
    fs.writeFileSync(rows, `city\n${Array.from({ length: ROWS }, (_, n) => `Tromsø ${n}`).join('\n')}\n`);
    const submitted = await kxCluster(['submit', macro, '--csv', rows, '--redis', redis.where, '--batch', 'b', '--retries', '5']);
    assert.equal(submitted.out, `batch b: ${ROWS} rows, ${ROWS} new jobs\n`);

    const cluster = await Cluster.connect({ port: redis.port });
    t.after(() => cluster.close());
    // The first worker hangs in its second play, and is killed there. Browsers of the second one die in their sixth play.
    const first = windowsWorker('first', { redis: redis.where, script: 'on play 2 hold' });
    children.push(first);
    await until('the first worker plays its second job', () => /request n=3 type=play/.test(first.log()));
    first.kill('SIGKILL');
    await first.ended;
    const second = windowsWorker('second', {
      redis: redis.where,
      script: 'on play 6 die 3',
      options: ['--shared', windowsPath(folder), '--screenshot', 'always', '--browser-memory', '100000'],
    });
    children.push(second);
    await until('every row is done', async () => (await cluster.counts()).completed === ROWS);
    assert.equal((await kxCluster(['stop', 'second', '--redis', redis.where])).code, 0);
    assert.equal((await second.ended).code, 0);
    // It exited its last browser.
    assert.match(second.log(), /type=exit/);

    const results = [];
    for await (const result of cluster.results('b')) results.push(result);
    assert.deepEqual(results.map(({ extracts }) => extracts), Array.from({ length: ROWS }, (_, n) => [`Hello Tromsø ${n}`]));
    assert.deepEqual(results[0].performance, [{ name: 'total', value: '0.31' }]);
    const repeated = results.filter(({ attempts }) => attempts > 1);
    // That of the dead worker, and one for each browser that died.
    const deaths = second.log().split('\n').filter((line) => line.startsWith('start ')).length - 1;
    assert.ok(deaths >= 1, second.log());
    assert.equal(repeated.length, 1 + deaths);
    for (const { screenshot, worker } of results) {
      if (worker === 'second') assert.equal(fs.readFileSync(path.join(folder, screenshot)).readUInt32BE(16), 320);
    }
  });

  test('a job that is not done at its deadline loses its browser, and nobody else gets its profile', { skip }, async (t) => {
    const folder = path.join(scratch, 'deadline');
    const redis = await RedisServer.start(path.join(folder, 'redis'));
    const cluster = await Cluster.connect({ port: redis.port });
    const worker = windowsWorker('late', { redis: redis.where, script: 'on play 2 hold' });
    t.after(async () => {
      worker.kill('SIGKILL');
      await cluster.close();
      await redis.kill();
    });
    await cluster.submit([{ n: '1' }, { n: '2' }, { n: '3' }], { macro: 'extract $(n)', deadline: 1500, timeout: 600_000, retries: 0 });
    await until('all rows have ended', async () => {
      const { completed, failed } = await cluster.counts();
      return completed === 2 && failed === 1;
    });
    for await (const { run, failure, text } of cluster.results()) {
      if (run === 2) assert.deepEqual([failure.id, text], ['job-deadline', 'not done after 1.5 s, its deadline']);
    }
    // Another Redis, here another prefix, knows nothing of the first worker; Windows does.
    const twin = windowsWorker('twin', { redis: redis.where, profile: `${path.basename(scratch)}-late-{n}`, options: ['--prefix', 'other'] });
    t.after(() => twin.kill('SIGKILL'));
    await until('it waits', () => /the profile is used by another program; waiting for it/.test(twin.err()));
    // The third row had a browser of its own.
    assert.equal(worker.log().split('\n').filter((line) => line.startsWith('start ')).length, 2);
  });

  test('the memory of a process is known, and that of one that has ended is 0', { skip }, async () => {
    const file = path.join(app, 'memory.mjs');
    fs.writeFileSync(file, "import { megabytesOf } from './node_modules/kx-cluster/lib/memory.js';\n" +
      'process.stdout.write(`${megabytesOf(process.pid)} ${megabytesOf(0x7ffffff0)}`);\n');
    const { out, err } = await start([windowsPath(file)], { node: windowsNode, env: { NODE_SKIP_PLATFORM_CHECK: '1' } }).ended;
    const [own, none] = out.split(' ').map(Number);
    assert.ok(own > 10 && own < 10_000, `${out} ${err}`);
    assert.equal(none, 0);
  });
});
