// The page for those who do not see it, or see it otherwise.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { test } from 'node:test';
import { usualAlerts } from './support/alerts.mjs';
import { found } from './support/browser.mjs';
import { useServer } from './support/fixture.mjs';

const AXE = readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');
const shared = useServer(() => usualAlerts(300));

async function violations(page) {
  await page.evaluate(AXE);
  const result = await page.evaluate(() => globalThis.axe.run(document));
  return result.violations.map(
    ({ id, nodes }) => `${id}: ${nodes.map((node) => node.html).join(' | ')}`,
  );
}

const VIEWS = {
  'with an open row, filters and the panel': async (page) => {
    await page.locator('.results-head h2', { hasText: 'shown' }).waitFor();
    await page.locator('[data-row]').nth(1).click();
    await page.locator('.row-details').waitFor();
    await page.locator('#servers').waitFor();
  },
  'with the help': async (page) => {
    await found(page, 300);
    await page.keyboard.press('?');
    await page.getByRole('dialog').waitFor();
  },
  'with nothing found': (page) => page.getByRole('heading', { name: 'No alert matches' }).waitFor(),
  'with one alert alone': (page) => page.locator('.one-alert dl').waitFor(),
};
const PATHS = {
  'with an open row, filters and the panel':
    '/?size=25&panel=servers&level=2&level=3&module=!backup',
  'with the help': '/?size=25',
  'with nothing found': '/?text=never+said',
  'with one alert alone': '/?alert=',
};

for (const colorScheme of ['light', 'dark']) {
  for (const [view, prepare] of Object.entries(VIEWS)) {
    test(`the page is ${colorScheme}, ${view}: the checker has nothing against it`, async (t) => {
      const newest = (await shared.server.get('alerts?size=1')).alerts[0].alert;
      const path = PATHS[view].replace(/alert=$/, `alert=${newest}`);
      const page = await shared.open(t, path, { colorScheme, reducedMotion: 'reduce' });
      await prepare(page);
      assert.deepEqual(await violations(page), []);
    });
  }
}

test('the page is narrow, with its values open: the checker has nothing against it', async (t) => {
  const page = await shared.open(t, '/?size=25', { viewport: { width: 390, height: 844 } });
  await found(page, 300);
  await page.getByRole('button', { name: 'Values and counts' }).click();
  await page.locator('[data-row]').first().click();
  await page.locator('.row-details').waitFor();
  assert.deepEqual(await violations(page), []);
});

test('the table is narrow: it is still a table with rows and cells', async (t) => {
  const page = await shared.open(t, '/', { viewport: { width: 390, height: 844 } });
  await found(page, 300);
  const table = page.getByRole('table', { name: 'Alerts, newest first' });
  assert.equal(
    await table
      .getByRole('row')
      .filter({ has: page.getByRole('cell') })
      .count(),
    50,
  );
});

test('a search is done: how many were found is announced', async (t) => {
  const page = await shared.open(t);
  await found(page, 300);
  await page.fill('#text', 'link');
  const count = shared.alerts.filter((alert) => alert.message.includes('link')).length;
  await page
    .getByRole('status')
    .filter({ hasText: `${count} alerts` })
    .waitFor();
});

test('the system asks for less motion: nothing moves', async (t) => {
  const page = await shared.open(t, '/', { reducedMotion: 'reduce' });
  await found(page, 300);
  const moving = await page.evaluate(
    () =>
      [...document.querySelectorAll('*')].filter(
        (element) => getComputedStyle(element).transitionDuration !== '0s',
      ).length,
  );
  assert.equal(moving, 0);
});
