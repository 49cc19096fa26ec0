// What a user can put right: a sentence that says what was wrong, where, and what would be right.

/** The exit codes are those of kx.exe. */
export const Exit = Object.freeze({ OK: 0, FAILED: 1, USE: 2, CONNECTION: 3, PROGRAM: 4, INTERRUPTED: 130 });

export class Mistake extends Error {
  constructor(sentence, exitCode = Exit.USE) {
    super(sentence);
    this.name = 'Mistake';
    this.exitCode = exitCode;
  }
}
