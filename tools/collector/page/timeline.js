// The picture of the sessions: a block for each hit, stacked in columns of time, what was not taken
// below the line.

import { byId, create } from "./dom.js";
import { isHit, isTaken, kindLabels, kindOf, nameOf, remarkOf } from "./entry.js";
import { clockTime, count, shorten } from "./format.js";
import { Axis } from "./sessions.js";

const columnWidth = 8;    // pixels, with the gap of one
const tallestBlock = 16;  // pixels, with the gap of one
const labelHeight = 20;
const depth = 18;         // below the line
const drawPause = 80;     // milliseconds between two pictures while hits pour in

export class Timeline {
  #axis = new Axis();
  #entries = [];
  #columns = [];
  #colours = null;
  #timer = 0;

  constructor(onSelect) {
    this.onSelect = onSelect;
    this.element = byId("timeline");
    this.canvas = byId("timeline-picture");
    this.hint = byId("timeline-hint");
    this.canvas.addEventListener("pointermove", (event) => this.#pointed(event));
    this.canvas.addEventListener("pointerleave", () => (this.hint.hidden = true));
    this.canvas.addEventListener("click", (event) => this.#clicked(event));
    document.addEventListener("theme", () => {
      this.#colours = null;
      this.changed();
    });
    new ResizeObserver(() => this.#draw()).observe(this.canvas);
  }

  clear() {
    this.#axis.clear();
    this.#entries = [];
    this.changed();
  }

  add(entries) {
    for (const entry of entries) {
      this.#entries.push(entry);
      this.#axis.add(entry);
    }
    this.changed();
  }

  select(entry, index) {
    this.selected = entry;
    this.canvas.setAttribute("aria-valuenow", index + 1);
    this.canvas.setAttribute("aria-valuetext", entry ? describe(entry) : "nothing selected");
    this.changed();
  }

  // To be called when the picture is no longer true.
  changed() {
    this.#timer ||= setTimeout(() => {
      this.#timer = 0;
      requestAnimationFrame(() => this.#draw());
    }, drawPause);
  }

  #draw() {
    const { clientWidth: width, clientHeight: height } = this.canvas;
    const scale = devicePixelRatio;
    this.canvas.width = width * scale;
    this.canvas.height = height * scale;
    this.canvas.setAttribute("aria-valuemax", this.#entries.length);
    this.#colours ??= readColours(this.element);
    const context = this.canvas.getContext("2d");
    context.scale(scale, scale);
    this.line = height - depth;
    this.#fillColumns(Math.max(1, Math.floor(width / columnWidth)));
    this.#drawSessions(context, width, height);
    if (this.selected) this.#drawCursor(context, height);
    for (let at = 0; at < this.#columns.length; ++at) this.#drawColumn(context, at);
  }

  #columnOf(index) {
    const share = this.#axis.length > 0 ? this.#axis.positions[index] / this.#axis.length : 0;
    return Math.round(share * (this.columnCount - 1));
  }

  // Each column is a list of stacks {kind, isTaken, isShown, entries}, in the order of the kinds.
  #fillColumns(columnCount) {
    this.columnCount = columnCount;
    const stacks = Array.from({ length: columnCount }, () => new Map());
    this.#entries.forEach((entry, index) => {
      const column = stacks[this.#columnOf(index)];
      const key = stackKey(entry);
      if (!column.has(key)) column.set(key, { key, entries: [] });
      column.get(key).entries.push(entry);
    });
    this.#columns = stacks.map((column) => [...column.values()].sort((a, b) => a.key - b.key));
    const tallest = Math.max(1, ...this.#columns.map((column) => heightOf(column, true)));
    const deepest = Math.max(1, ...this.#columns.map((column) => heightOf(column, false)));
    this.up = Math.min(tallestBlock, (this.line - labelHeight) / tallest);
    this.down = Math.min(tallestBlock, depth / deepest);
  }

  #drawColumn(context, at) {
    for (const block of this.#blocksOf(at)) {
      const gap = block.unit > 2 ? 1 : 0;
      context.fillStyle = this.#colours[block.stack.key >= hiddenKey ? "hidden" : block.kind];
      if (!gap) {
        context.fillRect(block.x, block.y, columnWidth - 1, block.height);
        continue;
      }
      for (let i = 0; i < block.stack.entries.length; ++i) {
        const y = block.isUp ? block.y + i * block.unit + gap : block.y + i * block.unit;
        context.fillRect(block.x, y, columnWidth - 1, block.unit - gap);
      }
    }
  }

  #drawCursor(context, height) {
    const at = this.#columns.findIndex((column) =>
      column.some(({ entries }) => entries.includes(this.selected)));
    if (at < 0) return;
    context.fillStyle = this.#colours.cursor;
    context.globalAlpha = 0.2;
    context.fillRect(at * columnWidth - 2, labelHeight, columnWidth + 3, height - labelHeight);
    context.globalAlpha = 1;
  }

  // Where the stacks of a column stand.
  #blocksOf(at) {
    let top = this.line;
    let bottom = this.line + 1;
    return this.#columns[at].map((stack) => {
      const isUp = isAbove(stack.entries[0]);
      const unit = isUp ? this.up : this.down;
      const height = unit * stack.entries.length;
      if (isUp) top -= height;
      else bottom += height;
      const y = isUp ? top : bottom - height;
      const kind = isUp ? kindOf(stack.entries[0]) : "not taken";
      return { stack, kind, isUp, unit, height, y, x: at * columnWidth };
    });
  }

  #drawSessions(context, width, height) {
    context.fillStyle = this.#colours.line;
    context.fillRect(0, this.line, width, 1);
    context.font = `11px ${getComputedStyle(this.element).fontFamily}`;
    const { starts } = this.#axis;
    starts.forEach(({ index, label }, number) => {
      const x = this.#columnOf(index) * columnWidth;
      const next = starts[number + 1];
      const end = next ? this.#columnOf(next.index) * columnWidth : width;
      context.fillStyle = this.#colours.line;
      context.fillRect(x - (x > 0 ? 2 : 0), 0, 1, height);
      context.fillStyle = this.#colours.text;
      const text = fit(context, label, end - x - 14);
      context.fillText(text, x + 6, 13);
    });
  }

  #entryAt(event) {
    const at = Math.floor(event.offsetX / columnWidth);
    if (!this.#columns[at]?.length) return null;
    const blocks = this.#blocksOf(at);
    const distance = (block) =>
      Math.max(block.y - event.offsetY, event.offsetY - block.y - block.height, 0);
    const nearest = blocks.reduce((a, b) => (distance(b) < distance(a) ? b : a));
    const rank = Math.floor((event.offsetY - nearest.y) / nearest.unit);
    const { entries } = nearest.stack;
    return entries[Math.max(0, Math.min(rank, entries.length - 1))];
  }

  #pointed(event) {
    const entry = this.#entryAt(event);
    this.hint.hidden = !entry;
    this.canvas.classList.toggle("pointing", Boolean(entry));
    if (!entry) return;
    this.hint.textContent = describe(entry);
    const room = this.canvas.clientWidth - this.hint.offsetWidth;
    this.hint.style.left = `${Math.max(0, Math.min(event.offsetX + 12, room))}px`;
  }

  #clicked(event) {
    const entry = this.#entryAt(event);
    if (entry) this.onSelect(entry);
  }
}

const kindRanks = new Map([...kindLabels.keys()].map((kind, rank) => [kind, rank]));
const hiddenKey = 100;  // more than there are kinds

const isAbove = (entry) => !isHit(entry) || isTaken(entry);

// Orders the stacks of a column; those that the filter hides come last.
function stackKey(entry) {
  const rank = isAbove(entry) ? kindRanks.get(kindOf(entry)) : hiddenKey / 2;
  if (entry.isShown) return rank;
  return hiddenKey + (isAbove(entry) ? 0 : 1);
}

function heightOf(column, isUp) {
  const stacks = column.filter(({ entries }) => isAbove(entries[0]) === isUp);
  return stacks.reduce((sum, { entries }) => sum + entries.length, 0);
}

function describe(entry) {
  const words = [clockTime(entry.receivedTime), kindLabels.get(kindOf(entry)),
                 shorten(nameOf(entry), 80), remarkOf(entry)];
  return words.filter(Boolean).join("  ");
}

function fit(context, text, width) {
  if (width < 20) return "";
  let length = text.length;
  while (length > 3 && context.measureText(text.slice(0, length)).width > width) length -= 2;
  return length < text.length ? `${text.slice(0, length - 1)}…` : text;
}

// A canvas knows no style sheets: asks the browser what the colours come to.
function readColours(parent) {
  const probe = parent.appendChild(create("span", "probe"));
  const read = (name) => {
    probe.dataset.kind = name;
    return getComputedStyle(probe).color;
  };
  const names = [...kindLabels.keys(), "not taken", "hidden", "line", "text", "cursor"];
  const colours = Object.fromEntries(names.map((name) => [name, read(name)]));
  probe.remove();
  return colours;
}
