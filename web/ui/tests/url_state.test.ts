import assert from 'node:assert/strict';
import { test } from 'node:test';
import {
  changedView,
  filterQuery,
  formatView,
  hasFilters,
  parseView,
  type View,
} from '../src/url_state';

const VIEW: View = {
  text: 'a & b = "c"',
  level: ['1', '!3'],
  server: ['north', '!south'],
  module: ['m/1'],
  event: ['100%'],
  since: '-1h',
  until: '2026-11-20T12:00:00Z',
  page: 3,
  size: 25,
  zone: 'utc',
  open: 'north/7',
  alert: '',
  servers: true,
};

test('a view is formatted and parsed: it is the same', () => {
  assert.deepEqual(parseView(formatView(VIEW)), VIEW);
});

test('the query is empty: the view has no filters, and formats as nothing', () => {
  const view = parseView('');
  assert.equal(hasFilters(view), false);
  assert.equal(formatView(view), '');
});

test('numbers are none or out of their bounds: the usual ones stand for them', () => {
  for (const query of [
    '?page=0&size=0',
    '?page=-1&size=1001',
    '?page=1e3&size=many',
    '?page=99999999999',
  ]) {
    const { page, size } = parseView(query);
    assert.deepEqual([page, size], [0, 50], query);
  }
});

test('a value comes twice or is empty: it counts once, or not', () => {
  assert.deepEqual(parseView('?server=a&server=a&server=&server=b').server, ['a', 'b']);
});

test('the filters are asked for: the query has them and nothing else of the view', () => {
  const names = new Set(filterQuery(VIEW).keys());
  assert.deepEqual([...names], ['text', 'level', 'server', 'module', 'event', 'since', 'until']);
});

test('a filter changes: the first page is shown and no row is open', () => {
  const view = changedView(VIEW, { level: ['2'] });
  assert.deepEqual([view.page, view.open, view.level], [0, '', ['2']]);
});

test('a page is turned: the row closes and the filters stay', () => {
  const view = changedView(VIEW, { page: 4 });
  assert.deepEqual([view.page, view.open, view.text], [4, '', VIEW.text]);
});

test('the zone or the panel changes: page and row stay', () => {
  const view = changedView(VIEW, { zone: 'server', servers: false });
  assert.deepEqual([view.page, view.open], [3, 'north/7']);
});

test('a filter and a row are set together: the row is open', () => {
  assert.equal(changedView(VIEW, { text: '', open: 'north/8' }).open, 'north/8');
});
