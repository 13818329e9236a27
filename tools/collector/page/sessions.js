// Sessions of the application, as its lifecycle hits delimit them.

import { isSessionStart, valueOf } from "./entry.js";
import { clockTime, duration } from "./format.js";

// What a session began with, as in "launch 14:03:12, after a crash". `entry` is its first hit.
function sessionLabel(entry) {
  const facts = [`${beginning(entry)} ${clockTime(entry.receivedTime)}`];
  if (valueOf(entry, "a.CrashEvent")) facts.push("after a crash");
  const previous = Number(valueOf(entry, "a.PrevSessionLength"));
  if (previous > 0) facts.push(`the one before took ${duration(previous)}`);
  return facts.join(", ");
}

function beginning(entry) {
  if (valueOf(entry, "a.InstallEvent")) return "install";
  return valueOf(entry, "a.UpgradeEvent") ? "upgrade" : "launch";
}

// Where each entry lies in time. Long pauses count as half a minute, or a day's breaks would leave
// no room for the sessions.
export class Axis {
  #longestPause = 30_000;  // milliseconds

  constructor() {
    this.clear();
  }

  clear() {
    this.positions = [];  // of each entry, in milliseconds without the long pauses
    this.starts = [];     // index and label of the entries with which sessions begin
    this.length = 0;
    this.lastTime = 0;
  }

  add(entry) {
    if (this.positions.length > 0) {
      const pause = Math.max(entry.receivedTime - this.lastTime, 0);
      this.length += Math.min(pause, this.#longestPause);
    }
    this.lastTime = Math.max(this.lastTime, entry.receivedTime);
    if (isSessionStart(entry)) {
      this.starts.push({ index: this.positions.length, label: sessionLabel(entry) });
    }
    this.positions.push(this.length);
  }
}
