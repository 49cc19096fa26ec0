// What the page makes of its data, without a page.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import * as model from '../model.js';

function run(number, more = {}) {
  return {
    run: number, outcome: 'ok', call: 'kx_Play', result: 0, number: 1, text: 'OK', seconds: 0.5, attempts: 1,
    variables: {}, extracts: [], performance: [], ...more,
  };
}

const failed = (number, text = 'There is no such button') => run(number, {
  outcome: 'macro failed', result: -1, number: -50, text, macro: 'order.txt', failure: { id: 'macro-failed' },
});

test('seconds are told with as many digits as they deserve', () => {
  assert.deepEqual([0, 0.0042, 0.31, 9.999, 12.34, 119.9, 125.4].map(model.secondsText),
    ['0.00 s', '0.004 s', '0.31 s', '10.00 s', '12.3 s', '119.9 s', '2 min 05 s']);
});

test('only texts that are numbers as a whole are numbers', () => {
  assert.deepEqual(['0.31', ' -2 ', '1e3', '.5', '', 'warm', '1 s', '0x10', 'Infinity'].map(model.numberOf),
    [0.31, -2, 1000, 0.5, NaN, NaN, NaN, NaN, NaN]);
});

test('plays of one run are added up, and nothing else is', () => {
  const steps = [[1, 7, 'start', 0, 0, 2, 1], [1, 7, 'play', 1, 2, 3, 0], [1, 7, 'play', 1, 5, 5.5, 1], [1, 7, 'picture', 2, 5.5, 6, 1]];
  assert.deepEqual([...model.playSecondsOf(steps)], [[7, 1.5]]);
});

test('figures are the plays themselves, then each name of an entry', () => {
  const figures = model.figuresOf([
    run(1, { performance: [{ name: 'load', value: '0.2' }, { name: 'state', value: 'warm' }] }),
    run(2, { attempts: 0 }),
    run(3, { performance: [{ name: 'load', value: '0.4' }] }),
  ], new Map([[1, 0.5], [3, 2]]));
  assert.deepEqual(figures, [
    { name: 'playing', isDuration: true, points: [[1, 0.5], [3, 2]], others: 0 },
    { name: 'load', isDuration: false, points: [[1, 0.2], [3, 0.4]], others: 0 },
    { name: 'state', isDuration: false, points: [], others: 1 },
  ]);
});

test('an entry may be called what the duration is called, or what objects are made of', () => {
  const figures = model.figuresOf(
    [run(1, { performance: [{ name: 'playing', value: '1' }, { name: '__proto__', value: '2' }] })], new Map([[1, 0.5]]));
  assert.deepEqual(figures.map((figure) => [figure.name, figure.points]),
    [['playing', [[1, 0.5]]], ['playing', [[1, 1]]], ['__proto__', [[1, 2]]]]);
});

test('statistics take a value that was measured', () => {
  assert.deepEqual(model.statisticsOf([4, 1, 3, 2]), { count: 4, least: 1, median: 2, most95: 4, most: 4 });
  const many = Array.from({ length: 100 }, (unused, index) => index + 1);
  assert.equal(model.statisticsOf(many).most95, 95);
});

test('a row of a table that was extracted has its cells apart', () => {
  const rows = model.extractRows([run(1, { extracts: ['one', 'a\tb\tc'] }), run(2, { extracts: [''] })]);
  assert.deepEqual(rows.map((row) => [row.run.run, row.number, row.cells]),
    [[1, 1, ['one']], [1, 2, ['a', 'b', 'c']], [2, 1, ['']]]);
});

test('failures of one kind stand together, the most frequent first', () => {
  const groups = model.failureGroups([failed(1, 'rare'), run(2), failed(3), failed(4)]);
  assert.deepEqual(groups.map((group) => group.map((one) => one.run)), [[3, 4], [1]]);
});

test('a failure is told with call, number, text and macro', () => {
  assert.equal(model.failureText(failed(1)), 'kx_Play() gave -1, error number -50: There is no such button, in order.txt');
  assert.match(model.failureText(run(1, { call: '', outcome: 'not played' })), /^No context was left/);
});

test('numbers sort by their value, in front of texts, and texts as people sort them', () => {
  const sorted = model.sortedRows(['b', '10', 'run 10', '9', 'run 9', '-1', 'Ä', 'a'], (text) => text, false);
  assert.deepEqual(sorted, ['-1', '9', '10', 'a', 'Ä', 'b', 'run 9', 'run 10']);
});

test('equal rows stay in their order in both directions', () => {
  const rows = [['x', 1], ['y', 2], ['x', 3]];
  assert.deepEqual(model.sortedRows(rows, (row) => row[0], false).map((row) => row[1]), [1, 3, 2]);
  assert.deepEqual(model.sortedRows(rows, (row) => row[0], true).map((row) => row[1]), [2, 1, 3]);
});

test('a filter wants all words, and what stands between quotes as a whole', () => {
  const rows = ['Oslo by night', 'night in OSLO', 'Rome'];
  const filtered = (filter) => model.filteredRows(rows, (text) => text, filter);
  assert.deepEqual(filtered('oslo night'), rows.slice(0, 2));
  assert.deepEqual(filtered('"by night'), rows.slice(0, 1));
  assert.deepEqual(filtered(' '), rows);
  assert.deepEqual(filtered('.*'), []);
});

test('an axis has round steps inside its range', () => {
  assert.deepEqual(model.ticksOf(0, 10, 5), [0, 2, 4, 6, 8, 10]);
  assert.deepEqual(model.ticksOf(0.13, 0.29, 4), [0.15, 0.2, 0.25]);
  assert.deepEqual(model.ticksOf(3, 3, 4), [3]);
});

test('lanes are the contexts in order, with their steps in time', () => {
  const lanes = model.lanesOf([[2, 1, 'play', 0, 1, 2, 1], [1, 0, 'close', 1, 3, 4, 1], [1, 2, 'play', 0, 0, 3, 0]]);
  assert.deepEqual(lanes.map((lane) => [lane.context, lane.steps.map((step) => step.kind)]), [[1, ['play', 'close']], [2, ['play']]]);
  assert.equal(lanes[0].steps[0].isGood, false);
});

test('the step at a moment is found, and a near one within reach', () => {
  const [lane] = model.lanesOf([[1, 1, 'play', 0, 0, 1, 1], [1, 2, 'play', 0, 5, 6, 1]]);
  assert.equal(model.stepNear(lane, 0.5, 0).run, 1);
  assert.equal(model.stepNear(lane, 4.8, 0.5).run, 2);
  assert.equal(model.stepNear(lane, 3, 0.5), null);
});

test('what a long text leaves out is told', () => {
  assert.equal(model.shortened('abc', 3), 'abc');
  assert.equal(model.shortened('abcde', 3), 'abc\n… 2 characters more');
});
