// What the page says when there is nothing to show, or not what it should be.
import assert from 'node:assert/strict';
import { renameSync, writeFileSync } from 'node:fs';
import { after, before, test } from 'node:test';
import { usualAlerts } from './support/alerts.mjs';
import { found, launch, openPage, rows } from './support/browser.mjs';
import { Server } from './support/server.mjs';

let browser;
before(async () => {
  browser = await launch();
});
after(() => browser.close());

// A server of the test's own, since it is broken there.
async function makeServer(t, alerts) {
  const server = new Server();
  t.after(() => server.stop());
  server.fill(alerts);
  await server.startDaemon();
  await server.startWeb();
  return server;
}

test('the log holds nothing: the page says that it is empty', async (t) => {
  const server = await makeServer(t, []);
  const page = await openPage(t, browser, server);
  await page.getByRole('heading', { name: 'The log is empty' }).waitFor();
});

test('nothing matches: each filter can be taken away by itself', async (t) => {
  const server = await makeServer(t, usualAlerts(50));
  const page = await openPage(t, browser, server, '/?text=never+said&level=1..3');
  await page.getByRole('heading', { name: 'No alert matches' }).waitFor();
  await page.getByRole('button', { name: 'Without text “never said”' }).click();
  await found(page, 50);
});

test('nothing matches: one button shows all alerts', async (t) => {
  const server = await makeServer(t, usualAlerts(50));
  const page = await openPage(t, browser, server, '/?text=never+said&module=none&since=-1h');
  await page.getByRole('button', { name: 'Show all alerts' }).click();
  await found(page, 50);
});

test('the log was never there: the page says that it is missing, and shows it once it is', async (t) => {
  const server = new Server();
  t.after(() => server.stop());
  server.fill(usualAlerts(50));
  await server.startDaemon();
  await server.stopDaemon();
  renameSync(server.store('alertlog.alt'), server.store('away'));
  await server.startWeb();
  const page = await openPage(t, browser, server);
  await page.locator('.notice', { hasText: 'The log is missing.' }).waitFor();
  renameSync(server.store('away'), server.store('alertlog.alt'));
  await found(page, 50);
  await page.locator('.notice', { hasText: 'The log is missing.' }).waitFor({ state: 'detached' });
});

test('the log goes away: the last known alerts stay under a notice, until it is back', async (t) => {
  const server = await makeServer(t, usualAlerts(50));
  const page = await openPage(t, browser, server);
  await found(page, 50);
  await server.stopDaemon();
  renameSync(server.store('alertlog.alt'), server.store('away'));
  const notice = page.locator('.notice', { hasText: 'The log is missing.' });
  await notice.getByText('The last known alerts are shown.').waitFor();
  assert.match(await notice.textContent(), /Last read whole: \d{4}\/\d\d\/\d\d /);
  assert.equal(await rows(page).count(), 50);
  renameSync(server.store('away'), server.store('alertlog.alt'));
  await notice.waitFor({ state: 'detached' });
});

test('the log is damaged: the page says that it cannot be read and why', async (t) => {
  const server = await makeServer(t, usualAlerts(50));
  const page = await openPage(t, browser, server);
  await found(page, 50);
  await server.stopDaemon();
  writeFileSync(server.store('alertlog.alt'), 'no log at all\n');
  const notice = page.locator('.notice', { hasText: 'The log cannot be read.' });
  await notice.waitFor();
  const { cause } = (await server.get('alerts?size=1')).log;
  assert.ok(cause.length > 0 && (await notice.textContent()).includes(cause));
  assert.equal(await rows(page).count(), 50);
});

test('the server ends and starts again: the page tells, tries again and recovers by itself', async (t) => {
  const server = await makeServer(t, usualAlerts(50));
  const page = await openPage(t, browser, server);
  await found(page, 50);
  await server.stopWeb();
  await page.fill('#text', 'link');
  const notice = page.locator('.notice', { hasText: 'This server does not answer.' });
  await notice.waitFor();
  assert.match(await notice.textContent(), /Last answer: \d{4}\/\d\d\/\d\d /);
  assert.equal(await rows(page).count(), 50);
  await server.startWeb();
  await found(page, usualAlerts(50).filter((alert) => alert.message.includes('link')).length);
  await notice.waitFor({ state: 'detached' });
});

test('alerts of a server are missing: the page says how many, and which', async (t) => {
  const server = await makeServer(t, usualAlerts(50));
  const page = await openPage(t, browser, server, '/?panel=servers');
  const { held } = await server.get('status');
  const { missing, holes } = held.find((one) => one.server === 'north');
  assert.ok(missing > 0);
  await page.locator('.verdict', { hasText: `${missing} alerts of north` }).waitFor();
  const cell = page.locator('#servers tbody tr', { hasText: 'north' }).locator('td').last();
  const [first, last] = holes[0];
  assert.ok(
    (await cell.textContent()).startsWith(
      `${missing}: ${first === last ? first : `${first}–${last}`}`,
    ),
  );
});
