// Names of macro variables.

/** What is wrong with a name, as the end of a sentence; empty when it can be one. */
export function problemOfVariableName(name) {
  if (name === '') return 'a name is empty.';
  // eslint-disable-next-line no-control-regex
  if (/["\\\u0000-\u001f]/.test(name)) {
    return `"${name.replace(/[\u0000-\u001f]/g, ' ')}" has a character that no name of a variable may have: a double quote, ` +
      'a backslash or a control character.';
  }
  return '';
}
