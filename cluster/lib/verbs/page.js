import { randomBytes } from 'node:crypto';
import { once } from 'node:events';
import { createSecureContext } from 'node:tls';

import { textOf } from '../files.js';
import { Group } from '../group.js';
import { Exit, Mistake } from '../mistake.js';
import { wholeNumber } from '../numbers.js';

export const summary = 'serves a page that shows the jobs';
export const help = `kx-cluster page [OPTION...]: serves a page that shows the jobs, until Ctrl-C

  --port N               3000
  --host ADDRESS         127.0.0.1: only this machine reaches it. Another address needs --certificate and --key
  --certificate FILE     the server's certificate, for https
  --key FILE             and its key
  --login NAME           the name of the log-in; kx
  --login-file FILE      its first line is the password of the log-in [KX_CLUSTER_LOGIN]; without it one is made up and told
  --groups NAME,NAME     the groups to show; the one of --group without it
  --actions              lets jobs be tried again and removed from the page; without it the page only shows
  --show-values          shows the values of variables; with --actions they can be changed, and jobs be copied
`;
export const options = {
  port: { type: 'string' },
  host: { type: 'string' },
  certificate: { type: 'string' },
  key: { type: 'string' },
  login: { type: 'string' },
  'login-file': { type: 'string' },
  groups: { type: 'string' },
  actions: { type: 'boolean' },
  'show-values': { type: 'boolean' },
};

const isThisMachine = (host) => /^(127(\.\d+){3}|::1|localhost)$/.test(host);

// What the server would refuse when it is made.
function checkCertificate(files, cert, key) {
  try {
    createSecureContext({ cert, key });
  } catch (error) {
    throw new Mistake(`The certificate ${files.certificate} with the key ${files.key} cannot be used: ${error.message}. Both have to be PEM, ` +
      'and belong together.');
  }
}

export function prepare(values, positionals) {
  if (positionals.length > 0) throw new Mistake(`"${positionals[0]}": page takes options only. --help tells them.`);
  const { host = '127.0.0.1' } = values;
  if ((values.certificate === undefined) !== (values.key === undefined)) throw new Mistake('--certificate and --key belong together.');
  if (!isThisMachine(host) && values.certificate === undefined) {
    throw new Mistake(`--host ${host}: other machines would reach the page there, and the log-in would travel unencrypted. Give ` +
      '--certificate FILE and --key FILE, or leave the page at 127.0.0.1 and reach it through ssh -L 3000:127.0.0.1:3000.');
  }
  const certificate = values.certificate && textOf(values.certificate, 'the certificate file');
  const key = values.key && textOf(values.key, 'the key file');
  if (certificate) checkCertificate(values, certificate, key);
  const file = values['login-file'];
  const password = file === undefined ? process.env.KX_CLUSTER_LOGIN : textOf(file, 'the log-in file').split(/\r?\n/, 1)[0];
  if (password === '') throw new Mistake('The password of the log-in is empty.');
  return {
    host,
    port: wholeNumber(values, 'port', { most: 65_535 }) ?? 3000,
    certificate,
    key,
    login: values.login ?? 'kx',
    password: password ?? randomBytes(12).toString('base64url'),
    isMadeUp: password === undefined,
    groups: values.groups?.split(','),
    actions: values.actions,
    showsValues: values['show-values'],
  };
}

export async function run(group, settings) {
  const { pageServer } = await import('../page.js');
  const names = settings.groups ?? [group.name];
  const groups = names.map((name) => (name === group.name ? group : new Group(group.redis, { prefix: group.prefix, group: name })));
  const server = pageServer(groups, settings);
  const listening = once(server, 'listening');
  server.listen(settings.port, settings.host);
  try {
    await listening;
  } catch (error) {
    const reason = { EADDRINUSE: 'another program listens there', EADDRNOTAVAIL: 'this machine has no such address', EACCES: 'it needs more rights' };
    throw new Mistake(`The page cannot be served at ${settings.host}:${settings.port}: ${reason[error.code] ?? error.message}. ` +
      '--port takes another number.', Exit.PROGRAM);
  }
  const { port } = server.address();
  const host = settings.host.includes(':') ? `[${settings.host}]` : settings.host;
  process.stdout.write(`http${settings.certificate ? 's' : ''}://${host}:${port}/  log-in: ${settings.login}\n`);
  if (settings.isMadeUp) process.stdout.write(`password, for this run: ${settings.password}\n`);
  await Promise.race(['SIGINT', 'SIGTERM', 'SIGBREAK'].map((signal) => once(process, signal)));
  server.closeAllConnections();
  server.close();
  await Promise.all(groups.filter((one) => one !== group).map((one) => one.close()));
}
