// The bridge's end of the connection to the watcher: starts the watcher, learns where the browser can be driven, hears
// when it has ended, tells it to end. When the bridge is gone, so is this connection, and the watcher ends the browser.
import crypto from 'node:crypto';
import fs from 'node:fs';
import net from 'node:net';
import path from 'node:path';
import { spawn } from 'node:child_process';
import { joinSeen } from './settings.mjs';

// A browser that writes its profile takes seconds to close on a busy machine.
const kEndMilliseconds = 10000;

// Under Wine only the system's own starter gets a Linux program going without needing a handle of it.
function startProgram(settings, runFile) {
  const [program, args] = settings.otherSystem
    ? ['C:\\windows\\system32\\start.exe', ['/unix', '/usr/bin/env', 'node', settings.watcherSeen, runFile]]
    : [process.execPath, [settings.watcherSeen, runFile]];
  return spawn(program, args, { stdio: 'ignore', windowsHide: true });
}

// Any program of the machine can find the port: what is no message says nothing.
function messageOf(line) {
  try {
    return JSON.parse(line) ?? {};
  } catch {
    return {};
  }
}

export class WatcherLink {
  #settings;
  #log;
  #token = crypto.randomUUID();
  #socket;
  #ended;
  #resolveEnded;
  #endpoint;
  #resolveEndpoint;

  constructor(settings, log) {
    this.#settings = settings;
    this.#log = log;
    this.#ended = new Promise((resolve) => {
      this.#resolveEnded = resolve;
    });
    this.#endpoint = new Promise((resolve, reject) => {
      this.#resolveEndpoint = resolve;
      this.#ended.then((how) => reject(new Error(how)));
    });
    this.#endpoint.catch(() => {});
  }

  // Where the browser can be driven; rejects when it ends before that is known.
  get endpoint() {
    return this.#endpoint;
  }

  // How the browser, or the watcher, ended.
  get ended() {
    return this.#ended;
  }

  async start() {
    const server = net.createServer((socket) => this.#accept(socket, server));
    await new Promise((resolve, reject) => {
      server.once('error', reject);
      server.listen(0, '127.0.0.1', resolve);
    });
    const runFile = path.join(this.#settings.runFolder, 'run.json');
    fs.writeFileSync(runFile, JSON.stringify(this.#order(server.address().port)));
    const starter = startProgram(this.#settings, joinSeen(this.#settings.runFolderSeen, 'run.json'));
    starter.once('error', (error) => this.#resolveEnded(`the watcher could not be started: ${error.message}`));
    this.#limitStart();
  }

  #order(port) {
    const { type, runFolderSeen, profileFolderSeen, program, visible, keep } = this.#settings;
    return {
      port,
      token: this.#token,
      mark: this.#token,
      type,
      runFolder: runFolderSeen,
      profileFolder: profileFolderSeen || joinSeen(runFolderSeen, 'profile'),
      logFile: joinSeen(runFolderSeen, 'browser.log'),
      program,
      visible,
      keep,
    };
  }

  #limitStart() {
    const timer = setTimeout(
      () => this.#resolveEnded('the browser did not start in time'),
      this.#settings.startSeconds * 1000,
    );
    this.#endpoint.finally(() => clearTimeout(timer)).catch(() => {});
  }

  #accept(socket, server) {
    let received = '';
    socket.setEncoding('utf8');
    socket.setNoDelay(true);
    socket.on('error', () => {});
    socket.on('data', (text) => {
      received += text;
      const lines = received.split('\n');
      received = lines.pop();
      for (const line of lines) {
        this.#hear(messageOf(line), socket, server);
      }
    });
    socket.on('close', () => {
      if (socket === this.#socket) {
        this.#resolveEnded('the watcher is gone');
      }
    });
  }

  #hear(message, socket, server) {
    if (message.token === this.#token && !this.#socket) {
      this.#socket = socket;
      server.close();
    } else if (socket !== this.#socket) {
      socket.destroy();
    } else if (message.endpoint) {
      this.#log(`the browser listens at ${message.endpoint}`);
      this.#resolveEndpoint(message.endpoint);
    } else if (message.ended) {
      this.#resolveEnded(message.ended);
    }
  }

  // Asks the watcher to end the browser, and waits until it has.
  async end() {
    if (this.#socket?.writable) {
      this.#socket.write(`${JSON.stringify({ end: true, graceMilliseconds: kEndMilliseconds })}\n`);
      await this.#ended;
    }
  }
}
