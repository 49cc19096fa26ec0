// Finds the end of each request in the bytes of a pipe, and reads it. Requests are bare JSON texts without a frame. In
// the sender's layout every member has a line of its own and a value never holds a raw line feed, so a closing brace
// that stands first in its line ends the request. Other layouts are followed by braces and quotes. A sender that gave
// a request up half-way begins the next one right behind: its first bytes are looked for, and the torn one dropped.
// One framer per connection.
const kHeader = '{\n "type" : "';
const kLayoutStart = '{\n';
const kLayoutEnd = '\n}';

function endInOtherLayout(text) {
  let depth = 0;
  let inString = false;
  for (let at = 0; at < text.length; ++at) {
    const c = text[at];
    if (inString) {
      if (c === '\\') {
        ++at;
      } else if (c === '"') {
        inString = false;
      }
    } else if (c === '"') {
      inString = true;
    } else if (c === '{') {
      ++depth;
    } else if (c === '}' && --depth <= 0) {
      return at + 1;
    }
  }
  return 0;
}

function endOfRequest(text) {
  if (!kLayoutStart.startsWith(text.slice(0, kLayoutStart.length))) {
    return endInOtherLayout(text);
  }
  const end = text.indexOf(kLayoutEnd);
  return end < 0 ? 0 : end + kLayoutEnd.length;
}

export class RequestFramer {
  // One character per byte: pieces may end inside a UTF-8 sequence.
  #bytes = '';

  feed(chunk) {
    this.#bytes += chunk.toString('latin1');
  }

  // The bytes of the next complete request, or undefined.
  next() {
    this.#bytes = this.#bytes.replace(/^[\s\0]+/, '');
    const end = endOfRequest(this.#bytes);
    const begun = this.#bytes.lastIndexOf(kHeader, end === 0 ? undefined : end - 1);
    if (begun > 0) {
      this.#bytes = this.#bytes.slice(begun);
      return this.next();
    }
    if (end === 0) {
      return undefined;
    }
    const request = this.#bytes.slice(0, end);
    this.#bytes = this.#bytes.slice(end);
    return Buffer.from(request, 'latin1');
  }
}

// Control characters inside strings are not escaped by the sender. A line feed only parts lines.
function escapeControls(text) {
  // eslint-disable-next-line no-control-regex
  return text.replace(/[\x00-\x09\x0b-\x1f]/g, (c) => `\\u${c.charCodeAt(0).toString(16).padStart(4, '0')}`);
}

// { type, args }; throws a SyntaxError for what cannot be read, such as a variable's name that holds a quote.
export function readRequest(bytes) {
  const text = bytes.toString('utf8');
  let request;
  try {
    request = JSON.parse(text);
  } catch {
    request = JSON.parse(escapeControls(text));
  }
  const args = request.args !== null && typeof request.args === 'object' ? request.args : {};
  return { type: String(request.type), args };
}
