// A real Redis of a test's own: its port, its folder, its append-only file.
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import fs from 'node:fs';
import net from 'node:net';
import path from 'node:path';
import { setTimeout as sleep } from 'node:timers/promises';

import { Redis } from 'ioredis';

async function freePort() {
  const server = net.createServer().listen(0, '127.0.0.1');
  await once(server, 'listening');
  const { port } = server.address();
  server.close();
  await once(server, 'close');
  return port;
}

async function answers(place) {
  return new Promise((resolve) => {
    const socket = net.connect(place, () => socket.write('PING\r\n'));
    // A server that reads its file still says LOADING; one with a password says NOAUTH.
    socket.on('data', (data) => {
      socket.destroy();
      resolve(/PONG|NOAUTH/.test(String(data)));
    });
    socket.on('error', () => resolve(false));
  });
}

export class RedisServer {
  constructor(folder, options = []) {
    this.folder = folder;
    this.options = options;
  }

  static async start(folder, options) {
    fs.mkdirSync(folder, { recursive: true });
    const server = new RedisServer(folder, options);
    server.port = await freePort();
    await server.start();
    return server;
  }

  async start() {
    this.log = fs.openSync(path.join(this.folder, 'redis.log'), 'a');
    const [program, ...before] = [...(this.before ?? []), 'redis-server'];
    this.child = spawn(program, [
      ...before, '--port', String(this.port), '--bind', '127.0.0.1', '--dir', this.folder, '--appendonly', 'yes', '--save', '',
      '--daemonize', 'no', ...this.options,
    ], { stdio: ['ignore', this.log, this.log] });
    const gone = once(this.child, 'exit').then(() => {
      throw new Error(`redis-server has ended: ${fs.readFileSync(path.join(this.folder, 'redis.log'), 'utf8').slice(-500)}`);
    });
    gone.catch(() => {});
    const up = async () => {
      while (!(await answers(this.socket ?? this.port))) await sleep(20);
    };
    await Promise.race([up(), gone]);
  }

  /** As a crash does: nothing is written that has not been written. */
  async kill() {
    const ended = once(this.child, 'exit');
    this.child.kill('SIGKILL');
    await ended;
    fs.closeSync(this.log);
  }

  /** Sets an option of the running server. With "maxmemory" 1 it refuses to take anything more. */
  async set(name, value) {
    const redis = new Redis(this.port);
    await redis.config('SET', name, value);
    redis.disconnect();
  }

  get where() {
    return `127.0.0.1:${this.port}`;
  }
}
