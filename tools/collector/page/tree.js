// Keys with dots as a tree, and long values cut until the reader asks for them.

import { create, createButton, createWith } from "./dom.js";
import { count } from "./format.js";

// Hostile hits have keys without end. Deeper levels stay in one piece, further keys are counted.
const mostLevels = 12;
const mostKeys = 1000;
const longestValue = 2000;  // characters

// {"a.loc.poi": "x"} as Map a -> Map loc -> Map poi, each {value, children}.
function nest(pairs) {
  const root = { children: new Map() };
  for (const [key, value] of pairs) {
    let node = root;
    for (const name of levelsOf(key)) {
      if (!node.children.has(name)) node.children.set(name, { children: new Map() });
      node = node.children.get(name);
    }
    node.value = value;
  }
  return root;
}

function levelsOf(key) {
  const parts = key.split(".");
  if (parts.length <= mostLevels) return parts;
  return [...parts.slice(0, mostLevels - 1), parts.slice(mostLevels - 1).join(".")];
}

export function createTree(data) {
  const pairs = Object.entries(data);
  const tree = createLevel(nest(pairs.slice(0, mostKeys)));
  if (pairs.length > mostKeys) tree.append(createMore(pairs.length));
  return tree;
}

// Pairs without levels, with a word on those that are known.
export function createTable(data, meanings = {}) {
  const pairs = Object.entries(data);
  const table = create("ul", "tree");
  for (const [key, value] of pairs.slice(0, mostKeys)) {
    const line = createLine(key, value);
    if (Object.hasOwn(meanings, key)) line.append(create("span", "meaning", meanings[key]));
    table.append(createWith("li", "", line));
  }
  if (pairs.length > mostKeys) table.append(createMore(pairs.length));
  return table;
}

function createLevel(node) {
  const level = create("ul", "tree");
  for (const [name, child] of node.children) level.append(createNode(name, child));
  return level;
}

function createNode(name, node) {
  if (node.children.size === 0) return createWith("li", "", createLine(name, node.value));
  const branch = createWith("details", "", createHead(name, node), createLevel(node));
  branch.open = true;
  return createWith("li", "", branch);
}

function createHead(name, node) {
  if (node.value === undefined) return createWith("summary", "", create("span", "key", name));
  return createWith("summary", "", createLine(name, node.value));
}

function createLine(key, value) {
  return createWith("span", "line", create("span", "key", key), createValue(String(value)));
}

function createValue(text) {
  const value = create("span", "value", text.slice(0, longestValue));
  if (text === "") value.classList.add("blank");
  if (text.length <= longestValue) return value;
  const more = createButton("link", `show all ${count(text.length)} characters`, () => {
    value.textContent = text;
  });
  value.append("… ", more);
  return value;
}

function createMore(total) {
  return create("li", "meaning", `and ${count(total - mostKeys)} more, which the raw URL shows`);
}
