// The program's output: what happens when it cannot be written.
import { Exit, Mistake } from './mistake.js';

export const outputMistake = (error) => new Mistake(`The output cannot be written: ${error.message}.`, Exit.PROGRAM);

// Nobody reads on, as behind `| head`. On Windows it is EOF.
const isLeft = (error) => error.code === 'EPIPE' || error.code === 'EOF';

/** Ends the program when its output cannot be written any more: with a sentence, or quietly when its reader has left. */
export function watchOutput() {
  process.stdout.on('error', (error) => {
    if (!isLeft(error)) process.stderr.write(`kx-cluster: ${outputMistake(error).message}\n`);
    process.exit(Exit.PROGRAM);
  });
  // A worker whose log nobody reads plays on.
  process.stderr.on('error', () => {});
}
