// The controls of the filter: text, a chip for each kind that occurs, findings.

import { byId, create, createButton } from "./dom.js";
import { kindLabels } from "./entry.js";
import { count } from "./format.js";

export class FilterBar {
  #chips = new Map();

  constructor(filter, onChange) {
    this.filter = filter;
    this.onChange = onChange;
    this.input = byId("filter");
    this.findings = byId("findings-only");
    for (const [kind, label] of kindLabels) this.#addChip(kind, label);
    this.input.addEventListener("input", () => this.#change());
    this.findings.addEventListener("click", () => {
      filter.findingsOnly = !filter.findingsOnly;
      this.#change();
    });
    byId("show-all").addEventListener("click", () => this.reset());
  }

  reset() {
    this.input.value = "";
    this.filter.reset();
    this.#change();
  }

  showCounts(entries, shown) {
    for (const [kind, chip] of this.#chips) {
      const number = entries.byKind.get(kind) ?? 0;
      chip.hidden = number === 0 && !this.filter.kinds.has(kind);
      chip.lastChild.textContent = count(number);
    }
    byId("findings-count").textContent = count(entries.counts.findings);
    const isPart = this.filter.isOn;
    byId("shown").textContent = isPart ? `${count(shown)} of ${count(entries.all.length)}` : "";
  }

  #addChip(kind, label) {
    const chip = createButton("chip", `${label} `, () => {
      if (!this.filter.kinds.delete(kind)) this.filter.kinds.add(kind);
      this.#change();
    });
    chip.dataset.kind = kind;
    chip.hidden = true;
    chip.append(create("span", "", "0"));
    this.#chips.set(kind, chip);
    byId("chips").append(chip);
  }

  #change() {
    this.filter.text = this.input.value;
    for (const [kind, chip] of this.#chips) {
      chip.setAttribute("aria-pressed", this.filter.kinds.has(kind));
    }
    this.findings.setAttribute("aria-pressed", this.filter.findingsOnly);
    this.onChange();
  }
}
