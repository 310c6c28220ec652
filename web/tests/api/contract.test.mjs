// Every path and every parameter of the API against its description.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { after, before, test } from 'node:test';
import Ajv2020 from 'ajv/dist/2020.js';
import addFormats from 'ajv-formats';
import { usualAlerts } from '../support/alerts.mjs';
import { Server } from '../support/server.mjs';
import { get, json } from './http.mjs';

const document = JSON.parse(readFileSync(new URL('../../openapi.json', import.meta.url), 'utf8'));
const server = new Server();

const ajv = new Ajv2020({ strict: false, allErrors: true });
addFormats(ajv);
ajv.addSchema(document, 'api');

const pointer = (path) => path.map((part) => encodeURIComponent(part.replaceAll('~', '~0').replaceAll('/', '~1'))).join('/');
const resolveReference = (object) =>
  object.$ref === undefined ? object : object.$ref.slice(2).split('/').reduce((at, key) => at[key], document);
const isStream = (path) => path === '/api/v1/stream';
const parametersOf = (path) => document.paths[path].get.parameters.map(resolveReference);

// Holds an answer against what is described for its status.
async function check(path, response) {
  const described = document.paths[path].get.responses[response.status];
  assert.ok(described, `${path}: status ${response.status} is not described`);
  const [type] = response.headers.get('content-type').split(';');
  const { content } = resolveReference(described);
  assert.ok(content[type], `${path}: type ${type} is not described`);
  if (!['application/json', 'application/problem+json'].includes(type)) return response.text();
  const body = await response.json();
  const where = described.$ref === undefined ? `#/${pointer(['paths', path, 'get', 'responses', String(response.status)])}` : described.$ref;
  const validate = ajv.getSchema(`api${where}/content/${pointer([type])}/schema`);
  assert.ok(validate(body), `${path}: ${ajv.errorsText(validate.errors)}`);
  return body;
}

let one;
const filled = (path) => path.replace('{server}', one.server).replace('{id}', one.id);

before(async () => {
  server.fill(usualAlerts(500));
  await server.startDaemon();
  await server.startWeb();
  [one] = (await json(server, '/api/v1/alerts', { size: 1 })).alerts;
});
after(() => server.stop());

test('the document that is served is the one that is described', async () => {
  assert.deepEqual(await json(server, '/api/v1/openapi.json'), document);
});

for (const path of Object.keys(document.paths)) {
  test(`${path} answers as described`, async () => {
    const stop = new AbortController();
    const response = await get(server, filled(path), {}, { signal: stop.signal });
    assert.equal(response.status, 200);
    if (isStream(path)) {
      assert.equal(response.headers.get('content-type'), 'text/event-stream');
      return stop.abort();
    }
    await check(path, response);
  });

  test(`${path} refuses an unknown parameter by its name`, async () => {
    const response = await get(server, filled(path), { 'no such': 'x' });
    assert.equal(response.status, 400);
    const problem = await check(path, response);
    assert.equal(problem.code, 'unknown_parameter');
    assert.equal(problem.parameter, 'no such');
  });

  test(`${path} refuses what is not GET or HEAD`, async () => {
    for (const method of ['POST', 'PUT', 'DELETE', 'OPTIONS', 'PATCH']) {
      const response = await get(server, filled(path), {}, { method });
      assert.equal(response.status, 405, method);
      await check(path, response);
    }
  });

  for (const parameter of parametersOf(path).filter(({ in: place }) => place === 'query')) {
    test(`${path} takes ${parameter.name} as described and refuses it in each wrong way`, async () => {
      for (const value of rightValues(parameter)) {
        const stop = new AbortController();
        const response = await get(server, filled(path), { [parameter.name]: value }, { signal: stop.signal });
        assert.equal(response.status, 200, `${parameter.name}=${value}`);
        if (isStream(path)) stop.abort();
        else await check(path, response);
      }
      for (const value of wrongValues(parameter)) {
        const response = await get(server, filled(path), { [parameter.name]: value });
        assert.equal(response.status, 400, `${parameter.name}=${value}`);
        const problem = await check(path, response);
        assert.equal(problem.parameter, parameter.name);
        assert.equal(problem.code, 'bad_parameter');
        assert.notEqual(problem.detail, '');
      }
    });
  }
}

function rightValues({ schema, example, name }) {
  if (name === 'cursor') return []; // only what an answer has given
  if (example !== undefined) return [example];
  if (schema.enum !== undefined) return schema.enum;
  if (schema.type === 'integer') return [schema.minimum, Math.min(schema.maximum, schema.minimum + 7), schema.maximum];
  return ['text'];
}

function wrongValues({ schema, name }) {
  const one = schema.items ?? schema;
  const wrong = [''];
  if (one.type === 'integer') wrong.push('x', '1.5', '1e3', ' 1', '0x1', String(one.minimum - 1), String(BigInt(one.maximum) + 1n), '9'.repeat(30));
  if (one.enum !== undefined) wrong.push('none of them');
  if (one.maxLength !== undefined) wrong.push('n'.repeat(one.maxLength + 1));
  if (one.pattern !== undefined) wrong.push('4', '0', 'error', '1..', '3..1', '!');
  if (['since', 'until'].includes(name)) wrong.push('soon', '2024/02/30', '25:00', '-1 fortnight');
  if (name === 'cursor') wrong.push('zz', '00');
  if (schema.items === undefined) wrong.push(['1', '1']);
  else wrong.push(Array(65).fill('1'), '!');
  if (['server', 'module', 'event'].includes(name)) wrong.push(' ', 'a\nb', 'a\0b');
  return wrong;
}

test('an alert that is not there is not found, and a path of another form', async () => {
  for (const path of ['/api/v1/alerts/nobody/1', `/api/v1/alerts/${one.server}/4294967295`, `/api/v1/alerts/${one.server}/x`]) {
    const response = await get(server, path);
    assert.equal(response.status, 404, path);
    await check('/api/v1/alerts/{server}/{id}', response);
  }
});

test('HEAD has the head of GET and no body', async () => {
  for (const path of ['/', '/api/v1/alerts', '/api/v1/stream', '/metrics']) {
    const response = await get(server, path, {}, { method: 'HEAD' });
    assert.equal(response.status, 200, path);
    assert.equal(await response.text(), '');
  }
});

test('an answer in every form holds the same alerts', async () => {
  const filters = { level: '1..2', text: '!backup' };
  const page = await json(server, '/api/v1/alerts', { ...filters, size: 1000 });
  const lines = await (await get(server, '/api/v1/alerts', { ...filters, format: 'jsonl' })).text();
  const csv = await (await get(server, '/api/v1/alerts', { ...filters, format: 'csv' })).text();
  assert.deepEqual(lines.trim().split('\n').map(JSON.parse), page.alerts);
  assert.deepEqual(csv.trim().split('\r\n').slice(1).map((line) => line.split(',')[0]), page.alerts.map(({ alert }) => alert));
});

test('what Prometheus reads is in its text format', async () => {
  const text = await (await get(server, '/metrics')).text();
  const form = /^(# (HELP|TYPE) [a-z_]+ .+|[a-z_]+(\{[a-z]+="[^"]*"\})? [0-9.e+-]+)$/;
  for (const line of text.trim().split('\n')) assert.match(line, form);
  for (const name of text.match(/^# TYPE \S+ counter$/gm)) assert.match(name, /_total counter$/);
});
