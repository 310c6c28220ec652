import assert from 'node:assert/strict';
import { test } from 'node:test';
import { bucketSpan, bucketsUnder, levelTotals, stackedBars } from '../src/histogram_data';

const HISTOGRAM = {
  total: 110,
  from: 1000,
  until: 1400,
  bucket_ms: 100,
  levels: ['1', '2'],
  counts: [
    [0, 0],
    [10, 90],
    [1, 0],
    [0, 9],
  ],
};

test('bars are stacked: each level begins where the one before it ends', () => {
  assert.deepEqual(stackedBars(HISTOGRAM), [
    [0, 10, 4, 0],
    [0, 100, 4, 9],
  ]);
});

test('a bar is small beside others: it is high enough to be seen, and nothing stays nothing', () => {
  const [errors] = stackedBars(HISTOGRAM);
  assert.ok(errors![2]! > 1);
  assert.equal(errors![3], 0);
});

test('levels are summed up: exactly as counted', () => {
  assert.deepEqual(levelTotals(HISTOGRAM), [11, 99]);
});

test('a part is chosen: it covers whole buckets, in either direction and not beyond the ends', () => {
  assert.deepEqual(bucketSpan(HISTOGRAM, 2), { from: 1200, end: 1300 });
  assert.deepEqual(bucketsUnder(HISTOGRAM, 1150, 1250), { from: 1100, end: 1300 });
  assert.deepEqual(bucketsUnder(HISTOGRAM, 1250, 1150), { from: 1100, end: 1300 });
  assert.deepEqual(bucketsUnder(HISTOGRAM, -50, 9999), { from: 1000, end: 1400 });
});
