/* global uPlot */
import { counted, figuresOf, playSecondsOf, secondsText, statisticsOf } from './model.js';
import { colour, element, isOnPaper, PAPER_WIDTH } from './dom.js';

const HEIGHT = 180;
const MOST_CHARTS = 24;

function valueText(value) {
  return Number(value.toPrecision(4)).toString();
}

// A figure over the runs: a line for a value of each run, with the runs that a click opens.
class Chart {
  constructor(figure, onOpen) {
    this.figure = figure;
    this.onOpen = onOpen;
    this.place = element('div', { class: 'plot', role: 'img', 'aria-label': `${figure.name} over the runs; the table below has the figures` });
    this.element = element('figure', {}, element('figcaption', {}, figure.name), this.place);
    new ResizeObserver(() => this.resize()).observe(this.place);
  }

  width() {
    return isOnPaper() ? PAPER_WIDTH / 2 - 30 : this.place.clientWidth;
  }

  resize() {
    const width = this.width();
    if (width <= 0 || width === this.plot?.width) return;
    if (this.plot) this.plot.setSize({ width, height: HEIGHT });
    else this.draw();
  }

  draw() {
    const width = this.width();
    if (width <= 0) return;
    this.plot?.destroy();
    const axis = { stroke: colour('faint'), grid: { stroke: colour('line'), width: 1 }, ticks: { stroke: colour('line'), width: 1 } };
    const { points, name, isDuration } = this.figure;
    this.plot = new uPlot({
      width, height: HEIGHT,
      scales: { x: { time: false, range: (plot, from, to) => [from - 0.5, to + 0.5] }, y: { range: (plot, from, to) => [Math.min(0, from), Math.max(to, 0) * 1.08 || 1] } },
      axes: [{ ...axis, incrs: [1, 2, 5, 10, 20, 50, 100, 200, 500, 1000, 2000, 5000, 10000, 20000, 50000], size: 34 }, { ...axis, size: 56 }],
      series: [{ label: 'run' }, {
        label: name, stroke: colour('play'), width: 1.5, points: { show: points.length <= 400, size: 5, fill: colour('play') },
        value: (plot, value) => (value === null || value === undefined ? '–' : isDuration ? secondsText(value) : valueText(value)),
      }],
      cursor: { drag: { x: true, y: false } },
      hooks: {
        ready: [(plot) => plot.over.addEventListener('click', () => {
          const index = plot.cursor.idx;
          if (index !== null && index !== undefined && plot.select.width === 0) this.onOpen(points[index][0]);
        })],
      },
    }, [points.map((point) => point[0]), points.map((point) => point[1])], this.place);
  }
}

// A value for each figure of one run, as bars of one scale for those that are times of the run.
function barsOf(figures) {
  const shown = figures.filter((figure) => figure.points.length > 0);
  const most = Math.max(...shown.flatMap((figure) => figure.points.map((point) => point[1])), 0);
  return element('table', { class: 'bars', 'aria-label': 'Performance' },
    element('tbody', {}, shown.flatMap((figure) => figure.points.map(([, value]) => {
      const bar = element('div', { class: 'bar' });
      bar.style.width = `${most > 0 ? Math.max(0, value / most) * 100 : 0}%`;
      return element('tr', {}, element('th', { scope: 'row' }, figure.name),
        element('td', { class: 'number' }, figure.isDuration ? secondsText(value) : valueText(value)),
        element('td', { class: 'room' }, bar));
    }))));
}

function statisticsTable(figures, onOpen) {
  const titles = ['', 'values', 'least', 'median', '95 % up to', 'most', 'most in run'];
  const rows = figures.filter((figure) => figure.points.length > 0).map((figure) => {
    const statistics = statisticsOf(figure.points.map((point) => point[1]));
    const run = figure.points.find((point) => point[1] === statistics.most)[0];
    const text = figure.isDuration ? secondsText : valueText;
    return element('tr', {}, element('th', { scope: 'row' }, figure.name),
      element('td', { class: 'number' }, statistics.count.toLocaleString('en')),
      ['least', 'median', 'most95', 'most'].map((name) => element('td', { class: 'number' }, text(statistics[name]))),
      element('td', { class: 'number' }, element('button', { type: 'button', class: 'link', onclick: () => onOpen(run) }, String(run))));
  });
  return element('div', { class: 'wide' }, element('table', { class: 'statistics' },
    element('thead', {}, element('tr', {}, titles.map((title) => element('th', { scope: 'col' }, title)))),
    element('tbody', {}, rows)));
}

// Charts of all figures, and what they say as a table.
export class Charts {
  constructor(runs, steps, onOpen) {
    const figures = figuresOf(runs, playSecondsOf(steps));
    this.charts = [];
    this.element = element('div', { class: 'performance' });
    if (runs.length === 1) {
      this.element.append(barsOf(figures));
    } else {
      const drawn = figures.filter((figure) => figure.points.length > 1);
      this.charts = drawn.slice(0, MOST_CHARTS).map((figure) => new Chart(figure, onOpen));
      this.element.append(element('div', { class: 'charts' }, this.charts.map((chart) => chart.element)));
      if (drawn.length > MOST_CHARTS) {
        this.element.append(element('p', { class: 'note' }, `Charts of the first ${MOST_CHARTS} of ${counted(drawn.length, 'figure')}; the table has all.`));
      }
      this.element.append(statisticsTable(figures, onOpen));
    }
    const others = figures.filter((figure) => figure.others > 0);
    if (others.length > 0) {
      this.element.append(element('p', { class: 'note' }, 'Values that are no numbers are in no chart: ' +
        others.map((figure) => `${figure.name} (${figure.others.toLocaleString('en')})`).join(', ') + '.'));
    }
  }

  draw() {
    for (const chart of this.charts) chart.draw();
  }
}
