import assert from 'node:assert/strict';
import { test } from 'node:test';
import { canFilter, chipsOf, choiceOf, toggled } from '../src/filters';
import { type Filters, NO_FILTERS } from '../src/url_state';

const FILTERS: Filters = {
  ...NO_FILTERS,
  server: ['north', '!south'],
  text: 'disk',
  since: 'today',
};

test('a free value is chosen: it joins the others', () => {
  assert.deepEqual(toggled(FILTERS, 'server', 'east', 'included'), {
    server: ['north', '!south', 'east'],
  });
  assert.deepEqual(toggled(FILTERS, 'server', 'east', 'excluded'), {
    server: ['north', '!south', '!east'],
  });
});

test('a value is chosen as it already is: it becomes free', () => {
  assert.deepEqual(toggled(FILTERS, 'server', 'north', 'included'), { server: ['!south'] });
  assert.deepEqual(toggled(FILTERS, 'server', 'south', 'excluded'), { server: ['north'] });
});

test('a value is chosen the other way: it changes sides', () => {
  assert.deepEqual(toggled(FILTERS, 'server', 'north', 'excluded'), {
    server: ['!south', '!north'],
  });
});

test('values are asked for: each is included, excluded or free', () => {
  const choices = ['north', 'south', 'east'].map((value) => choiceOf(FILTERS, 'server', value));
  assert.deepEqual(choices, ['included', 'excluded', 'free']);
});

test('a value is none that the server takes: it cannot be filtered', () => {
  assert.deepEqual(
    ['1', '3', '4', '', 'x'].map((value) => canFilter('level', value)),
    [true, true, false, false, false],
  );
  assert.deepEqual(
    ['disk', '', '!disk'].map((value) => canFilter('module', value)),
    [true, false, false],
  );
});

test('there are filters: each has a chip that takes away just it', () => {
  const chips = chipsOf(FILTERS);
  assert.deepEqual(
    chips.map((chip) => [chip.kind, chip.value, chip.excluded]),
    [
      ['text', 'disk', false],
      ['server', 'north', false],
      ['server', 'south', true],
      ['period', '', false],
    ],
  );
  const left = chips.reduce((filters, chip) => ({ ...filters, ...chip.without }), FILTERS);
  assert.deepEqual(chips[1]!.without, { server: ['!south'] });
  assert.deepEqual({ ...left, server: [] }, NO_FILTERS);
});
