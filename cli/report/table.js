import { counted, filteredRows, sortedRows } from './model.js';
import { element } from './dom.js';

const EXTRA_ROWS = 12;
const PAPER_ROWS = 1000;
const WIDEST = 48;
const SAMPLED_ROWS = 2000;

// A table of many rows, of which only those in view are elements. Columns are { title, value(row), isNumber, cell(row) }:
// value is what is sorted, filtered and shown, cell an element to show in its place. Rows have one height.
export class DataTable {
  constructor({ label, columns, rows, onOpen, choices }) {
    this.label = label;
    this.columns = columns;
    this.allRows = rows;
    this.onOpen = onOpen;
    this.texts = new WeakMap();
    this.sortedBy = null;
    this.isDescending = false;
    this.chosen = () => true;
    this.current = 0;
    this.build(choices);
    this.refresh();
  }

  build(choices) {
    this.count = element('span', { class: 'count', role: 'status' });
    this.filter = element('input', {
      type: 'search', placeholder: 'Filter', 'aria-label': `Filter ${this.label}`,
      oninput: () => this.refresh(),
    });
    this.choice = choices && element('select', { 'aria-label': `Which ${this.label}`, onchange: () => this.refresh() },
      choices.map((one, index) => element('option', { value: index }, one.title)));
    this.choices = choices;
    this.head = element('tr', {}, this.columns.map((column, index) => element('th', {
      scope: 'col', class: column.isNumber ? 'number' : '',
    }, element('button', { type: 'button', onclick: () => this.sortBy(index) }, column.title))));
    this.body = element('tbody');
    this.table = element('table', { 'aria-label': this.label },
      element('colgroup', {}, this.columnElements()),
      element('thead', {}, this.head), this.body);
    this.table.style.minWidth = this.width;
    this.scroller = element('div', {
      class: 'scroller', tabindex: 0, role: 'region', 'aria-label': `${this.label}; arrow keys choose a row, Enter opens it`,
      onscroll: () => this.draw(),
      onkeydown: (event) => this.press(event),
    }, this.table);
    this.element = element('div', { class: 'data-table' },
      element('div', { class: 'tools' }, this.filter, this.choice, this.count), this.scroller,
      this.note = element('p', { class: 'note' }));
    new ResizeObserver(() => this.draw()).observe(this.scroller);
  }

  // Rows come and go while one scrolls: widths are fixed by what the longest of the first texts needs. The last column
  // has what is left.
  columnElements() {
    const sample = this.allRows.slice(0, SAMPLED_ROWS);
    const widths = this.columns.map((column) => (column.cell ? 6 : 3) + sample.reduce(
      (widest, row) => Math.max(widest, Math.min(WIDEST, String(column.value(row)).length)), column.title.length + 2));
    this.width = `${widths.reduce((sum, width) => sum + width, 0)}ch`;
    return widths.map((width, index) => {
      const made = element('col');
      if (index < widths.length - 1) made.style.width = `${width}ch`;
      return made;
    });
  }

  textOf(row) {
    let text = this.texts.get(row);
    if (text === undefined) {
      text = this.columns.map((column) => column.value(row)).join('\n');
      this.texts.set(row, text);
    }
    return text;
  }

  sortBy(index) {
    if (this.sortedBy === index && this.isDescending) {
      this.sortedBy = null;
      this.isDescending = false;
    } else {
      this.isDescending = this.sortedBy === index;
      this.sortedBy = index;
    }
    this.refresh();
  }

  refresh() {
    const choice = this.choices?.[Number(this.choice.value)];
    let rows = choice ? this.allRows.filter(choice.holds) : this.allRows;
    rows = filteredRows(rows, (row) => this.textOf(row), this.filter.value);
    if (this.sortedBy !== null) {
      const column = this.columns[this.sortedBy];
      rows = sortedRows(rows, (row) => column.value(row), this.isDescending);
    }
    this.rows = rows;
    this.drawn = null;
    this.current = 0;
    [...this.head.children].forEach((cell, index) => {
      const direction = this.isDescending ? 'descending' : 'ascending';
      if (index === this.sortedBy) cell.setAttribute('aria-sort', direction);
      else cell.removeAttribute('aria-sort');
    });
    this.count.textContent = rows.length === this.allRows.length
      ? counted(rows.length, 'row')
      : `${rows.length.toLocaleString('en')} of ${counted(this.allRows.length, 'row')}`;
    this.table.setAttribute('aria-rowcount', rows.length + 1);
    this.scroller.scrollTop = 0;
    this.draw();
  }

  rowElement(row, index) {
    return element('tr', {
      'aria-rowindex': index + 2, id: `${this.id()}-${index}`,
      class: index === this.current ? 'current' : '',
      onclick: () => { this.current = index; this.open(); },
    }, this.columns.map((column) => element('td', { class: column.isNumber ? 'number' : '' },
      column.cell ? column.cell(row) : String(column.value(row)))));
  }

  id() {
    return `row-${this.label.replaceAll(/\W+/g, '-')}`;
  }

  spacer(rows) {
    const made = element('tr', { class: 'spacer', 'aria-hidden': 'true' }, element('td', { colspan: this.columns.length }));
    made.style.height = `${rows * this.rowHeight}px`;
    return made;
  }

  draw() {
    if (this.isOnPaper) return;
    if (!this.rowHeight && this.rows.length > 0 && this.scroller.isConnected) {
      this.body.replaceChildren(this.rowElement(this.rows[0], 0));
      this.rowHeight = this.body.firstChild.getBoundingClientRect().height;
      this.drawn = null;
    }
    const height = this.rowHeight || 30;
    // In steps, so that most moves of the wheel change nothing.
    const inView = Math.floor(this.scroller.scrollTop / height / EXTRA_ROWS) * EXTRA_ROWS;
    const first = Math.max(0, inView - EXTRA_ROWS);
    const last = Math.min(this.rows.length, inView + Math.ceil(this.scroller.clientHeight / height) + 2 * EXTRA_ROWS);
    if (this.drawn?.rows === this.rows && this.drawn.first === first && this.drawn.last === last && this.drawn.current === this.current) return;
    this.drawn = { rows: this.rows, first, last, current: this.current };
    const shown = [];
    for (let index = first; index < last; ++index) shown.push(this.rowElement(this.rows[index], index));
    this.body.replaceChildren(this.spacer(first), ...shown, this.spacer(this.rows.length - last));
    this.scroller.setAttribute('aria-activedescendant', `${this.id()}-${this.current}`);
  }

  // Paper cannot be scrolled.
  onPaper(isOnPaper) {
    this.isOnPaper = isOnPaper;
    this.drawn = null;
    if (!isOnPaper) {
      this.note.textContent = '';
      this.draw();
      return;
    }
    this.body.replaceChildren(...this.rows.slice(0, PAPER_ROWS).map((row, index) => this.rowElement(row, index)));
    if (this.rows.length > PAPER_ROWS) {
      this.note.textContent = `The first ${PAPER_ROWS.toLocaleString('en')} of ${counted(this.rows.length, 'row')}. Filter the table to print others.`;
    }
  }

  press(event) {
    const page = Math.max(1, Math.floor(this.scroller.clientHeight / (this.rowHeight || 30)) - 2);
    const moves = {
      ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page, Home: -this.rows.length, End: this.rows.length,
    };
    if (event.target !== this.scroller) return;
    if (event.key === 'Enter') {
      this.open();
    } else if (event.key in moves) {
      this.current = Math.max(0, Math.min(this.rows.length - 1, this.current + moves[event.key]));
      this.show(this.current);
    } else {
      return;
    }
    event.preventDefault();
  }

  // Scrolls no more than is needed.
  show(index) {
    const height = this.rowHeight || 30;
    const head = this.head.getBoundingClientRect().height;
    const view = this.scroller.clientHeight - head;
    if (index * height < this.scroller.scrollTop) this.scroller.scrollTop = index * height;
    if ((index + 1) * height > this.scroller.scrollTop + view) this.scroller.scrollTop = (index + 1) * height - view;
    this.draw();
  }

  open() {
    if (this.rows.length === 0) return;
    this.draw();
    this.onOpen(this.rows[this.current], this.rows, this.current);
  }
}
