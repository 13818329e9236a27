// The list: of all entries that match, only the lines in view are in the page.

import { byId } from "./dom.js";
import { indexOfNumber } from "./entries.js";
import { count } from "./format.js";
import { Row } from "./row.js";

const rowHeight = 32;  // pixels, as in style.css
const spare = 8;       // lines above and below what is in view

export class List {
  entries = [];
  active = null;  // the entry that the keys act on
  open = null;    // the entry whose details are shown
  #rows = [];     // in a ring: the line of index i is number i modulo their count
  #isFollowing = true;
  #unseen = 0;

  constructor(onOpen) {
    this.onOpen = onOpen;
    this.element = byId("list");
    this.space = byId("rows");
    this.newest = byId("newest");
    this.element.addEventListener("scroll", () => this.#scrolled(), { passive: true });
    this.space.addEventListener("click", (event) => this.#clicked(event));
    this.newest.addEventListener("click", () => this.#toNewest());
    new ResizeObserver(() => this.#resized()).observe(this.element);
  }

  // Shows other entries than before.
  show(entries) {
    this.entries = entries;
    this.#unseen = 0;
    if (this.active && this.#indexOf(this.active) < 0) this.active = null;
    this.#measure();
    if (this.active && !this.#isFollowing) this.#reveal(this.#indexOf(this.active));
    this.render();
  }

  // To be called when `added` more stand at the end of the entries shown.
  grow(added) {
    if (!this.#isFollowing) this.#unseen += added;
    this.#measure();
    this.render();
  }

  // Makes the entry the active one and brings it into view; false when it is not in the list.
  activate(entry) {
    const index = this.#indexOf(entry);
    if (index < 0) return false;
    this.active = entry;
    this.#reveal(index);
    this.render();
    return true;
  }

  // From the active line, else to the newest.
  move(lines) {
    const at = this.active ? this.#indexOf(this.active) : -1;
    this.moveTo(at < 0 ? this.entries.length - 1 : at + lines);
  }

  // Makes the entry with this index, or the nearest to it, the active one.
  moveTo(index) {
    if (this.entries.length === 0) return;
    this.activate(this.entries[Math.max(0, Math.min(index, this.entries.length - 1))]);
  }

  // How many lines are in view.
  get page() {
    return Math.max(1, Math.floor(this.element.clientHeight / rowHeight) - 1);
  }

  focus() {
    this.element.focus({ preventScroll: true });
  }

  render() {
    const { first, end } = this.#range();
    const total = this.entries.length;
    const used = new Set();
    for (let index = first; index < end; ++index) {
      const row = this.#rows[index % this.#rows.length];
      used.add(row);
      this.#draw(row, index, total);
    }
    for (const row of this.#rows) row.element.hidden = !used.has(row);
    this.#describeActive(first, end);
    this.newest.hidden = this.#unseen === 0;
    this.newest.textContent = `${count(this.#unseen)} new ↓`;
  }

  #draw(row, index, total) {
    const entry = this.entries[index];
    row.fill(entry);
    row.place(index, rowHeight, total);
    row.mark(entry === this.active, entry === this.open);
  }

  #range() {
    const top = Math.floor(this.element.scrollTop / rowHeight);
    const first = Math.max(0, top - spare);
    return { first, end: Math.min(first + this.#rows.length, this.entries.length) };
  }

  #describeActive(first, end) {
    const index = this.active ? this.#indexOf(this.active) : -1;
    if (index >= first && index < end) {
      this.element.setAttribute("aria-activedescendant", `entry-${this.active.number}`);
    } else {
      this.element.removeAttribute("aria-activedescendant");
    }
  }

  #measure() {
    this.space.style.height = `${this.entries.length * rowHeight}px`;
    if (this.#isFollowing) this.element.scrollTop = this.element.scrollHeight;
  }

  #resized() {
    const needed = Math.ceil(this.element.clientHeight / rowHeight) + 2 * spare + 1;
    while (this.#rows.length < needed) {
      const row = new Row();
      this.#rows.push(row);
      this.space.append(row.element);
    }
    this.#measure();
    this.render();
  }

  #scrolled() {
    const { scrollTop, scrollHeight, clientHeight } = this.element;
    this.#isFollowing = scrollTop + clientHeight >= scrollHeight - rowHeight;
    if (this.#isFollowing) this.#unseen = 0;
    this.render();
  }

  #toNewest() {
    this.#isFollowing = true;
    this.#unseen = 0;
    this.#measure();
    this.render();
    this.focus();
  }

  #reveal(index) {
    const top = index * rowHeight;
    const { scrollTop, clientHeight } = this.element;
    if (top < scrollTop) this.element.scrollTop = top;
    const bottom = top + rowHeight;
    if (bottom > scrollTop + clientHeight) this.element.scrollTop = bottom - clientHeight;
    this.#isFollowing = index === this.entries.length - 1;
  }

  #indexOf(entry) {
    return indexOfNumber(this.entries, entry.number);
  }

  #clicked(event) {
    const element = event.target.closest(".row");
    const row = this.#rows.find((one) => one.element === element);
    if (!row) return;
    this.active = row.entry;
    this.onOpen(row.entry);
  }
}
