// Times in the two zones that can be chosen: UTC, and the local time of the server, in which the
// log is kept. The time zone of the browser plays no part.
import type { Alert } from './api';
import type { Filters, ZoneChoice } from './url_state';

const MINUTE_MS = 60_000;
const DAY_MS = 86_400_000;

// Minutes that the server's local time is ahead of UTC at a point in time.
export type Offset = (ms: number) => number;

export interface Zone {
  choice: ZoneChoice;
  name: string;
  offset: Offset; // of the zone that was chosen: 0 throughout for UTC
  serverOffset: Offset;
}

export function makeZone(choice: ZoneChoice, serverName: string, serverOffset: Offset): Zone {
  if (choice === 'utc') return { choice, name: 'UTC', offset: () => 0, serverOffset };
  return { choice, name: serverName, offset: serverOffset, serverOffset };
}

// "2024/01/31 23:59:59.123" as if it were UTC, in milliseconds; NaN when it is no such time.
function wallMs(stamp: string): number {
  const parts = /^(\d{4})[/-](\d\d)[/-](\d\d)(?: (\d\d):(\d\d)(?::(\d\d)(?:\.(\d{3}))?)?)?$/.exec(
    stamp,
  );
  if (parts === null) return NaN;
  const [year, month, day, hour, minute, second, milli] = parts
    .slice(1)
    .map((part) => Number(part ?? 0));
  return Date.UTC(year!, month! - 1, day, hour, minute, second, milli);
}

function stampOfWall(wall: number): string {
  const text = new Date(wall).toISOString();
  return `${text.slice(0, 10).replaceAll('-', '/')} ${text.slice(11, 23)}`;
}

// The form in which the log stores times, with milliseconds.
export function stamp(ms: number, zone: Zone): string {
  return stampOfWall(ms + zone.offset(ms) * MINUTE_MS);
}

// The same without a fraction of zero.
export function shortStamp(ms: number, zone: Zone): string {
  return stamp(ms, zone).replace(/\.000$/, '');
}

// The offset of the nearest alert that is known, so that the hour of summer time counts where it
// was in force. `now` is that of the present, null while it is not known.
export function offsetFrom(alerts: readonly Alert[], now: number | null): Offset {
  const known: { at: number; minutes: number }[] = [];
  for (const alert of alerts) {
    const at = alert.raised_utc === null ? NaN : Date.parse(alert.raised_utc);
    const minutes = (wallMs(alert.raised) - at) / MINUTE_MS;
    if (Number.isFinite(minutes)) known.push({ at, minutes });
  }
  if (now !== null) known.push({ at: Date.now(), minutes: now });
  if (known.length === 0) return () => 0;
  return (ms) =>
    known.reduce((best, one) => (Math.abs(one.at - ms) < Math.abs(best.at - ms) ? one : best))
      .minutes;
}

// When an alert was raised. A time that is none is shown as it is stored.
export function raisedText(alert: Alert, choice: ZoneChoice): string {
  if (choice === 'server' || alert.raised_utc === null) return alert.raised;
  return stampOfWall(Date.parse(alert.raised_utc));
}

// The point of a time that stands in the server's local time; NaN when it is no time.
export function localMs(stored: string, zone: Zone): number {
  const wall = wallMs(stored);
  return wall - zone.serverOffset(wall) * MINUTE_MS;
}

// A time that stands in the server's local time, in the zone that is shown.
export function localText(stored: string, zone: Zone): string {
  const ms = localMs(stored, zone);
  return zone.choice === 'server' || Number.isNaN(ms) ? stored : stampOfWall(ms);
}

// A bound of the period as the field shows it.
export function boundText(bound: string, zone: Zone): string {
  if (/^\d{4}-\d\d-\d\dT/.test(bound)) {
    const ms = Date.parse(bound);
    return Number.isNaN(ms) ? bound : shortStamp(ms, zone);
  }
  return / /.test(bound) ? localText(bound, zone).replace(/\.000$/, '') : bound;
}

// A bound as the server takes it, from what was typed: dates with a time are meant in the zone that
// is shown, all else is the server's to understand.
export function boundTyped(typed: string, zone: Zone): string {
  const text = typed.trim();
  const wall = wallMs(text);
  if (Number.isNaN(wall)) return text;
  if (zone.choice === 'utc') return new Date(wall).toISOString();
  return stampOfWall(wall).replace(/\.000$/, '');
}

export interface Preset {
  label: string;
  since: string;
  until: string;
}

export const PRESETS: readonly Preset[] = [
  { label: '15 min', since: '-15m', until: '' },
  { label: '1 h', since: '-1h', until: '' },
  { label: '24 h', since: '-24h', until: '' },
  { label: '7 d', since: '-7d', until: '' },
  { label: 'Today', since: 'today', until: '' },
  { label: 'Yesterday', since: 'yesterday', until: 'today' },
  { label: 'All', since: '', until: '' },
];

export function isPreset(preset: Preset, filters: Filters): boolean {
  return preset.since === filters.since && preset.until === filters.until;
}

export function periodText(filters: Filters, zone: Zone): string {
  const preset = PRESETS.find((one) => isPreset(one, filters));
  if (preset !== undefined)
    return preset.since.startsWith('-') ? `last ${preset.label}` : preset.label.toLowerCase();
  const since = boundText(filters.since, zone);
  const until = boundText(filters.until, zone);
  if (until === '') return `since ${since}`;
  return since === '' ? `until ${until}` : `${since} – ${until}`;
}

// Some minutes before and after a point in time, as a period.
export function around(ms: number, minutes: number): Pick<Filters, 'since' | 'until'> {
  const at = (shift: number) => new Date(ms + shift * MINUTE_MS).toISOString();
  return { since: at(-minutes), until: at(minutes) };
}

// The milliseconds from `from` up to but not including `end`, as a period.
export function between(from: number, end: number): Pick<Filters, 'since' | 'until'> {
  return { since: new Date(from).toISOString(), until: new Date(end - 1).toISOString() };
}

const AGES: readonly [number, string][] = [
  [DAY_MS, 'd'],
  [3_600_000, 'h'],
  [MINUTE_MS, 'min'],
  [1000, 's'],
];

// How long ago something was, in its largest whole unit.
export function ageText(ms: number, now: number): string {
  const age = now - ms;
  for (const [length, unit] of AGES) {
    if (age >= length) return `${Math.floor(age / length)} ${unit} ago`;
  }
  return age > -MINUTE_MS ? 'just now' : 'in the future';
}
