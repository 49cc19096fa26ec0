// The catalogue of errors, docs/errors.json of the library: which row tells of a call that failed.
import { readFileSync } from 'node:fs';

const SUCCESS = 1;
const GENERAL_FAILURE = -1;

const rows = JSON.parse(readFileSync(new URL('../errors.json', import.meta.url), 'utf8')).errors;
const patterns = new Map();

// {words} in braces stand for any text.
function fits(pattern, text) {
  if (!patterns.has(pattern)) {
    const parts = pattern.split(/\{[^}]*\}/).map((part) => part.replace(/[.*+?^${}()|[\]\\]/g, '\\$&'));
    patterns.set(pattern, new RegExp(`^${parts.join('.*')}$`, 's'));
  }
  return patterns.get(pattern).test(text);
}

function isNumberOf(rule, number) {
  if (rule === null) return false;
  if (rule === 'windows') return number < 0;
  if (rule === 'extension') return number !== 0 && number !== SUCCESS;
  return [rule].flat().includes(number);
}

function isAbout(row, error) {
  if (!row.export.includes(error.call)) return false;
  if (row.result !== null && row.result !== error.result) return false;
  if (row.number === null && row.text === null) {
    // Only the result tells; general failure tells too little.
    return row.result !== null && row.result !== 0 && row.result !== GENERAL_FAILURE;
  }
  return isNumberOf(row.number, error.number) && row.text !== null && fits(row.text, error.text);
}

/** The first row that fits a KxError, or undefined. */
export const rowOf = (error) => rows.find((row) => isAbout(row, error));

export const rowOfId = (id) => rows.find((row) => row.id === id);
