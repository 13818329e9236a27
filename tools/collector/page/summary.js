// The one or two facts that a row tells beside the name.

import { isHit, pairsText, parametersText, separator, valueOf } from "./entry.js";
import { duration } from "./format.js";

export function summaryOf(entry) {
  if (isHit(entry)) return summaries[entry.kind]?.(entry) || dataText(entry);
  return entry.type === "content" ? parametersText(entry) : "";
}

const joined = (words) => words.filter(Boolean).join(separator);

// What the application itself said, without what the library adds.
function dataText(entry) {
  const pairs = Object.entries(entry.contextData ?? {});
  return pairsText(pairs.filter(([key]) => !key.startsWith("a.")));
}

function lifecycleText(entry) {
  const events = ["Install", "Upgrade", "Crash", "Launch"];
  const happened = events.filter((name) => valueOf(entry, `a.${name}Event`));
  const length = Number(valueOf(entry, "a.PrevSessionLength"));
  return joined([
    ...happened.map((name) => name.toLowerCase()),
    length > 0 && `previous session ${duration(length)}`,
  ]);
}

function mediaText(entry) {
  const isAd = valueOf(entry, "a.media.ad.name") !== "";
  const part = (name) => valueOf(entry, `a.media.${isAd ? "ad." : ""}${name}`);
  return joined([
    isAd && `ad in ${valueOf(entry, "a.media.name")}`,
    part("view") && "view",
    part("milestone") && `milestone ${part("milestone")} %`,
    part("offsetMilestone") && `milestone ${part("offsetMilestone")} s`,
    part("complete") && "complete",
    part("clicked") && "clicked",
    part("timePlayed") && `${part("timePlayed")} s played`,
    part("segment") && `segment ${part("segment")}`,
  ]);
}

function timedActionText(entry) {
  const seconds = (name) => duration(Number(valueOf(entry, `a.action.time.${name}`)));
  return joined([`${seconds("total")}, ${seconds("inapp")} in the foreground`, dataText(entry)]);
}

// A coordinate comes in three pieces, as in "059.3", "34" and "59".
function locationText(entry) {
  const coordinate = (axis) => {
    const pieces = ["a", "b", "c"].map((piece) => valueOf(entry, `a.loc.${axis}.${piece}`));
    return Number(pieces.join(""));
  };
  return joined([valueOf(entry, "a.loc.poi"), `${coordinate("lat")}, ${coordinate("lon")}`]);
}

const summaries = {
  lifecycle: lifecycleText,
  media: mediaText,
  "timed action": timedActionText,
  location: locationText,
  "lifetime value": (entry) => `total ${valueOf(entry, "a.ltv.amount")}`,
};
