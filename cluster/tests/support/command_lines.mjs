// Runs many command lines in one process, for each start of Node costs as much as all of them: a JSON list of
// { args, env } in, a list of { code, out, err } out.
import fs from 'node:fs';

import { main } from '../../node_modules/kx-cluster/lib/main.js';

const [from, to] = process.argv.slice(2);
const results = [];
const real = { out: process.stdout.write, err: process.stderr.write };
for (const { args, env = {} } of JSON.parse(fs.readFileSync(from, 'utf8'))) {
  const texts = { out: '', err: '' };
  process.stdout.write = (text) => (texts.out += text) !== undefined;
  process.stderr.write = (text) => (texts.err += text) !== undefined;
  Object.assign(process.env, env);
  const code = await main(args);
  for (const name of Object.keys(env)) delete process.env[name];
  results.push({ code, ...texts });
}
process.stdout.write = real.out;
process.stderr.write = real.err;
fs.writeFileSync(to, JSON.stringify(results));
