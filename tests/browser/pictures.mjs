// Pictures of the page in light and dark, with a film and with a fault, for people to look at.

import { join } from "node:path";
import { setTimeout as pause } from "node:timers/promises";

import { openPage, startBrowser } from "./browser.mjs";
import { Collector } from "./collector.mjs";
import { session, state } from "./hits.mjs";

const folder = process.env.PAGE_TEST_OUTPUT;
const collector = await Collector.start(process.env.VELTRO_COLLECTOR);
const browser = await startBrowser();
try {
  // With breaks between them, as a person makes them, so that there is a timeline to see.
  for (const [i, target] of session().entries()) {
    await collector.send(target.replace(/&ts=\d+/, `&ts=${Math.floor(Date.now() / 1000)}`));
    await pause(40 + (i * 67) % 190);
  }
  const take = async (name, options, prepare) => {
    const page = await openPage(browser, collector.port, options);
    await page.getByRole("option", { name: "Thank you" }).waitFor();
    await prepare?.(page);
    await page.waitForTimeout(300);  // the picture of the timeline follows the list
    await page.screenshot({ path: join(folder, `${name}.png`) });
    await page.context().close();
  };
  const click = (name) => (page) => page.getByRole("option", { name }).click();
  await take("light", { colorScheme: "light" }, click(/key cleaned/));
  await take("dark", { colorScheme: "dark" }, click(/Flagship/));
  await take("narrow", { viewport: { width: 520, height: 900 } }, click(/checkout/));
  await take("media", {}, (page) => page.getByRole("button", { name: "Milestone 50 %" }).click());
  await take("faults", {}, async (page) => {
    await page.getByRole("button", { name: "Answer 500" }).click();
    await page.locator("#banner").waitFor();
    for (let i = 0; i < 3; ++i) await collector.send(state("Home"));
    await page.getByRole("option", { name: "500, comes again" }).nth(2).waitFor();
  });
  await collector.request("DELETE", "/api/faults");
  await collector.request("DELETE", "/api/hits");
  const empty = await openPage(browser, collector.port);
  await empty.screenshot({ path: join(folder, "empty.png") });
} finally {
  await browser.close();
  await collector.stop();
}
