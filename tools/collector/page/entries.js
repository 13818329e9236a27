// Everything received and not forgotten, in the order of arrival, with its counts.

import { hasFindings, isHit, isTaken, kindOf } from "./entry.js";

export class Entries {
  constructor() {
    this.clear();
  }

  clear() {
    this.all = [];
    this.byKind = new Map();
    this.counts = { taken: 0, notTaken: 0, requests: 0, findings: 0 };
  }

  get last() {
    return this.all.at(-1);
  }

  // Adds those that are new and returns them: what comes a second time after a reconnect is not.
  add(batch) {
    const added = [];
    for (const entry of batch) {
      if (this.last && entry.number <= this.last.number) continue;
      this.all.push(entry);
      this.#count(entry);
      added.push(entry);
    }
    return added;
  }

  #count(entry) {
    const kind = kindOf(entry);
    this.byKind.set(kind, (this.byKind.get(kind) ?? 0) + 1);
    if (hasFindings(entry)) ++this.counts.findings;
    if (!isHit(entry)) {
      ++this.counts.requests;
    } else if (isTaken(entry)) {
      ++this.counts.taken;
    } else {
      ++this.counts.notTaken;
    }
  }
}

// Where the entry with this number stands in entries that are in order; -1: nowhere.
export function indexOfNumber(entries, number) {
  let low = 0;
  let high = entries.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (entries[middle].number < number) low = middle + 1;
    else high = middle;
  }
  return entries[low]?.number === number ? low : -1;
}
