// New alerts while the page is open.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { usualAlerts } from './support/alerts.mjs';
import { found, rows } from './support/browser.mjs';
import { useServer } from './support/fixture.mjs';
import { pause } from './support/server.mjs';

const shared = useServer(() => usualAlerts(300));
const news = (page) => page.locator('.live-news');
const stream = (page, text) => page.locator('.stream', { hasText: text }).waitFor();
const first = (page) => rows(page).first().locator('.cell-message').textContent();

async function openLive(t, path) {
  const page = await shared.open(t, path);
  await stream(page, 'Live');
  return page;
}

function raise(...messages) {
  for (const message of messages) shared.server.raise({ message });
}

test('alerts arrive: they are announced, what is read stays, and the button shows them', async (t) => {
  const page = await openLive(t);
  const before = await first(page);
  raise('one', 'two', 'three');
  await news(page).getByText('3 new').waitFor();
  assert.equal(await first(page), before);
  assert.match(await page.title(), /^\(3 new\)/);
  await news(page).getByRole('button').click();
  await rows(page).first().getByText('three').waitFor();
  await news(page).getByRole('button').waitFor({ state: 'detached' });
});

test('l is pressed on a later page: the new alerts show on the first one', async (t) => {
  const page = await openLive(t, '/?page=2');
  raise('seen with l');
  await news(page).getByText('1 new').waitFor();
  await page.keyboard.press('l');
  await rows(page).first().getByText('seen with l').waitFor();
});

test('alerts arrive that the filters leave out: only the others are announced', async (t) => {
  const page = await openLive(t, '/?text=wanted');
  raise('something else', 'wanted here', 'something else again');
  await news(page).getByText('1 new').waitFor();
  await pause(500);
  assert.equal(await news(page).textContent(), '1 new');
});

test('live mode is paused: nothing is announced until it goes on', async (t) => {
  const page = await openLive(t);
  await page.getByRole('button', { name: 'Pause live mode' }).click();
  await stream(page, 'Paused');
  raise('while paused');
  await pause(700);
  assert.equal(await news(page).textContent(), '');
  await page.getByRole('button', { name: 'Pause live mode' }).click();
  await stream(page, 'Live');
  await rows(page).first().getByText('while paused').waitFor();
  raise('after the pause');
  await news(page).getByText('1 new').waitFor();
});

test('the server goes and comes back: the page tells, finds back, and says what may be missed', async (t) => {
  const page = await openLive(t);
  await shared.server.stopWeb();
  await stream(page, 'Stream lost, trying again');
  raise('while the server was away');
  await shared.server.startWeb();
  await stream(page, 'Live');
  await page.getByText('alerts may have been missed').waitFor();
  await page.locator('.notice').getByRole('button', { name: 'Search again' }).click();
  await rows(page).first().getByText('while the server was away').waitFor();
  await page.getByText('alerts may have been missed').waitFor({ state: 'detached' });
});

test('a row is open while alerts arrive: it stays open and where it is', async (t) => {
  const page = await openLive(t);
  await page.locator('[data-row]').nth(4).click();
  const place = await page.locator('.row-details').boundingBox();
  raise('beside an open row');
  await news(page).getByText('1 new').waitFor();
  assert.deepEqual(await page.locator('.row-details').boundingBox(), place);
  await found(page, (await shared.server.get('alerts?size=1')).total - 1);
});

// What the browser does when another tab comes before this one, or goes.
async function setHidden(page, hidden) {
  await page.evaluate((value) => {
    Object.defineProperty(document, 'hidden', { configurable: true, get: () => value });
    document.dispatchEvent(new Event('visibilitychange'));
  }, hidden);
}

test('nobody sees the page: it asks for nothing, and later announces what came meanwhile', async (t) => {
  const page = await shared.open(t, null, {});
  await page.clock.install();
  await page.goto(shared.server.address);
  await page.clock.runFor(1000);
  await stream(page, 'Live');
  await setHidden(page, true);
  const asked = [];
  page.on('request', (request) => asked.push(request.url()));
  raise('while nobody looked');
  await page.clock.runFor(60_000);
  assert.deepEqual(asked, []);
  await setHidden(page, false);
  await page.waitForResponse(/status/);
  await pause(300);
  await page.clock.runFor(1000);
  await news(page).getByText('1 new').waitFor();
});
