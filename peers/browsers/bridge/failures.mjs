// The error numbers that a reply can carry. Hosts see them as the context's last error number; MACROS.md lists them.
// Numbers from -1 to -9 are left to the library's own failures.
export const kSuccess = 1;
export const kFailed = -10; // fail("text") without a number
export const kMacroSyntax = -11;
export const kMacroError = -12;
export const kPageError = -13;
export const kTimedOut = -14;
export const kNoSuchElement = -15;
export const kNavigationFailed = -16;
export const kCannotWrite = -17;
export const kBadRequest = -18;
export const kBrowserError = -19;

export class Failure extends Error {
  constructor(number, text) {
    super(text);
    this.name = 'Failure';
    this.number = number;
  }
}

export function asFailure(error, number) {
  if (error instanceof Failure) {
    return error;
  }
  // Some browsers append where in themselves the error came up.
  const [text] = String(error?.message ?? error).split('\n');
  return new Failure(number, text);
}
