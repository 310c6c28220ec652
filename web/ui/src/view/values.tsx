// Values that can be clicked: a click includes one, with Alt it excludes it. All of them are
// handled in one place, by what they say of themselves.
import { canFilter, toggled } from '../filters';
import { levelKind, levelWord, valueText, visible } from '../texts';
import type { Field, View } from '../url_state';
import type { ChangeView } from '../use_view';
import { Icon } from './icons';

export function LevelMark({ level }: { level: string }) {
  const kind = levelKind(level);
  return (
    <span class={`level level-${kind}`}>
      <Icon name={kind} />
      {levelWord(level)}
    </span>
  );
}

export function Value({ field, value }: { field: Field; value: string }) {
  const content = field === 'level' ? <LevelMark level={value} /> : visible(value);
  if (!canFilter(field, value)) return <span class="value">{content}</span>;
  const title = `Only ${valueText(field, value)}; with Alt: without it`;
  return (
    <button type="button" class="value" data-field={field} data-value={value} title={title}>
      {content}
    </button>
  );
}

function targetOf(event: Event): { field: Field; value: string } | null {
  const button = (event.target as Element).closest<HTMLElement>('[data-field]');
  if (button === null) return null;
  return { field: button.dataset['field'] as Field, value: button.dataset['value']! };
}

export function valueHandlers(view: View, change: ChangeView) {
  const choose = (event: Event, wanted: 'included' | 'excluded') => {
    const target = targetOf(event);
    if (target === null) return;
    event.preventDefault();
    change(toggled(view, target.field, target.value, wanted));
  };
  return {
    onClick: (event: MouseEvent) => {
      const excludes = event.altKey || (event.target as Element).closest('[data-exclude]') !== null;
      choose(event, excludes ? 'excluded' : 'included');
    },
    onKeyDown: (event: KeyboardEvent) => {
      const excludes = event.key === 'x' || (event.key === 'Enter' && event.altKey);
      if (excludes) choose(event, 'excluded');
    },
  };
}
