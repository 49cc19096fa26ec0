// The site that the end-to-end tests visit: a few pages whose every answer is known, served on loopback. It is started
// with a file to write its address into, and ends after IDLE seconds without a visit.
//
//     node server.mjs [--port N] [--address-file FILE] [--idle SECONDS]
import fs from 'node:fs';
import http from 'node:http';
import { parseArgs } from 'node:util';
import { pageFor } from './pages.mjs';

const { values: options } = parseArgs({
  options: {
    port: { type: 'string', default: '0' },
    'address-file': { type: 'string' },
    idle: { type: 'string', default: '600' },
  },
});

const kLargestBody = 1 << 20;
let lastVisit = Date.now();

function readBody(request) {
  return new Promise((resolve, reject) => {
    const chunks = [];
    let size = 0;
    request.on('data', (chunk) => {
      size += chunk.length;
      if (size > kLargestBody) {
        reject(new Error('too large'));
      }
      chunks.push(chunk);
    });
    request.on('end', () => resolve(Buffer.concat(chunks).toString('utf8')));
    request.on('error', reject);
  });
}

const server = http.createServer(async (request, response) => {
  lastVisit = Date.now();
  const address = new URL(request.url, 'http://localhost');
  let answer;
  try {
    const body = request.method === 'POST' ? new URLSearchParams(await readBody(request)) : undefined;
    answer = await pageFor(address.pathname, body ?? address.searchParams, request.method);
  } catch (error) {
    answer = { status: 500, type: 'text/plain', body: error.message };
  }
  response.writeHead(answer.status, {
    'content-type': `${answer.type}; charset=utf-8`,
    'cache-control': 'no-store',
    connection: 'close',
  });
  response.end(answer.body);
});

server.listen(Number(options.port), '127.0.0.1', () => {
  const address = `http://127.0.0.1:${server.address().port}`;
  if (options['address-file']) {
    // Complete before it has its name, so that a reader never finds half of it.
    fs.writeFileSync(`${options['address-file']}.new`, address);
    fs.renameSync(`${options['address-file']}.new`, options['address-file']);
  }
  console.log(address);
});

setInterval(() => {
  if (Date.now() - lastVisit > Number(options.idle) * 1000) {
    process.exit(0);
  }
}, 1000).unref();
