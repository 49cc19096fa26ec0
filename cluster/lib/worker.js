// A worker: a process with one or several contexts, which plays the jobs of one group.
import os from 'node:os';

import { BrowserKeeper } from './browser_keeper.js';
import { Context, NoBrowser } from './context.js';
import { Engine } from './engine.js';
import { Exit, Mistake } from './mistake.js';
import { ProfileLease, profileIdentity } from './profile_lease.js';
import { refusalText } from './refusal.js';

const DEFAULTS = Object.freeze({
  contexts: 1,
  lease: 30_000,
  screenshot: 'never',
  pause: 1000,
  browserOptions: {},
});

const withNumber = (text, number) => text?.replaceAll('{n}', String(number));

/** How long it takes at most until a worker that lives takes the job of one that died. */
export const takeoverBound = (lease) => lease * 1.5;

/** Redis' own clock, in milliseconds: those of the machines differ. */
export async function timeOf(redis) {
  const [seconds, microseconds] = await redis.time();
  return Number(seconds) * 1000 + Math.floor(Number(microseconds) / 1000);
}

export class ClusterWorker {
  #contexts = [];
  #engines = [];
  #heartbeat;
  #isStopping = false;

  constructor(group, given) {
    this.group = group;
    this.settings = { ...DEFAULTS, ...given };
    this.settings.name ??= `${os.hostname()}-${process.pid}`;
    this.tell = given.tell ?? (() => {});
    for (let number = 1; number <= this.settings.contexts; number += 1) this.#add(number);
  }

  #add(number) {
    const { settings, group } = this;
    const { browserOptions: shared, limits, lease, name } = settings;
    const options = {
      ...shared,
      ...(shared.profile === undefined ? {} : { profile: withNumber(shared.profile, number) }),
      ...(shared.userDataDir === undefined ? {} : { userDataDir: withNumber(shared.userDataDir, number) }),
    };
    const identity = profileIdentity(options);
    const engine = new Engine(group, { lease, name });
    this.#engines.push(engine);
    this.#contexts.push(new Context({
      number,
      profile: options.profile ?? options.userDataDir ?? null,
      lease: new ProfileLease(group.redis, group.keys.profile(identity), identity, { worker: name, milliseconds: lease }),
      engine,
      keeper: new BrowserKeeper(settings.start, options, limits),
      group,
      settings,
      tell: this.tell,
    }));
  }

  /** Plays jobs until stop() is called or somebody asks for it in Redis. */
  async run() {
    const { redis } = this.group;
    redis.on('close', () => {
      if (!this.#isStopping) this.tell('no connection to Redis; what is being played goes on, and is reported when there is one');
    });
    redis.on('ready', () => this.tell('the connection to Redis is back'));
    this.started = await timeOf(redis);
    // A Redis that refuses is told of by the contexts, which try again.
    await this.#beat().catch(() => {});
    this.#heartbeat = setInterval(() => this.#beat().catch(() => {}), Math.min(1000, this.settings.lease / 3));
    await this.#engines[0].watchOthers((id) => this.tell(`job ${id} is taken over: its worker has died or is cut off`));
    // A context without a browser leaves the others at work.
    const ends = await Promise.allSettled(this.#contexts.map((context) => context.run()));
    clearInterval(this.#heartbeat);
    this.#isStopping = true;
    await Promise.all(this.#engines.map((engine) => engine.close()));
    await this.#signOff().catch((error) => this.tell(`Redis still lists this worker: ${refusalText(error)}`));
    const failed = ends.filter(({ status }) => status === 'rejected');
    if (failed.length < ends.length) return;
    const { reason } = failed[0];
    if (!(reason instanceof NoBrowser)) throw reason;
    throw new Mistake(`No browser can be started here: ${reason.message}. \`kx explain\` tells what a start would do, and why.`, Exit.CONNECTION);
  }

  async #signOff() {
    const { redis, keys } = this.group;
    await redis.zrem(keys.workers, this.settings.name);
    await redis.hdel(`${keys.workers}:now`, this.settings.name);
  }

  #isBeating = false;
  async #beat() {
    if (this.#isBeating) return;
    this.#isBeating = true;
    try {
      const { redis, keys } = this.group;
      const state = {
        host: os.hostname(),
        pid: process.pid,
        started: new Date(this.started).toISOString(),
        played: this.#contexts.reduce((sum, { played }) => sum + played, 0),
        contexts: this.#contexts.map(({ state, profile }) => ({ state, profile })),
      };
      const [, , [, asked]] = await redis.multi()
          .zadd(keys.workers, await timeOf(redis), this.settings.name)
          .hset(`${keys.workers}:now`, this.settings.name, JSON.stringify(state))
          .hmget(keys.stop, this.settings.name, '*')
          .exec();
      if (asked.some((time) => Number(time) > this.started)) this.stop();
    } finally {
      this.#isBeating = false;
    }
  }

  /** Takes no more, ends what it has, exits its browsers; then run() ends. */
  stop() {
    if (this.#isStopping) return;
    this.#isStopping = true;
    this.tell('stopping: no more jobs are taken, and those at work are ended');
    this.#contexts.forEach((context) => context.stop());
  }
}
