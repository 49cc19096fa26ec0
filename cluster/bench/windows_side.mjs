// What is measured with the library, in Node for Windows. Arguments: port, simulator, the file for the results, quick or not.
import fs from 'node:fs';

import { Cluster } from 'kx-cluster';
import { Browser } from 'kxtcp64';

const [port, simulator, file, size] = process.argv.slice(2);
const isQuick = size === 'quick';
const found = { rounds: [], contexts: [] };

const quiet = (browser) => ({
  play: (...args) => browser.play(...args),
  screenshot: async () => {},
  exit: async () => {},
  processId: browser.processId,
});

async function untilDone(cluster, count) {
  while ((await cluster.counts()).completed < count) await new Promise((resolve) => setTimeout(resolve, 20));
}

// Milliseconds for each job, from the beginning of the first one to the end of the last one.
async function perJob(cluster, batch, jobs) {
  let began = Infinity;
  let ended = 0;
  for await (const result of cluster.results(batch)) {
    began = Math.min(began, Date.parse(result.started));
    ended = Math.max(ended, Date.parse(result.ended));
  }
  return (ended - began) / jobs;
}

// One browser, in turns played directly and through the engine: both have the same machine under them.
async function besideDirectPlays() {
  const jobs = isQuick ? 20 : 200;
  const rounds = isQuick ? 2 : 5;
  const browser = await Browser.start({ profile: `measure-${process.pid}`, path: simulator });
  const cluster = await Cluster.connect({ port: Number(port), group: 'beside' });
  for (let round = 1; round <= rounds; round += 1) {
    const macro = `extract ${round} $(n)`;
    const began = performance.now();
    for (let n = 0; n < jobs; n += 1) await browser.play(macro, { variables: { n: String(n) } });
    const direct = (performance.now() - began) / jobs;
    const worker = cluster.worker({ start: async () => quiet(browser), browserOptions: { profile: `measure-${process.pid}` }, name: `beside-${round}` });
    const batch = `round-${round}`;
    await cluster.submit(Array.from({ length: jobs }, (_, n) => ({ n: String(n) })), { macro, batch });
    const running = worker.run();
    await untilDone(cluster, jobs * round);
    worker.stop();
    await running;
    found.rounds.push({ direct, engine: await perJob(cluster, batch, jobs) });
  }
  await browser.exit();
  await cluster.close();
}

// Macros that take 50 ms, as one that waits for a page does, and macros of nothing.
async function severalContexts() {
  for (const [name, macro, jobsOf] of [['50 ms', 'pause 50', (contexts) => 40 * contexts], ['nothing', '', () => 300]]) {
    for (const contexts of [1, 2, 4, 8]) {
      const jobs = isQuick ? 8 * contexts : jobsOf(contexts);
      const group = `contexts-${contexts}-${name.replace(' ', '')}`;
      const cluster = await Cluster.connect({ port: Number(port), group });
      const worker = cluster.worker({
        start: (options) => Browser.start(options),
        contexts,
        browserOptions: { profile: `measure-${process.pid}-${group}-{n}`, path: simulator },
        name: group,
      });
      const running = worker.run();
      for (;;) {
        const [known] = await cluster.workers();
        if (known?.contexts?.length === contexts && known.contexts.every(({ state }) => state === 'waiting')) break;
        await new Promise((resolve) => setTimeout(resolve, 100));
      }
      await cluster.submit(Array.from({ length: jobs }, (_, n) => ({ n: String(n) })), { macro, batch: 'b' });
      await untilDone(cluster, jobs);
      found.contexts.push({ name, contexts, jobsPerSecond: 1000 / (await perJob(cluster, 'b', jobs)) });
      worker.stop();
      await running;
      await cluster.close();
    }
  }
}

await besideDirectPlays();
await severalContexts();
fs.writeFileSync(file, JSON.stringify(found));
