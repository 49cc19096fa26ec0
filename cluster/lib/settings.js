// Where Redis is and how to log in: options, the environment, and what stands in files. A password is never an option, for
// every user of a machine can read the command lines of its processes.
import { Mistake } from './mistake.js';
import { textOf } from './files.js';

export const REDIS_OPTIONS = {
  redis: { type: 'string' },
  user: { type: 'string' },
  'password-file': { type: 'string' },
  tls: { type: 'boolean' },
  ca: { type: 'string' },
  prefix: { type: 'string' },
};

const firstLine = (text) => text.split(/\r?\n/, 1)[0];

// What is no address is not repeated: it may hold a password, in whatever form.
function addressOf(given, from) {
  if (/^[a-z]+:\/\//i.test(given) || given.includes('@')) {
    throw new Mistake(`${from} is HOST:PORT, for example linux-box:6379, without a scheme and a log-in. ` +
      'The password belongs into the file that --password-file names, or into KX_CLUSTER_PASSWORD; --tls asks for TLS.');
  }
  const parts = /^(?:\[([\da-f:.]+(?:%[\w.-]+)?)\]|([\p{L}\p{N}._-]+))(?::(\d{1,5}))?$/iu.exec(given);
  const port = Number(parts?.[3] ?? 6379);
  if (!parts || port < 1 || port > 65535) {
    throw new Mistake(`${from} is no HOST:PORT. Right would be linux-box:6379, 127.0.0.1:6379 or [::1]:6379.`);
  }
  return { host: parts[1] ?? parts[2], port };
}

/** Of the options of a command line and the environment: what a connection needs. */
export function redisSettings(options, environment = process.env) {
  const file = options['password-file'] ?? environment.KX_CLUSTER_PASSWORD_FILE;
  const password = file === undefined ? environment.KX_CLUSTER_PASSWORD : firstLine(textOf(file, 'the password file'));
  const ca = options.ca ?? environment.KX_CLUSTER_CA;
  const tls = options.tls || environment.KX_CLUSTER_TLS === '1' || ca !== undefined;
  return {
    ...addressOf(options.redis ?? environment.KX_CLUSTER_REDIS ?? '127.0.0.1:6379', options.redis === undefined ? 'KX_CLUSTER_REDIS' : '--redis'),
    username: options.user ?? environment.KX_CLUSTER_USER,
    password: password || undefined,
    tls: tls ? (ca === undefined ? {} : { ca: textOf(ca, 'the certificate file') }) : undefined,
    prefix: options.prefix ?? environment.KX_CLUSTER_PREFIX ?? 'kx',
  };
}
