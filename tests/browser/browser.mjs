// Debian's Chromium, headless, with the collector's page in it.

import { chromium } from "playwright-core";

export const deadline = 10_000;  // milliseconds, for whatever a test waits for

export const startBrowser = () => chromium.launch({
  executablePath: process.env.CHROMIUM || "/usr/bin/chromium",
  args: ["--no-sandbox", "--enable-precise-memory-info"],
  timeout: 30_000,
});

// A window with the page, its list of received things filled with what the collector holds.
export async function openPage(browser, port, options = {}) {
  const context = await browser.newContext({
    viewport: { width: 1280, height: 800 },
    permissions: ["clipboard-read", "clipboard-write"],
    ...options,
  });
  context.setDefaultTimeout(deadline);
  const page = await context.newPage();
  page.faults = [];
  page.on("pageerror", (error) => page.faults.push(String(error)));
  page.on("console", (message) => {
    if (message.type() === "error") page.faults.push(message.text());
  });
  await page.goto(`http://127.0.0.1:${port}/`);
  await page.getByText(`live on 127.0.0.1:${port}`).waitFor();
  return page;
}
