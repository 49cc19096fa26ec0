import { lanesOf, secondsText, STEP_KINDS, stepNear, ticksOf } from './model.js';
import { colour, element, isOnPaper, PAPER_WIDTH } from './dom.js';

const LANE = 26;
const BAR = 16;
const AXIS = 22;
const LABEL = 44;
const CLOSEST = 0.002; // seconds in view

const TITLES = { start: 'start', play: 'play', message: 'message', picture: 'picture', close: 'close' };

// What each context did when, side by side. The mouse points, drags and turns; keys do the same: left and right go from
// step to step, up and down from context to context, + and - show less and more, Enter opens the run.
export class Timeline {
  constructor({ steps, whats, seconds, onOpen }) {
    this.lanes = lanesOf(steps);
    this.whats = whats;
    this.end = Math.max(seconds, ...this.lanes.map((lane) => lane.steps.at(-1).end), CLOSEST);
    this.onOpen = onOpen;
    this.view = [0, this.end];
    this.chosen = null;
    const kinds = STEP_KINDS.filter((kind) => this.lanes.some((lane) => lane.steps.some((step) => step.kind === kind)));
    this.canvas = element('canvas', {
      tabindex: 0, role: 'application', 'aria-label': 'Time line. Arrow keys go from step to step, plus and minus zoom, Enter opens the run.',
      onkeydown: (event) => this.press(event),
      onpointerdown: (event) => this.grab(event),
      onpointermove: (event) => this.move(event),
      onpointerup: (event) => this.release(event),
      onwheel: (event) => this.turn(event),
    });
    this.status = element('p', { class: 'status', role: 'status' });
    this.element = element('div', { class: 'timeline' },
      element('div', { class: 'tools' },
        element('ul', { class: 'legend' }, [...kinds, 'failed'].map((kind) => element('li', { class: kind }, TITLES[kind] ?? kind))),
        this.button('−', 'Show a longer time', () => this.zoom(2)),
        this.button('+', 'Show a shorter time', () => this.zoom(0.5)),
        this.button('all', 'Show the whole time', () => this.look(0, this.end))),
      element('div', { class: 'lanes' }, this.canvas), this.status);
    this.say();
    new ResizeObserver(() => this.draw()).observe(this.element);
  }

  button(text, label, action) {
    return element('button', { type: 'button', title: label, 'aria-label': label, onclick: action }, text);
  }

  wholeWidth() { return isOnPaper() ? PAPER_WIDTH : this.canvas.clientWidth; }
  width() { return Math.max(50, this.wholeWidth() - LABEL - 4); }
  x(moment) { return LABEL + ((moment - this.view[0]) / (this.view[1] - this.view[0])) * this.width(); }
  moment(x) { return this.view[0] + ((x - LABEL) / this.width()) * (this.view[1] - this.view[0]); }

  look(from, to) {
    const range = Math.min(this.end, Math.max(CLOSEST, to - from));
    const begin = Math.min(Math.max(0, from), this.end - range);
    this.view = [begin, begin + range];
    this.draw();
  }

  zoom(factor, around) {
    const [from, to] = this.view;
    const still = around ?? (this.chosen ? (this.chosen.begin + this.chosen.end) / 2 : (from + to) / 2);
    const fixed = Math.min(to, Math.max(from, still));
    this.look(fixed - (fixed - from) * factor, fixed + (to - fixed) * factor);
  }

  draw() {
    const height = this.lanes.length * LANE + AXIS;
    this.canvas.style.height = `${height}px`;
    this.canvas.style.width = isOnPaper() ? `${PAPER_WIDTH}px` : '';
    const width = this.wholeWidth();
    if (width === 0) return;
    const scale = window.devicePixelRatio || 1;
    this.canvas.width = Math.round(width * scale);
    this.canvas.height = Math.round(height * scale);
    const context = this.canvas.getContext('2d');
    context.scale(scale, scale);
    context.font = '12px system-ui, sans-serif';
    context.textBaseline = 'middle';
    this.drawAxis(context, width, height);
    const colours = Object.fromEntries([...STEP_KINDS, 'bad', 'ink', 'faint'].map((name) => [name, colour(name)]));
    this.lanes.forEach((lane, index) => {
      const top = index * LANE + (LANE - BAR) / 2;
      context.fillStyle = colours.faint;
      context.textAlign = 'right';
      context.fillText(String(lane.context), LABEL - 10, top + BAR / 2);
      for (const step of lane.steps) {
        if (step.end >= this.view[0] && step.begin <= this.view[1]) this.drawStep(context, step, top, colours);
      }
    });
  }

  drawAxis(context, width, height) {
    context.strokeStyle = colour('line');
    context.fillStyle = colour('faint');
    context.textAlign = 'center';
    const ticks = ticksOf(this.view[0], this.view[1], this.width() / 80);
    const digits = ticks.length > 1 ? Math.max(0, -Math.floor(Math.log10(ticks[1] - ticks[0]) + 1e-9)) : 1;
    for (const tick of ticks) {
      const x = Math.round(this.x(tick)) + 0.5;
      context.beginPath();
      context.moveTo(x, 0);
      context.lineTo(x, height - AXIS + 4);
      context.stroke();
      context.fillText(`${tick.toFixed(digits)} s`, Math.min(x, width - 20), height - AXIS / 2 + 2);
    }
  }

  drawStep(context, step, top, colours) {
    const left = Math.max(LABEL, this.x(step.begin));
    const right = Math.min(LABEL + this.width(), this.x(step.end));
    const width = Math.max(1, right - left - (right - left > 3 ? 1 : 0));
    context.fillStyle = colours[step.kind] ?? colours.faint;
    context.fillRect(left, top, width, BAR);
    // A colour alone does not tell everybody: what failed has a mark below it as well.
    if (!step.isGood) {
      context.fillStyle = colours.bad;
      context.fillRect(left, top, Math.max(2, width), BAR);
      context.fillRect(left, top + BAR + 1, Math.max(4, width), 3);
    }
    if (step === this.chosen) {
      context.strokeStyle = colours.ink;
      context.lineWidth = 2;
      context.strokeRect(left - 1, top - 2, width + 2, BAR + 4);
      context.lineWidth = 1;
    }
  }

  say() {
    const step = this.chosen;
    this.status.textContent = step
      ? `Context ${step.context}${step.run > 0 ? `, run ${step.run}` : ''}: ${this.whats[step.what]}, ` +
        `${secondsText(step.end - step.begin)} from ${step.begin.toFixed(2)} s on${step.isGood ? '' : ' – failed'}`
      : 'Point at a step, or use the arrow keys.';
  }

  choose(step) {
    this.chosen = step;
    this.say();
    this.draw();
  }

  chooseNear(event) {
    const lane = this.lanes[Math.floor(event.offsetY / LANE)];
    const reach = (this.view[1] - this.view[0]) * (4 / this.width());
    const step = lane ? stepNear(lane, this.moment(event.offsetX), reach) : null;
    if (step !== this.chosen) this.choose(step);
  }

  grab(event) {
    this.dragged = { x: event.offsetX, view: this.view, hasMoved: false };
    this.canvas.setPointerCapture(event.pointerId);
  }

  move(event) {
    if (!this.dragged) {
      this.chooseNear(event);
      return;
    }
    const away = event.offsetX - this.dragged.x;
    if (Math.abs(away) > 3) this.dragged.hasMoved = true;
    const range = this.dragged.view[1] - this.dragged.view[0];
    const from = this.dragged.view[0] - (away / this.width()) * range;
    if (this.dragged.hasMoved) this.look(from, from + range);
  }

  release(event) {
    const wasClick = this.dragged && !this.dragged.hasMoved;
    this.dragged = null;
    if (wasClick) {
      this.chooseNear(event);
      this.open();
    }
  }

  // With Ctrl, as in maps: the wheel alone goes on with the page.
  turn(event) {
    if (!event.ctrlKey) return;
    event.preventDefault();
    this.zoom(event.deltaY > 0 ? 1.25 : 0.8, this.moment(event.offsetX));
  }

  open() {
    if (this.chosen && this.chosen.run > 0) this.onOpen(this.chosen.run);
  }

  press(event) {
    const actions = {
      ArrowRight: () => this.go(1), ArrowLeft: () => this.go(-1),
      ArrowDown: () => this.goLane(1), ArrowUp: () => this.goLane(-1),
      '+': () => this.zoom(0.5), '-': () => this.zoom(2), 0: () => this.look(0, this.end),
      Enter: () => this.open(),
    };
    if (!(event.key in actions) || this.lanes.length === 0 || event.ctrlKey || event.metaKey || event.altKey) return;
    event.preventDefault();
    actions[event.key]();
  }

  go(direction) {
    const lane = this.lanes.find((one) => one.context === this.chosen?.context) ?? this.lanes[0];
    const index = this.chosen ? lane.steps.indexOf(this.chosen) + direction : 0;
    this.reveal(lane.steps[Math.max(0, Math.min(lane.steps.length - 1, index))]);
  }

  goLane(direction) {
    const index = this.lanes.findIndex((one) => one.context === this.chosen?.context);
    const lane = this.lanes[Math.max(0, Math.min(this.lanes.length - 1, index + direction))];
    this.reveal(this.chosen ? stepNear(lane, this.chosen.begin, Infinity) : lane.steps[0]);
  }

  reveal(step) {
    const range = this.view[1] - this.view[0];
    if (step.begin < this.view[0] || step.end > this.view[1]) this.look(step.begin - range / 4, step.begin + (range * 3) / 4);
    this.choose(step);
  }
}
