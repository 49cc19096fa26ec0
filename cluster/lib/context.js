// One context of a worker: a profile, a browser, and one job after the other.
import { setTimeout as sleep } from 'node:timers/promises';

import { AttemptFailed, MOST_DEATHS, outcomeOf, setAside } from './outcome.js';
import { isRefusal, refusalText } from './refusal.js';
import { fitted, pictureOf } from './stock.js';

const MOST_START_FAILURES = 5;
// A server that refuses is asked again, seldom in the end.
const MOST_DOUBLINGS = 4;

/** A browser that does not start, however often it is tried. */
export class NoBrowser extends Error {}

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
      while (!this.isStopping) await this.#turn();
    } catch (error) {
      this.tell(`context ${this.number} ends: ${error.message}`);
      throw error;
    } finally {
      this.state = 'ending';
      await this.keeper.end();
      await this.lease.release().catch(() => {});
      this.state = 'ended';
    }
  }

  // What Redis refuses without a job in hand can be begun anew from the start: also the lease of the profile is looked at again.
  async #turn() {
    try {
      if (!(await this.#hasProfile()) || !(await this.#hasBrowser())) return;
      this.state = 'waiting';
      const held = await this.engine.next();
      this.refusals = 0;
      if (held) await this.#work(held);
    } catch (error) {
      if (!isRefusal(error)) throw error;
      this.state = 'waiting for Redis';
      await this.#pause(this.#refused(error));
    }
  }

  async #work(held) {
    try {
      if (this.lease.isHeld) await this.#perform(held);
      // It was cut off for so long that another worker has the profile.
      else await this.#insist(() => held.giveBack());
    } finally {
      held.letGo();
    }
  }

  // Tells of a refusal of Redis, and gives the milliseconds until the next try.
  #refused(error) {
    this.refusals = (this.refusals ?? 0) + 1;
    const pause = this.settings.pause * 2 ** Math.min(this.refusals - 1, MOST_DOUBLINGS);
    this.tell(`context ${this.number}: Redis refuses: ${refusalText(error)}; trying again in ${pause / 1000} s`);
    return pause;
  }

  // With a job in hand: what Redis refuses is asked for again until it is done, as after a lost connection. Meanwhile the job's lock is
  // renewed; when it is lost all the same, the report is refused as one that comes too late.
  async #insist(ask) {
    for (;;) {
      try {
        const answer = await ask();
        this.refusals = 0;
        return answer;
      } catch (error) {
        if (!isRefusal(error)) throw error;
        await sleep(this.#refused(error));
      }
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
      if (this.startFailures >= MOST_START_FAILURES) throw new NoBrowser(error.message, { cause: error });
      await this.#pause(this.settings.pause * 2 ** (this.startFailures - 1));
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
    const played = await this.#play(held);
    const record = await this.#recordOf(played, held, {
      attempt: held.attempt,
      worker: settings.name,
      context: this.number,
      profile: this.profile,
      started,
      ended: Date.now(),
    });
    const isBelieved = await this.#insist(() => (record.failure === null ? held.succeed(record)
                                                                         : held.fail(new AttemptFailed(record, this.#isFinal(record, held)))));
    this.played += 1;
    if (!isBelieved) await this.#insist(() => this.#keepLate(record, held));
    this.tell(`context ${this.number}: job ${held.id}, row ${held.data.row}: ${record.outcome}, ${record.seconds} s` +
      `${record.failure ? ` (${record.failure})` : ''}${isBelieved ? '' : '; too late, another worker has it'}`, 'job');
    await this.keeper.tidy();
    return undefined;
  }

  // A play is reported whatever becomes of its picture and of the shared folder.
  async #recordOf({ left, error }, held, circumstances) {
    try {
      const record = outcomeOf({ left, error, ...circumstances });
      await this.#picture(record, held);
      return this.#stored(record, held);
    } catch (trouble) {
      return outcomeOf({ left: null, error: trouble, ...circumstances });
    }
  }

  async #setAside(held) {
    this.tell(`job ${held.id}, row ${held.data.row}: set aside, ${MOST_DEATHS} workers died while they played it`);
    await this.#insist(() => held.fail(new AttemptFailed(setAside({ attempt: held.attempt, worker: this.settings.name }), true)));
  }

  async #play({ data }) {
    const macro = await this.#insist(() => this.#macro(data.macro));
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
    if (['macro-missing', 'result-too-large', 'result-not-stored'].includes(record.failure)) return true;
    return record.outcome === 'macro failed' && !held.data.retryMacro;
  }

  async #picture(record, held) {
    const { screenshot, shared } = this.settings;
    if (shared === undefined || screenshot === 'never' || (screenshot === 'failure' && record.failure === null)) return;
    try {
      const { name, whole } = pictureOf(shared, record, held);
      if (await this.keeper.screenshot(whole)) record.screenshot = name;
    } catch (error) {
      // The play was no worse for it.
      this.tell(`context ${this.number}: job ${held.id}, row ${held.data.row}: the picture cannot be stored: ${error.message}`);
    }
  }

  #stored(record, held) {
    const failed = (failure, text) =>
      ({ ...record, outcome: 'macro failed', failure, text, extracts: [], performance: [], profiler: '' });
    try {
      return fitted(record, held, this.settings.shared, this.settings.largestRecord) ??
        failed('result-too-large', 'the result is too large for Redis');
    } catch (error) {
      return failed('result-not-stored', `the result cannot be written to the shared folder: ${error.message}`);
    }
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
