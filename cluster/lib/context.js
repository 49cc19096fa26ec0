// One context of a worker: a profile, a browser, and one job after the other.
import { setTimeout as sleep } from 'node:timers/promises';

import { AttemptFailed, outcomeOf, setAside } from './outcome.js';
import { fitted, pictureOf } from './stock.js';

const MOST_START_FAILURES = 5;

export class Context {
  constructor({ number, profile, lease, engine, keeper, group, settings, tell }) {
    Object.assign(this, { number, profile, lease, engine, keeper, group, settings, tell });
    this.state = 'starting';
    this.played = 0;
    this.macros = new Map();
    this.stopping = new AbortController();
  }

  stop() {
    this.stopping.abort();
  }

  get isStopping() {
    return this.stopping.signal.aborted;
  }

  /** Plays jobs until it is told to stop. Fails when its browser cannot be started. */
  async run() {
    try {
      while (!this.isStopping) {
        if (!(await this.#hasProfile()) || !(await this.#hasBrowser())) continue;
        this.state = 'waiting';
        const held = await this.engine.next();
        if (held && this.lease.isHeld) await this.#perform(held);
        // It was cut off for so long that another worker has the profile.
        else if (held) await held.giveBack();
      }
    } finally {
      this.state = 'ending';
      await this.keeper.end();
      await this.lease.release().catch(() => {});
      this.state = 'ended';
    }
  }

  async #pause(milliseconds) {
    await sleep(milliseconds, undefined, { signal: this.stopping.signal }).catch(() => {});
  }

  async #hasProfile() {
    if (this.lease.isHeld || (await this.lease.take())) return true;
    // It was this context's until it was cut off for too long.
    await this.keeper.end();
    if (this.state !== 'waiting for its profile') {
      this.state = 'waiting for its profile';
      this.tell(`context ${this.number}: the profile is used by ${(await this.lease.holder()) ?? 'another program'}; waiting for it`);
    }
    await this.#pause(this.settings.lease / 4);
    return false;
  }

  async #hasBrowser() {
    try {
      await this.keeper.ready();
      this.startFailures = 0;
      return true;
    } catch (error) {
      this.startFailures = (this.startFailures ?? 0) + 1;
      this.state = 'no browser';
      this.tell(`context ${this.number}: the browser does not start (${this.startFailures}): ${error.message}`);
      if (this.startFailures >= MOST_START_FAILURES) throw error;
      await this.#pause(1000 * 2 ** (this.startFailures - 1));
      return false;
    }
  }

  // Macros are the same for many jobs, and their names are digests of them.
  async #macro(id) {
    if (!this.macros.has(id)) {
      const text = await this.group.redis.hget(this.group.keys.macros, id);
      if (text === null) return null;
      if (this.macros.size >= 100) this.macros.clear();
      this.macros.set(id, text);
    }
    return this.macros.get(id);
  }

  async #perform(held) {
    if (held.isToBeSetAside) return this.#setAside(held);
    this.state = 'playing';
    const { settings } = this;
    const started = Date.now();
    this.tell(`context ${this.number}: job ${held.id}, row ${held.data.row}, attempt ${held.attempt}`, 'job');
    const { left, error } = await this.#play(held);
    let record = outcomeOf({
      left,
      error,
      attempt: held.attempt,
      worker: settings.name,
      context: this.number,
      profile: this.profile,
      started,
      ended: Date.now(),
    });
    await this.#picture(record, held);
    record = this.#stored(record, held);
    const isBelieved = record.failure === null ? await held.succeed(record)
                                               : await held.fail(new AttemptFailed(record, this.#isFinal(record, held)));
    this.played += 1;
    if (!isBelieved) await this.#keepLate(record, held);
    this.tell(`context ${this.number}: job ${held.id}, row ${held.data.row}: ${record.outcome}, ${record.seconds} s` +
      `${record.failure ? ` (${record.failure})` : ''}${isBelieved ? '' : '; too late, another worker has it'}`, 'job');
    await this.keeper.tidy();
    return undefined;
  }

  async #setAside(held) {
    this.tell(`job ${held.id}, row ${held.data.row}: set aside, ${held.attempt} workers died while they played it`);
    await held.fail(new AttemptFailed(setAside({ attempt: held.attempt, worker: this.settings.name }), true));
  }

  async #play({ data }) {
    const macro = await this.#macro(data.macro);
    if (macro === null) {
      return { error: Object.assign(new Error('the macro is not in Redis'), { own: 'macro-missing' }) };
    }
    try {
      const { variables, timeout, deadline } = data;
      return { left: await this.keeper.play(macro, { variables, timeout, deadline }), error: null };
    } catch (error) {
      return { left: error.left, error };
    }
  }

  // A macro that failed would most likely fail again, and may have done half of its work.
  #isFinal(record, held) {
    if (record.failure === 'macro-missing' || record.failure === 'result-too-large') return true;
    return record.outcome === 'macro failed' && !held.data.retryMacro;
  }

  async #picture(record, held) {
    const { screenshot, shared } = this.settings;
    if (shared === undefined || screenshot === 'never' || (screenshot === 'failure' && record.failure === null)) return;
    const { name, whole } = pictureOf(shared, record, held);
    if (await this.keeper.screenshot(whole)) record.screenshot = name;
  }

  #stored(record, held) {
    const stored = fitted(record, held, this.settings.shared, this.settings.largestRecord);
    if (stored !== null) return stored;
    return {
      ...record,
      outcome: 'macro failed',
      failure: 'result-too-large',
      text: 'the result is too large for Redis',
      extracts: [],
      performance: [],
      profiler: '',
    };
  }

  // Its effects may have happened twice: it stays to be seen.
  async #keepLate(record, held) {
    const { redis, keys } = this.group;
    await redis.multi()
        .lpush(keys.late, JSON.stringify({ key: held.id, batch: held.data.batch, run: held.data.row, ...record }))
        .ltrim(keys.late, 0, 9999)
        .exec();
  }
}
