import { colourOf, counted, countsOf, extractRows, failureGroups, GOOD, secondsText, variablesText } from './model.js';
import { badge, element, facts } from './dom.js';
import { Charts } from './charts.js';
import { DataTable } from './table.js';
import { failureFacts, logList, pictureOf, RunDialog, runDetails } from './details.js';
import { Timeline } from './timeline.js';

const MOST_GROUPS = 50;
const MOST_LINKS = 30;
const PICTURES_AT_ONCE = 12;
const MOST_VARIABLES = 12;
const MOST_CELLS = 24;

function data(id) {
  return JSON.parse(document.getElementById(`data-${id}`).textContent);
}

const about = data('about');
const runs = data('runs');
const { steps, whats } = data('steps');
const page = document.querySelector('main');
const tables = [];
const drawn = [];
const dialog = new RunDialog(runs, about.log.isThere);
const open = (number) => dialog.open(number);

function section(id, title, ...content) {
  page.append(element('section', { id, 'aria-labelledby': `${id}-title` }, element('h2', { id: `${id}-title` }, title), ...content));
  document.querySelector('nav').append(element('a', { href: `#${id}` }, title));
}

function addTable(table) {
  tables.push(table);
  return table.element;
}

function runLink(run) {
  return element('button', { type: 'button', class: 'link', onclick: () => open(run.run) }, String(run.run));
}

function addSummary() {
  const tiles = countsOf(runs).filter((one) => one.count > 0 || one.name === GOOD);
  document.querySelector('#when').textContent =
    `${new Date(about.started).toLocaleString(undefined, { dateStyle: 'medium', timeStyle: 'medium' })}, ` +
    `${counted(runs.length, 'run')} in ${counted(about.contexts.length, 'context')}, ${secondsText(about.seconds)}`;
  document.querySelector('#tiles').append(...tiles.map((one) => element('li', { class: one.count > 0 ? one.colour : '' },
    element('b', {}, one.count.toLocaleString('en')), ` ${one.name}`)));
  const failed = runs.filter((run) => run.outcome !== GOOD).length;
  document.title = `${failed === 0 ? 'ok' : `${failed.toLocaleString('en')} of ${runs.length.toLocaleString('en')} not ok`} – kx report`;
  for (const note of about.notes) page.append(element('p', { class: 'banner' }, note));
}

function addFailures() {
  const groups = failureGroups(runs);
  if (groups.length === 0) return;
  section('failures', 'What went wrong', groups.slice(0, MOST_GROUPS).map((group) => element('article', { class: 'failure' },
    element('p', {}, badge(group[0].outcome, colourOf(group[0].outcome)), ` ${counted(group.length, 'run')}: `,
      group.slice(0, MOST_LINKS).flatMap((run) => [runLink(run), ' ']), group.length > MOST_LINKS ? '…' : ''),
    failureFacts(group[0]))),
  groups.length > MOST_GROUPS ? element('p', { class: 'note' }, `${counted(groups.length - MOST_GROUPS, 'other kind')}: see the table of runs.`) : null);
}

function addTimeline() {
  if (steps.length === 0) return;
  const timeline = new Timeline({ steps, whats, seconds: about.seconds, onOpen: open });
  drawn.push(timeline);
  section('times', 'Time line', timeline.element);
}

function addPerformance() {
  if (steps.every((step) => step[2] !== 'play')) return;
  const charts = new Charts(runs, steps, open);
  drawn.push(charts);
  section('performance', 'Performance', charts.element);
}

function addRuns() {
  if (runs.length === 1) {
    section('run', 'The run', runDetails(runs[0], about.log.isThere));
    return;
  }
  const names = [...new Set(runs.flatMap((run) => Object.keys(run.variables)))].slice(0, MOST_VARIABLES);
  const columns = [
    { title: 'Run', isNumber: true, value: (run) => run.run },
    { title: 'Outcome', value: (run) => run.outcome, cell: (run) => badge(run.outcome, colourOf(run.outcome)) },
    { title: 'Seconds', isNumber: true, value: (run) => run.seconds.toFixed(3) },
    { title: 'Began', isNumber: true, value: (run) => run.began.toFixed(2) },
    { title: 'Context', isNumber: true, value: (run) => run.context },
    { title: 'Attempts', isNumber: true, value: (run) => run.attempts },
    { title: 'Number', isNumber: true, value: (run) => run.number },
    { title: 'Text', value: (run) => run.text },
    ...names.map((name) => ({ title: name, value: (run) => run.variables[name] ?? '' })),
  ];
  section('runs', 'Runs', addTable(new DataTable({
    label: 'runs', columns, rows: runs, onOpen: (run) => open(run.run),
    choices: [{ title: 'all outcomes', holds: () => true }, ...countsOf(runs).filter((one) => one.count > 0)
      .map((one) => ({ title: one.name, holds: (run) => run.outcome === one.name }))],
  })));
}

function addExtracts() {
  const rows = extractRows(runs);
  if (rows.length === 0) return;
  const cells = Math.min(MOST_CELLS, rows.reduce((most, row) => Math.max(most, row.cells.length), 1));
  const cellText = (row, index) => (index === MOST_CELLS - 1 ? row.cells.slice(index).join('\t') : row.cells[index] ?? '');
  const columns = [
    { title: 'Run', isNumber: true, value: (row) => row.run.run },
    { title: 'No.', isNumber: true, value: (row) => row.number },
    ...Array.from({ length: cells }, (unused, index) => ({
      title: cells === 1 ? 'Extract' : `Extract, cell ${index + 1}`, value: (row) => cellText(row, index),
    })),
  ];
  section('extracts', 'Extracts', addTable(new DataTable({
    label: 'extracts', columns, rows, onOpen: (row) => open(row.run.run),
  })));
}

function addPictures() {
  if (runs.length === 1) return;
  const withPicture = runs.filter((run) => document.querySelector(`script[data-picture="${run.run}"]`));
  if (withPicture.length === 0) return;
  const gallery = element('div', { class: 'gallery' });
  const more = element('button', { type: 'button', onclick: () => show() }, 'More pictures');
  const show = () => {
    const from = gallery.children.length;
    gallery.append(...withPicture.slice(from, from + PICTURES_AT_ONCE).map((run) => element('figure', {},
      element('button', { type: 'button', title: `Open run ${run.run}`, onclick: () => open(run.run) }, pictureOf(run)),
      element('figcaption', {}, `Run ${run.run} `, element('span', { class: 'faint' }, variablesText(run.variables))))));
    more.hidden = gallery.children.length === withPicture.length;
  };
  show();
  section('pictures', 'Pictures', gallery, more);
}

function addWhere() {
  // Another program that writes this page says it in its own words.
  section('where', 'What was run where', facts(about.facts ?? [
    ['Command line', element('code', {}, about.command)],
    ['In the folder', about.folder],
    ['kx', about.versions.kx],
    ['KXTCP64.dll', `${about.versions.library}, ${about.libraryPath}`],
    ['System', `${about.system}, ${counted(about.processors, 'processor')}`],
    ['Browser', `${about.browser.type === 'fx' ? 'Firefox' : 'Chrome'}, ${about.browser.how}`],
    ['Time-out', about.browser.timeout === 0 ? 'none' : `${about.browser.timeout} s for each wait`],
    ['Log', about.log.text],
  ]),
  about.launches.length > 0 ? element('details', {}, element('summary', {}, `Command lines of the browsers (${about.launches.length})`),
    about.launches.map((line) => element('pre', { class: 'text' }, line))) : null,
  about.macros.map((macro) => element('details', {}, element('summary', {}, `Macro: ${macro.name}`), element('pre', { class: 'text' }, macro.text))),
  about.contexts.filter((context) => context.closing.length > 0).map((context) => element('details', {},
    element('summary', {}, `Log of closing the browser of context ${context.number}`), logList(context.closing))));
}

function redraw() {
  for (const one of drawn) one.draw();
}

addSummary();
addFailures();
addTimeline();
addPerformance();
addRuns();
addExtracts();
addPictures();
addWhere();
document.body.append(dialog.element);
redraw();
matchMedia('(prefers-color-scheme: dark)').addEventListener('change', redraw);

function print(isBegun) {
  document.documentElement.toggleAttribute('data-on-paper', isBegun);
  for (const table of tables) table.onPaper(isBegun);
  redraw();
}
addEventListener('beforeprint', () => print(true));
addEventListener('afterprint', () => print(false));
document.documentElement.setAttribute('data-ready', '');
