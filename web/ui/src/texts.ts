// Words and numbers as people read them.
import type { Field } from './url_state';

export const FIELD_NAMES: Record<Field, string> = {
  level: 'Level',
  server: 'Server',
  module: 'Module',
  event: 'Event',
};

export type LevelKind = 'error' | 'warning' | 'notice' | 'other';

const LEVELS: Record<string, { kind: LevelKind; word: string }> = {
  '1': { kind: 'error', word: 'Error' },
  '2': { kind: 'warning', word: 'Warning' },
  '3': { kind: 'notice', word: 'Notice' },
  other: { kind: 'other', word: 'Other' },
};

export function levelKind(level: string): LevelKind {
  return LEVELS[level]?.kind ?? 'other';
}

export function levelWord(level: string): string {
  return LEVELS[level]?.word ?? `Level ${visible(level)}`;
}

// Characters that would move, hide or turn round what stands beside them: control characters, and
// the invisible marks that set the direction of writing or join and break lines.
const INVISIBLE =
  /[\u0000-\u001f\u007f-\u009f\u061c\u200b-\u200f\u2028-\u202e\u2060-\u2069\ufeff]/g;

function escaped(character: string): string {
  const code = character.charCodeAt(0);
  return code < 0x100
    ? `\\x${code.toString(16).padStart(2, '0')}`
    : `\\u${code.toString(16).padStart(4, '0')}`;
}

// Text from elsewhere, with what cannot be seen as \x1b or \u202e.
export function visible(text: string): string {
  return text.replace(INVISIBLE, escaped);
}

export function valueText(field: Field, value: string): string {
  return field === 'level' ? levelWord(value) : visible(value);
}

const NUMBERS = new Intl.NumberFormat('en');

export function numberText(value: number): string {
  return NUMBERS.format(value);
}

export function counted(count: number, one: string, many = `${one}s`): string {
  return `${numberText(count)} ${count === 1 ? one : many}`;
}

// Ids that are missing: "17" or "17–20".
export function holeText([first, last]: readonly [number, number]): string {
  return first === last ? String(first) : `${first}–${last}`;
}
