// The page: what arrives goes to the list, the timeline and the bars, once per picture.

import { Detail, copyUrl } from "./detail.js";
import { byId, notify } from "./dom.js";
import { Entries, indexOfNumber } from "./entries.js";
import { showFaults, startFaults } from "./faults.js";
import { Filter } from "./filter.js";
import { FilterBar } from "./filter_bar.js";
import { count } from "./format.js";
import { startKeyboard } from "./keyboard.js";
import { List } from "./list.js";
import { Live } from "./live.js";
import { MediaBars } from "./media_bars.js";
import { Timeline } from "./timeline.js";

const entries = new Entries();
const filter = new Filter();
const list = new List(open);
const timeline = new Timeline(open);
const media = new MediaBars(open);
const detail = new Detail(close);
const filterBar = new FilterBar(filter, applyFilter);

let arrived = [];      // not yet in the page
let isDrawing = false;

function receive(batch) {
  arrived.push(batch);
  if (isDrawing) return;
  isDrawing = true;
  requestAnimationFrame(takeArrived);
}

function takeArrived() {
  isDrawing = false;
  const added = entries.add(arrived.flat());
  arrived = [];
  const matching = added.filter((entry) => filter.matches(entry));
  for (const entry of matching) list.entries.push(entry);
  list.grow(matching.length);
  timeline.add(added);
  media.add(added);
  showCounts();
}

function forget() {
  arrived = [];
  entries.clear();
  timeline.clear();
  media.clear();
  close();
  applyFilter();
}

function applyFilter() {
  list.show(entries.all.filter((entry) => filter.matches(entry)));
  timeline.changed();
  showCounts();
}

function showCounts() {
  const { taken, notTaken, requests } = entries.counts;
  byId("taken").textContent = count(taken);
  byId("not-taken").textContent = count(notTaken);
  byId("not-taken").parentElement.classList.toggle("some", notTaken > 0);
  byId("requests").textContent = count(requests);
  const isEmpty = entries.all.length === 0;
  byId("empty").hidden = !isEmpty;
  byId("timeline").hidden = isEmpty;
  byId("nothing").hidden = isEmpty || list.entries.length > 0;
  filterBar.showCounts(entries, list.entries.length);
}

function open(entry) {
  detail.show(entry);  // before the list, which may become smaller
  list.open = entry;
  list.activate(entry);
  list.render();
  timeline.select(entry, indexOfNumber(entries.all, entry.number));
}

function close() {
  if (detail.hasFocus) list.focus();
  list.open = null;
  list.render();
  detail.close();
  timeline.select(null, -1);
}

// Details that are open follow the active entry.
function move(change) {
  change();
  if (detail.entry && list.active) open(list.active);
}

function copy() {
  const entry = detail.entry ?? list.active;
  if (entry) copyUrl(entry);
  else notify("Nothing is selected");
}

// The newest entry that has arrived, in the page or not.
const newestArrived = () => arrived.at(-1)?.at(-1) ?? entries.last;

startFaults();
startKeyboard({
  move: (lines) => move(() => list.move(lines)),
  oldest: () => move(() => list.moveTo(0)),
  newest: () => move(() => list.moveTo(list.entries.length)),
  pageLength: () => list.page,
  open: () => list.active && open(list.active),
  close,
  copy,
  focusFilter: () => filterBar.input.select(),
  leaveFilter: () => list.focus(),
});
byId("clear").addEventListener("click", () => {
  fetch("/api/hits", { method: "DELETE" }).catch(() => notify("The collector does not answer"));
});
byId("host").textContent = location.host;
showCounts();
new Live({ entries: receive, clear: forget, faults: showFaults, last: newestArrived });
