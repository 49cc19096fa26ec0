// Finds in a browser's output the line that tells where it can be driven. Output comes in pieces; one finder per
// browser, fed in order.
const kPatterns = [
  { pattern: /DevTools listening on (ws:\/\/\S+)/, suffix: '' },
  { pattern: /WebDriver BiDi listening on (ws:\/\/\S+)/, suffix: '/session' },
];

const kLongestLine = 65536;

export class EndpointFinder {
  #rest = '';

  // The endpoint, once its line is complete; until then undefined.
  feed(text) {
    this.#rest += text;
    const lines = this.#rest.split('\n');
    this.#rest = lines.pop().slice(-kLongestLine);
    for (const line of lines) {
      for (const { pattern, suffix } of kPatterns) {
        const found = pattern.exec(line);
        if (found) {
          return found[1] + suffix;
        }
      }
    }
    return undefined;
  }
}
