// Plays macros on many machines. index.d.ts has the types and what each does.
import { connect } from './lib/connection.js';
import { Group } from './lib/group.js';
import * as results from './lib/results.js';
import { submit } from './lib/submit.js';
import { ClusterWorker } from './lib/worker.js';

export { Mistake } from './lib/mistake.js';

export class Cluster {
  #group;

  constructor(group) {
    this.#group = group;
  }

  static async connect({ host = '127.0.0.1', port = 6379, username, password, tls, prefix = 'kx', group } = {}) {
    const { redis } = await connect({ host, port, username, password, tls });
    try {
      return new Cluster(new Group(redis, { prefix, group }));
    } catch (error) {
      redis.disconnect();
      throw error;
    }
  }

  submit(rows, options) {
    return submit(this.#group, rows, options);
  }

  async *results(batch, options) {
    yield* results.resultsOf(this.#group, await results.batchNamed(this.#group, batch), options);
  }

  async retryFailed(batch) {
    return results.retryFailed(this.#group, await results.batchNamed(this.#group, batch));
  }

  counts() {
    return results.countsOf(this.#group);
  }

  workers() {
    return results.workersOf(this.#group);
  }

  lateReports(limit) {
    return results.lateReports(this.#group, limit);
  }

  worker(options) {
    return new ClusterWorker(this.#group, options);
  }

  async close() {
    await this.#group.close();
    this.#group.redis.disconnect();
  }
}
