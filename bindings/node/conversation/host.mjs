// Has a conversation with the wrapper for Node: bindings/conversation/README.md tells how.
//
//     node host.mjs STEPS KXTCP64.DLL
import { readFileSync, writeSync } from 'node:fs';

import { Browser, KxError } from 'kxtcp64';

const [stepsFile, dll] = process.argv.slice(2);
const ESCAPES = { t: '\t', n: '\n', r: '\r', '\\': '\\' };
const field = (text) => text.replace(/\\(.)/g, (_, letter) => ESCAPES[letter]);
const milliseconds = (seconds) => Number(seconds) * 1000;

let browser;
const steps = {
  async start(path, profile, seconds) {
    browser = await Browser.start({ profile, path, profiler: true, newWindow: true, timeout: milliseconds(seconds), dll });
    return { launched: browser.processId !== 0 };
  },
  async variable(name, value) {
    await browser.setVariable(name, value);
    return {};
  },
  play: (macro, seconds) => browser.play(macro, { timeout: milliseconds(seconds) }),
  async show(message, seconds) {
    await browser.show(message, { timeout: milliseconds(seconds) });
    return {};
  },
  async screenshot(of, path, seconds) {
    await browser.screenshot(path, { of, timeout: milliseconds(seconds) });
    return {};
  },
  async exit(seconds) {
    await browser.exit({ timeout: milliseconds(seconds) });
    return {};
  },
};

async function outcome(step, fields) {
  try {
    return { gives: await steps[step](...fields) };
  } catch (error) {
    if (!(error instanceof KxError)) throw error;
    const { call, result, number, text, left } = error;
    return { fails: { call, result, number, text }, left };
  }
}

// All of it, however little a call takes.
function print(line) {
  const bytes = Buffer.from(line + '\n');
  for (let at = 0; at < bytes.length;) at += writeSync(1, bytes, at);
}

let number = 0;
for (const line of readFileSync(stepsFile, 'utf8').split('\n').filter((each) => each !== '')) {
  const [step, ...fields] = line.split('\t');
  number += 1;
  print(JSON.stringify({ step: number, ...(await outcome(step, fields.map(field))) }));
}
