// A browser on the page. Whatever the page has to complain of fails the test.
import assert from 'node:assert/strict';
import { chromium } from 'playwright-core';
import { PATIENCE_MS } from './server.mjs';

const ARGUMENTS = [
  '--no-sandbox',
  '--disable-gpu',
  '--disable-background-networking',
  '--disable-component-update',
  '--disable-sync',
  '--no-first-run',
  '--disable-quic',
  '--js-flags=--expose-gc',
];

export function launch() {
  return chromium.launch({
    executablePath: process.env.QEL_BROWSER ?? '/usr/bin/chromium',
    args: ARGUMENTS,
  });
}

// Failed requests are told by the page itself, in its own words; the browser's line about them adds
// nothing.
const ABOUT_REQUESTS = /Failed to load resource|net::ERR_/;

// A tab of a browser that knows nothing of others, and what has gone wrong in it.
async function openTab(browser, settings) {
  const context = await browser.newContext({ viewport: { width: 1280, height: 800 }, ...settings });
  context.setDefaultTimeout(PATIENCE_MS);
  const page = await context.newPage();
  const faults = [];
  page.on('pageerror', (error) => faults.push(error.message));
  page.on('console', (message) => {
    const isFault = message.type() === 'error' && !ABOUT_REQUESTS.test(message.text());
    if (isFault) faults.push(message.text());
  });
  return { page, faults };
}

function assertNoFaults({ faults }, expected) {
  assert.deepEqual(
    faults.splice(0).filter((fault) => !expected?.test(fault)),
    [],
  );
}

// A page at an address of the server, or an empty one when that is null. Nothing may have gone wrong
// in it when the test ends, but for what `expected` fits.
export async function openPage(t, browser, server, path = '/', { expected, ...settings } = {}) {
  const tab = await openTab(browser, settings);
  t.after(async () => {
    await tab.page.context().close();
    assertNoFaults(tab, expected);
  });
  if (path !== null) await tab.page.goto(server.address + path);
  return tab.page;
}

// The same in a tab that one test after another uses, which saves the time to make it.
export function sharedTab() {
  let tab;
  return async (t, browser, server, path = '/') => {
    tab ??= await openTab(browser, {});
    t.after(() => assertNoFaults(tab));
    await tab.page.goto(server.address + path);
    return tab.page;
  };
}

export const total = (page) => page.locator('.results-head h2');
export const rows = (page) => page.locator('.row');
export const chips = (page) => page.locator('.chip');
export const facet = (page, field, value) =>
  page.locator(`.facet-include[data-field="${field}"][data-value="${value}"]`);

// Waits until as many alerts are found.
export async function found(page, count) {
  const text = count.toLocaleString('en');
  const start = count === 1 ? `${text} alert` : `${text} alerts`;
  await page.locator('.results-head h2', { hasText: new RegExp(`^${start}(,|$)`) }).waitFor();
}
