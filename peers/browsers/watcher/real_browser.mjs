// One real browser: started, listened to, ended with everything that it started. The watcher owns it.
import fs from 'node:fs';
import { spawn } from 'node:child_process';
import { browserCommand, kFirefox } from './browser_command.mjs';
import { EndpointFinder } from './endpoint_line.mjs';
import { writePreferences } from './firefox_preferences.mjs';
import { endMarkedProcesses } from './marked_processes.mjs';

const kGraceMilliseconds = 3000;
const kAskedMilliseconds = 1000;

export class RealBrowser {
  #child;
  #mark;
  #ended;
  #endpoint;

  constructor(run) {
    const full = {
      ...run,
      platform: process.platform,
      superUser: process.getuid?.() === 0,
    };
    fs.mkdirSync(full.profileFolder, { recursive: true });
    if (full.type === kFirefox) {
      writePreferences(full.profileFolder);
    }
    const command = browserCommand(full);
    this.#mark = full.mark;
    this.#child = spawn(command.program, command.args, {
      cwd: full.runFolder,
      env: { ...process.env, ...command.environment },
      stdio: ['ignore', 'pipe', 'pipe'],
      // A group of its own, so that the whole of it can be ended.
      detached: full.platform !== 'win32',
      windowsHide: true,
    });
    this.#listen(full.log ?? (() => {}));
  }

  // Where there are process groups, this one is its group's as well. Undefined when it could not be started.
  get processId() {
    return this.#child.pid;
  }

  // Rejects when the browser ends or cannot be started before it has told where it listens.
  get endpoint() {
    return this.#endpoint;
  }

  // What became of it, as text.
  get ended() {
    return this.#ended;
  }

  #listen(log) {
    const finder = new EndpointFinder();
    this.#ended = new Promise((resolve) => {
      this.#child.once('error', (error) => resolve(`could not be started: ${error.message}`));
      this.#child.once('exit', (code, signal) => resolve(signal ? `ended by ${signal}` : `ended with ${code}`));
    });
    this.#endpoint = new Promise((resolve, reject) => {
      const hear = (text) => {
        log(text);
        const endpoint = finder.feed(text);
        if (endpoint) {
          resolve(endpoint);
        }
      };
      for (const stream of [this.#child.stdout, this.#child.stderr]) {
        stream.setEncoding('utf8');
        stream.on('data', hear);
      }
      this.#ended.then((how) => reject(new Error(`the browser ${how}`)));
    });
    this.#endpoint.catch(() => {});
  }

  // Lets a browser that was told to close do so, asks one that does not, then leaves no choice. A signal in the middle
  // of its closing would cost what it has not saved yet. Returns when nothing of it is left.
  async end(graceMilliseconds = kGraceMilliseconds) {
    if (graceMilliseconds > 0 && !(await this.#endsWithin(graceMilliseconds))) {
      this.#signal('SIGTERM');
      await this.#endsWithin(kAskedMilliseconds);
    }
    this.#signal('SIGKILL');
    await endMarkedProcesses(this.#mark);
    await this.#ended;
  }

  async #endsWithin(milliseconds) {
    let timer;
    const patience = new Promise((resolve) => {
      timer = setTimeout(resolve, milliseconds, false);
    });
    const ended = await Promise.race([this.#ended.then(() => true), patience]);
    clearTimeout(timer);
    return ended;
  }

  #signal(signal) {
    try {
      if (process.platform === 'win32') {
        this.#child.kill(signal);
      } else if (this.#child.pid) {
        process.kill(-this.#child.pid, signal);
      }
    } catch {
      // The whole group has ended already.
    }
  }
}
