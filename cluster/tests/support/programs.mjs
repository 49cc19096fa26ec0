// Command lines of kx-cluster, run as a user runs them.
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

export const app = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');
export const scratch = process.env.KX_SCRATCH ?? fs.mkdtempSync(path.join(os.tmpdir(), 'kx-cluster-'));
export const program = path.join(app, 'node_modules/kx-cluster/bin/kx-cluster.js');

/**
 * Starts node with these arguments; `ended` gives { code, signal, out, err }. Output goes to files, for Node under Wine knows no
 * pipes of Linux.
 */
export function start(args, { env = {}, input = 'ignore', node = [process.execPath], folder = fs.mkdtempSync(path.join(scratch, 'run-')) } = {}) {
  const files = ['out', 'err'].map((name) => path.join(folder, name));
  const handles = files.map((file) => fs.openSync(file, 'a'));
  const child = spawn(node[0], [...node.slice(1), ...args], { env: { ...process.env, ...env }, stdio: [input, ...handles] });
  handles.forEach((handle) => fs.closeSync(handle));
  child.out = () => fs.readFileSync(files[0], 'utf8').replaceAll('\r', '');
  child.err = () => fs.readFileSync(files[1], 'utf8').replaceAll('\r', '');
  child.ended = once(child, 'close').then(([code, signal]) => ({ code, signal, out: child.out(), err: child.err() }));
  return child;
}

export const startKxCluster = (args, options) => start([program, ...args], options);

/** Runs kx-cluster to its end. */
export const kxCluster = (args, options) => startKxCluster(args, options).ended;

/** Runs several command lines of kx-cluster, one after the other, in one process. */
export async function kxClusters(lines) {
  const folder = fs.mkdtempSync(path.join(scratch, 'lines-'));
  const [from, to] = ['from.json', 'to.json'].map((name) => path.join(folder, name));
  fs.writeFileSync(from, JSON.stringify(lines));
  const { code, err } = await start([path.join(app, 'tests/support/command_lines.mjs'), from, to]).ended;
  if (code !== 0) throw new Error(`the command lines did not come to their end: ${err}`);
  return JSON.parse(fs.readFileSync(to, 'utf8'));
}

/** Waits until `look` gives something true, and gives that. */
export async function until(what, look, { every = 50 } = {}) {
  for (;;) {
    const found = await look();
    if (found) return found;
    await new Promise((resolve) => setTimeout(resolve, every));
  }
}
