// The page: Bull Board behind a log-in, with what matters of a job in view.
import { createHash, timingSafeEqual } from 'node:crypto';
import http from 'node:http';
import https from 'node:https';

import { createBullBoard } from '@bull-board/api';
import { BullMQAdapter } from '@bull-board/api/bullMQAdapter';
import { ExpressAdapter } from '@bull-board/express';
import express from 'express';

import { recordIn } from './outcome.js';

// Digests have one length, and take the same time whatever the text is.
const isSame = (a, b) => timingSafeEqual(createHash('sha256').update(a).digest(), createHash('sha256').update(b).digest());

function loginOf(name, password) {
  return (request, response, next) => {
    const [kind, encoded = ''] = (request.headers.authorization ?? '').split(' ');
    const given = Buffer.from(encoded, 'base64').toString('utf8');
    if (kind === 'Basic' && isSame(given, `${name}:${password}`)) return next();
    response.set('WWW-Authenticate', 'Basic realm="kx-cluster", charset="UTF-8"').status(401).type('text').send('Log in.\n');
    return undefined;
  };
}

// Values of variables may be anybody's names and numbers: they are shown when that is asked for.
function jobForThePage(data, showsValues) {
  if (showsValues || !data?.variables) return data;
  return { ...data, variables: Object.fromEntries(Object.keys(data.variables).map((name) => [name, '(hidden)'])) };
}

// The record is for programs; a person reads what stands in front of it.
const stackForThePage = (text) => (typeof text === 'string' && recordIn(text) ? text.slice(0, text.lastIndexOf('\n#record ')) : text);

/** A server that is not listening yet. */
export function pageServer(groups, { login, password, certificate, key, actions = false, showsValues = false }) {
  const adapter = new ExpressAdapter();
  adapter.setBasePath('/');
  const queues = groups.map((group) => {
    const queue = new BullMQAdapter(group.queue, {
      readOnlyMode: !actions,
      allowRetries: actions,
      description: 'Macros of a group, and what became of them',
    });
    queue.setFormatter('name', (job) => `row ${job.data?.row} of ${job.data?.batch}: ${job.name}`);
    queue.setFormatter('data', (data) => jobForThePage(data, showsValues));
    return queue;
  });
  createBullBoard({
    queues,
    serverAdapter: adapter,
    options: { uiConfig: { boardTitle: 'kx-cluster', hideRedisDetails: false } },
  });
  const app = express();
  app.disable('x-powered-by');
  app.use(loginOf(login, password));
  app.use((request, response, next) => {
    response.set('X-Frame-Options', 'DENY');
    next();
  });
  app.use('/', adapter.getRouter());
  return certificate ? https.createServer({ cert: certificate, key }, app) : http.createServer(app);
}
