// A bar for each film and ad: how much was played, its segments and milestones.

import { byId, create, createButton, createWith } from "./dom.js";
import { isTaken } from "./entry.js";
import { duration, shorten } from "./format.js";
import { MediaItems, segmentRange } from "./media.js";

export class MediaBars {
  #items = new MediaItems();
  #bars = new Map();  // item -> its element
  #changed = new Set();

  constructor(onSelect) {
    this.onSelect = onSelect;
    this.element = byId("media");
  }

  clear() {
    this.#items.clear();
    this.#bars.clear();
    this.#changed.clear();
    this.element.replaceChildren();
    this.element.hidden = true;
  }

  add(entries) {
    for (const entry of entries) {
      if (!isTaken(entry)) continue;  // it comes again
      const item = this.#items.add(entry);
      if (item) this.#changed.add(item);
    }
    if (this.#changed.size > 0) this.#draw();
  }

  #draw() {
    const items = this.#items.inOrder();
    const isNew = items.some((item) => !this.#bars.has(item));
    const bars = items.map((item) => [item, this.#redraw(item)]);
    this.#changed.clear();
    this.element.hidden = false;
    if (!isNew) return;
    this.#bars = new Map(bars);
    this.element.replaceChildren(...this.#bars.values());
  }

  // The bar of the item, a new one when something has changed.
  #redraw(item) {
    const old = this.#bars.get(item);
    if (!this.#changed.has(item)) return old;
    const bar = this.#createBar(item);
    old?.replaceWith(bar);
    this.#bars.set(item, bar);
    return bar;
  }

  #createBar(item) {
    const name = create("span", "media-name", shorten(item.name, 120));
    name.title = shorten(item.name, 300);
    const bar = createWith("div", "playback", name, this.#createTrack(item),
                           create("span", "media-facts", facts(item)));
    bar.classList.toggle("ad", item.parent !== "");
    bar.setAttribute("role", "group");
    bar.setAttribute("aria-label", shorten(item.name, 120));
    return bar;
  }

  #createTrack(item) {
    const track = create("div", "track");
    const whole = wholeOf(item);
    for (const [name, entry] of item.segments) this.#addSegment(track, name, whole, entry);
    const played = create("div", "played");
    played.style.width = share(item.played / whole);
    track.append(played);
    for (const [percent, entry] of item.milestones) {
      this.#addMilestone(track, `${percent} %`, percent / 100, entry);
    }
    for (const [seconds, entry] of item.offsetMilestones) {
      this.#addMilestone(track, `${seconds} s`, seconds / whole, entry);
    }
    if (item.completion) this.#addMilestone(track, "complete", 1, item.completion);
    return track;
  }

  #addMilestone(track, label, at, entry) {
    if (!(at >= 0)) return;
    const milestone = createButton("milestone", "", () => this.onSelect(entry));
    milestone.append(create("span", "", shorten(label, 20)));
    milestone.setAttribute("aria-label", `Milestone ${shorten(label, 20)}`);
    milestone.style.left = share(at);
    milestone.classList.toggle("end", at >= 1);
    track.append(milestone);
  }

  #addSegment(track, name, whole, entry) {
    const range = segmentRange(name, whole);
    if (!range) return;
    const segment = createButton("segment", "", () => this.onSelect(entry));
    segment.setAttribute("aria-label", `Segment ${name}`);
    segment.title = `segment ${name}`;
    segment.style.left = share(range.start);
    segment.style.width = share(range.end - range.start);
    track.append(segment);
  }
}

const share = (number) => `${Math.max(0, Math.min(number, 1)) * 100}%`;

// The length of the bar in seconds: what is known to lie in the item when its length is not.
function wholeOf(item) {
  return item.length || Math.max(item.played, 1, ...[...item.offsetMilestones.keys()].map(Number));
}

function facts(item) {
  const of = item.length ? ` of ${duration(item.length)}` : "";
  const clicks = item.clicks.length;
  return [
    `${duration(item.played)}${of} played`,
    item.views > 1 && `view ${item.views}`,
    clicks > 0 && `${clicks} ${clicks === 1 ? "click" : "clicks"}`,
  ].filter(Boolean).join(", ");
}
