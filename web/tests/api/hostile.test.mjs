// Requests and messages that nobody with good intent sends.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { intakeLine, makeAlert } from '../support/alerts.mjs';
import { Server } from '../support/server.mjs';
import { get, json, open, sendRaw } from './http.mjs';

const MESSAGES = {
  markup: '<script>alert(1)</script><img src=x onerror=alert(2)>',
  formula: '=HYPERLINK("http://192.0.2.1/","x")',
  quotes: `"'\`\\ , ; %s %n {{7*7}} \${7*7}`,
  bidi: 'abc \u202e cba \u2066 \u200b',
  notUtf8: Buffer.from([0x61, 0xff, 0xfe, 0xc3, 0x28, 0x62]),
};

const server = new Server();
before(async () => {
  const alerts = Object.values(MESSAGES).map((message, i) => makeAlert(Date.now() - 1000 + i, { message: 'x', event: String(i + 1), bytes: message }));
  server.fill([]);
  const { writeFileSync } = await import('node:fs');
  const lines = alerts.map((alert) => {
    const line = intakeLine(alert);
    line.fill(' ', 171, 683);
    Buffer.from(alert.bytes).copy(line, 171);
    return line;
  });
  writeFileSync(server.store('alerttmp.alt'), Buffer.concat(lines));
  await server.startDaemon();
  await server.startWeb();
});
after(async () => {
  assert.equal(server.web.exitCode, null, 'the front end has ended');
  await server.stop();
});

const messageOf = (page, event) => page.alerts.find((alert) => alert.event === event)?.message;

test('hostile messages are text in JSON', async () => {
  const response = await get(server, '/api/v1/alerts');
  assert.equal(response.headers.get('x-content-type-options'), 'nosniff');
  assert.match(response.headers.get('content-security-policy'), /default-src 'none'/);
  const page = await response.json();
  assert.equal(messageOf(page, '1'), MESSAGES.markup);
  assert.equal(messageOf(page, '2'), MESSAGES.formula);
  assert.equal(messageOf(page, '3'), MESSAGES.quotes);
  assert.equal(messageOf(page, '4'), MESSAGES.bidi);
  assert.equal(messageOf(page, '5'), 'a\ufffd\ufffd\ufffd(b');
});

test('hostile messages are text in CSV, formulas are none', async () => {
  const csv = await (await get(server, '/api/v1/alerts', { format: 'csv' })).text();
  assert.ok(csv.includes(`,"'=HYPERLINK(""http://192.0.2.1/"",""x"")"`), csv);
  assert.ok(csv.includes('a\\xff\\xfe\\xc3(b'), csv);
  for (const line of csv.trim().split('\r\n')) assert.doesNotMatch(line, /(^|,)"?[=+@]/);
});

test('paths that lead elsewhere lead nowhere', async () => {
  for (const path of ['/../etc/passwd', '/assets/../../etc/passwd', '/%2e%2e/%2e%2e/etc/passwd', '/assets/..%2f..%2fetc/passwd', '/etc/passwd', '/assets/', '//etc/passwd', '/index.html%00.js', '/./index.html', '/assets\\..\\x']) {
    const answer = await sendRaw(server, `GET ${path} HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n`);
    assert.match(answer, /^HTTP\/1\.1 (400|404) /, path);
    assert.doesNotMatch(answer, /root:/, path);
  }
});

test('another host name is refused', async () => {
  for (const host of ['Host: example.org', 'Host: 127.0.0.1.example.org', 'Host: localhost\r\nHost: example.org', 'Host:', 'X: y']) {
    const answer = await sendRaw(server, `GET /api/v1/status HTTP/1.1\r\n${host}\r\nConnection: close\r\n\r\n`);
    assert.match(answer, /^HTTP\/1\.1 (400|421) /, host);
    assert.doesNotMatch(answer, /"server"/, host);
  }
});

const MALFORMED = {
  'no request at all': '\r\n\r\n\r\n',
  'bytes of another protocol': '\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03',
  'a line without an end': 'GET /',
  'a line without a version': 'GET /\r\n\r\n',
  'an unknown version': 'GET / HTTP/9.9\r\nHost: localhost\r\n\r\n',
  'an unknown method': 'BREW / HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n',
  'a target of 100,000 bytes': `GET /${'a'.repeat(100_000)} HTTP/1.1\r\nHost: localhost\r\n\r\n`,
  'a query of 100,000 bytes': `GET /api/v1/alerts?text=${'a'.repeat(100_000)} HTTP/1.1\r\nHost: localhost\r\n\r\n`,
  'a header of 100,000 bytes': `GET / HTTP/1.1\r\nHost: localhost\r\nX: ${'a'.repeat(100_000)}\r\n\r\n`,
  '10,000 headers': `GET / HTTP/1.1\r\nHost: localhost\r\n${'X: y\r\n'.repeat(10_000)}\r\n`,
  '5,000 parameters': `GET /api/v1/alerts?${'server=a&'.repeat(1500)} HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n`,
  'a body that is announced': 'GET / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1000000000\r\n\r\nx',
  'a body in pieces': 'POST /api/v1/alerts HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\nffffffff\r\nx',
  'a negative length': 'GET / HTTP/1.1\r\nHost: localhost\r\nContent-Length: -1\r\n\r\n',
  'two lengths': 'GET / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\nab',
  'a NUL in the target': 'GET /\0 HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n',
  'an escape that is none': 'GET /api/v1/alerts?text=%zz%f HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n',
};

for (const [what, bytes] of Object.entries(MALFORMED)) {
  test(`${what}: refused or served, and the next one is served`, async () => {
    const answer = await sendRaw(server, bytes);
    assert.doesNotMatch(answer, /^HTTP\/1\.1 5(?!05)/, answer.slice(0, 200)); // 505: an unknown version
    assert.equal((await get(server, '/-/healthy')).status, 200);
  });
}

test('1,000 idle connections keep nobody out', async (t) => {
  const idle = [];
  for (let i = 0; i < 20; ++i) idle.push(...(await Promise.all(Array.from({ length: 50 }, () => open(t, server)))));
  for (const connection of idle.slice(0, 500)) connection.socket.write('GET / HT');
  assert.equal((await json(server, '/api/v1/alerts')).total, 5);
});

test('who asks too often is told when to come again', async () => {
  const answers = await Promise.all(Array.from({ length: 1000 }, () => get(server, '/-/healthy')));
  const refused = answers.filter(({ status }) => status === 429);
  assert.ok(refused.length > 0);
  assert.ok(Number(refused[0].headers.get('retry-after')) > 0);
});
