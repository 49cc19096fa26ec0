// The hosts of the browser, one after the other or several at once. The launcher serves the well-known pipe and passes on
// the lines in which they name their own pipes. Tells when the browser has been left alone.
import net from 'node:net';
import readline from 'node:readline';
import { Answers } from './answers.mjs';
import { Connection } from './connection.mjs';

export class Hosts {
  #session;
  #settings;
  #log;
  #onEnd;
  #connections = new Set();
  #wasUsed = false;
  #wasLaunchedFor = false;
  #timer;

  // `onEnd(reason)` is called when the browser is to close.
  constructor(session, settings, log, onEnd) {
    this.#session = session;
    this.#settings = settings;
    this.#log = log;
    this.#onEnd = onEnd;
  }

  // Hosts can come as soon as the launcher has found this pipe.
  async serve() {
    const server = net.createServer({ allowHalfOpen: true }, (socket) => this.#listenTo(socket, server));
    await new Promise((resolve, reject) => {
      server.once('error', reject);
      server.listen(this.#settings.pipe, resolve);
    });
    this.#startTimer();
  }

  #listenTo(launcher, server) {
    this.#log('the launcher serves hosts');
    server.close();
    launcher.on('error', () => {});
    launcher.on('end', () => launcher.destroy());
    readline.createInterface({ input: launcher, crlfDelay: Infinity }).on('line', (name) => this.#connectTo(name));
  }

  #connectTo(name) {
    clearTimeout(this.#timer);
    this.#wasUsed = true;
    const answers = new Answers(this.#session, this.#settings, this.#log);
    const connection = new Connection(answers, this.#log, {
      exit: () => {
        if (!this.#settings.staysOnExit) {
          this.#onEnd('a host has asked for it');
        }
      },
      gone: (which) => this.#forget(which),
    });
    this.#connections.add(connection);
    connection.begin(name);
  }

  #forget(connection) {
    this.#connections.delete(connection);
    this.#wasLaunchedFor ||= connection.launched;
    if (this.#connections.size === 0) {
      this.#startTimer();
    }
  }

  // A browser that was launched for a host has nobody else to close it when that host is gone without an exit; nor has
  // one whose host never came.
  #startTimer() {
    const { unusedSeconds, lingerSeconds, idleSeconds } = this.#settings;
    const usedSeconds = this.#wasLaunchedFor ? lingerSeconds : idleSeconds;
    const seconds = this.#wasUsed ? usedSeconds : unusedSeconds;
    clearTimeout(this.#timer);
    this.#timer = setTimeout(() => this.#onEnd(`no host for ${seconds} s`), seconds * 1000);
  }
}
