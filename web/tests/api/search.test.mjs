// Random searches while alerts arrive, against a look at every alert in the bytes of the log.
// QEL_TEST_SECONDS: how long (default 6).
import assert from 'node:assert/strict';
import { appendFileSync } from 'node:fs';
import { after, before, test } from 'node:test';
import { intakeLine, makeAlert, usualAlerts } from '../support/alerts.mjs';
import { eventually, pause, Server } from '../support/server.mjs';
import { get, json } from './http.mjs';
import { fits, nameOf, readLog } from './log_file.mjs';

const SECONDS = Number(process.env.QEL_TEST_SECONDS ?? 6);
const ALERTS_PER_SECOND = 50;
const SEARCHES_PER_SECOND = 2;
const server = new Server();
const log = () => readLog(server.store('alertlog.alt'));

before(async () => {
  server.set('webalert', 'maxrecordcount', '3000');
  server.fill(usualAlerts(3000));
  await server.startDaemon();
  await server.startWeb();
});
after(() => server.stop());

const pick = (values) => values[Math.floor(Math.random() * values.length)];
const maybe = (chance, value) => (Math.random() < chance ? value() : undefined);
const marked = (value) => (Math.random() < 0.25 ? `!${value}` : value);

function randomFilters(alerts) {
  const some = () => pick(alerts);
  const values = (field) => () => (Math.random() < 0.3 ? [marked(some()[field]), some()[field]] : marked(some()[field]));
  const [since, until] = [some().raised, some().raised].sort();
  const filters = {
    since: maybe(0.3, () => since),
    until: maybe(0.3, () => until),
    server: maybe(0.4, values('server')),
    module: maybe(0.4, values('module')),
    event: maybe(0.3, values('event')),
    level: maybe(0.4, () => pick(['1', '2', '3', '1..2', '!3'])),
    text: maybe(0.2, () => pick(['DISK', 'eth1', '!backup'])),
  };
  return Object.fromEntries(Object.entries(filters).filter(([, value]) => value !== undefined));
}

async function allPages(filters) {
  const alerts = [];
  let next;
  let total;
  do {
    const page = await json(server, '/api/v1/alerts', { ...filters, size: 1000, ...(next === undefined ? {} : { cursor: next }) });
    total ??= page.total;
    alerts.push(...page.alerts);
    next = page.next;
  } while (next !== null);
  return { total, names: alerts.map(nameOf) };
}

const names = (alerts, filters) => new Set(alerts.filter((alert) => fits(alert, filters)).map(nameOf));

// What was there before and after must be found, and nothing that was never there. True when the log
// was the same before and after, so that the answer is held against all of it.
async function searchOnce() {
  const filters = randomFilters(log());
  const story = JSON.stringify(filters);
  const before = log();
  const found = await allPages(filters);
  const after = log();
  const [first, last] = [names(before, filters), names(after, filters)];
  for (const name of found.names) assert.ok(first.has(name) || last.has(name), `${story}: ${name} does not match`);
  const kept = new Set(found.names);
  assert.equal(kept.size, found.names.length, `${story}: some alert came twice`);
  for (const name of first) if (last.has(name)) assert.ok(kept.has(name), `${story}: ${name} is missing`);
  const same = JSON.stringify(before) === JSON.stringify(after);
  if (same) assert.equal(found.total, first.size, story);
  return same;
}

test('random searches while alerts arrive find what is in the log, no more and no less', async () => {
  let id = 0;
  const arrivals = setInterval(() => {
    const batch = Array.from({ length: ALERTS_PER_SECOND / 5 }, () => intakeLine(makeAlert(Date.now(), { message: `arrival ${id++}` })));
    appendFileSync(server.store('alerttmp.alt'), Buffer.concat(batch));
  }, 200);
  let exact = 0;
  const searches = SECONDS * SEARCHES_PER_SECOND;
  try {
    for (let i = 0; i < searches; ++i) {
      exact += await searchOnce();
      await pause(1000 / SEARCHES_PER_SECOND);
    }
  } finally {
    clearInterval(arrivals);
  }
  console.log(`${searches} searches, ${id} arrivals, ${exact} searches of a log that stood still`);
  assert.ok(exact > 0);
});

test('an alert is found as soon as it is stored', async () => {
  for (let i = 0; i < 20; ++i) {
    server.raise({ message: `as soon as stored ${i}` });
    const stored = () => log().some(({ message }) => message === `as soon as stored ${i}`);
    for (let wait = 0; wait < 20_000 && !stored(); ++wait) await pause(1);
    const page = await json(server, '/api/v1/alerts', { text: `as soon as stored ${i}` });
    assert.equal(page.alerts.length, 1, `alert ${i}`);
  }
});

test('pages tell when the log has moved on since the first one', async () => {
  const first = await json(server, '/api/v1/alerts', { size: 10 });
  const { revision } = first.log;
  assert.equal((await json(server, '/api/v1/alerts', { size: 10, page: 1, revision })).moved_on, false);
  server.raise({ message: 'moves on' });
  const moved = async () => (await json(server, '/api/v1/alerts', { size: 10, page: 1, revision })).moved_on;
  await eventually('told', moved);
});

test('an export is the log at one moment', async () => {
  const text = await (await get(server, '/api/v1/alerts', { format: 'jsonl' })).text();
  const exported = text.trim().split('\n').map(JSON.parse);
  assert.equal(exported.length, 3000);
  assert.deepEqual(new Set(exported.map(nameOf)), names(log(), {}));
});
