// Compiled, never run: what the types allow, and what they refuse.
import { Cluster, Mistake, type Result } from 'kx-cluster';
import { Browser } from 'kxtcp64';

export async function allowed(): Promise<Result[]> {
  const cluster = await Cluster.connect({ host: 'linux-box', password: 'p', tls: { ca: '' }, group: 'shop' });
  const { batch, added } = await cluster.submit([{ city: 'Oslo' }], { macro: 'm', priority: 1, key: ['city'], retries: 3 });
  const worker = cluster.worker({
    start: (options) => Browser.start(options),
    contexts: added,
    browserOptions: { profile: 'shop-{n}' },
    screenshot: 'failure',
    shared: 'S:\\kx',
  });
  await worker.run();
  const results: Result[] = [];
  try {
    for await (const result of cluster.results(batch)) if (result.outcome === 'ok') results.push(result);
  } catch (error) {
    if (!(error instanceof Mistake) || error.exitCode === 2) throw error;
  }
  await cluster.close();
  return results;
}

export async function refused(cluster: Cluster): Promise<void> {
  // @ts-expect-error No macro.
  await cluster.submit([], {});
  // @ts-expect-error Values are texts.
  await cluster.submit([{ n: 1 }], { macro: '' });
  // @ts-expect-error No way to start a browser.
  cluster.worker({});
  // @ts-expect-error A group comes from connect().
  new Cluster();
}
