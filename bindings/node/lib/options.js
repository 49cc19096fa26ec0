// Checks what a host gives, and writes it as the library wants it.
import path from 'node:path';

const MOST_SECONDS = 0x7fffffff;

/** The text itself. The library takes it to the first zero character, therefore there may be none in it. */
export function text(name, value) {
  if (typeof value !== 'string') throw new TypeError(`${name} has to be a text`);
  if (value.includes('\0')) throw new TypeError(`${name} has a zero character, at which the library would cut it`);
  return value;
}

/** The path as a whole one with backslashes. */
export function wholePath(name, value) {
  if (text(name, value) === '') throw new TypeError(`${name} is empty`);
  return path.win32.resolve(value);
}

function flag(name, value) {
  if (typeof value !== 'boolean') throw new TypeError(`${name} has to be true or false`);
  return value;
}

/** Milliseconds as whole seconds, of which there is at least one; 0, the library's "for ever", for Infinity. */
export function seconds(name, milliseconds) {
  if (milliseconds === Infinity) return 0;
  if (typeof milliseconds !== 'number' || !(milliseconds > 0) || milliseconds > MOST_SECONDS * 1000) {
    throw new RangeError(`${name} has to be a number of milliseconds above 0, or Infinity`);
  }
  return Math.ceil(milliseconds / 1000);
}

/** The options with their defaults. Refuses any that is not among these. */
export function named(options, defaults) {
  if (options === null || typeof options !== 'object') throw new TypeError('the options have to be an object');
  for (const name of Object.keys(options)) {
    if (!Object.hasOwn(defaults, name)) {
      throw new TypeError(`there is no option ${name}, only ${Object.keys(defaults).join(', ')}`);
    }
  }
  const given = Object.entries(options).filter(([, value]) => value !== undefined);
  return { ...defaults, ...Object.fromEntries(given) };
}

/** A variable's name is sent as it is: these characters would spoil the request. */
export function variableName(value) {
  // eslint-disable-next-line no-control-regex
  if (text('the name of a variable', value) === '' || /["\\\x00-\x1f]/.test(value)) {
    throw new TypeError(
        `${JSON.stringify(value)} cannot be the name of a variable: it is empty, or has a double quote, a backslash ` +
        'or a control character');
  }
  return value;
}

// The options string has no escape for a double quote. A backslash at the end would escape the closing quote on the
// browser's command line.
function quoted(name, value) {
  if (text(name, value) === '' || /["\r\n]|\\$/.test(value)) {
    throw new TypeError(
        `${name} is empty, ends in a backslash, or has a double quote or a line end: ${JSON.stringify(value)}`);
  }
  return `"${value}"`;
}

/** What tells browser and profile, as the library's texts. */
export function target({ browser, profile, userDataDir, profiler, runner }) {
  if (browser !== 'fx' && browser !== 'cr') {
    throw new TypeError(`browser has to be 'fx' for Firefox or 'cr' for Chrome, not ${JSON.stringify(browser)}`);
  }
  if (profile !== undefined && browser !== 'fx') throw new TypeError("profile is Firefox's, Chrome has userDataDir");
  if (userDataDir !== undefined && browser !== 'cr') throw new TypeError("userDataDir is Chrome's, Firefox has profile");
  if (runner && profile === undefined && userDataDir === undefined) {
    throw new TypeError(`a browser that the host starts needs ${browser === 'fx' ? 'profile' : 'userDataDir'}`);
  }
  const words = [];
  if (runner) words.push('-runner');
  if (profile !== undefined) words.push('-fxProfile', quoted('profile', profile));
  if (userDataDir !== undefined) words.push('-crUserDataDir', quoted('userDataDir', userDataDir));
  if (flag('profiler', profiler)) words.push('-profiler');
  return { browser, options: words.join(' ') };
}

/** What a start is given. */
export function startSettings(options) {
  const given = named(options, {
    browser: 'fx',
    profile: undefined,
    userDataDir: undefined,
    path: undefined,
    profiler: false,
    newWindow: false,
    attach: false,
    runner: false,
    timeout: 60_000,
    dll: undefined,
  });
  const attach = flag('attach', given.attach);
  const runner = flag('runner', given.runner);
  if (given.path !== undefined && (attach || runner)) {
    throw new TypeError(`path means nothing with ${attach ? 'attach' : 'runner'}: no browser is launched`);
  }
  if (runner && given.timeout === Infinity) {
    throw new RangeError('timeout has to have an end with runner: it is also the number of attempts');
  }
  return {
    ...target(given),
    runner,
    attach,
    // The library takes an empty text for no program, and launches nothing.
    path: attach ? '' : given.path === undefined ? null : wholePath('path', given.path),
    newWindow: Number(flag('newWindow', given.newWindow)),
    seconds: seconds('timeout', given.timeout),
    dll: given.dll,
  };
}
