// A context's side of the engine: it takes a job, keeps its lock while the job is played, and reports. The engine refuses a
// report without the lock, which is how it does not believe a worker that was cut off and whose job another one has.
import { randomUUID } from 'node:crypto';

import { Worker } from 'bullmq';

import { MOST_DEATHS } from './outcome.js';

const WAIT_SECONDS = 2;

export class Engine {
  #worker;

  /** @param lease milliseconds after which the job of a worker that is not heard of any more is another worker's */
  constructor(group, { lease, name }) {
    this.lease = lease;
    this.#worker = new Worker(group.name, null, {
      connection: group.redis,
      prefix: group.prefix,
      name,
      autorun: false,
      lockDuration: lease,
      stalledInterval: lease / 2,
      // The engine takes the number of deaths after which a job is still given out.
      maxStalledCount: MOST_DEATHS - 1,
      drainDelay: WAIT_SECONDS,
      skipVersionCheck: true,
    });
    // What fails here is a connection, which comes back, or a command, whose caller gets the error as well.
    this.#worker.on('error', () => {});
  }

  /** Looks for jobs of workers that have died, now and then until the end. One engine of a process does. */
  async watchOthers(onTaken) {
    this.#worker.on('stalled', onTaken);
    await this.#worker.startStalledCheckTimer();
  }

  /** The next job, or null when there was none for a few seconds. */
  async next() {
    const token = randomUUID();
    const job = await this.#worker.getNextJob(token);
    return job ? new HeldJob(job, token, this.lease) : null;
  }

  async close() {
    await this.#worker.close();
  }
}

// The engine's codes: the job is gone, has no lock, is not at work, has somebody else's lock.
const NOT_OURS = [-1, -2, -3, -6];

class HeldJob {
  #token;
  #timer;
  #isRenewing = false;

  constructor(job, token, lease) {
    this.job = job;
    this.id = job.id;
    this.data = job.data;
    // So many workers have died with it that the engine gives it out only to be set aside.
    this.isToBeSetAside = Boolean(job.deferredFailure);
    this.attempt = job.attemptsStarted - (this.isToBeSetAside ? 1 : 0);
    this.#token = token;
    this.#timer = setInterval(() => this.#renew(lease), lease / 3);
  }

  // Without Redis it fails, again and again, and the job is played to its end all the same.
  async #renew(lease) {
    if (this.#isRenewing) return;
    this.#isRenewing = true;
    await this.job.extendLock(this.#token, lease).catch(() => {});
    this.#isRenewing = false;
  }

  /** True when the result counts, false when the job is not this worker's any more. What Redis refuses may be reported again. */
  async #report(send) {
    const { stacktrace } = this.job;
    try {
      await send();
      return true;
    } catch (error) {
      if (NOT_OURS.includes(error.code)) return false;
      // The engine has added this failure to the job's, and would add it once more.
      this.job.stacktrace = stacktrace;
      throw error;
    }
  }

  /** Renews the job's lock no more. */
  letGo() {
    clearInterval(this.#timer);
  }

  succeed(record) {
    return this.#report(() => this.job.moveToCompleted(record, this.#token, false));
  }

  /** Another worker takes it; this was no attempt. */
  giveBack() {
    return this.#report(() => this.job.moveToDelayed(Date.now(), this.#token));
  }

  /** The engine decides whether there is another try. */
  fail(error) {
    return this.#report(() => this.job.moveToFailed(error, this.#token, false));
  }
}
