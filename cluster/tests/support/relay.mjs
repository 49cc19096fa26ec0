// A wire between a worker and Redis that can be cut: while it is held nothing passes and nobody is told.
import { once } from 'node:events';
import net from 'node:net';

export class Relay {
  #sockets = new Set();
  #isHeld = false;

  static async start(port) {
    const relay = new Relay();
    relay.server = net.createServer((near) => relay.#join(near, net.connect(port, '127.0.0.1')));
    relay.server.listen(0, '127.0.0.1');
    await once(relay.server, 'listening');
    relay.port = relay.server.address().port;
    return relay;
  }

  #join(near, far) {
    for (const [from, to] of [[near, far], [far, near]]) {
      this.#sockets.add(from);
      from.on('error', () => {});
      from.on('close', () => {
        this.#sockets.delete(from);
        if (!this.#isHeld) to.destroy();
      });
      from.pipe(to);
      if (this.#isHeld) from.pause();
    }
  }

  hold() {
    this.#isHeld = true;
    for (const socket of this.#sockets) {
      socket.unpipe();
      socket.pause();
    }
  }

  /** What was under way is lost: the connections break, and new ones pass. */
  release() {
    this.#isHeld = false;
    for (const socket of this.#sockets) socket.destroy();
  }

  end() {
    this.release();
    this.server.close();
  }
}

/** A port of this machine that leads to a socket file. */
export async function joinTo(file) {
  const server = net.createServer((near) => {
    const far = net.connect(file);
    for (const [from, to] of [[near, far], [far, near]]) {
      from.on('error', () => {});
      from.on('close', () => to.destroy());
      from.pipe(to);
    }
  });
  server.listen(0, '127.0.0.1');
  await once(server, 'listening');
  return { port: server.address().port, end: () => server.close() };
}
