// Workers as they run on Windows: Node for Windows, the library, and its simulator as the browser. On Linux under Wine.
import fs from 'node:fs';
import path from 'node:path';

import { app, scratch, start } from './programs.mjs';

const { KX_WINDOWS_NODE, KX_SIMULATOR } = process.env;

/** How this system runs Node for Windows; null where it cannot. */
export const windowsNode = KX_WINDOWS_NODE ? JSON.parse(KX_WINDOWS_NODE) : null;
export const windowsPath = (file) => (process.platform === 'win32' ? file : `Z:${file.replaceAll('/', '\\')}`);

/**
 * Starts `kx-cluster work`. The script is the simulator's; its events stand in the folder's events.log, therefore `log()` tells
 * what its browsers have seen.
 */
export function windowsWorker(name, { redis, script = '', contexts = 1, lease = 2, options = [], before = [], env = {}, program, profile = `${path.basename(scratch)}-${name}-{n}` } = {}) {
  const folder = path.join(scratch, name);
  fs.mkdirSync(folder, { recursive: true });
  // A browser whose worker was killed ends soon.
  fs.writeFileSync(path.join(folder, 'script'), `idle-limit 20\n${script}\n`);
  const child = start([
    windowsPath(path.join(app, 'node_modules/kx-cluster/bin/kx-cluster.js')), 'work', '--redis', redis, '--name', name,
    '--contexts', String(contexts), ...(profile === null ? [] : ['--profile', profile]),
    '--program', program ?? windowsPath(KX_SIMULATOR), '--lease', String(lease), '--verbose', ...options,
  ], {
    node: [...before, ...windowsNode],
    folder,
    env: {
      NODE_SKIP_PLATFORM_CHECK: '1', // Node would refuse Wine's version of Windows
      UV_THREADPOOL_SIZE: String(contexts + 4),
      KXSIM_SCRIPT: windowsPath(path.join(folder, 'script')),
      KXSIM_RECORD: windowsPath(folder),
      ...env,
    },
  });
  const events = path.join(folder, 'events.log');
  child.log = () => (fs.existsSync(events) ? fs.readFileSync(events, 'utf8') : '');
  return child;
}
