// Live streams: many of them, resumed ones, slow ones.
import assert from 'node:assert/strict';
import { appendFileSync, readFileSync } from 'node:fs';
import http from 'node:http';
import { after, before, test } from 'node:test';
import { intakeLine, makeAlert, usualAlerts } from '../support/alerts.mjs';
import { eventually, pause, Server } from '../support/server.mjs';
import { json } from './http.mjs';

const server = new Server();
before(async () => {
  server.fill(usualAlerts(10_000));
  await server.startDaemon();
  await server.startWeb();
});
after(() => server.stop());

const residentBytes = () => Number(/VmRSS:\s+(\d+) kB/.exec(readFileSync(`/proc/${server.web.pid}/status`, 'utf8'))[1]) * 1024;

// `received` grows as events come; it is the body of the refusal when the stream is refused.
async function openStream(t, { path = '/api/v1/stream', headers = {} } = {}) {
  const stream = { received: '', status: 0 };
  const request = http.get(`${server.address}${path}`, { agent: false, headers }, (response) => {
    stream.status = response.statusCode;
    stream.headers = response.headers;
    stream.response = response.setEncoding('utf8').on('data', (text) => (stream.received += text));
    response.on('error', () => (stream.closed = true));
  });
  request.on('error', () => (stream.closed = true));
  t.after(() => request.destroy());
  await eventually('the stream begins', () => stream.closed || stream.received.endsWith('\n'));
  return stream;
}

const eventsOf = ({ received }) =>
  [...received.matchAll(/id: (\S+)\nevent: (\S+)\ndata: (.*)\n\n/g)].map(([, id, name, data]) => ({ id, name, data: JSON.parse(data) }));
const messagesOf = (connection) => eventsOf(connection).filter(({ name }) => name === 'alert').map(({ data }) => data.message);

function burst(count, word) {
  const lines = Array.from({ length: count }, (_, i) => intakeLine(makeAlert(Date.now(), { message: `${word} ${i}` })));
  appendFileSync(server.store('alerttmp.alt'), Buffer.concat(lines));
}

test('500 streams all get an alert, in less than 60 MB', async (t) => {
  const streams = [];
  while (streams.length < 500) {
    const more = await Promise.all(Array.from({ length: 50 }, () => openStream(t)));
    streams.push(...more.filter(({ received }) => received.includes('event: hello')));
    await pause(200); // a client has so many requests a second
  }
  for (const text of ['warm up', 'to all']) {
    server.raise({ message: text });
    const start = performance.now();
    await eventually('all have it', () => streams.every(({ received }) => received.includes(`"message":"${text}"`)));
    console.log(`${text}: 500 streams had it ${Math.round(performance.now() - start)} ms after it was raised`);
  }
  console.log(`${(residentBytes() / 1e6).toFixed(1)} MB resident`);
  assert.ok(residentBytes() < 60e6);
  assert.equal((await json(server, '/api/v1/status')).streams, 500);
});

test('streams that have gone are forgotten at once', async () => {
  await eventually('none is left', async () => (await json(server, '/api/v1/status')).streams === 0);
});

test('more streams than there may be are refused and told to come again', async (t) => {
  const streams = [];
  for (let i = 0; i < 13; ++i) {
    streams.push(...(await Promise.all(Array.from({ length: 50 }, () => openStream(t)))));
    await pause(250);
  }
  const refused = streams.filter(({ status }) => status !== 200);
  assert.equal(refused.length, 50);
  for (const { status, headers, received } of refused) {
    assert.equal(status, 429);
    assert.ok(Number(headers['retry-after']) > 0);
    assert.equal(JSON.parse(received).code, 'too_many_streams');
  }
});

test('a resumed stream goes on behind its last event, exactly', async (t) => {
  const first = await openStream(t);
  burst(20, 'resume');
  await eventually('twenty', () => messagesOf(first).length >= 20);
  const { id } = eventsOf(first).filter(({ name }) => name === 'alert')[4];
  const wanted = messagesOf(first).slice(5);
  for (const how of [{ headers: { 'Last-Event-ID': id } }, { path: `/api/v1/stream?last_event_id=${id}` }]) {
    const second = await openStream(t, how);
    await eventually('the rest', () => messagesOf(second).length >= wanted.length);
    assert.deepEqual(messagesOf(second), wanted);
  }
});

test('a resume point of before a restart is told to be gone', async (t) => {
  const [hello] = eventsOf(await openStream(t));
  await server.stopWeb();
  await server.startWeb();
  const stream = await openStream(t, { headers: { 'Last-Event-ID': hello.id } });
  await eventually('gone', () => stream.received.includes('event: gone'));
});

test('a filtered stream has only what matches', async (t) => {
  const stream = await openStream(t, { path: '/api/v1/stream?level=1&text=wanted' });
  for (const [level, message] of [['1', 'wanted one'], ['2', 'wanted two'], ['1', 'other'], ['1', 'wanted three']]) server.raise({ level, message });
  await eventually('two', () => messagesOf(stream).length >= 2);
  assert.deepEqual(messagesOf(stream), ['wanted one', 'wanted three']);
});

test('one that does not read holds nobody up and costs no memory', async (t) => {
  const slow = await openStream(t);
  slow.response.pause();
  const quick = await openStream(t);
  const before = residentBytes();
  for (let round = 0; round < 5; ++round) {
    burst(1000, `flood ${round}`);
    await eventually('the quick one has all', () => messagesOf(quick).filter((text) => text.startsWith(`flood ${round} `)).length === 1000);
  }
  console.log(`${((residentBytes() - before) / 1e6).toFixed(1)} MB more after 5,000 alerts that nobody took`);
  assert.ok(residentBytes() - before < 20e6);
  slow.response.resume();
  burst(1, 'after the flood');
  await eventually('the slow one goes on', () => slow.received.includes('after the flood 0'));
  const got = messagesOf(slow).filter((text) => text.startsWith('flood')).length;
  assert.ok(got === 5000 || slow.received.includes('event: gone'), `${got} and not told that some are gone`);
});

test('every alert of a flood comes once and in its order', async (t) => {
  const stream = await openStream(t);
  burst(2000, 'order');
  await eventually('all', () => messagesOf(stream).length >= 2000);
  const wanted = new Set(Array.from({ length: 2000 }, (_, i) => `order ${i}`));
  assert.equal(messagesOf(stream).length, 2000);
  assert.deepEqual(new Set(messagesOf(stream)), wanted);
});
