// One host: connects back to the pipe that it has named, and answers the requests that come over that. A host sends its
// next request only when it has the reply to the last one, or has given up waiting for it: a reply would then be taken
// for the next one's, so it is not sent.
import net from 'node:net';
import * as failures from './failures.mjs';
import { RequestFramer, readRequest } from './request_framer.mjs';

export class Connection {
  #answers;
  #log;
  #events;
  #pipe;
  #framer = new RequestFramer();
  #running;
  launched = false;

  // `events`: exit() when the host has asked for the end and has its answer, gone() when the host has hung up.
  constructor(answers, log, events) {
    this.#answers = answers;
    this.#log = log;
    this.#events = events;
  }

  // `name`: the host's own pipe.
  begin(name) {
    this.#log(`connecting back to ${name}`);
    // Nothing is flushed for a host that has hung up: the server of Wine 8 crashes when a pipe is closed meanwhile.
    this.#pipe = net.connect({ path: name, allowHalfOpen: true });
    this.#pipe.on('end', () => this.#pipe.destroy());
    this.#pipe.on('error', (error) => this.#log(`pipe of the host: ${error.message}`));
    this.#pipe.on('data', (chunk) => this.#receive(chunk));
    this.#pipe.on('close', () => {
      this.#running?.abort();
      this.#events.gone(this);
    });
  }

  #receive(chunk) {
    this.#framer.feed(chunk);
    for (let bytes = this.#framer.next(); bytes; bytes = this.#framer.next()) {
      this.#serve(bytes);
    }
  }

  async #serve(bytes) {
    this.#running?.abort();
    const running = new AbortController();
    this.#running = running;
    let request;
    let reply;
    try {
      request = readRequest(bytes);
      this.launched ||= request.type === 'init' && request.args.launched === true;
      this.#log(`request ${request.type}`);
      reply = await this.#answers.answer(request, running.signal);
    } catch (error) {
      reply = { status: `The request cannot be read: ${error.message}`, errorCode: failures.kBadRequest };
    }
    if (this.#running !== running || running.signal.aborted) {
      this.#log(`the reply to ${request?.type} is not wanted any more`);
      return;
    }
    this.#running = undefined;
    this.#log(`reply ${reply.errorCode} ${reply.status}`);
    this.#pipe.write(JSON.stringify(reply), () => {
      if (request?.type === 'exit') {
        this.#events.exit(this);
      }
    });
  }
}
