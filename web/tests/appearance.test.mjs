// Light and dark, and the two time zones.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { usualAlerts } from './support/alerts.mjs';
import { found, rows } from './support/browser.mjs';
import { useServer } from './support/fixture.mjs';

const shared = useServer(() => usualAlerts(300));
const ground = (page) => page.evaluate(() => getComputedStyle(document.body).backgroundColor);
const raised = (page) => rows(page).first().locator('.cell-raised').textContent();

// As far from the zone of the server as from UTC.
const ELSEWHERE = { timezoneId: 'Asia/Tokyo' };

test('the system is dark: the page is, until the operator chooses, and it remembers', async (t) => {
  const page = await shared.open(t, '/', { colorScheme: 'light' });
  const light = await ground(page);
  await page.emulateMedia({ colorScheme: 'dark' });
  const dark = await ground(page);
  assert.notEqual(dark, light);
  await page.getByRole('button', { name: 'Theme: system' }).click();
  await page.getByRole('button', { name: 'Theme: light' }).waitFor();
  assert.equal(await ground(page), light);
  await page.reload();
  await page.getByRole('button', { name: 'Theme: light' }).click();
  await page.getByRole('button', { name: 'Theme: dark' }).waitFor();
  assert.equal(await ground(page), dark);
});

test('the page opens elsewhere: times are those of the server, and its zone is named', async (t) => {
  const page = await shared.open(t, '/', ELSEWHERE);
  await found(page, 300);
  assert.equal(await raised(page), shared.alerts.at(-1).raised);
  await page.locator('th .zone', { hasText: /CES?T \+0[12]:00/ }).waitFor();
});

test('UTC is chosen: times are in UTC, in the table, in the details and in the address', async (t) => {
  const page = await shared.open(t, '/', ELSEWHERE);
  await found(page, 300);
  await page.getByText('UTC', { exact: true }).click();
  const utc = new Date(shared.alerts.at(-1).raised).toISOString();
  await rows(page)
    .first()
    .getByText(`${utc.slice(0, 10).replaceAll('-', '/')} ${utc.slice(11, 23)}`)
    .waitFor();
  assert.equal(new URL(page.url()).search, '?zone=utc');
});

test('a period is typed in UTC: it is meant in UTC, and reads in the zone that is chosen', async (t) => {
  const page = await shared.open(t, '/?zone=utc', ELSEWHERE);
  await found(page, 300);
  const at = new Date(Math.floor(Date.parse(shared.alerts[200].raised) / 1000) * 1000);
  const typed = `${at.toISOString().slice(0, 10).replaceAll('-', '/')} ${at.toISOString().slice(11, 19)}`;
  await page.fill('[name=since]', typed);
  await page.keyboard.press('Enter');
  await found(
    page,
    shared.alerts.filter((alert) => Date.parse(alert.raised) >= at.getTime()).length,
  );
  await page.locator('.switch label').first().click();
  await page.waitForFunction(
    (before) => document.querySelector('[name=since]').value !== before,
    typed,
  );
  assert.equal(Date.parse(await page.inputValue('[name=since]')), at.getTime());
});

test('levels are shown: each has a word and a drawing of its own', async (t) => {
  const page = await shared.open(t, '/?size=500');
  await found(page, 300);
  const marks = await page
    .locator('.row .level')
    .evaluateAll((all) => [
      ...new Set(
        all.map((mark) => `${mark.textContent} ${mark.querySelector('path').getAttribute('d')}`),
      ),
    ]);
  assert.equal(marks.length, 3);
  for (const word of ['Error', 'Warning', 'Notice'])
    assert.equal(marks.filter((mark) => mark.startsWith(word)).length, 1);
});
