// The shared folder: pictures, and results that are too large for Redis. Every name has the attempt in it, therefore no
// attempt writes over what another one has left.
import fs from 'node:fs';
import path from 'node:path';

import { Mistake } from './mistake.js';

const LARGEST_RECORD = 64 * 1024;

const nameOf = (record, job, ending) => path.join(job.data.batch, `${job.id}-${record.attempt}.${ending}`);

/** The path where a picture of this attempt belongs, below the folder, and whole. */
export function pictureOf(folder, record, job) {
  const name = nameOf(record, job, 'png');
  const whole = path.join(folder, name);
  fs.mkdirSync(path.dirname(whole), { recursive: true });
  return { name: name.replaceAll('\\', '/'), whole };
}

/** The record as it goes into Redis; null when it is too large and there is no folder for it. */
export function fitted(record, job, folder, largest = LARGEST_RECORD) {
  if (Buffer.byteLength(JSON.stringify(record)) <= largest) return record;
  if (folder === undefined) return null;
  const name = nameOf(record, job, 'json');
  const whole = path.join(folder, name);
  fs.mkdirSync(path.dirname(whole), { recursive: true });
  // Complete, or not there: whoever reads it never sees a half.
  try {
    fs.writeFileSync(`${whole}.part`, JSON.stringify(record));
    fs.renameSync(`${whole}.part`, whole);
  } catch (error) {
    fs.rmSync(`${whole}.part`, { force: true });
    throw error;
  }
  return {
    ...record,
    text: record.text.slice(0, 1000),
    extracts: null,
    extractCount: record.extracts.length,
    performance: null,
    profiler: null,
    file: name.replaceAll('\\', '/'),
  };
}

/** The whole record again. `folder` is the shared one, as the reader sees it. */
export function unfitted(record, folder) {
  if (record.file === null || folder === undefined) return record;
  const name = path.join(folder, record.file);
  try {
    return { ...JSON.parse(fs.readFileSync(name, 'utf8')), file: record.file };
  } catch (error) {
    throw new Mistake(`The result ${name} cannot be read: ${error.message}. --shared names the folder that the workers have; without it ` +
      'large results are left out.');
  }
}
