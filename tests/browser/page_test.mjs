// The collector's page in a real browser, with hits as the library sends them.

import assert from "node:assert/strict";
import { after, afterEach, before, beforeEach, test } from "node:test";
import { join } from "node:path";
import { writeFileSync } from "node:fs";

import { deadline, openPage, startBrowser } from "./browser.mjs";
import { Collector, Road } from "./collector.mjs";
import { action, content, destination, event, film, hit, location, session, state }
  from "./hits.mjs";

const many = 10_000;
const binary = process.env.VELTRO_COLLECTOR;

let browser;
let collector;
let page;

before(async () => (browser = await startBrowser()));
after(() => browser.close());

beforeEach(async () => {
  collector = await Collector.start(binary);
  page = await openPage(browser, collector.port);
});

afterEach(async () => {
  const { faults } = page;
  await page.context().close();
  await collector.stop();
  assert.deepEqual(faults, [], "errors in the page");
});

const row = (name) => page.getByRole("option", { name });
const button = (name) => page.getByRole("button", { name });
const detail = () => page.getByRole("complementary", { name: "Details" });

// Waits until the element `id` shows this text.
const shows = (id, text) => page.waitForFunction(
  ([wanted, expected]) => document.getElementById(wanted).textContent === expected, [id, text],
  { timeout: deadline });

const rowCount = () => page.getByRole("option").count();

test("what comes appears by itself, each kind under its name", async () => {
  await page.getByText("Waiting for the first hit").waitFor();
  await page.setViewportSize({ width: 1280, height: 1600 });  // all lines in view
  await collector.send(...session());
  await shows("taken", "20");
  await shows("requests", "4");
  const kinds = [
    [/identifier/, 1], [/lifecycle .*launch/, 2], [/timed action checkout 1 min 23 s/, 1],
    [/media How to water milestone 25 %/, 1], [/location .*Flagship store/, 1],
    [/lifetime value .*59\.70/, 1], [/audience .*garden/, 1], [/destination \/destination/, 1],
    [/content welcome/, 1],
  ];
  for (const [name, number] of kinds) {
    await row(name).first().waitFor();
    assert.equal(await row(name).count(), number, String(name));
  }
});

test("filters by kind and by text, together, also what comes later", async () => {
  await collector.send(state("Home"), action("buy", { item: "Rake" }), state("Rakes"));
  await button(/^state/).click();
  await shows("shown", "2 of 3");
  await page.keyboard.press("/");
  await page.keyboard.type("rAKE");
  await shows("shown", "1 of 3");
  await button(/^state/).click();
  await shows("shown", "2 of 3");
  await collector.send(action("sell", { item: "another rake" }), state("Spades"));
  await shows("shown", "3 of 5");
  await button(/^with findings/).click();
  await page.getByText("Nothing matches").waitFor();
  await button("Show all").click();
  await row("Spades").waitFor();
  assert.equal(await rowCount(), 5);
});

test("a hit opens to its data as a tree, and its URL can be copied", async () => {
  const target = hit({ pageName: "Product" }, { "a.b.c": "deep", "a.b.d": "ä & ö", plain: "1" });
  await collector.send(target);
  await row(/Product/).click();
  const branch = detail().locator("li", { has: page.locator("summary", { hasText: /^b$/ }) }).last();
  assert.deepEqual(await branch.locator("li").allTextContents(), ["cdeep", "dä & ö"]);
  await detail().getByText("Headers").waitFor();
  await button("Copy the URL").click();
  await page.getByText("URL copied").waitFor();
  const copied = await page.evaluate(() => navigator.clipboard.readText());
  assert.equal(copied, `http://127.0.0.1:${collector.port}${target}`);
});

test("a fault makes hits come back as not taken, until it is taken back", async () => {
  await button("Answer 500").click();
  await page.locator("#banner", { hasText: "answers 500" }).waitFor();
  assert.deepEqual(await collector.send(state("Home")), [500]);
  await row(/Home 500, comes again/).waitFor();
  await button("Refuse").click();
  await page.locator("#banner", { hasText: "refuses" }).waitFor();
  assert.deepEqual(await collector.send(state("Home")), [0]);
  await row(/Home no answer/).waitFor();
  await button("Recover").click();
  await page.locator("#banner").waitFor({ state: "hidden" });
  assert.deepEqual(await collector.send(state("Home")), [200]);
  await shows("taken", "1");
  await shows("not-taken", "2");
});

test("mistakes are flagged, and said in words", async () => {
  const again = state("Twice");
  const notes = 'key "my key!" was cleaned to "mykey"\nvalue of "photo" was left out: Guid';
  await collector.send(
    state(""), action("cleaned", {}, { veltroNotes: notes }), again, again,
    state("early", {}), hit({ pageName: "late", ts: 1 }), state("held", { "a.privacy.mode": "unknown" }),
    state("long", { text: "x".repeat(9000) }), state("fine"));
  const flags = [
    [/\(no name\)/, "missing page name"], [/cleaned/, "key cleaned +1"], [/late/, "timestamp out of order"],
    [/held/, "privacy unknown"], [/long/, "very long URL"],
  ];
  for (const [name, flag] of flags) {
    await row(name).getByText(flag).waitFor();
  }
  await row(/Twice/).nth(1).getByText("repeated hit").waitFor();
  assert.equal(await row(/fine/).locator(".finding-flag").textContent(), "");
  await row(/cleaned/).click();
  await detail().getByText('"photo" was left out: Guid').waitFor();
  await shows("findings-count", "6");
});

test("a film is a bar with what was played, its segments and milestones", async () => {
  const guide = film("How to water", 600);
  await collector.send(
    guide({ view: "true" }), guide({ milestone: "25", timePlayed: "150", segment: "M:0-25" }),
    guide({ milestone: "50", timePlayed: "150", segment: "M:25-50" }));
  const bar = page.getByRole("group", { name: "How to water" });
  await bar.getByText("5 min of 10 min played").waitFor();
  await bar.getByRole("button", { name: "Segment M:25-50" }).waitFor();
  const widths = await bar.locator(".played").evaluate(
    (played) => played.clientWidth / played.parentElement.clientWidth);
  assert.ok(Math.abs(widths - 0.5) < 0.02, `half of it, not ${widths}`);
  await bar.getByRole("button", { name: "Milestone 50 %" }).click();
  await detail().getByText("M:25-50").waitFor();
});

test("everything can be done by the keyboard", async () => {
  await collector.send(state("one"), action("two"), state("three"));
  await row(/three/).waitFor();
  for (const key of ["Home", "j", "Enter"]) await page.keyboard.press(key);
  await detail().getByRole("heading", { name: "two" }).waitFor();
  await page.keyboard.press("ArrowDown");
  await detail().getByRole("heading", { name: "three" }).waitFor();
  await page.keyboard.press("c");
  await page.getByText("URL copied").waitFor();
  await page.keyboard.press("Escape");
  await detail().waitFor({ state: "hidden" });
  await page.keyboard.press("?");
  await page.getByRole("dialog", { name: "Keys" }).waitFor();
  await page.keyboard.press("Escape");
  await page.keyboard.press("/");
  await page.keyboard.type("two");
  await shows("shown", "1 of 3");
});

test("the picture of the sessions leads to the hit that is clicked", async () => {
  await collector.send(state("one"));
  await row(/one/).waitFor();
  const picture = page.locator("#timeline-picture");
  await page.waitForFunction(
    () => document.getElementById("timeline-picture").ariaValueMax === "1", null, { timeout: deadline });
  const { width, height } = await picture.boundingBox();
  for (let x = 3; x < width; x += 6) {
    await picture.click({ position: { x, y: height - 20 } });
    if (await detail().isVisible()) break;
  }
  await detail().getByRole("heading", { name: "one" }).waitFor();
});

test("a lost connection is noticed and mended, and nothing is there twice", async () => {
  const road = await Road.to(collector.port);
  const further = await openPage(browser, road.port);
  try {
    await collector.send(state("before"));
    await further.getByRole("option", { name: /before/ }).waitFor();
    road.cut();
    await further.getByText("connection lost").waitFor();
    await collector.send(state("meanwhile"), state("meanwhile too"));
    road.mend();
    await further.getByRole("option", { name: /meanwhile too/ }).waitFor();
    assert.equal(await further.getByRole("option").count(), 3);

    const other = await Collector.start(binary);
    try {
      road.cut();
      await further.getByText("connection lost").waitFor();
      road.mend(other.port);
      await other.send(state("of another"));
      await further.getByRole("option", { name: /of another/ }).waitFor();
      assert.equal(await further.getByRole("option").count(), 1);
    } finally {
      await other.stop();
    }
  } finally {
    await further.context().close();
    road.close();
  }
});

test("what is received stays text", async () => {
  const evil = '<img src=x onerror="document.title=1"><script>document.title=2</script>';
  await collector.send(
    hit({ pageName: evil }, { [evil]: evil, long: "y".repeat(100_000) }, encodeURIComponent(evil)),
    event({ [evil]: evil }), content(evil), destination(encodeURIComponent(evil)));
  await shows("requests", "3");
  await row(/img src/).first().click();
  await detail().getByText("Headers").waitFor();
  assert.equal(await page.locator("#work img, #work script").count(), 0);
  assert.equal(await page.title(), "veltro-collector");
  await button(/show all 100,000 characters/).first().click();
  assert.equal(await page.locator("#detail .value", { hasText: "yyyy" }).first().evaluate(
    (value) => value.textContent.length), 100_000);
});

test(`${many} hits are no burden`, async () => {
  const targets = Array.from({ length: many }, (_, i) =>
    i % 3 ? state(`Page ${i}`, { "shop.step": String(i), "a.Launches": "3" })
          : action(`do ${i}`, { "shop.step": String(i), note: i % 100 ? "usual" : "rare" }));
  const sent = performance.now();
  await collector.sendMany(targets);
  await shows("taken", "10,000");
  const live = performance.now() - sent;
  assert.ok(await page.locator(".row").count() < 200, "only lines in view are in the page");

  const reloaded = performance.now();
  await page.reload();
  await shows("taken", "10,000");
  const load = performance.now() - reloaded;

  const frames = await page.evaluate(async () => {
    const list = document.getElementById("list");
    const times = [];
    let last = performance.now();
    for (let i = 0; i < 120; ++i) {
      list.scrollTop = (list.scrollHeight * i) / 120;
      await new Promise(requestAnimationFrame);
      times.push(performance.now() - last);
      last = performance.now();
    }
    return times.sort((a, b) => a - b);
  });
  assert.ok(await page.locator(".row").count() < 200);

  const filter = await page.evaluate(async () => {
    const input = document.getElementById("filter");
    const times = [];
    for (const text of ["r", "ra", "rare"]) {
      const start = performance.now();
      input.value = text;
      input.dispatchEvent(new Event("input"));
      await new Promise(requestAnimationFrame);
      times.push(performance.now() - start);
    }
    return times;
  });
  await shows("shown", "34 of 10,000");
  const ms = (time) => `${time.toFixed(0)} ms`;
  const figures = [
    `received live and shown in ${ms(live)}`, `loaded in ${ms(load)}`,
    `a frame while scrolling: median ${ms(frames[60])}, longest ${ms(frames.at(-1))}`,
    `filtered by a letter more: ${filter.map(ms).join(", ")}`,
  ].join("\n");
  console.log(`10,000 hits\n${figures}`);
  writeFileSync(join(process.env.PAGE_TEST_OUTPUT, "figures.txt"), `${figures}\n`);
});
