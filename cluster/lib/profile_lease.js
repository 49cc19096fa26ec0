// No two workers share a profile: two browsers would break it, and a second start would attach to the first one's browser.
// On one machine a name that the operating system takes back with its process decides; between machines, for folders that
// they share, a lease in Redis does, which whoever is cut off or has died loses when it runs out.
import { randomUUID } from 'node:crypto';
import os from 'node:os';
import path from 'node:path';

import { digest } from './keys.js';

const RENEW = `if redis.call('get', KEYS[1]) == ARGV[1] then return redis.call('pexpire', KEYS[1], ARGV[2]) end
if redis.call('set', KEYS[1], ARGV[1], 'NX', 'PX', ARGV[2]) then return 1 end return 0`;
const RELEASE = `if redis.call('get', KEYS[1]) == ARGV[1] then return redis.call('del', KEYS[1]) end return 0`;

// The one spelling of a folder: Windows knows no letter case, takes either slash and any number of them, and passes over blanks and
// points at the end of a name; the library takes a last backslash off.
function folderIdentity(given) {
  if (given === '') return '';
  const folder = path.win32.normalize(given).toLowerCase().replace(/^\\\\[?.]\\(unc\\)?/, (start, isShare) => (isShare ? '\\\\' : ''));
  return folder.replace(/(?<=[^\\. ])[. ]+(?=\\|$)/g, '').replace(/\\+$/, '');
}

/** What a profile is, the same for all workers that could meet on it. */
export function profileIdentity({ browser = 'fx', profile = '', userDataDir = '' }) {
  const folder = folderIdentity(userDataDir);
  const isShared = folder.startsWith('\\\\');
  const place = isShared ? '' : `${os.hostname()}\n${os.userInfo().username}\n`;
  return `${place}${browser}\n${profile.replace(/\\$/, '')}\n${folder}`;
}

// On Windows a mutex: it is the process's that has it, and nobody's when that has ended. Elsewhere there is no library, and only
// simulated browsers.
async function takeName(identity) {
  if (process.platform !== 'win32') return { close() {} };
  const { takeMutex } = await import('./mutex.js');
  return takeMutex(`Global\\kx-cluster-profile-${digest(identity, 32)}`);
}

export class ProfileLease {
  #name = null;
  #timer = null;
  #isRenewing = false;
  #value;

  constructor(redis, key, identity, { worker, milliseconds }) {
    this.redis = redis;
    this.key = key;
    this.identity = identity;
    this.milliseconds = milliseconds;
    this.#value = `${worker} ${randomUUID()}`;
    this.isHeld = false;
  }

  /** True when this worker has it now; otherwise it is somebody else's. */
  async take() {
    this.#name ??= await takeName(this.identity);
    if (this.#name === null) return false;
    await this.#renew();
    if (this.isHeld && this.#timer === null) {
      this.#timer = setInterval(() => this.#renewOnce(), this.milliseconds / 3);
      this.#timer.unref();
    }
    return this.isHeld;
  }

  /** Whose it is: the worker's name, or null. */
  async holder() {
    return (await this.redis.get(this.key))?.split(' ')[0] ?? null;
  }

  // One that has run out is taken again, unless another worker has it. When Redis refuses, it may run out unseen: then it does not count
  // as held until Redis says so.
  async #renew() {
    try {
      this.isHeld = (await this.redis.eval(RENEW, 1, this.key, this.#value, this.milliseconds)) === 1;
    } catch (error) {
      this.isHeld = false;
      throw error;
    }
  }

  // Without Redis one waits, and comes before whatever is asked of Redis later.
  async #renewOnce() {
    if (this.#isRenewing) return;
    this.#isRenewing = true;
    await this.#renew().catch(() => {});
    this.#isRenewing = false;
  }

  async release() {
    clearInterval(this.#timer);
    this.#timer = null;
    this.isHeld = false;
    this.#name?.close();
    this.#name = null;
    await this.redis.eval(RELEASE, 1, this.key, this.#value);
  }
}
