// The collector's page in a browser, with the collector behind it.

import assert from "node:assert/strict";
import { writeFile } from "node:fs/promises";
import { join } from "node:path";
import { after, afterEach, before, beforeEach, test } from "node:test";

import { deadline, openPage, startBrowser } from "./browser.mjs";
import { Collector, Road } from "./collector.mjs";
import {
  action, ad, content, destination, event, film, hit, identifier, launch, session, state,
} from "./hits.mjs";

let browser;
let collector;
let pages = [];

before(async () => {
  browser = await startBrowser();
  collector = await Collector.start(process.env.VELTRO_COLLECTOR);
});

after(async () => {
  await browser?.close();
  await collector?.stop();
});

beforeEach(async () => {
  await collector.request("DELETE", "/api/hits");
  await collector.request("DELETE", "/api/faults");
});

afterEach(async () => {
  const faults = pages.flatMap((page) => page.faults);
  for (const page of pages) await page.context().close();
  pages = [];
  assert.deepEqual(faults, []);
});

async function open(port = collector.port, options = {}) {
  const page = await openPage(browser, port, options);
  pages.push(page);
  return page;
}

const row = (page, name) => page.getByRole("option", { name });
const button = (page, name) => page.getByRole("button", { name });

const namesOf = (page) => page.evaluate(() => {
  const rows = [...document.querySelectorAll(".row:not([hidden])")];
  rows.sort((a, b) => a.ariaPosInSet - b.ariaPosInSet);
  return rows.map((element) => element.querySelector(".name").textContent);
});

// Waits until `read` gives `expected`, and says what it gave instead when it never does.
async function becomes(read, expected, name = "") {
  const end = Date.now() + deadline;
  for (;;) {
    const value = await read();
    try {
      return assert.deepEqual(value, expected);
    } catch (error) {
      if (Date.now() > end) throw new Error(`${name} ${error.message}`);
    }
  }
}

const counts = (page) => page.locator(".counts dd").allTextContents();

test("what arrives is shown at once, in order, and forgotten when it is cleared", async () => {
  const page = await open();
  await page.getByText(`VELTRO_DRY_RUN=127.0.0.1:${collector.port} ./my-app`).waitFor();
  await collector.send(state("One"), action("two"), state("Three"));
  await becomes(() => namesOf(page), ["One", "two", "Three"]);
  assert.deepEqual(await counts(page), ["3", "0", "0"]);
  await button(page, "Clear").click();
  await page.getByText("Waiting for the first hit").waitFor();
  await collector.send(state("Four"));
  await becomes(() => namesOf(page), ["Four"]);
});

test("filters by kind, text and findings, also what comes later", async () => {
  const page = await open();
  const chip = (name) => button(page, new RegExp(`^${name} \\d`));
  const write = (text) => page.getByLabel("Filter by text").fill(text);
  await collector.send(
    state("Home"), hit({ pageName: "Cans" }, { "list.Colour": "Copper" }, "other-shop"),
    action("buy", { item: "copper can" }), state(""), event({ likes: "copper" }));
  await becomes(async () => (await namesOf(page)).length, 5);
  const cases = [
    ["one kind", () => chip("state").click(), ["Home", "Cans", "(no name)"]],
    ["two kinds", async () => {
      await chip("action").click();
      await chip("audience").click();
    }, ["buy", "likes: copper"]],
    ["name", () => write("hom"), ["Home"]],
    ["key, in any case", () => write("LIST.colour"), ["Cans"]],
    ["value", () => write("copper"), ["Cans", "buy", "likes: copper"]],
    ["suite", () => write("other-shop"), ["Cans"]],
    ["kind and text", async () => {
      await chip("action").click();
      await write("copper");
    }, ["buy"]],
    ["findings", () => button(page, /^with findings/).click(), ["(no name)"]],
    ["nothing", () => write("no such text"), []],
  ];
  for (const [name, choose, expected] of cases) {
    await choose();
    await becomes(() => namesOf(page), expected, name);
    await page.evaluate(() => document.getElementById("show-all").click());
    await becomes(async () => (await namesOf(page)).length, 5, name);
  }
  await write("tulip");
  await collector.send(state("Roses"), state("Tulips"));
  await becomes(() => namesOf(page), ["Tulips"]);
});

test("a row opens with its data as a tree and its URL to copy", async () => {
  const page = await open();
  const target = action("buy", { "item.name": "can", "item.price.net": "19.9", "item": "1" },
                        { veltroNotes: 'key "my key!" was cleaned to "mykey"' });
  await collector.send(target);
  await row(page, /key cleaned/).click();
  const detail = page.getByRole("complementary");
  const net = detail.locator("li li li", { hasText: "net19.9" });
  await becomes(() => net.locator("xpath=ancestor::details/summary").allTextContents(),
                ["item1", "price"]);
  await detail.getByText('"my key!" was cleaned to "mykey"').waitFor();
  await detail.getByText("QXACTION:buy").waitFor();
  await button(detail, "Copy the URL").click();
  await page.getByText("URL copied").waitFor();
  const copied = await page.evaluate(() => navigator.clipboard.readText());
  assert.equal(copied, `http://127.0.0.1:${collector.port}${target}`);
});

test("a fault shows what was not taken until the server recovers", async () => {
  const page = await open();
  const cases = [
    ["Answer 500", "500, comes again", 500],
    ["Stay silent", "no answer", 0],
    ["Refuse", "no answer", 0],
  ];
  for (const [name, remark, status] of cases) {
    await button(page, "Clear").click();
    await becomes(() => counts(page), ["0", "0", "0"], name);
    await button(page, name).click();
    await page.locator('[aria-pressed="true"]', { hasText: name }).waitFor();
    await page.getByText("holds its queue").waitFor();
    assert.deepEqual(await collector.send(state("Home")), [status], name);
    await row(page, `Home ${remark}`).waitFor();
    await becomes(() => counts(page), ["0", "1", "0"], name);
    await button(page, "Recover").click();
    await page.locator("#banner").waitFor({ state: "hidden" });
    assert.deepEqual(await collector.send(state("Home")), [200], name);
    await becomes(() => counts(page), ["1", "1", "0"], name);
  }
  await button(page, "Refuse").click();
  await button(page, "Answer 500").click();  // in its place, not behind it
  await becomes(() => page.locator(".faults [aria-pressed=true]").allTextContents(),
                ["Answer 500"]);
});

test("requests to the other servers stand beside the hits", async () => {
  const page = await open();
  await collector.send(identifier(), state("Home"), event({ likes: "roses" }),
                       destination("partner?x=1"), content("welcome"));
  await becomes(() => page.locator('.row[data-type="request"] .tag').allTextContents(),
                ["identifier", "audience", "destination", "content"]);
  assert.deepEqual(await counts(page), ["1", "0", "4"]);
  await row(page, "welcome").click();
  await page.getByRole("complementary").getByText("mboxDefault", { exact: true }).waitFor();
});

test("playback is a bar with its milestones, an ad under its content", async () => {
  const page = await open();
  const guide = film("How to water", 600);
  const spot = ad("Spring sale", 30, "How to water");
  await collector.send(
    guide({ view: "true" }), spot({ view: "true" }), spot({ timePlayed: "30", complete: "true" }),
    guide({ milestone: "25", timePlayed: "150", segment: "M:0-25" }),
    guide({ offsetMilestone: "300", timePlayed: "150" }), guide({ clicked: "true" }));
  const bar = page.getByRole("group", { name: "How to water" });
  await bar.getByText("5 min of 10 min played, 1 click").waitFor();
  const left = (name) => button(bar, name).evaluate((element) => element.style.left);
  assert.deepEqual([await left("Milestone 25 %"), await left("Milestone 300 s")], ["25%", "50%"]);
  assert.equal(await button(bar, "Segment M:0-25").evaluate((one) => one.style.width), "25%");
  assert.equal(await bar.locator(".played").evaluate((element) => element.style.width), "50%");
  assert.deepEqual(await page.locator(".media-name").allTextContents(),
                   ["How to water", "Spring sale"]);
  await button(bar, "Milestone 25 %").click();
  await row(page, /milestone 25 %/).and(page.locator('[aria-selected="true"]')).waitFor();
  await collector.send(guide({ view: "true" }));
  await bar.getByText("0 s of 10 min played, view 2").waitFor();
});

test("the timeline leads to its hits and the theme is kept", async () => {
  const page = await open();
  await collector.send(launch({ "a.InstallEvent": "InstallEvent" }), state("Home"), state("Last"));
  await row(page, "Last").waitFor();
  const picture = page.getByRole("slider");
  await becomes(() => picture.getAttribute("aria-valuemax"), "3");
  const { width, height } = await picture.boundingBox();
  await picture.click({ position: { x: 2, y: height - 24 } });
  await becomes(() => page.locator("#detail h2").textContent(), "Lifecycle");
  await picture.click({ position: { x: Math.floor(width / 8) * 8 - 4, y: height - 24 } });
  await becomes(() => page.locator("#detail h2").textContent(), "Last");
  const ground = () => page.evaluate(() => getComputedStyle(document.body).backgroundColor);
  const light = await ground();
  await button(page, "Light or dark").click();
  const dark = await ground();
  assert.notEqual(dark, light);
  await page.reload();
  assert.equal(await ground(), dark);
});

test("everything goes by the keyboard", async () => {
  const page = await open();
  await collector.send(state("One"), state("Two"), state("Three"));
  await row(page, "Three").waitFor();
  const active = () => page.evaluate(() => {
    const id = document.getElementById("list").getAttribute("aria-activedescendant");
    return document.getElementById(id)?.querySelector(".name").textContent;
  });
  const press = (...keys) => keys.reduce(
    (before, key) => before.then(() => page.keyboard.press(key)), Promise.resolve());
  await press("Home");
  await becomes(active, "One");
  await press("End");
  await becomes(active, "Three");
  await press("ArrowUp", "ArrowUp", "j");
  await becomes(active, "Two");
  await press("Enter");
  await becomes(() => page.locator("#detail h2").textContent(), "Two");
  await press("Home");
  await becomes(() => page.locator("#detail h2").textContent(), "One");
  await press("c");
  await page.getByText("URL copied").waitFor();
  await press("Escape");
  await page.locator("#detail").waitFor({ state: "hidden" });
  await press("/");
  await page.keyboard.type("j?c");  // text in the field, keys nowhere else
  assert.equal(await page.getByLabel("Filter by text").inputValue(), "j?c");
  await press("Escape");
  await becomes(() => page.evaluate(() => document.activeElement.id), "list");
  await press("?");
  await page.getByRole("dialog", { name: "Keys" }).waitFor();
  await press("Escape");
  await page.getByRole("dialog", { name: "Keys" }).waitFor({ state: "hidden" });
});

test("nothing is doubled or lost when the connection or the collector ends", async () => {
  const first = await Collector.start(process.env.VELTRO_COLLECTOR);
  const road = await Road.to(first.port);
  let second;
  try {
    const page = await open(road.port);
    const isLost = () => page.getByText("connection lost").waitFor();
    await first.send(state("One"), state("Two"));
    await row(page, "Two").waitFor();
    road.cut();
    await isLost();
    await first.send(state("Three"));
    road.mend();
    await becomes(() => namesOf(page), ["One", "Two", "Three"]);

    road.cut();
    await isLost();
    await first.stop();
    second = await Collector.start(process.env.VELTRO_COLLECTOR);
    await second.send(...["A", "B", "C", "D"].map((name) => state(name)));  // numbers go beyond
    road.mend(second.port);
    await becomes(() => namesOf(page), ["A", "B", "C", "D"]);
    await second.send(state("E"));
    await becomes(() => namesOf(page), ["A", "B", "C", "D", "E"]);
    await page.context().close();
    page.faults = page.faults.filter((fault) => !/net::ERR_|status of 404/.test(fault));
  } finally {
    road.close();
    await first.stop();
    await second?.stop();
  }
});

test("hostile text stays text", async () => {
  const page = await open();
  const evil = "<img src=x onerror=\"document.title='hacked'\"><script>alert(1)</script>";
  const long = "x".repeat(100_000);
  await collector.send(
    hit({ pageName: evil }, { "__proto__": evil, "constructor.prototype.x": evil, long },
        encodeURIComponent(evil)),
    state("Deep", { [Array(5000).fill("a").join(".")]: "bottom" }), event({ [evil]: evil }));
  const images = await page.locator("img").count();
  await row(page, evil.slice(0, 40)).first().click();
  const detail = page.getByRole("complementary");
  const value = detail.locator(".value", { hasText: "xxx" });
  const shown = () => value.evaluate((element) => element.textContent.length);
  assert.ok(await shown() < 5000);
  await detail.getByText("show all 100,000 characters").click();
  await becomes(shown, 100_000);
  await detail.getByRole("heading", { name: "Headers" }).waitFor();
  assert.ok((await detail.textContent()).includes("constructor"));
  await row(page, "Deep").click();
  await detail.getByText("bottom", { exact: true }).waitFor();
  assert.equal(await page.locator("img").count(), images);
  assert.equal(await page.title(), "veltro-collector");
});

test("10,000 hits", async () => {
  const total = 10_000;
  const day = session().filter((target) => target.startsWith("/b/ss/"));
  const targets = Array.from({ length: total }, (_, i) =>
    day[i % day.length].replace(/\/s\d+\?/, `/s${i}?`).replace("&.c&", `&serial=n${i}&.c&`));
  const figures = [];
  const measure = async (name, work) => {
    const start = performance.now();
    const result = await work();
    figures.push(`${name}: ${result ?? `${Math.round(performance.now() - start)} ms`}`);
  };
  const taken = (page) => becomes(async () => (await counts(page))[0], "10,000");
  const live = await open();
  await measure("sent and shown live", async () => {
    await collector.sendMany(targets);
    await taken(live);
  });
  await row(live, /./).first().waitFor();
  let page;
  await measure("page opened with all of them", async () => {
    page = await open();
    await taken(page);
  });
  await measure("frames while scrolling", () => page.evaluate(scrollThrough));
  assert.ok(await page.locator("#rows > *").count() < 200);
  const filterTime = (text) => page.evaluate(timeFilter, text);
  await measure("first filter, which prepares the texts", () => filterTime("serial"));
  await measure("filter for one hit", () => filterTime("n9999"));
  await becomes(() => page.locator("#shown").textContent(), "1 of 10,000");
  await measure("filter taken back", () => filterTime(""));
  await page.evaluate(() => (document.getElementById("list").scrollTop = 0));
  await collector.send(state("One more"), state("And one"));
  await button(page, "2 new").click();
  await row(page, "And one").waitFor();
  await measure("memory of the page", () => page.evaluate(
    () => `${Math.round(performance.memory.usedJSHeapSize / 2 ** 20)} MiB`));
  console.log(figures.join("\n"));
  await writeFile(join(process.env.PAGE_TEST_OUTPUT, "figures.txt"), `${figures.join("\n")}\n`);
});

// In the page: scrolls from end to end in 240 pictures, and tells how long they took.
async function scrollThrough() {
  const list = document.getElementById("list");
  const frame = () => new Promise((resolve) => requestAnimationFrame(resolve));
  const times = [];
  let last = await frame();
  for (let i = 0; i < 240; ++i) {
    list.scrollTop = list.scrollHeight * Math.abs(1 - i / 120);
    const now = await frame();
    times.push(now - last);
    last = now;
  }
  times.sort((a, b) => a - b);
  const at = (share) => times[Math.floor(share * (times.length - 1))].toFixed(1);
  return `median ${at(0.5)} ms, 95 % below ${at(0.95)} ms, longest ${at(1)} ms`;
}

// In the page: writes into the filter and waits for the picture.
async function timeFilter(text) {
  const input = document.getElementById("filter");
  const start = performance.now();
  input.value = text;
  input.dispatchEvent(new Event("input"));
  const work = performance.now() - start;
  await new Promise((resolve) => requestAnimationFrame(() => setTimeout(resolve)));
  return `${work.toFixed(1)} ms, shown after ${(performance.now() - start).toFixed(1)} ms`;
}
