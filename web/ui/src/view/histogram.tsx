// Alerts over time by level. Dragging over it chooses the period.
import { useLayoutEffect, useRef, useState } from 'preact/hooks';
import uPlot from 'uplot';
import type { Histogram } from '../api';
import { bucketSpan, bucketsUnder, levelTotals, type Span, stackedBars } from '../histogram_data';
import { levelKind, levelWord, numberText } from '../texts';
import { shortStamp, stamp, type Zone } from '../time';

interface Props {
  histogram: Histogram | null;
  zone: Zone;
  dark: boolean;
  onPeriod: (span: Span) => void;
}

const HEIGHT = 120;
const DRAG_MIN = 4; // pixels; less is a click

// A colour of the style sheet as the canvas takes it.
function colour(host: HTMLElement, variable: string): string {
  host.style.color = `var(${variable})`;
  const found = getComputedStyle(host).color;
  host.style.color = '';
  return found;
}

// uPlot reads the parts of a date in the browser's zone, and puts its marks at round ones: a date
// whose parts there are those of the zone that was chosen.
function dateIn(zone: Zone): (seconds: number) => Date {
  return (seconds) => {
    const wall = new Date(seconds * 1000 + zone.offset(seconds * 1000) * 60_000);
    return new Date(
      wall.getUTCFullYear(),
      wall.getUTCMonth(),
      wall.getUTCDate(),
      wall.getUTCHours(),
      wall.getUTCMinutes(),
      wall.getUTCSeconds(),
    );
  };
}

interface Hooks {
  onHover: (index: number | null) => void;
  onPeriod: (span: Span) => void;
}

// Midnight by its day, other marks by their time.
function markText(seconds: number, step: number, zone: Zone): string {
  const text = stamp(seconds * 1000, zone);
  const time = text.slice(11, step < 60 ? 19 : 16);
  return time.startsWith('00:00') ? text.slice(5, 10) : time;
}

function axes(host: HTMLElement, zone: Zone): uPlot.Axis[] {
  const common = {
    stroke: colour(host, '--muted'),
    font: '11px system-ui, sans-serif',
    ticks: { show: false },
  };
  const grid = { stroke: colour(host, '--line'), width: 1 };
  return [
    {
      ...common,
      size: 24,
      grid: { show: false },
      values: (_, marks, __, ___, step) => marks.map((mark) => markText(mark, step, zone)),
    },
    { ...common, size: 44, grid, incrs: [1, 2, 5, 10, 20, 50, 100, 200, 500, 1000, 2000, 5000] },
  ];
}

function cursorHooks(histogram: Histogram, hooks: Hooks): uPlot.Hooks.Arrays {
  const timeAt = (plot: uPlot, left: number) => plot.posToVal(left, 'x') * 1000;
  return {
    setCursor: [
      (plot) => {
        const { left = -1 } = plot.cursor;
        const index = Math.floor((timeAt(plot, left) - histogram.from!) / histogram.bucket_ms);
        hooks.onHover(left < 0 || histogram.counts[index] === undefined ? null : index);
      },
    ],
    setSelect: [
      (plot) => {
        const { left, width } = plot.select;
        if (width < DRAG_MIN) return;
        plot.setSelect({ left: 0, top: 0, width: 0, height: 0 }, false);
        hooks.onPeriod(bucketsUnder(histogram, timeAt(plot, left), timeAt(plot, left + width)));
      },
    ],
  };
}

function makePlot(host: HTMLElement, histogram: Histogram, zone: Zone, hooks: Hooks): uPlot {
  const paths = uPlot.paths.bars!({ size: [1, Infinity], gap: 1, align: 1 });
  const kinds = histogram.levels.map(levelKind).reverse();
  const options: uPlot.Options = {
    width: host.clientWidth,
    height: HEIGHT,
    padding: [8, 8, 0, 0],
    legend: { show: false },
    cursor: { y: false, points: { show: false }, drag: { x: true, y: false, setScale: false } },
    tzDate: dateIn(zone),
    scales: {
      x: { range: () => [histogram.from! / 1000, histogram.until! / 1000] },
      y: { range: (_, __, most) => [0, Math.max(most, 1) * 1.05] },
    },
    axes: axes(host, zone),
    series: [
      {},
      ...kinds.map((kind) => ({
        fill: colour(host, `--bar-${kind}`),
        width: 0,
        paths,
        points: { show: false },
      })),
    ],
    hooks: cursorHooks(histogram, hooks),
  };
  const times = histogram.counts.map((_, index) => bucketSpan(histogram, index).from / 1000);
  return new uPlot(options, [times, ...stackedBars(histogram).reverse()], host);
}

function Legend({
  histogram,
  hovered,
  zone,
}: {
  histogram: Histogram;
  hovered: number | null;
  zone: Zone;
}) {
  const totals = levelTotals(histogram);
  const counts = hovered === null ? totals : histogram.counts[hovered]!;
  const present = (level: string, index: number) =>
    levelKind(level) !== 'other' || totals[index]! > 0;
  const span =
    hovered === null
      ? { from: histogram.from!, end: histogram.until! }
      : bucketSpan(histogram, hovered);
  return (
    <div class="legend">
      <span class="legend-span">
        {shortStamp(span.from, zone)} – {shortStamp(span.end, zone)}
      </span>
      {histogram.levels.filter(present).map((level) => (
        <span key={level} class="legend-level">
          <span class={`swatch swatch-${levelKind(level)}`} />
          {levelWord(level)} <b>{numberText(counts[histogram.levels.indexOf(level)] ?? 0)}</b>
        </span>
      ))}
      <span class="hint legend-hint">Drag to choose a period</span>
    </div>
  );
}

function Plot({ histogram, zone, dark, onPeriod }: Props & { histogram: Histogram }) {
  const host = useRef<HTMLDivElement>(null);
  const [hovered, setHovered] = useState<number | null>(null);

  useLayoutEffect(() => {
    const element = host.current!;
    const plot = makePlot(element, histogram, zone, { onHover: setHovered, onPeriod });
    const sizes = new ResizeObserver(() =>
      plot.setSize({ width: element.clientWidth, height: HEIGHT }),
    );
    sizes.observe(element);
    return () => {
      sizes.disconnect();
      plot.destroy();
      setHovered(null);
    };
  }, [histogram, zone, dark]);

  const totals = levelTotals(histogram).map(
    (count, index) => `${levelWord(histogram.levels[index]!)} ${count}`,
  );
  return (
    <>
      <Legend
        histogram={histogram}
        hovered={histogram.counts[hovered ?? -1] ? hovered : null}
        zone={zone}
      />
      <div
        ref={host}
        class="plot"
        role="img"
        aria-label={`Alerts over time: ${totals.join(', ')}`}
      />
    </>
  );
}

export function HistogramBox(props: Props) {
  const { histogram } = props;
  const empty = histogram === null || histogram.from === null || histogram.counts.length === 0;
  return (
    <section class="histogram" aria-label="Alerts over time">
      {!empty && <Plot {...props} histogram={histogram} />}
    </section>
  );
}
