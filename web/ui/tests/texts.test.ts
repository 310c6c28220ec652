import assert from 'node:assert/strict';
import { test } from 'node:test';
import { counted, holeText, levelKind, levelWord, valueText, visible } from '../src/texts';

test('a text holds what cannot be seen: it is shown as escapes', () => {
  assert.equal(visible('a\u001b[31m\u0000\n\u007f\u0085'), 'a\\x1b[31m\\x00\\x0a\\x7f\\x85');
  assert.equal(
    visible('\u202a\u202e\u2066\u2069\u200b\u2028\ufeff'),
    '\\u202a\\u202e\\u2066\\u2069\\u200b\\u2028\\ufeff',
  );
});

test('a text holds letters of any writing: they stay', () => {
  const text = 'caf\u00e9 \u65e5\u672c \u05d0 \ud83d\udd25 <b>&amp;';
  assert.equal(visible(text), text);
});

test('a level is named: one of the three, or by its number', () => {
  assert.deepEqual(['1', '2', '3', '7', 'other'].map(levelWord), [
    'Error',
    'Warning',
    'Notice',
    'Level 7',
    'Other',
  ]);
  assert.deepEqual(['1', '2', '3', '7', ''].map(levelKind), [
    'error',
    'warning',
    'notice',
    'other',
    'other',
  ]);
  assert.equal(valueText('module', '1'), '1');
});

test('a level is the name of something that every object has: it is a level like others', () => {
  for (const name of ['constructor', 'toString']) {
    assert.equal(levelKind(name), 'other');
    assert.equal(levelWord(name), `Level ${name}`);
  }
});

test('things are counted: one or many, with their thousands', () => {
  assert.deepEqual(
    [0, 1, 1234].map((count) => counted(count, 'alert')),
    ['0 alerts', '1 alert', '1,234 alerts'],
  );
});

test('ids are missing: one or a run of them', () => {
  assert.deepEqual([holeText([17, 17]), holeText([17, 20])], ['17', '17–20']);
});
