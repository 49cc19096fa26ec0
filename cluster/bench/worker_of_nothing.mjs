// A process of simulated workers: their jobs cost nothing, therefore what is measured is the engine. Arguments: port, group, the
// number of workers. Told by SIGTERM to end, it prints the processor time that it has used.
import { Cluster } from 'kx-cluster';

const [port, group, count] = process.argv.slice(2);
const nothing = { extracts: [], performance: [], profilerData: '' };
const cluster = await Cluster.connect({ port: Number(port), group });
const worker = cluster.worker({
  start: async () => ({ play: async () => nothing, screenshot: async () => {}, exit: async () => {}, processId: 0 }),
  contexts: Number(count),
  browserOptions: { profile: `nothing-${process.pid}-{n}` },
});
const before = process.cpuUsage();
process.on('SIGTERM', () => worker.stop());
await worker.run();
const { user, system } = process.cpuUsage(before);
process.stdout.write(JSON.stringify({ microseconds: user + system }));
await cluster.close();
