// What the page shows, as the query string of its address: a link shows a colleague the same.

export const FIELDS = ['level', 'server', 'module', 'event'] as const;
export type Field = (typeof FIELDS)[number];

export const SIZES = [25, 50, 100, 250, 500] as const;
const SIZE_NORMAL = 50;
const SIZE_MAX = 1000; // the server delivers no more at once

export type ZoneChoice = 'server' | 'utc';

// The values of a field are included, or excluded when they begin with "!".
export type Values = Record<Field, readonly string[]>;

export interface Filters extends Values {
  text: string;
  since: string; // as the server takes them, empty: no bound
  until: string;
}

export interface View extends Filters {
  page: number; // from 0
  size: number;
  zone: ZoneChoice;
  open: string; // SERVER/ID of the row that is open, or empty
  alert: string; // SERVER/ID: this alert alone is shown
  servers: boolean; // the panel of the servers is open
}

export const NO_FILTERS: Filters = {
  text: '',
  level: [],
  server: [],
  module: [],
  event: [],
  since: '',
  until: '',
};

const FILTER_KEYS = Object.keys(NO_FILTERS) as (keyof Filters)[];

function numberIn(text: string | null, normal: number, low: number, high: number): number {
  const value = /^\d{1,9}$/.test(text ?? '') ? Number(text) : normal;
  return value < low || value > high ? normal : value;
}

export function parseView(search: string): View {
  const query = new URLSearchParams(search);
  const text = (name: string) => query.get(name) ?? '';
  const values = (field: Field) => [
    ...new Set(query.getAll(field).filter((value) => value !== '')),
  ];
  return {
    text: text('text'),
    level: values('level'),
    server: values('server'),
    module: values('module'),
    event: values('event'),
    since: text('since'),
    until: text('until'),
    page: numberIn(query.get('page'), 1, 1, 999_999_999) - 1,
    size: numberIn(query.get('size'), SIZE_NORMAL, 1, SIZE_MAX),
    zone: query.get('zone') === 'utc' ? 'utc' : 'server',
    open: text('open'),
    alert: text('alert'),
    servers: query.get('panel') === 'servers',
  };
}

// The filters as the server takes them; the address of the page has them in the same form.
export function filterQuery(filters: Filters): URLSearchParams {
  const query = new URLSearchParams();
  if (filters.text !== '') query.append('text', filters.text);
  for (const field of FIELDS) {
    for (const value of filters[field]) query.append(field, value);
  }
  if (filters.since !== '') query.append('since', filters.since);
  if (filters.until !== '') query.append('until', filters.until);
  return query;
}

// Empty, or a query string with its "?".
export function formatView(view: View): string {
  const query = filterQuery(view);
  if (view.page > 0) query.append('page', String(view.page + 1));
  if (view.size !== SIZE_NORMAL) query.append('size', String(view.size));
  if (view.zone === 'utc') query.append('zone', 'utc');
  if (view.open !== '') query.append('open', view.open);
  if (view.alert !== '') query.append('alert', view.alert);
  if (view.servers) query.append('panel', 'servers');
  const text = query.toString();
  return text === '' ? '' : `?${text}`;
}

// Other filters or another size begin at the first page, and a page turn closes the open row.
export function changedView(view: View, patch: Partial<View>): View {
  const other = (key: keyof View) => key in patch && patch[key] !== view[key];
  const restart = FILTER_KEYS.some(other) || other('size');
  const turned = restart || other('page');
  return {
    ...view,
    ...(turned ? { open: '', alert: '' } : {}),
    ...(restart ? { page: 0 } : {}),
    ...patch,
  };
}

export function hasFilters(filters: Filters): boolean {
  return filterQuery(filters).toString() !== '';
}
