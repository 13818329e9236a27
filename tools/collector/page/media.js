// How films and ads are played, as their hits tell.

import { valueOf } from "./entry.js";

// Of what comes without end only so much is kept.
const mostItems = 50;
const mostMarks = 100;

// What is known of the latest view of one item.
class Playback {
  constructor(name, parent) {
    this.name = name;
    this.parent = parent;  // the content that an ad plays in; "" for content
    this.views = 0;
    this.#begin();
  }

  #begin() {
    this.played = 0;  // seconds
    this.milestones = new Map();        // per cent -> the hit that reached it
    this.offsetMilestones = new Map();  // seconds -> the hit that reached it
    this.segments = new Map();          // name -> the hit that first named it
    this.clicks = [];
    this.completion = null;
  }

  add(entry) {
    const part = (name) => valueOf(entry, `a.media.${this.parent ? "ad." : ""}${name}`);
    if (part("view")) {
      this.#begin();
      ++this.views;
    }
    this.length = Number(part("length")) || this.length || 0;
    this.played += Number(part("timePlayed")) || 0;
    keep(this.milestones, part("milestone"), entry);
    keep(this.offsetMilestones, part("offsetMilestone"), entry);
    keep(this.segments, part("segment"), entry);
    if (part("clicked")) this.clicks.push(entry);
    if (part("complete")) this.completion ??= entry;
  }
}

function keep(map, key, entry) {
  if (key !== "" && !map.has(key) && map.size < mostMarks) map.set(key, entry);
}

// All items, each ad behind the content that it plays in.
export class MediaItems {
  #items = new Map();

  clear() {
    this.#items.clear();
  }

  // Takes note of the hit and returns the item that it is about; null when it is about none.
  add(entry) {
    const content = valueOf(entry, "a.media.name");
    const ad = valueOf(entry, "a.media.ad.name");
    if (entry.kind !== "media" || (!content && !ad)) return null;
    const key = JSON.stringify([content, ad]);
    const item = this.#items.get(key) ?? new Playback(ad || content, ad ? content || "?" : "");
    this.#items.set(key, item);
    if (this.#items.size > mostItems) this.#items.delete(this.#items.keys().next().value);
    item.add(entry);
    return item;
  }

  inOrder() {
    const items = [...this.#items.values()];
    const contents = items.filter((item) => !item.parent);
    const names = new Set(contents.map((item) => item.name));
    const adsOf = (name) => items.filter((item) => item.parent === name);
    const orphans = items.filter((item) => item.parent && !names.has(item.parent));
    return [...contents.flatMap((item) => [item, ...adsOf(item.name)]), ...orphans];
  }
}

// Where a segment lies, in shares of the item, from a name such as "M:25-50" (per cent) or "O:10-E"
// (seconds, to the end); null when that is not known.
export function segmentRange(name, length) {
  const [, kind, from, to] = /^([MO]):(\d+)-(\d+|E)$/.exec(name) ?? [];
  if (!kind) return null;
  const whole = kind === "M" ? 100 : length;
  if (!(whole > 0)) return null;
  const end = to === "E" ? 1 : Number(to) / whole;
  return { start: Math.min(Number(from) / whole, 1), end: Math.min(end, 1) };
}
