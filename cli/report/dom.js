// Elements of the page. Texts go in as text, never as HTML.

export function element(name, properties = {}, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(properties)) {
    if (key === 'class') made.className = value;
    else if (key.startsWith('on')) made.addEventListener(key.slice(2), value);
    else if (value !== false && value !== null && value !== undefined) made.setAttribute(key, value === true ? '' : String(value));
  }
  made.append(...children.flat().filter((child) => child !== null && child !== undefined));
  return made;
}

// The value of a colour in the page's present dress: light, dark, or paper.
export function colour(name) {
  return getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();
}

// What is drawn does not follow when a page is laid out anew for paper: it gets a width that fits A4 and Letter.
export const PAPER_WIDTH = 670;

export function isOnPaper() {
  return document.documentElement.hasAttribute('data-on-paper');
}

export function badge(outcome, colourName) {
  return element('span', { class: `badge ${colourName}` }, outcome);
}

// A list of names and values; values may be elements.
export function facts(pairs) {
  return element('dl', {}, pairs.filter((pair) => pair).flatMap(([name, value]) => [
    element('dt', {}, name),
    element('dd', {}, value),
  ]));
}
