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
  return chromium.launch({ executablePath: process.env.QEL_BROWSER ?? '/usr/bin/chromium', args: ARGUMENTS });
}

// Failed requests are told by the page itself, in its own words; the browser's line about them adds
// nothing.
const ABOUT_REQUESTS = /Failed to load resource|net::ERR_/;

// A page at an address of the server, or an empty one when that is null. It is closed when the test
// ends, and nothing may have gone wrong in it.
export async function openPage(t, browser, server, path = '/', options = {}) {
  const { expected, ...settings } = options; // a fault that the test brings about
  const context = await browser.newContext({ viewport: { width: 1280, height: 800 }, ...settings });
  context.setDefaultTimeout(PATIENCE_MS);
  const page = await context.newPage();
  const faults = [];
  page.on('pageerror', (error) => faults.push(error.message));
  page.on('console', (message) => {
    const isFault = message.type() === 'error' && !ABOUT_REQUESTS.test(message.text());
    if (isFault) faults.push(message.text());
  });
  t.after(async () => {
    await context.close();
    assert.deepEqual(faults.filter((fault) => !expected?.test(fault)), []);
  });
  if (path !== null) await page.goto(server.address + path);
  return page;
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
