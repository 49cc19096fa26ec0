// What the report's data say, without a page: counting, sorting, filtering, figures. Every text is data.

export const GOOD = 'ok';

// Outcomes in the order in which they are told, with the name of their colour.
export const OUTCOMES = [
  { name: GOOD, colour: 'good' },
  { name: 'macro failed', colour: 'bad' },
  { name: 'connection failed', colour: 'lost' },
  { name: 'interrupted', colour: 'stopped' },
  { name: 'not played', colour: 'stopped' },
];

export const STEP_KINDS = ['start', 'play', 'message', 'picture', 'close'];

export function colourOf(outcome) {
  return OUTCOMES.find((one) => one.name === outcome)?.colour ?? 'stopped';
}

export function countsOf(runs) {
  return OUTCOMES.map((one) => ({ ...one, count: runs.filter((run) => run.outcome === one.name).length }));
}

// Short ones with more digits: 0.004 s, 0.31 s, 12.5 s, 2 min 05 s.
export function secondsText(seconds) {
  if (seconds >= 120) {
    const whole = Math.round(seconds);
    return `${Math.floor(whole / 60)} min ${String(whole % 60).padStart(2, '0')} s`;
  }
  if (seconds >= 10) return `${seconds.toFixed(1)} s`;
  return seconds >= 0.1 || seconds === 0 ? `${seconds.toFixed(2)} s` : `${seconds.toFixed(3)} s`;
}

export function counted(count, thing) {
  return `${count.toLocaleString('en')} ${thing}${count === 1 ? '' : 's'}`;
}

export function variablesText(variables) {
  return Object.entries(variables).map(([name, value]) => `${name}=${value}`).join(', ');
}

// A performance value as a number; NaN for every other text, the empty one included.
export function numberOf(text) {
  return /^\s*[-+]?(\d+\.?\d*|\.\d+)(e[-+]?\d+)?\s*$/i.test(text) ? Number(text) : NaN;
}

export function statisticsOf(values) {
  const sorted = [...values].sort((one, other) => one - other);
  const at = (share) => sorted[Math.min(sorted.length - 1, Math.max(0, Math.ceil(share * sorted.length) - 1))];
  return { count: sorted.length, least: sorted[0], median: at(0.5), most95: at(0.95), most: sorted.at(-1) };
}

// How long each run has played, in all its attempts; without starts and pictures.
export function playSecondsOf(steps) {
  const seconds = new Map();
  for (const [, run, kind, , begin, end] of steps) {
    if (kind === 'play') seconds.set(run, (seconds.get(run) ?? 0) + end - begin);
  }
  return seconds;
}

// One figure for each name of a performance entry, in the order in which the names come, behind the duration of the
// plays. Points are [run, value]; texts that are no numbers are counted.
export function figuresOf(runs, playSeconds) {
  const figures = new Map();
  const figure = (name, key) => {
    if (!figures.has(key)) figures.set(key, { name, isDuration: key === 'duration', points: [], others: 0 });
    return figures.get(key);
  };
  for (const run of runs) {
    if (playSeconds.has(run.run)) figure('playing', 'duration').points.push([run.run, playSeconds.get(run.run)]);
    for (const entry of run.performance) {
      const own = figure(entry.name, `entry ${entry.name}`);
      const value = numberOf(entry.value);
      if (Number.isNaN(value)) own.others += 1;
      else own.points.push([run.run, value]);
    }
  }
  return [...figures.values()];
}

// A row for each extract. One that holds tabs is a row of a table: each cell has a column of its own.
export function extractRows(runs) {
  const rows = [];
  for (const run of runs) {
    run.extracts.forEach((text, index) => rows.push({ run, number: index + 1, cells: text.split('\t') }));
  }
  return rows;
}

// Failures that are of one kind, the most frequent first.
export function failureGroups(runs) {
  const groups = new Map();
  for (const run of runs) {
    if (run.outcome === GOOD) continue;
    const key = JSON.stringify([run.outcome, run.call, run.result, run.number, run.text, run.failure?.id ?? '']);
    if (!groups.has(key)) groups.set(key, []);
    groups.get(key).push(run);
  }
  return [...groups.values()].sort((one, other) => other.length - one.length || one[0].run - other[0].run);
}

// "kx_Play() gave -1, error number -50: There is no such button, in order.txt"
export function failureText(run) {
  // No call tells of it: nobody was left who could have made one.
  if (run.call === null) return run.text;
  if (run.call === '') {
    return run.outcome === 'not played'
      ? 'No context was left that could play it: a start that failed tells why.'
      : 'It was not begun.';
  }
  const text = run.number !== 0 || run.text !== '' ? `, error number ${run.number}: ${run.text}` : '';
  return `${run.call}() gave ${run.result}${text}${run.macro ? `, in ${run.macro}` : ''}`;
}

const collator = new Intl.Collator(undefined, { numeric: true });

// Numbers by their value and in front of texts, texts as people sort them.
export function compareCells(one, other) {
  const first = typeof one === 'number' ? one : numberOf(one);
  const second = typeof other === 'number' ? other : numberOf(other);
  if (!Number.isNaN(first) && !Number.isNaN(second)) return first - second;
  if (!Number.isNaN(first)) return -1;
  if (!Number.isNaN(second)) return 1;
  return collator.compare(String(one), String(other));
}

// Rows that are equal in the column stay in their order, in both directions.
export function sortedRows(rows, valueOf, isDescending) {
  const keyed = rows.map((row) => ({ row, value: valueOf(row) }));
  keyed.sort((one, other) => compareCells(one.value, other.value) * (isDescending ? -1 : 1));
  return keyed.map((one) => one.row);
}

// Rows that hold every word of the filter, in any column, in capitals or not. Words between double quotes belong
// together.
export function filteredRows(rows, textOf, filter) {
  const words = [...filter.toLowerCase().matchAll(/"([^"]*)"?|(\S+)/g)].map((match) => match[1] ?? match[2]).filter(Boolean);
  if (words.length === 0) return rows;
  return rows.filter((row) => {
    const text = textOf(row).toLowerCase();
    return words.every((word) => text.includes(word));
  });
}

// Round steps for an axis: about so many of them between the two ends.
export function ticksOf(from, to, count) {
  const range = to - from;
  if (!(range > 0)) return [from];
  const rough = range / Math.max(1, count);
  const power = 10 ** Math.floor(Math.log10(rough));
  const step = [1, 2, 5, 10].map((one) => one * power).find((one) => one >= rough);
  const ticks = [];
  for (let index = Math.ceil(from / step); index * step <= to; ++index) ticks.push(Number((index * step).toPrecision(12)));
  return ticks;
}

// The steps of each context, in time.
export function lanesOf(steps) {
  const lanes = new Map();
  for (const [context, run, kind, what, begin, end, isGood] of steps) {
    if (!lanes.has(context)) lanes.set(context, []);
    lanes.get(context).push({ context, run, kind, what, begin, end, isGood: Boolean(isGood) });
  }
  const sorted = [...lanes.entries()].sort((one, other) => one[0] - other[0]);
  return sorted.map(([context, own]) => ({ context, steps: own.sort((one, other) => one.begin - other.begin) }));
}

// The step at a moment, or the nearest one within some seconds of it.
export function stepNear(lane, moment, reach) {
  let nearest = null;
  let distance = reach;
  for (const step of lane.steps) {
    const away = moment < step.begin ? step.begin - moment : Math.max(0, moment - step.end);
    if (away <= distance) {
      nearest = step;
      distance = away;
      if (away === 0) break;
    }
  }
  return nearest;
}

// The parts of a long text that a page can show at once.
export function shortened(text, limit) {
  return text.length <= limit ? text : `${text.slice(0, limit)}\n… ${counted(text.length - limit, 'character')} more`;
}
