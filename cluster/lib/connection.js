// The connection to Redis: made, and looked at before anything else is done with it.
import { Redis } from 'ioredis';

import { Exit, Mistake } from './mistake.js';

// BLMOVE and the options of SET and ZADD that are used came with it.
const OLDEST = [6, 2];
const FIRST_TRY = 5000;

const isOlder = (version) => version[0] < OLDEST[0] || (version[0] === OLDEST[0] && version[1] < OLDEST[1]);
const fieldOf = (info, name) => new RegExp(`^${name}:(.*?)\\r?$`, 'm').exec(info)?.[1];

/** What is wrong with a server, from the text of its INFO; empty when nothing is. */
export function problemOfServer(info, where) {
  const version = fieldOf(info, 'redis_version') ?? '0.0';
  if (isOlder(version.split('.').map(Number))) {
    return `The Redis at ${where} is version ${version}, and ${OLDEST.join('.')} is the oldest that will do. ` +
      'Debian 12 and later have a newer one: apt install redis-server.';
  }
  return '';
}

/** What may lose jobs, as sentences. */
export function warningsOfServer(info, policy) {
  const warnings = [];
  if (fieldOf(info, 'aof_enabled') === '0') {
    warnings.push('This Redis keeps no append-only file: what it holds is lost when it ends. Set "appendonly yes".');
  }
  if (policy !== undefined && policy !== 'noeviction') {
    warnings.push(`This Redis removes keys when its memory is full (maxmemory-policy ${policy}). Set "maxmemory-policy noeviction".`);
  }
  return warnings;
}

function mistakeOf(error, settings) {
  const where = `${settings.host}:${settings.port}`;
  const unreachable = (reason) => new Mistake(
      `There is no connection to Redis at ${where}: ${reason} --redis HOST:PORT tells where it is.`, Exit.CONNECTION);
  const text = error.message;
  if (/WRONGPASS|invalid password|without any password configured/i.test(text)) {
    const who = settings.username === undefined ? 'the password' : `the user "${settings.username}" with this password`;
    return new Mistake(
        `The Redis at ${where} refuses ${who}. See that --password-file or KX_CLUSTER_PASSWORD holds what ` +
        '"requirepass" or the user\'s line in its configuration says.', Exit.CONNECTION);
  }
  if (/NOAUTH/.test(text)) {
    return new Mistake(
        `The Redis at ${where} wants a password. Put it into a file that --password-file names, or into KX_CLUSTER_PASSWORD.`,
        Exit.CONNECTION);
  }
  if (/NOPERM/.test(text)) {
    return new Mistake(`The Redis at ${where} does not let this user do what is needed: ${text}`, Exit.CONNECTION);
  }
  if (/LOADING/.test(text)) return unreachable('it is still reading its file. Try again in a moment.');
  switch (error.code) {
    case 'ECONNREFUSED':
      return unreachable('nothing listens there. Start redis-server, or see that it listens on this address ("bind").');
    case 'ENOTFOUND':
    case 'EAI_AGAIN':
      return unreachable('no machine of that name is known.');
    case 'ECONNRESET':
    case 'EPIPE':
      return unreachable('the other side hung up. When it wants TLS, add --tls.');
    case 'ETIMEDOUT':
    case 'EHOSTUNREACH':
    case 'ENETUNREACH':
      return unreachable(settings.tls ? 'no answer came. See that a firewall lets this port through, and that TLS is spoken there.'
                                      : 'no answer came. See that a firewall lets this port through.');
    default:
  }
  if (/CERT|certificate|SSL|TLS|altnames|EPROTO/i.test(`${error.code} ${text}`)) {
    return unreachable(`TLS failed (${text.trim()}). --ca FILE names the certificate of the authority that signed the server's; ` +
      'without --tls there is none.');
  }
  return unreachable(`${text}.`);
}

/**
 * A connection that has been tried: reached, logged in, new enough. Later it connects again by itself, as often as it
 * takes, and commands wait for that.
 */
export async function connect(settings) {
  let hasBeenReady = false;
  let failure = null;
  const redis = new Redis({
    host: settings.host,
    port: settings.port,
    username: settings.username,
    password: settings.password,
    tls: settings.tls,
    lazyConnect: true,
    maxRetriesPerRequest: null,
    connectTimeout: FIRST_TRY,
    keepAlive: 10_000,
    retryStrategy: (times) => (hasBeenReady ? Math.min(times * 100, 2000) : null),
    reconnectOnError: () => false,
  });
  redis.on('error', (error) => {
    failure ??= error;
  });
  try {
    await redis.connect();
    const info = await redis.info();
    const problem = problemOfServer(info, `${settings.host}:${settings.port}`);
    if (problem) throw new Mistake(problem, Exit.CONNECTION);
    const policy = await redis.config('GET', 'maxmemory-policy').then((found) => found[1], () => undefined);
    hasBeenReady = true;
    return { redis, warnings: warningsOfServer(info, policy) };
  } catch (error) {
    redis.disconnect();
    throw error instanceof Mistake ? error : mistakeOf(failure ?? error, settings);
  }
}
