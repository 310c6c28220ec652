// Changes of the filters: what a click on a value does, and the chips that take it back.
import { FIELDS, type Field, type Filters, NO_FILTERS } from './url_state';

const EXCLUDED = '!';

export type Choice = 'included' | 'excluded' | 'free';

export function choiceOf(filters: Filters, field: Field, value: string): Choice {
  if (filters[field].includes(value)) return 'included';
  return filters[field].includes(EXCLUDED + value) ? 'excluded' : 'free';
}

// Includes or excludes a value; a value of which this is already so becomes free again.
export function toggled(
  filters: Filters,
  field: Field,
  value: string,
  wanted: 'included' | 'excluded',
): Partial<Filters> {
  const rest = filters[field].filter((one) => one !== value && one !== EXCLUDED + value);
  if (choiceOf(filters, field, value) === wanted) return { [field]: rest };
  return { [field]: [...rest, wanted === 'excluded' ? EXCLUDED + value : value] };
}

// The server takes whole numbers from 1 to 3 as levels, and no value that looks like an excluded
// one.
export function canFilter(field: Field, value: string): boolean {
  if (value === '' || value.startsWith(EXCLUDED)) return false;
  return field !== 'level' || /^[1-3]$/.test(value);
}

export interface Chip {
  kind: Field | 'text' | 'period';
  value: string;
  excluded: boolean;
  without: Partial<Filters>; // what is left when it is removed
}

function valueChips(filters: Filters, field: Field): Chip[] {
  return filters[field].map((entry) => {
    const excluded = entry.startsWith(EXCLUDED);
    return {
      kind: field,
      value: excluded ? entry.slice(EXCLUDED.length) : entry,
      excluded,
      without: { [field]: filters[field].filter((other) => other !== entry) },
    };
  });
}

// One for each filter. The value of a period is empty: how it reads depends on the time zone.
export function chipsOf(filters: Filters): Chip[] {
  const chips: Chip[] = [];
  if (filters.text !== '') {
    chips.push({ kind: 'text', value: filters.text, excluded: false, without: { text: '' } });
  }
  for (const field of FIELDS) chips.push(...valueChips(filters, field));
  if (filters.since !== '' || filters.until !== '') {
    const without = { since: NO_FILTERS.since, until: NO_FILTERS.until };
    chips.push({ kind: 'period', value: '', excluded: false, without });
  }
  return chips;
}
