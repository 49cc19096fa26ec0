// Plays macros in Firefox or Chrome carrying the Korvex extension. index.d.ts has the types and what each does.
export { Browser } from './lib/browser.js';
export { commandLine } from './lib/command_line.js';
export { ErrorNumber, KxError, Result } from './lib/errors.js';
