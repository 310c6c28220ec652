// This server's picture of its cluster, and how the page looks with all of it.
import assert from 'node:assert/strict';
import { mkdirSync } from 'node:fs';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { found, launch, openPage } from './support/browser.mjs';
import { startCluster } from './support/cluster.mjs';
import { SCREENSHOTS } from './support/server.mjs';

let cluster;
let browser;
before(async () => {
  mkdirSync(SCREENSHOTS, { recursive: true });
  [cluster, browser] = await Promise.all([startCluster(), launch()]);
});
after(async () => {
  await browser?.close();
  await cluster?.stop();
});

const open = (t, path, options) => openPage(t, browser, cluster.servers[0], path, options);
const verdict = (page) => page.locator('.verdict');
const line = (page, name) => page.locator('#servers tbody tr', { hasText: name });

const WIDTHS = [
  [1280, 800],
  [390, 844],
];

for (const [width, height] of WIDTHS) {
  for (const colorScheme of ['light', 'dark']) {
    test(`the page is ${width} pixels wide and ${colorScheme}: nothing reaches over its sides`, async (t) => {
      const options = { viewport: { width, height }, colorScheme, timezoneId: 'America/New_York' };
      const page = await open(t, '/?panel=servers', options);
      await found(page, cluster.total);
      await page.locator('.plot canvas').waitFor();
      await page.locator('.stream', { hasText: 'Live' }).waitFor();
      await page.screenshot({ path: join(SCREENSHOTS, `page-${width}-${colorScheme}.png`) });
      await page.locator('[data-row]').nth(1).click();
      await page.locator('.row-details').waitFor();
      await page.locator('.results-head').evaluate((head) => head.scrollIntoView());
      await page.screenshot({ path: join(SCREENSHOTS, `alert-${width}-${colorScheme}.png`) });
      assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), width);
    });
  }
}

test('the page is narrow: values fold away behind a button, and open', async (t) => {
  const page = await open(t, '/', { viewport: { width: 390, height: 844 } });
  await found(page, cluster.total);
  const facets = page.locator('#facets');
  assert.equal(await facets.isVisible(), false);
  await page.getByRole('button', { name: 'Values and counts' }).click();
  await facets.getByText('south').waitFor();
});

test('all servers answer: the picture is complete, and the panel has each of them', async (t) => {
  const page = await open(t, '/');
  await verdict(page).getByText('Complete').waitFor();
  await page.getByRole('button', { name: 'Servers' }).click();
  assert.match(await line(page, 'north').textContent(), /this server/);
  for (const peer of ['south', 'east'])
    assert.match(await line(page, peer).textContent(), /answering/);
  const held = await cluster.servers[0].get('status').then((status) => status.held);
  for (const { server, count } of held) {
    assert.equal(await line(page, server).locator('td').nth(4).textContent(), String(count));
  }
});

test('a server ends and alerts follow: it is silent and behind, until it is back', async (t) => {
  const page = await open(t, '/?panel=servers');
  const [first, , last] = cluster.servers;
  await verdict(page).getByText('Complete').waitFor();
  await last.stopDaemon();
  first.raise({ message: 'while east is away' });
  await verdict(page).getByText('may be incomplete: east does not answer (silent)').waitFor();
  assert.match(await line(page, 'east').textContent(), /silent/);
  await page.locator('.pill', { hasText: /east.*silent, last answer \d+ s ago/ }).waitFor();
  await page.screenshot({ path: join(SCREENSHOTS, 'incomplete-1280-light.png') });
  await line(page, 'east').locator('td').nth(3).getByText('1', { exact: true }).waitFor();
  await last.startDaemon();
  await verdict(page).getByText('Complete').waitFor();
});

test('the daemon ends: the page says so, and shows what it knows', async (t) => {
  const page = await open(t, '/?panel=servers');
  await verdict(page).getByText('Complete').waitFor();
  await cluster.servers[0].stopDaemon();
  await verdict(page).getByText('the alert daemon').waitFor();
  assert.match(await line(page, 'south').textContent(), /when last asked/);
  await cluster.servers[0].startDaemon();
  await verdict(page).getByText('Complete').waitFor();
});
