// Finding alerts: text, values, period.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { stored, usualAlerts } from './support/alerts.mjs';
import { chips, facet, found, rows } from './support/browser.mjs';
import { useServer } from './support/fixture.mjs';

const shared = useServer(() => usualAlerts(600, { minutes: 3 * 24 * 60 }));
const count = (fits) => shared.alerts.filter(fits).length;

test('text is typed: the messages with it are found, whatever the case', async (t) => {
  const page = await shared.open(t);
  await page.fill('#text', 'LINK DOWN');
  await found(
    page,
    count((alert) => alert.message.includes('link down')),
  );
  assert.equal(await chips(page).count(), 1);
});

test('text begins with an exclamation mark: the messages without it are found', async (t) => {
  const page = await shared.open(t, '/?text=!link');
  await found(
    page,
    count((alert) => !alert.message.includes('link')),
  );
});

test('a value is clicked, then another of the field: alerts with either are found', async (t) => {
  const page = await shared.open(t);
  await facet(page, 'module', 'disk').click();
  await found(
    page,
    count((alert) => alert.module === 'disk'),
  );
  await facet(page, 'module', 'kernel').click();
  await found(
    page,
    count((alert) => ['disk', 'kernel'].includes(alert.module)),
  );
});

test('a value is clicked with Alt: the alerts without it are found, and its chip takes it back', async (t) => {
  const page = await shared.open(t);
  await facet(page, 'server', 'north').click({ modifiers: ['Alt'] });
  await found(
    page,
    count((alert) => alert.server !== 'north'),
  );
  await page.getByRole('button', { name: 'Remove filter: Server not north' }).click();
  await found(page, shared.alerts.length);
  assert.equal(await chips(page).count(), 0);
});

test('the button beside a value is pressed: the alerts without it are found', async (t) => {
  const page = await shared.open(t);
  await page.getByRole('button', { name: 'Without Notice' }).click();
  await found(
    page,
    count((alert) => alert.level !== '3'),
  );
});

test('a value is filtered: the other values of the field keep their counts', async (t) => {
  const page = await shared.open(t, '/?level=1');
  const warnings = facet(page, 'level', '2').locator('.facet-count');
  assert.equal(await warnings.textContent(), String(count((alert) => alert.level === '2')));
});

test('filters of several fields: alerts that fit all are found, and one button clears them', async (t) => {
  const page = await shared.open(t, '/?level=2&module=disk&server=!north');
  const fits = (alert) =>
    alert.level === '2' && alert.module === 'disk' && alert.server !== 'north';
  await found(page, count(fits));
  await page.getByRole('button', { name: 'Clear all' }).click();
  await found(page, shared.alerts.length);
});

test('a preset is pressed: the alerts of that time are found', async (t) => {
  const page = await shared.open(t);
  await page.getByRole('button', { name: '24 h', exact: true }).click();
  const since = stored(Date.now() - 24 * 3600_000);
  await found(
    page,
    count((alert) => alert.raised >= since),
  );
  const yesterday = stored(Date.now() - 24 * 3600_000).slice(0, 10);
  await page.getByRole('button', { name: 'Yesterday' }).click();
  await found(
    page,
    count((alert) => alert.raised.startsWith(yesterday)),
  );
});

test('both ends of a period are typed: the alerts between them are found', async (t) => {
  const page = await shared.open(t);
  const since = shared.alerts[100].raised.slice(0, 19);
  const until = shared.alerts[200].raised.slice(0, 19);
  await page.fill('[name=since]', since);
  await page.fill('[name=until]', until);
  await page.keyboard.press('Enter');
  await found(
    page,
    count(({ raised }) => raised >= `${since}.000` && raised <= `${until}.000`),
  );
});

test('a period is no time: the field tells, and the alerts stay', async (t) => {
  const page = await shared.open(t);
  await found(page, shared.alerts.length);
  await page.fill('[name=since]', 'some day');
  await page.keyboard.press('Enter');
  await page.locator('#since-fault').waitFor();
  assert.equal(await page.getAttribute('[name=since]', 'aria-invalid'), 'true');
  assert.ok((await rows(page).count()) > 0);
  await page.fill('[name=since]', '');
  await page.keyboard.press('Enter');
  await page.locator('#since-fault').waitFor({ state: 'detached' });
});
