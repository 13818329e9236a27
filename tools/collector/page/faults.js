// Trouble with the collection server, on demand: what waits to go wrong, and the buttons for it.

import { byId, notify } from "./dom.js";

const forever = 0;

const buttons = [...document.querySelectorAll("[data-fault]")];

export function startFaults() {
  for (const button of buttons) {
    button.addEventListener("click", () => {
      const isOn = button.getAttribute("aria-pressed") === "true";
      change(isOn ? null : button.dataset.fault);
    });
  }
  byId("recover").addEventListener("click", () => change(null));
}

// Takes back what waits and puts `kind` in its place, if any. The buttons follow when the collector
// tells that it is so.
async function change(kind) {
  try {
    await fetch("/api/faults", { method: "DELETE" });
    if (!kind) return;
    const fault = { kind, times: forever, server: "collection" };
    if (kind === "status") fault.status = 500;
    await fetch("/api/faults", { method: "POST", body: JSON.stringify(fault) });
  } catch {
    notify("The collector does not answer");
  }
}

export function showFaults(faults) {
  // Those behind one that lasts for ever have to wait for ever.
  const first = faults.find((fault) => fault.server === "collection");
  for (const button of buttons) {
    const isOn = first?.times === forever && first.kind === button.dataset.fault;
    button.setAttribute("aria-pressed", isOn);
  }
  byId("recover").disabled = faults.length === 0;
  const banner = byId("banner");
  banner.hidden = faults.length === 0;
  banner.textContent = first ? `${describe(first)} ${consequence}` : faults.map(describe).join(" ");
}

const consequence =
  "The application holds its queue and tries again 30 seconds after an attempt that failed. " +
  "Recover, and watch it drain.";

function describe(fault) {
  const deed = deeds[fault.kind]?.(fault) ?? "is in trouble";
  const answers = fault.times === 1 ? "the next answer" : `the next ${fault.times} answers`;
  const extent = fault.times === forever ? "" : ` for ${answers}`;
  return `The ${fault.server} server ${deed}${extent}.`;
}

const deeds = {
  status: (fault) => `answers ${fault.status}`,
  delay: (fault) => `answers ${fault.milliseconds ?? "some"} ms late`,
  silence: () => "stays silent",
  reset: () => "refuses every connection",
  close: () => "closes every connection",
};
