import { colourOf, counted, failureText, GOOD, secondsText, shortened } from './model.js';
import { badge, element, facts } from './dom.js';

const MOST_EXTRACTS = 1000;
const LONGEST_TEXT = 100000;

function prose(text) {
  return element('pre', { class: 'text' }, shortened(text, LONGEST_TEXT));
}

// The JSON that a browser calls profiler data, made readable; any other text as it is.
function readable(text) {
  try {
    return JSON.stringify(JSON.parse(text), null, 2);
  } catch {
    return text;
  }
}

// The picture's bytes wait in a block of their own, as text.
export function pictureOf(run) {
  const block = document.querySelector(`script[data-picture="${run.run}"]`);
  return block && element('img', {
    src: `data:image/png;base64,${block.textContent.trim()}`, alt: `The browser after run ${run.run}`,
  });
}

function logStep(step) {
  const isBad = step.kind === 'ERROR';
  return element('li', { class: isBad ? 'bad' : '' },
    element('span', { class: 'line' }, String(step.line)), element('span', { class: 'kind' }, step.kind),
    element('div', {}, element('span', {}, step.text),
      step.request ? element('pre', {}, shortened(step.request, 4000)) : null,
      step.error ? element('p', { class: 'note' }, `${step.error.cause} ${step.error.remedy}`) : null));
}

export function logList(steps) {
  return element('ol', { class: 'log' }, steps.map(logStep));
}

function part(title, ...content) {
  return element('section', {}, element('h3', {}, title), ...content);
}

export function failureFacts(run) {
  return facts([
    ['What', failureText(run)],
    run.failure && ['Why', run.failure.cause],
    run.failure && ['What to do', run.failure.remedy],
    run.failure && ['See', `${run.failure.page} (${run.failure.id})`],
  ]);
}

// All that is known of one run.
export function runDetails(run, isLogThere) {
  const made = element('div', { class: 'details' });
  made.append(element('p', { class: 'lead' }, badge(run.outcome, colourOf(run.outcome)),
    run.attempts > 0 ? ` ${secondsText(run.seconds)}, from ${run.began.toFixed(2)} s on, in context ${run.context}` : '',
    run.profile ? `, profile ${run.profile}` : '', run.attempts > 1 ? `, at attempt ${run.attempts}` : '',
    run.outcome === GOOD && run.text !== '' ? ` – ${run.text}` : ''));
  if (run.outcome !== GOOD) made.append(failureFacts(run));
  const variables = Object.entries(run.variables);
  if (variables.length > 0) made.append(part('Variables', facts(variables)));
  if (run.extracts.length > 0) {
    made.append(part('Extracts', element('ol', { class: 'extracts' }, run.extracts.slice(0, MOST_EXTRACTS).map((text) => element('li', {}, prose(text))))));
    if (run.extracts.length > MOST_EXTRACTS) {
      made.append(element('p', { class: 'note' }, `The first ${MOST_EXTRACTS.toLocaleString('en')} of ${counted(run.extracts.length, 'extract')}; the table of extracts has all.`));
    }
  }
  if (run.performance.length > 0) made.append(part('Performance', facts(run.performance.map((entry) => [entry.name, entry.value]))));
  if (run.screenshot) {
    made.append(part('Picture', pictureOf(run) ?? element('p', { class: 'note' }, 'It is not in this page.'), element('p', { class: 'note' }, run.screenshot)));
  }
  if (run.profiler) made.append(part('Profiler data', prose(readable(run.profiler))));
  if (isLogThere) {
    made.append(part('Log', run.log.length > 0 ? logList(run.log) : element('p', { class: 'note' }, 'No entries of this run.'),
      run.logLeftOut > 0 ? element('p', { class: 'note' }, `${counted(run.logLeftOut, 'step')} in the middle left out.`) : null));
  }
  return made;
}

// One run in front of the page, with the way to its neighbours.
export class RunDialog {
  constructor(runs, isLogThere) {
    this.runs = runs;
    this.isLogThere = isLogThere;
    this.title = element('h2', { tabindex: -1 });
    this.content = element('div', { class: 'content' });
    this.back = element('button', { type: 'button', onclick: () => this.go(-1) }, '‹ before');
    this.on = element('button', { type: 'button', onclick: () => this.go(1) }, 'next ›');
    this.element = element('dialog', {
      'aria-label': 'A run', onkeydown: (event) => this.press(event),
      onclick: (event) => { if (event.target === this.element) this.element.close(); },
    }, element('header', {}, this.title, this.back, this.on,
      element('button', { type: 'button', onclick: () => this.element.close() }, 'Close')), this.content);
  }

  open(number) {
    this.index = this.runs.findIndex((run) => run.run === number);
    const run = this.runs[this.index];
    this.title.textContent = `Run ${run.run}`;
    this.content.replaceChildren(runDetails(run, this.isLogThere));
    this.content.scrollTop = 0;
    this.back.disabled = this.index === 0;
    this.on.disabled = this.index === this.runs.length - 1;
    if (!this.element.open) this.element.showModal();
    this.title.focus();
  }

  go(direction) {
    const run = this.runs[this.index + direction];
    if (run) this.open(run.run);
  }

  press(event) {
    if (event.key === 'ArrowLeft') this.go(-1);
    if (event.key === 'ArrowRight') this.go(1);
  }
}
