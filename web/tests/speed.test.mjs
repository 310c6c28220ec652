// A full log on the screen: what is loaded for it, and typing that overtakes the answers. How long it
// takes is measured in web/bench.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { usualAlerts } from './support/alerts.mjs';
import { found } from './support/browser.mjs';
import { useServer } from './support/fixture.mjs';

const FULL = 10_000;
const TRANSFER_BYTES = 150_000;

const shared = useServer(() => usualAlerts(FULL));

test('the page opens: all of its files are small', async (t) => {
  const page = await shared.open(t, '/', {});
  await found(page, FULL);
  const bytes = await page.evaluate(() =>
    [...performance.getEntriesByType('navigation'), ...performance.getEntriesByType('resource')]
      .filter((entry) => !entry.name.includes('/api/'))
      .reduce((sum, entry) => sum + entry.encodedBodySize, 0),
  );
  t.diagnostic(`page: ${(bytes / 1000).toFixed(1)} kB`);
  assert.ok(bytes > 10_000 && bytes < TRANSFER_BYTES, `${bytes} bytes`);
});

test('letters are typed faster than the server answers: the last text counts', async (t) => {
  const page = await shared.open(t);
  await found(page, FULL);
  await page.click('#text');
  await page.keyboard.type('link down');
  await found(page, shared.alerts.filter((alert) => alert.message.includes('link down')).length);
});
