// Reading alerts: order, pages, rows, values in cells, links, export.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { test } from 'node:test';
import { usualAlerts } from './support/alerts.mjs';
import { found, rows } from './support/browser.mjs';
import { useServer } from './support/fixture.mjs';

const shared = useServer(() => usualAlerts(1030));
const newest = (index) => shared.alerts.at(-1 - index);
const raisedOf = (page, index) => rows(page).nth(index).locator('.cell-raised').textContent();

async function atPage(page, number) {
  await page.waitForFunction(
    (wanted) => document.querySelector('.page-field')?.value === wanted,
    String(number),
  );
}

test('the page opens: the newest alert stands first, and the total is exact', async (t) => {
  const page = await shared.open(t);
  await found(page, 1030);
  assert.equal(await rows(page).count(), 50);
  assert.equal(await raisedOf(page, 0), newest(0).raised);
  assert.equal(await raisedOf(page, 49), newest(49).raised);
});

test('pages are turned: each holds the alerts that follow', async (t) => {
  const page = await shared.open(t, '/?size=100');
  await page.getByRole('button', { name: 'Next' }).click();
  await atPage(page, 2);
  assert.equal(await raisedOf(page, 0), newest(100).raised);
  await page.getByRole('button', { name: 'Last', exact: true }).click();
  await atPage(page, 11);
  assert.equal(await rows(page).count(), 30);
  await page.getByRole('button', { name: 'First' }).click();
  await atPage(page, 1);
  assert.equal(await raisedOf(page, 0), newest(0).raised);
});

test('a page number is typed: that page is shown, and the last one for a number beyond', async (t) => {
  const page = await shared.open(t);
  await page.fill('.page-field', '4');
  await page.press('.page-field', 'Enter');
  await rows(page).first().getByText(newest(150).raised).waitFor();
  await page.fill('.page-field', '4000');
  await page.press('.page-field', 'Enter');
  await rows(page).first().getByText(newest(1000).raised).waitFor();
});

test('another page size is chosen: as many rows are shown, from the first page', async (t) => {
  const page = await shared.open(t, '/?page=3');
  await page.selectOption('.size select', '250');
  await page.waitForFunction(() => document.querySelectorAll('.row').length === 250);
  assert.equal(await raisedOf(page, 0), newest(0).raised);
});

test('a value in a cell is clicked: only its alerts stay; with Alt: the others', async (t) => {
  const page = await shared.open(t);
  const { module, server } = newest(0);
  const row = rows(page).first();
  await row.locator('[data-field=module]').click();
  const ofModule = shared.alerts.filter((alert) => alert.module === module);
  await found(page, ofModule.length);
  await row.locator('[data-field=server]').click({ modifiers: ['Alt'] });
  await found(page, ofModule.filter((alert) => alert.server !== ofModule.at(-1).server).length);
  assert.notEqual(server, '');
});

test('a value in a cell has the focus: Enter includes it and x excludes it', async (t) => {
  const page = await shared.open(t);
  const first = newest(0);
  await rows(page).first().locator('[data-field=level]').focus();
  await page.keyboard.press('x');
  const others = shared.alerts.filter((alert) => alert.level !== first.level);
  await found(page, others.length);
  await rows(page).first().locator('[data-field=event]').focus();
  await page.keyboard.press('Enter');
  await found(page, others.filter((alert) => alert.event === others.at(-1).event).length);
});

test('a row is clicked: it opens in place with every field, and closes again', async (t) => {
  const page = await shared.open(t);
  const alert = newest(2);
  await rows(page).nth(2).locator('.cell-message').click();
  const details = page.locator('.row.is-open + .row-details');
  const text = await details.textContent();
  for (const part of [
    alert.message,
    alert.raised,
    alert.module,
    alert.event,
    `${alert.server}/1028`,
  ]) {
    assert.ok(text.includes(part), part);
  }
  await rows(page).nth(2).locator('.cell-message').click();
  await details.waitFor({ state: 'detached' });
});

test('the link of an alert is copied: it opens the page on exactly that alert', async (t) => {
  const page = await shared.open(t, '/?module=disk&page=2', {
    permissions: ['clipboard-write', 'clipboard-read'],
  });
  await page.locator('[data-row]').first().click();
  await page.getByRole('button', { name: 'Copy link' }).click();
  await page.getByText('Copied').waitFor();
  const name = await page.locator('[data-row]').first().getAttribute('data-row');
  await page.goto(await page.evaluate(() => navigator.clipboard.readText()));
  await page.getByRole('heading', { name: `Alert ${name}` }).waitFor();
  await page.locator('.one-alert dd', { hasText: name }).waitFor();
  assert.equal(await rows(page).count(), 0);
  await page.getByRole('button', { name: 'Show all alerts' }).click();
  await found(page, 1030);
});

test('a link names an alert that is not here: the page says so', async (t) => {
  const page = await shared.open(t, '/?alert=north/4000000');
  await page.getByText('The alert north/4000000 is not here.').waitFor();
});

test('the time around an alert is asked for: its period holds it and its neighbours', async (t) => {
  const page = await shared.open(t, '/?module=disk');
  await page.locator('[data-row]').nth(20).click();
  const raised = await raisedOf(page, 20);
  await page.getByRole('button', { name: 'All alerts 5 min around' }).click();
  const near = shared.alerts.filter(
    (alert) => Math.abs(Date.parse(alert.raised) - Date.parse(raised)) <= 5 * 60_000,
  );
  await found(page, near.length);
  await page.locator('.cell-raised', { hasText: raised }).first().waitFor();
});

test('alerts are exported: the files hold exactly those that match', async (t) => {
  const page = await shared.open(t, '/?level=1&server=!north');
  const wanted = shared.alerts.filter((alert) => alert.level === '1' && alert.server !== 'north');
  await found(page, wanted.length);
  const saved = async (name) => {
    const [download] = await Promise.all([
      page.waitForEvent('download'),
      page.getByRole('link', { name }).click(),
    ]);
    return readFileSync(await download.path(), 'utf8')
      .trimEnd()
      .split('\n');
  };
  const lines = (await saved('JSON lines')).map((line) => JSON.parse(line));
  assert.deepEqual(
    lines.map((one) => one.raised),
    wanted.map((one) => one.raised).reverse(),
  );
  assert.equal((await saved('CSV')).length, wanted.length + 1);
});

test('the log changes between two pages: the page says so, and starts again', async (t) => {
  const page = await shared.open(t);
  await page.locator('.stream', { hasText: 'Live' }).waitFor();
  shared.server.raise({ message: 'between two pages' });
  await page.locator('.live .strong', { hasText: '1 new' }).waitFor();
  await page.getByRole('button', { name: 'Next' }).click();
  await page.getByText('The log has changed since page 1.').waitFor();
  await page.getByRole('button', { name: 'Start again' }).click();
  await rows(page).first().getByText('between two pages').waitFor();
  await found(page, 1031);
});
