// Which entries the reader wants to see.

import { hasFindings, kindLabels, kindOf, nameOf } from "./entry.js";

export class Filter {
  kinds = new Set();  // none: all
  findingsOnly = false;
  #text = "";

  set text(text) {
    this.#text = text.trim().toLowerCase();
  }

  get isOn() {
    return this.kinds.size > 0 || this.findingsOnly || this.#text !== "";
  }

  reset() {
    this.kinds.clear();
    this.findingsOnly = false;
    this.#text = "";
  }

  // Tests the entry and leaves the result with it, for the timeline.
  matches(entry) {
    entry.isShown = this.#test(entry);
    return entry.isShown;
  }

  #test(entry) {
    if (this.kinds.size > 0 && !this.kinds.has(kindOf(entry))) return false;
    if (this.findingsOnly && !hasFindings(entry)) return false;
    return this.#text === "" || searchText(entry).includes(this.#text);
  }
}

// All that can be searched for, in lower case; made when it is first asked for.
function searchText(entry) {
  entry.searchText ??= writeSearchText(entry);
  return entry.searchText;
}

function writeSearchText(entry) {
  const words = [nameOf(entry), kindLabels.get(kindOf(entry)), ...(entry.reportSuites ?? [])];
  for (const pairs of [entry.variables, entry.contextData, entry.parameters]) {
    for (const key in pairs) words.push(key, pairs[key]);
  }
  for (const finding of entry.findings ?? []) words.push(finding.check, finding.text);
  return words.join("\n").toLowerCase();
}
