import assert from 'node:assert/strict';
import { test } from 'node:test';
import type { Alert } from '../src/api';
import {
  ageText,
  around,
  between,
  boundText,
  boundTyped,
  localText,
  makeZone,
  offsetFrom,
  periodText,
  raisedText,
  shortStamp,
  stamp,
} from '../src/time';
import { NO_FILTERS } from '../src/url_state';

const SUMMER: Alert = {
  alert: 'north/1',
  server: 'north',
  id: 1,
  event: '1',
  level: '1',
  module: 'm',
  raised: '2026/07/01 14:00:00.500',
  raised_utc: '2026-07-01T12:00:00.500Z',
  written: '2026/07/01 14:00:01.000',
  message: '',
};
const WINTER = {
  ...SUMMER,
  raised: '2026/12/01 13:00:00.000',
  raised_utc: '2026-12-01T12:00:00.000Z',
};
const NEVER = { ...SUMMER, raised: 'some day', raised_utc: null };

const OFFSET = offsetFrom([SUMMER, WINTER, NEVER], 60);
const LOCAL = makeZone('server', 'CET +01:00', OFFSET);
const UTC = makeZone('utc', 'CET +01:00', OFFSET);
const NOON = Date.parse('2026-07-01T12:00:00Z');

test('a time is in summer, another in winter: each has the offset of its season', () => {
  assert.equal(stamp(NOON, LOCAL), '2026/07/01 14:00:00.000');
  assert.equal(stamp(Date.parse('2026-12-02T12:00:00.007Z'), LOCAL), '2026/12/02 13:00:00.007');
  assert.equal(shortStamp(NOON, UTC), '2026/07/01 12:00:00');
});

test('no alert is known: the offset of now counts', () => {
  assert.equal(offsetFrom([], 330)(NOON), 330);
});

test('the offset of now is not known: that of the alerts counts, if there are any', () => {
  assert.equal(offsetFrom([SUMMER], null)(Date.now()), 120);
  assert.equal(offsetFrom([], null)(NOON), 0);
});

test('an alert is shown: as it is stored, or in UTC when that is known', () => {
  assert.equal(raisedText(SUMMER, 'server'), SUMMER.raised);
  assert.equal(raisedText(SUMMER, 'utc'), '2026/07/01 12:00:00.500');
  assert.equal(raisedText(NEVER, 'utc'), 'some day');
  assert.equal(localText(SUMMER.written, UTC), '2026/07/01 12:00:01.000');
  assert.equal(localText('', UTC), '');
});

test('a bound is shown: a point in time in the zone that is chosen, other forms as they are', () => {
  assert.equal(boundText('2026-07-01T12:00:00.000Z', LOCAL), '2026/07/01 14:00:00');
  assert.equal(boundText('2026/07/01 14:00:00', UTC), '2026/07/01 12:00:00');
  for (const text of ['-2h', 'today', '2026/07/01', '', 'nonsense', '2026-99-99T'])
    assert.equal(boundText(text, UTC), text);
});

test('a bound is typed: dates are meant in the zone that is shown, seconds may be left out', () => {
  assert.equal(boundTyped(' 2026/07/01 14:00 ', LOCAL), '2026/07/01 14:00:00');
  assert.equal(boundTyped('2026-07-01 12:00:00.250', UTC), '2026-07-01T12:00:00.250Z');
  assert.equal(boundTyped('2026/07/01', UTC), '2026-07-01T00:00:00.000Z');
  for (const text of ['-2h', 'yesterday', '14:30', 'nonsense'])
    assert.equal(boundTyped(text, UTC), text);
});

test('a bound is typed as it is shown: it names the same point in time', () => {
  for (const zone of [LOCAL, UTC]) {
    const shown = boundText('2026-07-01T12:00:00.000Z', zone);
    assert.equal(boundText(boundTyped(shown, zone), UTC), '2026/07/01 12:00:00');
  }
});

test('a period is named: presets by their names, others by their ends', () => {
  const text = (since: string, until: string) => periodText({ ...NO_FILTERS, since, until }, LOCAL);
  assert.equal(text('-1h', ''), 'last 1 h');
  assert.equal(text('yesterday', 'today'), 'yesterday');
  assert.equal(text('-3h', ''), 'since -3h');
  assert.equal(text('', '2026/07/01'), 'until 2026/07/01');
  assert.equal(
    text('2026-07-01T12:00:00Z', '2026-07-01T13:00:00Z'),
    '2026/07/01 14:00:00 – 2026/07/01 15:00:00',
  );
});

test('a period is made: some minutes around a time, or the milliseconds before an end', () => {
  assert.deepEqual(around(NOON, 5), {
    since: '2026-07-01T11:55:00.000Z',
    until: '2026-07-01T12:05:00.000Z',
  });
  assert.deepEqual(between(NOON, NOON + 1000), {
    since: '2026-07-01T12:00:00.000Z',
    until: '2026-07-01T12:00:00.999Z',
  });
});

test('an age is told: in its largest whole unit', () => {
  const ages = [0, 999, 1000, 61_000, 7_200_000, 200_000_000, -1000, -70_000];
  assert.deepEqual(
    ages.map((age) => ageText(NOON - age, NOON)),
    [
      'just now',
      'just now',
      '1 s ago',
      '1 min ago',
      '2 h ago',
      '2 d ago',
      'just now',
      'in the future',
    ],
  );
});
