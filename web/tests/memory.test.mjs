// A page that stays open for a shift.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { usualAlerts } from './support/alerts.mjs';
import { found } from './support/browser.mjs';
import { useServer } from './support/fixture.mjs';
import { pause } from './support/server.mjs';

const FULL = 10_000;
const HOURS = 8;
const STEP_MS = 60_000;
const GROWTH_MAX = 1_000_000; // bytes
const shared = useServer(() => usualAlerts(FULL));

async function held(page) {
  const session = await page.context().newCDPSession(page);
  await session.send('HeapProfiler.collectGarbage');
  const { usedSize } = await session.send('Runtime.getHeapUsage');
  const { nodes, jsEventListeners } = await session.send('Memory.getDOMCounters');
  await session.detach();
  return { bytes: usedSize, nodes, listeners: jsEventListeners };
}

// What the page holds once it has drawn what the server says of its daemon again.
async function settled(page) {
  let last = await held(page);
  for (let round = 0; round < 40; ++round) {
    await passTime(page, 0.02);
    await pause(500);
    const now = await held(page);
    if (round > 5 && now.nodes === last.nodes) return now;
    last = now;
  }
  return last;
}

// New alerts come over the stream.
async function flood(server, count) {
  await server.stopDaemon();
  server.fill(usualAlerts(count));
  await server.startDaemon();
}

// The clock of the page goes on by some hours; the server is asked for its state all along.
async function passTime(page, hours) {
  for (let ms = 0; ms < hours * 3600_000; ms += STEP_MS) await page.clock.fastForward(STEP_MS);
}

test('the page is live for eight hours and 10,000 alerts: what it holds stays the same', async (t) => {
  const page = await shared.open(t, null, {});
  await page.clock.install();
  await page.goto(shared.server.address);
  await passTime(page, 0.1);
  await found(page, FULL);
  await flood(shared.server, FULL / 5);
  await passTime(page, 0.2);
  await page.getByText('1,000+ new').waitFor();
  const before = await settled(page);
  await flood(shared.server, FULL / 2);
  await passTime(page, HOURS / 2);
  await flood(shared.server, FULL / 2);
  await passTime(page, HOURS / 2);
  const now = await settled(page);
  t.diagnostic(`before: ${JSON.stringify(before)}, after ${HOURS} hours: ${JSON.stringify(now)}`);
  assert.ok(now.bytes - before.bytes < GROWTH_MAX);
  assert.ok(now.nodes - before.nodes < 100);
  assert.ok(now.listeners - before.listeners < 20);
});
