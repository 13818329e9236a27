// One line of the list. Lines are made once and filled again for other entries.

import { create } from "./dom.js";
import { hasFindings, isHit, kindLabels, kindOf, nameOf, remarkOf, secondsHeld } from "./entry.js";
import { duration, exactTime, shorten } from "./format.js";
import { summaryOf } from "./summary.js";

const longestText = 200;  // characters; more is never seen on a line
const worthTelling = 5;   // seconds in the queue

export class Row {
  constructor() {
    this.element = create("div", "row");
    this.element.setAttribute("role", "option");
    const add = (className) => this.element.appendChild(create("span", className));
    this.time = add("time");
    this.tag = add("tag");
    this.name = add("name");
    this.summary = add("summary");
    this.held = add("held");
    this.remark = add("remark");
    this.findings = add("finding-flag");
    this.suites = add("suites");
  }

  fill(entry) {
    if (this.entry === entry) return;
    this.entry = entry;
    const kind = kindOf(entry);
    this.element.id = `entry-${entry.number}`;
    this.element.dataset.type = isHit(entry) ? "hit" : "request";
    this.tag.dataset.kind = kind;
    this.tag.textContent = kindLabels.get(kind);
    this.time.textContent = exactTime(entry.receivedTime);
    this.name.textContent = shorten(nameOf(entry), longestText);
    this.summary.textContent = shorten(summaryOf(entry), longestText);
    this.suites.textContent = shorten((entry.reportSuites ?? []).join(", "), longestText);
    this.#fillMarks(entry);
  }

  #fillMarks(entry) {
    const held = secondsHeld(entry);
    this.held.textContent = held >= worthTelling ? `held ${duration(held)}` : "";
    this.remark.textContent = remarkOf(entry);
    this.element.classList.toggle("not-taken", this.remark.textContent !== "");
    const findings = entry.findings ?? [];
    this.findings.textContent = findings[0]?.check ?? "";
    if (findings.length > 1) this.findings.textContent += ` +${findings.length - 1}`;
    this.element.classList.toggle("with-findings", hasFindings(entry));
  }

  place(index, height, total) {
    this.element.style.transform = `translateY(${index * height}px)`;
    this.element.setAttribute("aria-posinset", index + 1);
    this.element.setAttribute("aria-setsize", total);
    this.element.classList.toggle("odd", index % 2 === 1);
  }

  mark(isActive, isOpen) {
    this.element.classList.toggle("active", isActive);
    this.element.setAttribute("aria-selected", isOpen);
  }
}
