// What an entry is: a hit, or a request to one of the other servers.

// All kinds, in the order in which they are offered and drawn, with their labels.
export const kindLabels = new Map([
  ["state", "state"],
  ["action", "action"],
  ["timed action", "timed action"],
  ["lifecycle", "lifecycle"],
  ["media", "media"],
  ["location", "location"],
  ["lifetime value", "lifetime value"],
  ["internal action", "internal action"],
  ["other", "other"],
  ["event", "audience"],
  ["destination", "destination"],
  ["content", "content"],
  ["id", "identifier"],
]);

// Between the facts on one line.
export const separator = "  ·  ";

export const isHit = (entry) => entry.type === "hit";

// A kind that this page does not know yet counts among the others.
export function kindOf(entry) {
  const kind = isHit(entry) ? entry.kind : entry.type;
  return kindLabels.has(kind) ? kind : "other";
}

export const isTaken = (entry) => entry.status === 200 || entry.status === 307;

export const hasFindings = (entry) => Boolean(entry.findings?.length);

export const valueOf = (entry, key) => entry.contextData?.[key] ?? "";

// What became of it, when that is not the usual; "" when it is.
export function remarkOf(entry) {
  if (isTaken(entry)) return "";
  if (entry.status === 0) return "no answer";
  return isHit(entry) ? `${entry.status}, comes again` : String(entry.status);
}

// How many seconds a hit waited in the queue of the application.
export function secondsHeld(entry) {
  return entry.timestamp ? Math.max(entry.receivedTime / 1000 - entry.timestamp, 0) : 0;
}

export function isSessionStart(entry) {
  return entry.kind === "lifecycle" && valueOf(entry, "a.LaunchEvent") !== "";
}

export function nameOf(entry) {
  if (entry.type === "id") return "asks for an identifier";
  if (entry.type === "event") return parametersText(entry) || "no traits";
  const item = valueOf(entry, "a.media.ad.name") || valueOf(entry, "a.media.name");
  return (entry.kind === "media" && item) || entry.name || "(no name)";
}

// Traits and parameters of a request, without those that say how it is made.
export function parametersText(entry) {
  const pairs = Object.entries(entry.parameters ?? {});
  const own = pairs.filter(([name]) => !/^(d_|mbox|t$)/.test(name));
  return pairsText(own.map(([name, value]) => [name.replace(/^c_/, ""), value]));
}

// At most four, each value cut short.
export function pairsText(pairs) {
  const shown = pairs.slice(0, 4).map(([key, value]) => `${key}: ${String(value).slice(0, 80)}`);
  return shown.join(separator);
}
