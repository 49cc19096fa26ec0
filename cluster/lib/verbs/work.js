import fs from 'node:fs';
import process from 'node:process';

import { Exit, Mistake } from '../mistake.js';
import { given, wholeNumber } from '../numbers.js';
import { onOneLine } from '../terminal.js';
import { ClusterWorker } from '../worker.js';

export const summary = 'plays jobs, on a Windows machine, until it is stopped';
export const help = `kx-cluster work [OPTION...]: plays the jobs of a group, on a Windows machine, until Ctrl-C or \`kx-cluster stop\`

  --contexts N           browsers that play at once; 1
  --browser fx|cr        Firefox, the default, or Chrome
  --profile NAME         the Firefox profile; {n} in it is the context's number
  --user-data-dir PATH   Chrome's user data directory; {n} in it is the context's number
  --program PATH         the browser's program, where the library does not find it
  --start-timeout SECS   for the start of a browser; 60
  --jobs-per-browser N   a browser is started afresh after so many jobs
  --browser-memory MB    a browser is started afresh when it, with all that it started, has more
  --shared FOLDER        for pictures and large results: a folder that all machines reach
  --screenshot WHEN      never, failure or always; needs --shared. failure when there is --shared
  --lease SECONDS        a worker that is not heard of for so long has lost its jobs to others; 30
  --name NAME            the worker's name; the machine's and the process id without it
  --verbose              tells of each job; neither macros nor values are written
`;
export const options = {
  contexts: { type: 'string' },
  browser: { type: 'string' },
  profile: { type: 'string' },
  'user-data-dir': { type: 'string' },
  program: { type: 'string' },
  'start-timeout': { type: 'string' },
  'jobs-per-browser': { type: 'string' },
  'browser-memory': { type: 'string' },
  shared: { type: 'string' },
  screenshot: { type: 'string' },
  lease: { type: 'string' },
  name: { type: 'string' },
  verbose: { type: 'boolean' },
};

// Each call that waits for a browser keeps a thread of Node's pool; its size is read when the process starts.
const OTHER_THREADS = 2;

function checkPool(contexts) {
  const threads = Number(process.env.UV_THREADPOOL_SIZE ?? 4);
  if (contexts + OTHER_THREADS > threads) {
    throw new Mistake(`${contexts} contexts need more of Node's threads than there are (${threads}), and would wait for one another. ` +
      `Before the worker: set UV_THREADPOOL_SIZE=${contexts + 4}`);
  }
}

function checkProfiles({ contexts, profile, 'user-data-dir': folder }, browser) {
  if (browser === 'fx' && folder !== undefined) throw new Mistake('--user-data-dir is for Chrome: --browser cr. Firefox has --profile.');
  if (browser === 'cr' && profile !== undefined) throw new Mistake('--profile is for Firefox. Chrome has --user-data-dir.');
  const name = profile ?? folder;
  const option = browser === 'fx' ? '--profile' : '--user-data-dir';
  if (contexts > 1 && !name?.includes('{n}')) {
    throw new Mistake(`Several contexts need profiles of their own: ${option} with {n}, which becomes the context's number, ` +
      `for example ${option} "${browser === 'fx' ? 'shop-{n}' : 'C:\\profiles\\shop-{n}'}".`);
  }
}

function checkShared(folder) {
  try {
    fs.accessSync(folder, fs.constants.W_OK);
    if (!fs.statSync(folder).isDirectory()) throw new Error('it is a file');
  } catch (error) {
    throw new Mistake(`--shared ${folder}: nothing can be written there (${error.code ?? error.message}). It has to be a folder ` +
      'that this worker may write to.');
  }
}

async function library() {
  try {
    return await import('kxtcp64');
  } catch (error) {
    if (error.code !== 'ERR_MODULE_NOT_FOUND') throw new Mistake(`The library cannot be loaded: ${error.message}`, Exit.PROGRAM);
    throw new Mistake('A worker needs the package kxtcp64, with the library: npm install kxtcp64-VERSION.tgz. It is for Windows.',
        Exit.PROGRAM);
  }
}

export async function prepare(values, positionals) {
  if (positionals.length > 0) throw new Mistake(`"${positionals[0]}": work takes options only. --help tells them.`);
  const browser = values.browser ?? 'fx';
  if (browser !== 'fx' && browser !== 'cr') throw new Mistake(`--browser ${browser}: it is fx for Firefox or cr for Chrome.`);
  const contexts = wholeNumber(values, 'contexts', { least: 1, most: 1000 }) ?? 1;
  checkProfiles({ ...values, contexts }, browser);
  checkPool(contexts);
  if (values.shared !== undefined) checkShared(values.shared);
  const screenshot = values.screenshot ?? (values.shared === undefined ? 'never' : 'failure');
  if (!['never', 'failure', 'always'].includes(screenshot)) {
    throw new Mistake(`--screenshot ${screenshot}: it is never, failure or always.`);
  }
  if (screenshot !== 'never' && values.shared === undefined) throw new Mistake('Pictures need a place: --shared FOLDER.');
  const { Browser } = await library();
  const megabytes = wholeNumber(values, 'browser-memory', { least: 1 });
  const sizeOf = megabytes === undefined ? undefined : (await import('../memory.js')).megabytesOf;
  return given({
    contexts,
    start: (start) => Browser.start(start),
    browserOptions: given({
      browser,
      profile: values.profile,
      userDataDir: values['user-data-dir'],
      path: values.program,
      timeout: wholeNumber(values, 'start-timeout', { least: 1, most: 86_400, unit: 1000 }),
    }),
    limits: { jobs: wholeNumber(values, 'jobs-per-browser', { least: 1 }), megabytes, sizeOf },
    shared: values.shared,
    screenshot,
    lease: wholeNumber(values, 'lease', { least: 2, most: 86_400, unit: 1000 }),
    name: values.name,
    isVerbose: values.verbose,
  });
}

export async function run(group, { isVerbose, ...settings }) {
  const tell = (text, kind) => {
    if (kind !== 'job' || isVerbose) process.stderr.write(`${new Date().toISOString()} ${onOneLine(text)}\n`);
  };
  const worker = new ClusterWorker(group, { ...settings, tell });
  let signals = 0;
  const onSignal = () => {
    signals += 1;
    // The first one lets jobs end. After the second one the browsers are closed as the process ends.
    if (signals > 1) process.exit(Exit.INTERRUPTED);
    worker.stop();
  };
  for (const signal of ['SIGINT', 'SIGTERM', 'SIGBREAK']) process.on(signal, onSignal);
  tell(`worker ${worker.settings.name}: group ${group.name}, ${worker.settings.contexts} context${worker.settings.contexts === 1 ? '' : 's'}`);
  await worker.run();
  return signals > 0 ? Exit.INTERRUPTED : Exit.OK;
}
