// The collector as a child process, a road to it that can be cut, and a client like the library.

import { spawn } from "node:child_process";
import http from "node:http";
import net from "node:net";
import readline from "node:readline";

const mostConnections = 4;

export class Collector {
  static async start(binary) {
    const collector = new Collector();
    collector.agent = new http.Agent({ keepAlive: true, maxSockets: mostConnections });
    collector.process = spawn(binary, ["--port", "0"], { stdio: ["ignore", "pipe", "inherit"] });
    collector.ended = new Promise((resolve) => collector.process.once("exit", resolve));
    const failed = collector.ended.then(() => Promise.reject(new Error("the collector ended")));
    failed.catch(() => {});
    collector.port = await Promise.race([readPort(collector.process.stdout), failed]);
    return collector;
  }

  async stop() {
    this.agent.destroy();
    this.process.kill("SIGTERM");
    const timer = setTimeout(() => this.process.kill("SIGKILL"), 5000);
    await this.ended;
    clearTimeout(timer);
  }

  // Sends requests one after the other, as one application does; gives their statuses, 0 for none.
  async send(...targets) {
    const statuses = [];
    for (const target of targets) statuses.push(await this.request("GET", target));
    return statuses;
  }

  // Sends them on several connections at once.
  async sendMany(targets) {
    const next = targets.values();
    const sender = async () => {
      for (const target of next) await this.request("GET", target);
    };
    await Promise.all(Array.from({ length: mostConnections }, sender));
  }

  request(method, path, body = "", headers = {}) {
    return new Promise((resolve) => {
      const options = { host: "127.0.0.1", port: this.port, method, path, headers };
      const request = http.request({ ...options, agent: this.agent, timeout: 3000 }, (response) => {
        response.resume();
        response.once("end", () => resolve(response.statusCode));
        response.once("error", () => resolve(0));
      });
      request.once("timeout", () => request.destroy());
      request.once("error", () => resolve(0));
      request.end(body);
    });
  }
}

// Prints the collector's lines to nobody, but for the one that tells the port.
function readPort(output) {
  return new Promise((resolve) => {
    readline.createInterface({ input: output }).on("line", (line) => {
      const [, port] = /^Listening on http:\/\/127\.0\.0\.1:(\d+)/.exec(line) ?? [];
      if (port) resolve(Number(port));
    });
  });
}

// Leads from a port of its own to a collector, until it is cut.
export class Road {
  #sockets = new Set();

  static async to(port) {
    const road = new Road();
    road.target = port;
    road.server = net.createServer((client) => road.#join(client));
    await new Promise((resolve) => road.server.listen(0, "127.0.0.1", resolve));
    road.port = road.server.address().port;
    return road;
  }

  // Ends every connection, and every one that is tried until `mend`.
  cut() {
    this.isCut = true;
    for (const socket of this.#sockets) socket.destroy();
  }

  mend(port = this.target) {
    this.target = port;
    this.isCut = false;
  }

  close() {
    this.cut();
    this.server.close();
  }

  #join(client) {
    if (this.isCut) return client.destroy();
    const server = net.connect(this.target, "127.0.0.1");
    for (const [from, to] of [[client, server], [server, client]]) {
      this.#sockets.add(from);
      from.pipe(to);
      from.on("error", () => {});
      from.on("close", () => {
        this.#sockets.delete(from);
        to.destroy();
      });
    }
  }
}
