// The proof: what is killed when, and the count of what was submitted, done, repeated and lost. Run by proof.sh.
import assert from 'node:assert/strict';
import { execFileSync, spawn } from 'node:child_process';
import { once } from 'node:events';
import fs from 'node:fs';
import http from 'node:http';
import path from 'node:path';
import { parseArgs } from 'node:util';

import { Cluster } from 'kx-cluster';

import { csvLine } from '../node_modules/kx-cluster/lib/csv.js';
import { joinTo } from './support/relay.mjs';
import { RedisServer } from './support/redis.mjs';
import { kxCluster, scratch, until } from './support/programs.mjs';
import { windowsNode, windowsPath, windowsWorker } from './support/windows.mjs';

const { values: given } = parseArgs({ options: { jobs: { type: 'string', default: '500' } } });
const JOBS = Number(given.jobs);
const LEASE = 4;

const children = [];
const kept = (child) => {
  children.push(child);
  return child;
};

class Story {
  #started = Date.now();

  constructor(name) {
    process.stdout.write(`\n${name}\n`);
  }

  tell(what, done) {
    const seconds = ((Date.now() - this.#started) / 1000).toFixed(1).padStart(6);
    process.stdout.write(`  ${seconds} s  ${done === undefined ? '        ' : `${String(done).padStart(4)} done`}  ${what}\n`);
  }
}

// What the simulators say that they have played, against what Redis says.
const playsOf = (workers) => workers.reduce((sum, worker) => sum + (worker.log().match(/ type=play /g) ?? []).length, 0);

async function account(cluster, submitted, workers) {
  const results = [];
  for await (const result of cluster.results()) results.push(result);
  const done = results.filter(({ outcome }) => outcome === 'ok');
  const repeated = results.filter(({ attempts }) => attempts > 1);
  const late = await cluster.lateReports(10_000);
  const wrong = done.filter(({ extracts, variables }) => extracts[0] !== `Hello ${variables.n}`).length;
  const lost = submitted - done.length;
  process.stdout.write(`\n  submitted ${submitted}, done ${done.length}, repeated ${repeated.length}, late reports ${late.length}, wrong ${wrong}, lost ${lost}\n`);
  if (workers) process.stdout.write(`  played, as the browsers say: ${playsOf(workers)}\n`);
  for (const { run, attempts, worker } of repeated) process.stdout.write(`    row ${run}: ${attempts} attempts, done by ${worker}\n`);
  for (const { run, attempt, worker } of late) process.stdout.write(`    row ${run}: attempt ${attempt} of ${worker} came too late, and does not count\n`);
  assert.equal(lost, 0);
  assert.equal(wrong, 0);
  assert.equal(results.length, submitted);
  return { repeated, late };
}

function table(folder, jobs) {
  fs.mkdirSync(folder, { recursive: true });
  const [macro, rows] = ['macro.txt', 'rows.csv'].map((name) => path.join(folder, name));
  fs.writeFileSync(macro, 'extract Hello $(n)\npause 100\n');
  fs.writeFileSync(rows, [['n'], ...Array.from({ length: jobs }, (_, n) => [n + 1])].map(csvLine).join(''));
  return [macro, rows];
}

async function deaths() {
  const story = new Story(`${JOBS} jobs, 3 workers with 2 browsers each, lease ${LEASE} s: deaths`);
  const folder = path.join(scratch, 'deaths');
  const [macro, rows] = table(folder, JOBS);
  const redis = await RedisServer.start(path.join(folder, 'redis'));
  const cluster = await Cluster.connect({ port: redis.port });
  const doneAt = (count) => until(`${count} done`, async () => {
    const { completed } = await cluster.counts();
    return completed >= count && completed;
  });
  const workers = ['one', 'two', 'three'].map((name) => kept(windowsWorker(name, { redis: redis.where, contexts: 2, lease: LEASE })));
  await until('all browsers wait for jobs', async () => {
    const contexts = (await cluster.workers()).flatMap((worker) => worker.contexts ?? []);
    return contexts.length === 6 && contexts.every(({ state }) => state === 'waiting');
  });
  story.tell('all browsers wait for jobs', 0);
  const { out } = await kxCluster(['submit', macro, '--csv', rows, '--redis', redis.where, '--retries', '5']);
  story.tell(`submitted: ${out.trim()}`, (await cluster.counts()).completed);

  let done = await doneAt(Math.round(JOBS * 0.25));
  const browser = /start pid=(\d+)/.exec(workers[0].log())[1];
  execFileSync(windowsNode[0], [windowsNode[1], 'taskkill', '/f', '/pid', browser], { stdio: 'ignore' });
  story.tell('a browser of worker one is killed', done);

  done = await doneAt(Math.round(JOBS * 0.5));
  workers[1].kill('SIGKILL');
  await workers[1].ended;
  story.tell('worker two is killed', done);

  done = await doneAt(Math.round(JOBS * 0.75));
  await redis.kill();
  story.tell('Redis is killed', done);
  await redis.start();
  story.tell('Redis is started again, with its append-only file', (await cluster.counts()).completed);

  story.tell('all are done', await doneAt(JOBS));
  await kxCluster(['stop', '--all', '--redis', redis.where]);
  for (const worker of [workers[0], workers[2]]) assert.equal((await worker.ended).code, 0);
  const { repeated } = await account(cluster, JOBS, workers);
  // That of the killed browser, at the least; the worker may have been killed between two jobs.
  assert.ok(repeated.length >= 1);
  await cluster.close();
  await redis.kill();
}

async function cutOff() {
  const [near, far] = process.env.KX_NAMESPACES.split(' ');
  if (!far) {
    process.stdout.write('\na worker that is cut off: skipped, for only root can make network namespaces (and needs the package iproute2)\n');
    return;
  }
  const jobs = Math.round(JOBS / 5);
  const story = new Story(`${jobs} jobs, 2 workers, lease ${LEASE} s: one is cut off, in a network namespace of its own`);
  const folder = path.join(scratch, 'cut-off');
  const [macro, rows] = table(folder, jobs);
  // Redis lives in the one namespace and the worker in the other; this program reaches Redis through a socket file.
  const socket = path.join(folder, 'redis.sock');
  const redis = new RedisServer(folder, ['--bind', '10.203.0.1', '127.0.0.1', '--protected-mode', 'no', '--unixsocket', socket]);
  redis.before = ['ip', 'netns', 'exec', near];
  redis.socket = socket;
  redis.port = 6379;
  await redis.start();
  const door = await joinTo(socket);
  const cluster = await Cluster.connect({ port: door.port });
  const where = `127.0.0.1:${door.port}`;
  await kxCluster(['submit', macro, '--csv', rows, '--redis', where, '--retries', '5']);
  story.tell(`submitted: ${jobs} rows`, 0);

  // Wine's server makes the sockets of its programs: one in the namespace needs a prefix of its own.
  const prefix = path.join(scratch, 'prefix');
  execFileSync('cp', ['-al', process.env.KX_WINEPREFIX, prefix]);
  for (const name of fs.readdirSync(prefix).filter((one) => one.endsWith('.reg'))) {
    const text = fs.readFileSync(path.join(prefix, name));
    fs.rmSync(path.join(prefix, name));
    fs.writeFileSync(path.join(prefix, name), text);
  }
  const name = 'cut-off-worker';
  // Each of its browsers hangs in the tenth play until the file says so: the worker is at work when the wire is cut.
  const worker = kept(windowsWorker(name, {
    redis: '10.203.0.1:6379',
    lease: LEASE,
    before: ['ip', 'netns', 'exec', far],
    script: 'on play 10 delay 15000',
    env: { WINEPREFIX: prefix },
  }));
  await until('it plays its tenth job', () => (worker.log().match(/ type=play /g) ?? []).length >= 10);
  execFileSync('ip', ['-n', far, 'link', 'set', 'wire', 'down']);
  story.tell('the wire of the worker is cut, while it plays', (await cluster.counts()).completed);
  const other = kept(windowsWorker('other', { redis: where, lease: LEASE }));
  await until('it is taken over', () => /is taken over/.test(other.err()));
  story.tell('its job is another worker\'s', (await cluster.counts()).completed);
  await until('it has played on', () => / row \d+: |/.test(worker.err()) && (worker.log().match(/ reply n=\d+ /g) ?? []).length >= 11);
  story.tell('the worker that is cut off has played its job to the end', (await cluster.counts()).completed);
  execFileSync('ip', ['-n', far, 'link', 'set', 'wire', 'up']);
  story.tell('the wire is whole again', (await cluster.counts()).completed);
  await until('the late report', async () => (await cluster.lateReports()).length > 0);
  story.tell('it has reported, and is not believed', (await cluster.counts()).completed);
  await until('all are done', async () => (await cluster.counts()).completed === jobs);
  story.tell('all are done', jobs);
  await kxCluster(['stop', '--all', '--redis', where]);
  for (const one of [worker, other]) assert.equal((await one.ended).code, 0);
  const { late } = await account(cluster, jobs, [worker, other]);
  assert.equal(late.length, 1);
  await cluster.close();
  door.end();
  await redis.kill();
  spawn(process.env.KX_WINESERVER ?? 'wineserver', ['-k'], { env: { ...process.env, WINEPREFIX: prefix }, stdio: 'ignore' });
}

async function chromium() {
  const program = process.env.KX_CHROMIUM_PROGRAM;
  if (!program) {
    process.stdout.write('\na real Chromium: skipped, for none can be driven here (./dev setup --browsers)\n');
    return;
  }
  const jobs = 6;
  const story = new Story(`${jobs} jobs in a real Chromium`);
  const folder = path.join(scratch, 'chromium');
  fs.mkdirSync(folder, { recursive: true });
  const site = http.createServer((request, response) => {
    response.setHeader('Content-Type', 'text/html; charset=utf-8');
    response.end(`<p id="greeting">Hello ${new URL(request.url, 'http://x').searchParams.get('n')}</p>`);
  }).listen(0, '127.0.0.1');
  await once(site, 'listening');
  const macro = `await open('http://127.0.0.1:${site.address().port}/?n=' + variables.n); await extract('#greeting');`;
  const redis = await RedisServer.start(path.join(folder, 'redis'));
  const cluster = await Cluster.connect({ port: redis.port });
  await cluster.submit(Array.from({ length: jobs }, (_, n) => ({ n: String(n + 1) })), { macro, timeout: 60_000, retries: 3 });
  story.tell(`submitted: ${jobs} rows`, 0);
  const worker = kept(windowsWorker('chromium-worker', {
    redis: redis.where,
    lease: LEASE,
    program: windowsPath(program),
    options: ['--browser', 'cr', '--user-data-dir', windowsPath(path.join(folder, 'profile-{n}')), '--shared', windowsPath(folder), '--screenshot', 'always'],
    profile: null,
    env: { KX_BROWSER_LINGER: '2' },
  }));
  await until('two are done', async () => (await cluster.counts()).completed >= 2);
  const launcher = children.length && /context 1: job/.test(worker.err());
  assert.ok(launcher);
  story.tell('the first ones are done', (await cluster.counts()).completed);
  await until('all are done', async () => (await cluster.counts()).completed === jobs);
  story.tell('all are done', jobs);
  await kxCluster(['stop', '--all', '--redis', redis.where]);
  assert.equal((await worker.ended).code, 0);
  await account(cluster, jobs);
  const pictures = fs.readdirSync(folder, { recursive: true }).filter((name) => name.endsWith('.png'));
  process.stdout.write(`  pictures: ${pictures.length}\n`);
  assert.equal(pictures.length, jobs);
  await cluster.close();
  await redis.kill();
  site.close();
}

try {
  await deaths();
  await cutOff();
  await chromium();
  process.stdout.write('\nlost 0\n');
} finally {
  children.forEach((child) => child.kill('SIGKILL'));
}
