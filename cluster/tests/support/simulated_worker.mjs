// A worker process whose browsers are played: everything else is as it is in a worker on Windows. The macro is a line of the
// words below. Arguments: port, group, lease in milliseconds, contexts, name, profile, shared folder. With KX_NO_BROWSER in the
// environment no browser starts.
import fs from 'node:fs';
import { setTimeout as sleep } from 'node:timers/promises';

import { Cluster } from 'kx-cluster';

const [port, group, lease, contexts, name, profile, shared] = process.argv.slice(2);

const failure = (call, number, text, left) => Object.assign(new Error(text), { call, result: -1, number, text, left });

async function play(macro, { variables }) {
  const [verb, argument] = macro.split(' ');
  const extracts = [`${variables.n ?? ''}`];
  const left = { extracts, performance: [['total', '1'], ['who', `user ${variables.n}`]], profilerData: '' };
  if (variables.journal) fs.appendFileSync(variables.journal, `${variables.n} ${name}\n`);
  switch (verb) {
    case 'nothing':
      return left;
    case 'lose-then-die':
      if (fs.readFileSync(variables.journal, 'utf8').match(new RegExp(`^${variables.n} `, 'gm')).length === 1) {
        throw failure('kx_Play', -1, 'Error while receiving response');
      }
      process.kill(process.pid, 'SIGKILL');
      return sleep(1e6);
    case 'wait-for':
      // Until somebody makes the file.
      while (!fs.existsSync(variables.file)) await sleep(20);
      return left;
    case 'fail':
      throw failure('kx_Play', -50, 'There is no such button', left);
    case 'lose':
      throw failure('kx_Play', -1, 'Error while receiving response');
    case 'large':
      return { ...left, extracts: ['x'.repeat(Number(argument))] };
    default:
      throw new Error(`the macro ${verb} is unknown`);
  }
}

const browser = { play, exit: async () => {}, screenshot: async (file) => fs.writeFileSync(file, 'picture'), processId: 0 };
const cluster = await Cluster.connect({ port: Number(port), group });
const worker = cluster.worker({
  start: async () => {
    if (process.env.KX_NO_BROWSER) throw failure('kx_Init', 2, 'no such program');
    return browser;
  },
  pause: 100,
  contexts: Number(contexts),
  lease: Number(lease),
  name,
  browserOptions: { profile: profile || `test-${process.ppid}-${group}-${name}-{n}` },
  ...(shared ? { shared, screenshot: 'failure' } : {}),
  tell: (text) => process.stderr.write(`${text}\n`),
});
// No process is left behind when the tests are ended.
const parent = process.ppid;
setInterval(() => process.ppid === parent || process.exit(1), 500).unref();
process.on('SIGTERM', () => worker.stop());
try {
  await worker.run();
} catch (error) {
  process.stderr.write(`${error.message}\n`);
  process.exitCode = error.exitCode;
}
await cluster.close();
