// The alerts of a log by a look at its bytes, and a filter that looks at every one of them.
import { readFileSync } from 'node:fs';

const LINE = 684;
const TEXT_COLUMNS = [
  ['written', 10, 24],
  ['raised', 34, 24],
  ['server', 58, 65],
  ['module', 123, 32],
  ['event', 155, 8],
  ['level', 163, 8],
  ['message', 171, 512],
];

export function readLog(path) {
  const bytes = readFileSync(path);
  const lines = Math.floor(bytes.length / LINE);
  const head = bytes.length - lines * LINE;
  return Array.from({ length: lines }, (_, line) => {
    const record = bytes.subarray(head + line * LINE, head + (line + 1) * LINE);
    const alert = { id: Number(record.subarray(0, 10).toString('latin1').trim()) };
    for (const [name, at, width] of TEXT_COLUMNS) alert[name] = record.subarray(at, at + width).toString('utf8').trimEnd();
    return alert;
  });
}

const asList = (value) => (value === undefined ? [] : [value].flat());

function admits(values, fits) {
  const refused = values.filter((value) => value.startsWith('!')).map((value) => value.slice(1));
  const allowed = values.filter((value) => !value.startsWith('!'));
  return !refused.some(fits) && (allowed.length === 0 || allowed.some(fits));
}

// Filters as the API takes them, with times in the stored form.
export function fits(alert, filters) {
  const level = (range) => range.split('..').at(0) <= alert.level && alert.level <= range.split('..').at(-1);
  return (
    alert.raised >= (filters.since ?? '') &&
    (filters.until === undefined || alert.raised <= filters.until) &&
    ['server', 'module', 'event'].every((field) => admits(asList(filters[field]), (value) => value === alert[field])) &&
    admits(asList(filters.level), level) &&
    admits(asList(filters.text), (text) => alert.message.toLowerCase().includes(text.toLowerCase()))
  );
}

export const nameOf = ({ server, id }) => `${server}/${id}`;
