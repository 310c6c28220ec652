// The keys of the page.
import { useEffect, useRef } from 'preact/hooks';

export const KEYS: readonly (readonly [string, string])[] = [
  ['/', 'Go to the text field'],
  ['j, k', 'Next row, previous row'],
  ['Enter', 'Open or close the row'],
  ['Esc', 'Leave the field, close the row or this help'],
  ['n, p', 'Next page, previous page'],
  ['l', 'Show the new alerts'],
  ['r', 'Search again'],
  ['x', 'Exclude the value that has the focus'],
  ['?', 'This help'],
];

export type KeyActions = Record<string, () => void>;

function isField(target: EventTarget | null): target is HTMLElement {
  if (!(target instanceof HTMLElement)) return false;
  return (
    target.matches('textarea, select') ||
    (target.matches('input') && !target.matches('[type=radio]'))
  );
}

// Calls the action of a key that is pressed. While a field has the focus, keys are text, but for
// Escape, which leaves the field. Nothing happens behind a dialog.
export function useKeys(actions: KeyActions): void {
  const current = useRef(actions);
  current.current = actions;

  useEffect(() => {
    const onKey = (event: KeyboardEvent) => {
      if (event.ctrlKey || event.metaKey || event.altKey || event.isComposing) return;
      if (document.querySelector('dialog[open]') !== null) return;
      if (isField(event.target)) {
        if (event.key === 'Escape') event.target.blur();
        return;
      }
      const action = current.current[event.key];
      if (action === undefined) return;
      event.preventDefault();
      action();
    };
    addEventListener('keydown', onKey);
    return () => removeEventListener('keydown', onKey);
  }, []);
}

// Moves the focus among the buttons that open rows, from within a row or what it opened; from
// elsewhere it goes to the first one.
export function moveRow(step: 1 | -1): void {
  const buttons = [...document.querySelectorAll<HTMLElement>('[data-row]')];
  const line = document.activeElement?.closest('.row, .row-details');
  const row = line?.matches('.row-details') ? line.previousElementSibling : line;
  const at = buttons.findIndex((button) => row?.contains(button));
  const next = buttons[at === -1 ? 0 : at + step];
  next?.focus();
  next?.closest('tr')?.scrollIntoView({ block: 'nearest' });
}
