// The connection to the collector: entries as they arrive, clears, faults.

import { byId } from "./dom.js";

const retryAfter = 1000;  // milliseconds

export class Live {
  #source = null;
  #wasLost = false;

  // `handlers`: entries(batch), clear(), faults(list), and last(), the newest entry that is kept.
  constructor(handlers) {
    this.handlers = handlers;
    document.addEventListener("visibilitychange", () => this.#visibilityChanged());
    this.#connect();
  }

  // A page that nobody sees holds no connection: browsers open six to one server, over all windows.
  #visibilityChanged() {
    this.#source?.close();
    this.#source = null;
    this.#wasLost = true;
    this.#connect();
  }

  // Connects by itself instead of leaving that to the EventSource: not every browser tries again
  // when a connection is refused.
  #connect() {
    if (document.hidden || this.#source) return;
    const last = this.handlers.last();
    const source = new EventSource(`/api/live?after=${last?.number ?? 0}`);
    this.#source = source;
    source.addEventListener("open", () => this.#opened(last));
    source.addEventListener("error", () => this.#lost());
    source.addEventListener("entries", (event) => this.handlers.entries(JSON.parse(event.data)));
    source.addEventListener("clear", () => this.handlers.clear());
    source.addEventListener("faults", (event) => this.handlers.faults(JSON.parse(event.data)));
  }

  #opened(last) {
    showConnection(true);
    if (this.#wasLost && last) this.#checkThatItIsTheSame(last);
    this.#wasLost = false;
  }

  #lost() {
    this.#source?.close();
    this.#source = null;
    this.#wasLost = true;
    showConnection(false);
    setTimeout(() => this.#connect(), retryAfter);
  }

  // A collector that was started anew counts from 1 again, and may have come past the number that we
  // know. It does not know our entry: we forget all and begin again.
  async #checkThatItIsTheSame(last) {
    const source = this.#source;
    const answer = await fetch(`/api/entries/${last.number}`).catch(() => null);
    if (!answer || source !== this.#source) return;
    const isSame = answer.ok && (await answer.json()).receivedTime === last.receivedTime;
    if (isSame || source !== this.#source) return;
    source.close();
    this.#source = null;
    this.handlers.clear();
    this.#connect();
  }
}

function showConnection(isConnected) {
  const connection = byId("connection");
  const lost = "connection lost, reconnecting";
  connection.textContent = isConnected ? `live on ${location.host}` : lost;
  connection.classList.toggle("live", isConnected);
  connection.classList.toggle("lost", !isConnected);
}
