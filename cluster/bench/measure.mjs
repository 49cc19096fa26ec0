// Measures, prints, and with --write-docs writes docs/many-machines.md's tables and its plot. Run by measure.sh.
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';

import { Redis } from 'ioredis';
import { Cluster } from 'kx-cluster';

import { RedisServer } from '../tests/support/redis.mjs';
import { scratch, start, until } from '../tests/support/programs.mjs';
import { windowsNode, windowsPath } from '../tests/support/windows.mjs';

const [docs, ...words] = process.argv.slice(2);
const isQuick = words.includes('--quick');
const NIGHT = 10 * 3600;

const median = (values) => [...values].sort((a, b) => a - b)[Math.floor(values.length / 2)];
const round = (value, digits = 0) => value.toLocaleString('en', { maximumFractionDigits: digits, minimumFractionDigits: digits });
const infoOf = async (redis, name) => Number(new RegExp(`^${name}:([\\d.]+)`, 'm').exec(await redis.info())[1]);

async function withWindows() {
  const redis = await RedisServer.start(path.join(scratch, 'windows'));
  const file = path.join(scratch, 'windows.json');
  const child = start(['bench/windows_side.mjs', String(redis.port), windowsPath(process.env.KX_SIMULATOR), windowsPath(file), isQuick ? 'quick' : 'full'], {
    node: windowsNode,
    env: { NODE_SKIP_PLATFORM_CHECK: '1', UV_THREADPOOL_SIZE: '12' },
  });
  const { code, err } = await child.ended;
  if (code !== 0) throw new Error(`the Windows side has failed: ${err}`);
  await redis.kill();
  return JSON.parse(fs.readFileSync(file, 'utf8'));
}

// Redis has one thread that matters. What it uses of a processor for each job tells where it is full, however busy the machine is.
async function withSimulatedWorkers() {
  const found = [];
  for (const workers of [1, 10, 100]) {
    const jobs = isQuick ? 500 : workers === 1 ? 5000 : 15_000;
    const redis = await RedisServer.start(path.join(scratch, `nothing-${workers}`));
    const cluster = await Cluster.connect({ port: redis.port, group: 'nothing' });
    const client = new Redis(redis.port);
    const memory = await infoOf(client, 'used_memory');
    const usedBySubmit = await usage(client);
    let began = performance.now();
    await cluster.submit((function* rows() {
      for (let n = 0; n < jobs; n += 1) yield { order: `order ${n}`, city: 'Oslo' };
    })(), { macro: 'nothing' });
    const submitted = { perSecond: jobs / ((performance.now() - began) / 1000), redisMicroseconds: (await usage(client) - usedBySubmit) / jobs };
    const processes = Math.min(workers, 4);
    const before = await usage(client);
    began = performance.now();
    const children = Array.from({ length: processes }, (_, index) => start(
        ['bench/worker_of_nothing.mjs', redis.port, 'nothing', Math.floor(workers / processes) + (index < workers % processes ? 1 : 0)].map(String)));
    let first = null;
    await until('all are done', async () => {
      const { completed } = await cluster.counts();
      if (first === null && completed > 0) first = { at: performance.now(), completed };
      return completed === jobs;
    }, { every: 20 });
    const seconds = (performance.now() - first.at) / 1000;
    const redisMicroseconds = (await usage(client) - before) / jobs;
    children.forEach((child) => child.kill('SIGTERM'));
    const outs = await Promise.all(children.map((child) => child.ended));
    // Without the connections of the workers.
    const bytes = (await infoOf(client, 'used_memory') - memory) / jobs;
    const workerMicroseconds = outs.reduce((sum, { out }) => sum + JSON.parse(out).microseconds, 0) / jobs;
    found.push({ workers, jobsPerSecond: (jobs - first.completed) / seconds, redisMicroseconds, workerMicroseconds, bytes, submitted });
    client.disconnect();
    await cluster.close();
    await redis.kill();
  }
  return found;

  async function usage(client) {
    const info = await client.info('cpu');
    return ['used_cpu_user', 'used_cpu_sys'].reduce((sum, name) => sum + Number(new RegExp(`^${name}:([\\d.]+)`, 'm').exec(info)[1]), 0) * 1e6;
  }
}

const load = () => os.loadavg().map((value) => round(value, 1)).join(' ');
const before = load();
const windows = await withWindows();
const simulated = await withSimulatedWorkers();

const ratios = windows.rounds.map(({ direct, engine }) => engine / direct);
const row = (...cells) => `| ${cells.join(' | ')} |`;
const rateOf = (name, contexts) => windows.contexts.find((one) => one.name === name && one.contexts === contexts).jobsPerSecond;
const tables = [
  `Measured with \`./dev cluster --measure\` on ${os.cpus().length} processors, ${os.cpus()[0].model.replace(/\s+/g, ' ').trim()}; load before ${before}, after ${load()}.`,
  '',
  row('Of one play in the simulator', 'directly', 'through the engine', 'ratio'),
  '|---|---|---|---|',
  row(`ms, median of ${windows.rounds.length} rounds in turns`, round(median(windows.rounds.map(({ direct }) => direct)), 2),
      round(median(windows.rounds.map(({ engine }) => engine)), 2), `${round(median(ratios), 1)} (${round(Math.min(...ratios), 1)} to ${round(Math.max(...ratios), 1)})`),
  '',
  row('Jobs a second, one worker under Wine', '1 context', '2', '4', '8'),
  '|---|---|---|---|---|',
  ...['50 ms', 'nothing'].map((name) => row(`macros of ${name}`, ...[1, 2, 4, 8].map((contexts) => round(rateOf(name, contexts))))),
  '',
  row('Simulated workers, jobs of nothing', 'jobs a second', 'Redis, µs of processor a job', 'workers, µs of processor a job', 'Redis, bytes a job', 'submitted a second', 'Redis, µs a submit'),
  '|---|---|---|---|---|---|---|',
  ...simulated.map((one) => row(one.workers, round(one.jobsPerSecond), round(one.redisMicroseconds), round(one.workerMicroseconds), round(one.bytes),
      round(one.submitted.perSecond), round(one.submitted.redisMicroseconds))),
].join('\n');
process.stdout.write(`${tables}\n`);

// Where Redis is full: all of one processor.
const perJob = median(simulated.map(({ redisMicroseconds, submitted }) => redisMicroseconds + submitted.redisMicroseconds));
const most = 1e6 / perJob;
const million = 1e6;
const model = [2, 10, 60].map((seconds) => {
  const contexts = million * seconds / NIGHT;
  return row(`${seconds} s`, round(Math.ceil(contexts)), round(Math.ceil(contexts / 8)), `${round(100 * (million / NIGHT) / most, 1)} %`);
});
const paper = [
  `One processor is full of Redis at ${round(most)} jobs a second, submitting included (${round(perJob)} µs a job). A million jobs in a night of 10 hours are ` +
    `${round(million / NIGHT)} a second; their rows and results take ${round(million * median(simulated.map(({ bytes }) => bytes)) / 2 ** 30, 1)} GiB of Redis' memory.`,
  '',
  row('A macro takes', 'contexts', 'machines with 8 contexts each', 'Redis is busy'),
  '|---|---|---|---|',
  ...model,
].join('\n');
process.stdout.write(`\n${paper}\n`);

if (words.includes('--write-docs')) {
  const page = path.join(docs, 'many-machines.md');
  let text = fs.readFileSync(page, 'utf8');
  for (const [name, part] of [['measured', tables], ['model', paper]]) {
    text = text.replace(new RegExp(`(<!-- ${name} -->\n)[\\s\\S]*?(<!-- end -->)`), (_, begin, end) => `${begin}${part}\n${end}`);
  }
  fs.writeFileSync(page, text);
  // What a macro's length asks for, and where Redis ends it.
  const commands = `set terminal svg size 760,420 font "sans,12" background "white"
set output "${path.join(docs, 'pictures', 'machines_for_a_million.svg')}"
set title "A million macros in a night of 10 hours"
set xlabel "seconds that a macro takes"
set ylabel "machines with 8 contexts each"
set logscale xy
set xrange [0.5:120]
set grid
set key left top
plot ${million} * x / ${NIGHT} / 8 title "machines" lw 2, ${most} * x / 8 title "machines that fill one Redis (${round(most)} jobs a second)" lw 2 dt 2
`;
  execFileSync('gnuplot', { input: commands });
}
