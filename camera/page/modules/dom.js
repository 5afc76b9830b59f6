// Makes nodes of the document. Texts go in as text, never as markup: devices name themselves, and may lie.

const SVG = "http://www.w3.org/2000/svg";
// Control characters, and those that change the direction of what follows.
const ACTING = /[\u0000-\u0008\u000b-\u001f\u007f-\u009f\u200e\u200f\u202a-\u202e\u2066-\u2069\ufffe\uffff]/g;

// A text with what acts shown as \xNN or \uNNNN; line ends and tabs stay.
export function printable(text) {
  return String(text).replace(ACTING, (character) => {
    const code = character.charCodeAt(0).toString(16);
    return code.length > 2 ? `\\u${code.padStart(4, "0")}` : `\\x${code.padStart(2, "0")}`;
  });
}

function fill(made, properties, children) {
  for (const [name, value] of Object.entries(properties)) {
    if (name === "on") {
      for (const [event, act] of Object.entries(value)) {
        made.addEventListener(event, act);
      }
    } else if (value === true) {
      made.setAttribute(name, "");
    } else if (value !== false && value !== null && value !== undefined) {
      made.setAttribute(name, value);
    }
  }
  for (const child of children.flat()) {
    if (child !== null && child !== undefined) {
      made.append(child instanceof Node ? child : printable(child));
    }
  }
  return made;
}

// An element: node("button", {type: "button", on: {click}}, "Start").
export function node(tag, properties = {}, ...children) {
  return fill(document.createElement(tag), properties, children);
}

export function svg(tag, properties = {}, ...children) {
  return fill(document.createElementNS(SVG, tag), properties, children);
}

// Puts a text into a node, when it is another one than before.
export function say(place, text) {
  const shown = printable(text);
  if (place.textContent !== shown) {
    place.textContent = shown;
  }
}

export function setClass(place, name, is) {
  if (place.classList.contains(name) !== is) {
    place.classList.toggle(name, is);
  }
}

// Hides a node or shows it. Who has just used it by keyboard goes on with the button that stands there instead.
export function hide(place, is) {
  const held = is && !place.hidden && place === document.activeElement;
  place.hidden = is;
  if (held) {
    queueMicrotask(() => place.parentElement?.querySelector("button:not([hidden])")?.focus());
  }
}

function word(part) {
  if (part.startsWith("`")) {
    return node("code", {}, part.slice(1, -1));
  }
  return part.startsWith("**") ? node("strong", {}, part.slice(2, -2)) : part;
}

// Paragraphs of a text in which an empty line parts them, `this` is code and **this** is strong.
export function prose(text, properties = {}) {
  return node("div", {class: "help prose", ...properties}, text.trim().split(/\n\s*\n/).map((paragraph) =>
    node("p", {}, paragraph.replace(/\s*\n\s*/g, " ").split(/(`[^`]+`|\*\*[^*]+\*\*)/).filter(Boolean).map(word))));
}

let lastId = 0;

// A label with its field.
export function labelled(text, field, more = {}) {
  field.id ||= `field-${lastId += 1}`;
  return node("div", {class: "field", ...more}, node("label", {for: field.id}, text), field);
}

export function options(select, words, chosen) {
  select.replaceChildren(...words.map((word) => {
    const [value, text] = Array.isArray(word) ? word : [word, word];
    return node("option", {value, selected: value === chosen}, text);
  }));
  return select;
}

// Shows a list of items as the children of a node. Those that stay keep their nodes, and so focus and what is typed.
export class Rows {
  // make(item): {node, update(item)}. key(item): a text, another one for each item.
  constructor(place, key, make) {
    this.place = place;
    this.key = key;
    this.make = make;
    this.rows = new Map();
  }

  show(items) {
    const wanted = new Set(items.map(this.key));
    for (const [key, row] of this.rows) {
      if (!wanted.has(key)) {
        row.node.remove();
        this.rows.delete(key);
      }
    }
    let next = this.place.firstChild;
    for (const item of items) {
      const key = this.key(item);
      let row = this.rows.get(key);
      if (!row) {
        row = this.make(item);
        this.rows.set(key, row);
      }
      row.update?.(item);
      if (row.node === next) {
        next = next.nextSibling;
      } else {
        this.place.insertBefore(row.node, next);
      }
    }
  }
}
