// Alerts over time as stacked bars.
import type { Histogram } from './api';

// The smallest bar, as a part of the largest: one error among thousands must be seen.
const SMALLEST_PART = 0.04;

// The bars of each level, in the order of the levels: each reaches from the bottom to the top of
// its own share, so that the last level is drawn first and the others over it.
export function stackedBars(histogram: Histogram): number[][] {
  const sums = histogram.counts.map((bucket) => bucket.reduce((sum, count) => sum + count, 0));
  const smallest = SMALLEST_PART * Math.max(0, ...sums);
  const tops = histogram.counts.map(() => 0);
  return histogram.levels.map((_, level) =>
    histogram.counts.map((bucket, index) => {
      const count = bucket[level] ?? 0;
      tops[index]! += count === 0 ? 0 : Math.max(count, smallest);
      return tops[index]!;
    }),
  );
}

export function levelTotals(histogram: Histogram): number[] {
  return histogram.levels.map((_, level) =>
    histogram.counts.reduce((sum, bucket) => sum + (bucket[level] ?? 0), 0),
  );
}

export interface Span {
  from: number;
  end: number; // exclusive
}

export function bucketSpan(histogram: Histogram, index: number): Span {
  const from = histogram.from! + index * histogram.bucket_ms;
  return { from, end: from + histogram.bucket_ms };
}

// The whole buckets that lie under two points in time, in either order.
export function bucketsUnder(histogram: Histogram, one: number, other: number): Span {
  const last = histogram.counts.length - 1;
  const index = (ms: number) =>
    Math.min(last, Math.max(0, Math.floor((ms - histogram.from!) / histogram.bucket_ms)));
  const first = bucketSpan(histogram, index(Math.min(one, other)));
  return { from: first.from, end: bucketSpan(histogram, index(Math.max(one, other))).end };
}
