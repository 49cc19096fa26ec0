// A group of jobs: one queue of the engine, and what is kept beside it.
import { Queue } from 'bullmq';

import { checkedName, keysOf } from './keys.js';

export const DEFAULT_GROUP = 'macros';

export class Group {
  constructor(redis, { prefix = 'kx', group = DEFAULT_GROUP }) {
    this.name = checkedName('the group', group);
    this.prefix = checkedName('the prefix', prefix);
    this.redis = redis;
    this.keys = keysOf(this.prefix, this.name);
    this.queue = new Queue(this.name, { connection: redis, prefix: this.prefix, skipVersionCheck: true });
    this.queue.on('error', () => {});
  }

  async close() {
    await this.queue.close();
  }
}

/** Runs the commands that `add` puts into a pipeline, and gives their values. */
export async function pipelined(redis, add) {
  const pipeline = redis.pipeline();
  add(pipeline);
  const answers = (await pipeline.exec()) ?? [];
  return answers.map(([error, value]) => {
    if (error) throw error;
    return value;
  });
}
