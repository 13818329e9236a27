// All about one entry, at the side.

import { byId, create, createButton, createTag, createWith, notify } from "./dom.js";
import {
  hasFindings, isHit, kindLabels, kindOf, nameOf, remarkOf, secondsHeld,
} from "./entry.js";
import { count, dateAndTime, duration, shorten } from "./format.js";
import { createTable, createTree } from "./tree.js";

const meanings = {
  aid: "identifier of the visitor",
  ce: "encoding",
  pageName: "state",
  pe: "link",
  pev2: "action",
  pev3: "media",
  t: "time zone",
  ts: "recorded, in seconds since 1970",
  vid: "the visitor, as the application calls them",
};

// They start and end every query.
const markers = ["AQB", "ndh", "AQE"];

export class Detail {
  entry = null;

  constructor(onClose) {
    this.element = byId("detail");
    this.onClose = onClose;
  }

  get hasFocus() {
    return this.element.contains(document.activeElement);
  }

  show(entry) {
    this.entry = entry;
    this.element.replaceChildren(this.#createHead(entry), ...this.#createParts(entry));
    this.element.hidden = false;
    this.element.scrollTop = 0;
    this.#load(entry);
  }

  close() {
    this.entry = null;
    this.element.hidden = true;
    this.element.replaceChildren();
  }

  #createHead(entry) {
    const kind = kindOf(entry);
    const title = create("h2", "", shorten(nameOf(entry), 300));
    const close = createButton("close", "×", () => this.onClose());
    close.setAttribute("aria-label", "Close details");
    const tag = createTag(kind, kindLabels.get(kind));
    return createWith("header", "", createWith("div", "", tag, title), close);
  }

  #createParts(entry) {
    const parts = [createFacts(entry)];
    if (hasFindings(entry)) parts.push(createFindings(entry.findings));
    if (hasPairs(entry.contextData)) {
      parts.push(createPart("Context data", createTree(entry.contextData)));
    }
    if (hasPairs(entry.parameters)) {
      parts.push(createPart("Parameters", createTable(entry.parameters)));
    }
    const variables = withoutMarkers(entry.variables ?? {});
    if (hasPairs(variables)) parts.push(createPart("Variables", createTable(variables, meanings)));
    this.rest = create("div", "rest", "…");
    return [...parts, this.rest];
  }

  // What is too large to come with every entry.
  async #load(entry) {
    const rest = this.rest;
    const full = await fetchFull(entry);
    if (rest !== this.rest) return;
    if (!full) {
      rest.textContent = "The collector does not have it any more.";
      return;
    }
    rest.replaceChildren(createUrl(full), createPart("Headers", createTable(full.headers ?? {})));
  }
}

// The entry with its raw target and headers; null when the collector cannot give it.
async function fetchFull(entry) {
  try {
    const answer = await fetch(`/api/entries/${entry.number}`);
    return answer.ok ? await answer.json() : null;
  } catch {
    return null;
  }
}

export async function copyUrl(entry) {
  const full = await fetchFull(entry);
  try {
    await navigator.clipboard.writeText(urlOf(full));
    notify("URL copied");
  } catch {
    notify("The URL could not be copied");
  }
}

const urlOf = (full) => location.origin + full.rawTarget;

const hasPairs = (data) => Boolean(data) && Object.keys(data).length > 0;

function withoutMarkers(variables) {
  return Object.fromEntries(Object.entries(variables).filter(([name]) => !markers.includes(name)));
}

function createPart(title, ...children) {
  return createWith("section", "part", create("h3", "", title), ...children);
}

function createFacts(entry) {
  const facts = create("dl", "facts");
  const add = (name, value) => {
    facts.append(createWith("div", "", create("dt", "", name), create("dd", "", value)));
  };
  add("arrived", dateAndTime(entry.receivedTime));
  if (entry.timestamp) {
    const held = secondsHeld(entry);
    const wait = held >= 2 ? `, ${duration(held)} before` : "";
    add("recorded", dateAndTime(entry.timestamp * 1000) + wait);
  }
  add("answered", remarkOf(entry) || String(entry.status));
  if (isHit(entry)) add("suites", shorten((entry.reportSuites ?? []).join(", "), 300) || "none");
  add("length", `${count(entry.length ?? 0)} bytes`);
  return facts;
}

function createFindings(findings) {
  const list = create("ul", "findings");
  for (const finding of findings) {
    const check = create("strong", "", finding.check);
    list.append(createWith("li", "", check, create("span", "", finding.text)));
  }
  return createPart("Findings", list);
}

function createUrl(full) {
  const copy = createButton("copy", "Copy", () => copyUrl(full));
  copy.setAttribute("aria-label", "Copy the URL");
  const url = create("pre", "url", urlOf(full));
  url.tabIndex = 0;
  const part = createPart("Raw URL", url);
  part.firstChild.append(copy);
  return part;
}
