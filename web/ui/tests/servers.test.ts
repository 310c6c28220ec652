import assert from 'node:assert/strict';
import { test } from 'node:test';
import type { Status } from '../src/api';
import { healthOf, serverLines, stateText } from '../src/servers';

const PEER = {
  server: 'south',
  state: 'answering',
  last_answer: '',
  unacknowledged: 0,
  given_up: 0,
  catch_up: '',
};
const HELD = { server: 'north', count: 5, first: 1, last: 5, missing: 0, holes: [] };

function makeStatus(parts: Partial<Status> = {}): Status {
  return {
    server: 'north',
    version: '1',
    now: '',
    zone: 'UTC +00:00',
    offset_minutes: 0,
    log: {
      state: 'ok',
      cause: '',
      last_good: null,
      revision: '',
      path: '',
      count: 5,
      capacity: 9,
      oldest: null,
      newest: null,
    },
    complete: true,
    problems: [],
    daemon: {
      reachable: true,
      cause: '',
      asked: null,
      status: { peers: [PEER, { ...PEER, server: 'east' }] },
    },
    held: [
      HELD,
      { ...HELD, server: 'gone' },
      { ...HELD, server: 'south', missing: 2, holes: [[2, 3]] },
    ],
    ...parts,
  };
}

const UNREACHABLE = { reachable: false, cause: 'refused', asked: null, status: { peers: [PEER] } };

test('servers are listed: this one, its peers, then those that left, each once', () => {
  assert.deepEqual(
    serverLines(makeStatus()).map((line) => line.server),
    ['north', 'south', 'east', 'gone'],
  );
});

test('alerts of a server are missing: it is not well, although it answers', () => {
  const status = makeStatus();
  const health = serverLines(status).map((line) => healthOf(line, status));
  assert.deepEqual(health, ['good', 'bad', 'good', 'unknown']);
});

test('a server is silent or behind: it is not well', () => {
  for (const fault of [{ state: 'silent' }, { unacknowledged: 3 }]) {
    const status = makeStatus({
      held: [],
      daemon: { ...makeStatus().daemon, status: { peers: [{ ...PEER, ...fault }] } },
    });
    assert.equal(healthOf(serverLines(status)[1]!, status), 'bad');
  }
});

test('the daemon cannot be reached: this server is not well, and of others only the past is known', () => {
  const status = makeStatus({ held: [], daemon: UNREACHABLE });
  const lines = serverLines(status);
  assert.deepEqual(
    lines.map((line) => healthOf(line, status)),
    ['bad', 'unknown'],
  );
  assert.equal(stateText(lines[1]!, status), 'answering when last asked');
});

test('the daemon never answered: this server is listed alone', () => {
  const status = makeStatus({ held: [], daemon: { ...UNREACHABLE, status: null } });
  assert.deepEqual(
    serverLines(status).map((line) => line.server),
    ['north'],
  );
});

test('a server is caught up with: its state says so', () => {
  const catching = { ...PEER, catch_up: 'running' };
  const status = makeStatus({ daemon: { ...makeStatus().daemon, status: { peers: [catching] } } });
  assert.equal(stateText(serverLines(status)[1]!, status), 'answering, catching up now');
});
