// The page: Bull Board behind a log-in, with what matters of a job in view.
import { createHash, timingSafeEqual } from 'node:crypto';
import http from 'node:http';
import https from 'node:https';

import { createBullBoard } from '@bull-board/api';
import { BullMQAdapter } from '@bull-board/api/bullMQAdapter';
import { ExpressAdapter } from '@bull-board/express';
import express from 'express';

import { RECORD_MARK, recordIn } from './outcome.js';

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

// Values of variables, and what pages showed, may be anybody's names and numbers: they are shown when that is asked for.
const HIDDEN = '(hidden)';

function dataForThePage(data) {
  return data?.variables ? { ...data, variables: Object.fromEntries(Object.keys(data.variables).map((name) => [name, HIDDEN])) } : data;
}

function recordForThePage(record) {
  if (!record?.outcome) return record;
  return { ...record, extracts: record.extracts && record.extracts.map(() => HIDDEN), profiler: record.profiler && HIDDEN };
}

// The record is for programs; a person reads what stands in front of it.
const stackForThePage = (stack) => (recordIn(stack) ? stack.slice(0, stack.lastIndexOf(RECORD_MARK)) : stack);

class Adapter extends BullMQAdapter {
  #shorten(job) {
    if (job) job.stacktrace = job.stacktrace?.map(stackForThePage);
    return job;
  }

  async getJob(...args) {
    return this.#shorten(await super.getJob(...args));
  }

  async getJobs(...args) {
    return (await super.getJobs(...args)).map((job) => this.#shorten(job));
  }
}

// These send back what the page shows, and would put it in the values' place.
function refuseHiddenValues(app) {
  const refuse = (request, response) => response.status(405).json({
    error: { key: 'Values are hidden here, and would be lost. kx-cluster page --actions --show-values lets them be changed.' },
  });
  app.patch('/api/queues/:queue/:job/update-data', refuse);
  app.post('/api/queues/:queue/add', refuse);
}

// Nothing comes from another server, and no other page can hold this one in a frame.
const POLICY = "default-src 'self'; script-src 'self' 'unsafe-inline'; style-src 'self' 'unsafe-inline'; img-src 'self' data:; " +
  "font-src 'self' data:; frame-ancestors 'none'";

/** A server that is not listening yet. */
export function pageServer(groups, { login, password, certificate, key, actions = false, showsValues = false }) {
  const adapter = new ExpressAdapter();
  adapter.setBasePath('/');
  const queues = groups.map((group) => {
    const queue = new Adapter(group.queue, {
      readOnlyMode: !actions,
      allowRetries: actions,
      description: 'macros, and what became of them',
    });
    queue.setFormatter('name', (job) => `row ${job.data?.row} of ${job.data?.batch}: ${job.name}`);
    if (!showsValues) {
      queue.setFormatter('data', dataForThePage);
      queue.setFormatter('returnValue', recordForThePage);
    }
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
    response.set({ 'Content-Security-Policy': POLICY, 'Referrer-Policy': 'no-referrer', 'X-Content-Type-Options': 'nosniff' });
    next();
  });
  if (!showsValues) refuseHiddenValues(app);
  app.use('/', adapter.getRouter());
  return certificate ? https.createServer({ cert: certificate, key }, app) : http.createServer(app);
}
