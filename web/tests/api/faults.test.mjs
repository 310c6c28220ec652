// A stopped daemon, a lost or damaged log, damaged indexes: the API says so, and recovers by itself.
import assert from 'node:assert/strict';
import { readFileSync, renameSync, rmSync, truncateSync, writeFileSync } from 'node:fs';
import { after, before, test } from 'node:test';
import { usualAlerts } from '../support/alerts.mjs';
import { eventually, Server } from '../support/server.mjs';
import { get, json } from './http.mjs';

const server = new Server();
before(async () => {
  // Of one server, whose ids have no holes then.
  server.fill(usualAlerts(200).map((alert) => ({ ...alert, server: 'north' })));
  await server.startDaemon();
  await server.startWeb();
});
after(() => server.stop());

const status = () => json(server, '/api/v1/status');
const codes = async () => (await status()).problems.map(({ code }) => code);
const log = server.store('alertlog.alt');

test('all is well: the picture is complete', async () => {
  await eventually('complete', async () => (await status()).complete);
  assert.equal((await get(server, '/-/ready')).status, 200);
});

test('a stopped daemon is told, alerts are still found, and its return is noticed', async () => {
  await server.stopDaemon();
  await eventually('told', async () => (await codes()).includes('daemon_unreachable'));
  assert.match((await status()).daemon.cause, /it is not running/);
  assert.equal((await json(server, '/api/v1/alerts')).total, 200);
  assert.equal((await get(server, '/-/ready')).status, 200);
  await server.startDaemon();
  await eventually('noticed', async () => (await status()).complete);
});

test('a log that is away is told with what was read last, and its return is noticed', async () => {
  renameSync(log, server.store('away'));
  const page = await json(server, '/api/v1/alerts');
  assert.equal(page.log.state, 'missing');
  assert.ok(page.log.cause.includes(log), page.log.cause);
  assert.equal(page.total, 200);
  assert.ok(Date.now() - Date.parse(page.log.last_good) < 60_000);
  assert.deepEqual(await codes(), ['log_missing']);
  assert.equal((await get(server, '/-/ready')).status, 503);
  renameSync(server.store('away'), log);
  assert.equal((await json(server, '/api/v1/alerts')).log.state, 'ok');
  await eventually('complete', async () => (await status()).complete);
});

test('a damaged log is told, and its mending noticed', async () => {
  const whole = readFileSync(log);
  truncateSync(log, whole.length - 100);
  const page = await json(server, '/api/v1/alerts');
  assert.equal(page.log.state, 'unreadable');
  assert.match(page.log.cause, /is damaged/);
  assert.equal(page.total, 200);
  writeFileSync(log, whole);
  assert.equal((await json(server, '/api/v1/alerts')).log.state, 'ok');
});

test('a damaged index is told while the log answers, and is built again without a hand', async () => {
  const index = server.store('level.idx');
  const bytes = readFileSync(index);
  for (let at = 148; at < bytes.length; at += 74) bytes.write('0       ', at + 65);
  writeFileSync(index, bytes);
  const filters = { level: '3', server: 'north' };
  const wanted = (await json(server, '/api/v1/alerts', { ...filters, text: '!no such text' })).alerts;
  const page = await json(server, '/api/v1/alerts', filters);
  assert.equal(page.source, 'snapshot');
  assert.notEqual(page.log.index_fault, '');
  assert.deepEqual(page.alerts, wanted);
  await eventually('sound again', async () => (await json(server, '/api/v1/alerts', filters)).source === 'index');
  const healed = await json(server, '/api/v1/alerts', filters);
  assert.equal(healed.log.index_fault, '');
  assert.deepEqual(healed.alerts, wanted);
});

test('a deleted log is told, and the one that the daemon makes is taken up', async () => {
  rmSync(log);
  assert.equal((await json(server, '/api/v1/alerts')).log.state, 'missing');
  server.raise({ message: 'the first of the new log' });
  const page = await eventually('taken up', async () => {
    const now = await json(server, '/api/v1/alerts');
    return now.log.state === 'ok' && now.total === 1 && now;
  });
  assert.equal(page.alerts[0].message, 'the first of the new log');
});

test('a front end that starts without a log says so until there is one', async () => {
  await server.stopWeb();
  await server.stopDaemon();
  rmSync(log);
  await server.startWeb();
  const response = await get(server, '/api/v1/alerts');
  assert.equal(response.status, 503);
  assert.equal((await response.json()).code, 'log_missing');
  await server.startDaemon();
  await eventually('there', async () => (await get(server, '/api/v1/alerts')).status === 200);
});
