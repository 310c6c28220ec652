// The address of the page holds what is shown.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { usualAlerts } from './support/alerts.mjs';
import { chips, facet, found, rows } from './support/browser.mjs';
import { useServer } from './support/fixture.mjs';

const shared = useServer(() => usualAlerts(600));
const search = (page) => new URL(page.url()).search;

// The alerts as they are shown, without how long ago that was.
const alertsOf = async (page) => (await page.locator('.alerts').innerText()).replaceAll(/ \([^()]* ago\)/g, '');

test('a view is made by hand and its address opened anew: the same is shown', async (t) => {
  const page = await shared.open(t);
  await facet(page, 'level', '3').click();
  await page.getByRole('button', { name: 'Without north' }).click();
  await page.fill('#text', 'e');
  await page.getByText('UTC', { exact: true }).click();
  await page.selectOption('.size select', '25');
  await page.getByRole('button', { name: 'Next' }).click();
  await page.waitForURL(/page=2/);
  await rows(page).nth(3).locator('.cell-message').click();
  await page.locator('.row-details').waitFor();
  const shown = await alertsOf(page);

  const other = await shared.open(t, `/${search(page)}`, {});
  await other.locator('.row-details').waitFor();
  assert.equal(await alertsOf(other), shown);
  assert.equal(await chips(other).count(), 3);
  await other.reload();
  await other.locator('.row-details').waitFor();
  assert.equal(await alertsOf(other), shown);
});

test('the back button is pressed: each filter is taken back, and a typed text as a whole', async (t) => {
  const page = await shared.open(t);
  await facet(page, 'module', 'disk').click();
  await page.waitForURL(/module=disk/);
  await page.click('#text');
  await page.keyboard.type('full');
  await page.waitForURL(/text=full/);
  await page.goBack();
  assert.equal(search(page), '?module=disk');
  assert.equal(await page.inputValue('#text'), '');
  await found(page, shared.alerts.filter((alert) => alert.module === 'disk').length);
  await page.goBack();
  await found(page, 600);
  await page.goForward();
  await page.waitForURL(/module=disk/);
  assert.equal(await chips(page).count(), 1);
});

test('a filter is added on a later page: the first page of it is shown', async (t) => {
  const page = await shared.open(t, '/?page=4');
  await facet(page, 'level', '3').click();
  await found(page, shared.alerts.filter((alert) => alert.level === '3').length);
  assert.equal(search(page), '?level=3');
});

test('the address holds nonsense: what can be understood is shown', async (t) => {
  const page = await shared.open(
    t,
    '/?page=-7&size=1000000&zone=moon&what=else&open=no/1&module=disk',
  );
  await found(page, shared.alerts.filter((alert) => alert.module === 'disk').length);
});

test('the address names a page beyond the last: the last one is shown', async (t) => {
  const page = await shared.open(t, '/?page=999');
  await rows(page).last().getByText(shared.alerts[0].raised).waitFor();
  assert.equal(await page.inputValue('.page-field'), '12');
});
