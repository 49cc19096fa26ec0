// Texts of others on a terminal.

const NAMES = { '\n': '\\n', '\r': '\\r', '\t': '\\t' };

/** The text on one line: line ends, tabs and other control characters are written as \n, \t and \xHH, as kx does. */
export const onOneLine = (text) =>
  // eslint-disable-next-line no-control-regex
  String(text).replace(/[\u0000-\u001f\u007f-\u009f]/g, (one) => NAMES[one] ?? `\\x${one.charCodeAt(0).toString(16).toUpperCase().padStart(2, '0')}`);
