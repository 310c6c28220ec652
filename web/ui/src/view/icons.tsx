// Small drawings that stand beside words, never for them.
import type { LevelKind } from '../texts';

const PATHS = {
  error: 'M5.2 1.5h5.6l3.7 3.7v5.6l-3.7 3.7H5.2l-3.7-3.7V5.2zM5.6 5.6l4.8 4.8M10.4 5.6l-4.8 4.8',
  warning: 'M8 2 15 14H1zM8 6.4v3.4M8 11.9v.2',
  notice: 'M8 1.8a6.2 6.2 0 1 1 0 12.4A6.2 6.2 0 0 1 8 1.8zM8 7.4v3.8M8 4.8v.2',
  other: 'M8 2.5 13.5 8 8 13.5 2.5 8z',
  good: 'M8 1.8a6.2 6.2 0 1 1 0 12.4A6.2 6.2 0 0 1 8 1.8zM5.2 8.2l2 2 3.6-4.2',
  open: 'M6 3.5 10.5 8 6 12.5',
  close: 'M4 4l8 8M12 4l-8 8',
  exclude: 'M3.5 8h9',
  pause: 'M5.5 3.5v9M10.5 3.5v9',
  play: 'M5 3.5 12 8l-7 4.5z',
  theme: 'M8 2a6 6 0 1 0 0 12zM8 2a6 6 0 0 1 0 12',
  again: 'M13 8a5 5 0 1 1-1.6-3.7M13 2.6v2.6h-2.6',
} satisfies Record<LevelKind | string, string>;

export function Icon({ name }: { name: keyof typeof PATHS }) {
  return (
    <svg class={`icon icon-${name}`} viewBox="0 0 16 16" aria-hidden="true" focusable="false">
      <path d={PATHS[name]} />
    </svg>
  );
}
