// Alerts over time, and choosing a period there.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { usualAlerts } from './support/alerts.mjs';
import { found, total } from './support/browser.mjs';
import { useServer } from './support/fixture.mjs';

const shared = useServer(() => usualAlerts(600, { minutes: 20 * 60 }));

async function plotBox(page) {
  await page.locator('.plot canvas').waitFor();
  return page.locator('.plot .u-over').boundingBox();
}

const bars = () => shared.server.get('histogram?buckets=100');

// Drags from the middle of one bar to that of another.
async function drag(page, from, to) {
  const box = await plotBox(page);
  const { counts } = await bars();
  const x = (bar) => box.x + (box.width * (bar + 0.5)) / counts.length;
  const y = box.y + box.height / 2;
  await page.mouse.move(x(from), y);
  await page.mouse.down();
  await page.mouse.move(x((from + to) / 2), y);
  await page.mouse.move(x(to), y);
  await page.mouse.up();
}

const legend = (page) => page.locator('.legend').textContent();

test('the page opens: the legend counts each level', async (t) => {
  const page = await shared.open(t);
  await plotBox(page);
  const text = await legend(page);
  for (const [level, word] of [
    ['1', 'Error'],
    ['2', 'Warning'],
    ['3', 'Notice'],
  ]) {
    const count = shared.alerts.filter((alert) => alert.level === level).length;
    assert.ok(text.includes(`${word} ${count}`), `${word} ${count} in ${text}`);
  }
});

test('a part is dragged over: its whole bars become the period, and their alerts are found', async (t) => {
  const page = await shared.open(t);
  await drag(page, 20, 40);
  await page.waitForURL(/since=.*until=/);
  const query = new URL(page.url()).searchParams;
  const since = Date.parse(query.get('since'));
  const until = Date.parse(query.get('until'));
  const { from, bucket_ms } = await bars();
  assert.equal(since, from + 20 * bucket_ms);
  assert.equal(until + 1, from + 41 * bucket_ms);
  const inside = shared.alerts.filter(
    ({ raised }) => Date.parse(raised) >= since && Date.parse(raised) <= until,
  );
  assert.ok(inside.length > 50 && inside.length < 300);
  await found(page, inside.length);
});

test('a part is dragged over from right to left: the period is the same', async (t) => {
  const page = await shared.open(t);
  await plotBox(page);
  const whole = await page.locator('.plot').getAttribute('aria-label');
  await drag(page, 20, 40);
  await page.waitForURL(/since=/);
  const forward = page.url();
  await page.goBack();
  await page.getByRole('img', { name: whole, exact: true }).waitFor();
  await drag(page, 40, 20);
  await page.waitForURL(/since=/);
  assert.equal(page.url(), forward);
});

test('the chart is clicked without dragging: the period stays', async (t) => {
  const page = await shared.open(t);
  const box = await plotBox(page);
  await page.mouse.click(box.x + box.width / 2, box.y + box.height / 2);
  await drag(page, 10, 70);
  await page.waitForURL(/since=/);
  await page.goBack();
  await found(page, shared.alerts.length);
  assert.equal(new URL(page.url()).search, '');
});

test('the pointer is over a bar: the legend tells its time and counts', async (t) => {
  const page = await shared.open(t);
  const box = await plotBox(page);
  const whole = await legend(page);
  await page.mouse.move(box.x + box.width * 0.72, box.y + 20);
  await page.waitForFunction(
    (before) => document.querySelector('.legend').textContent !== before,
    whole,
  );
  const { counts } = await bars();
  const shown = (await page.locator('.legend-level b').allTextContents()).map(Number);
  assert.ok(
    counts.some((bucket) => bucket.slice(0, 3).every((value, level) => value === shown[level])),
  );
  assert.ok((await total(page).textContent()).startsWith('600'));
});
