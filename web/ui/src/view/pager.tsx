// Turning pages.
import { useEffect, useState } from 'preact/hooks';
import type { AlertPage } from '../api';
import { numberText } from '../texts';
import { SIZES, type View } from '../url_state';
import type { ChangeView } from '../use_view';

interface Props {
  answer: AlertPage;
  view: View;
  change: ChangeView;
}

// The page is turned when the number is complete: with Enter, or when the field is left.
function PageField({ answer, change }: Omit<Props, 'view'>) {
  const shown = String(answer.page + 1);
  const [typed, setTyped] = useState(shown);
  useEffect(() => setTyped(shown), [shown]);
  const commit = () => {
    const wanted = Number.parseInt(typed, 10);
    if (Number.isNaN(wanted)) setTyped(shown);
    else change({ page: Math.min(Math.max(wanted, 1), answer.pages) - 1 });
  };
  return (
    <label>
      Page{' '}
      <input
        type="text"
        inputMode="numeric"
        class="page-field"
        value={typed}
        onInput={(event) => setTyped(event.currentTarget.value)}
        onBlur={commit}
        onKeyDown={(event) => event.key === 'Enter' && commit()}
      />{' '}
      of {numberText(answer.pages)}
    </label>
  );
}

export function Pager({ answer, view, change }: Props) {
  const last = answer.pages - 1;
  const turn = (label: string, page: number) => (
    <button
      type="button"
      disabled={page === answer.page || page < 0 || page > last}
      onClick={() => change({ page })}
    >
      {label}
    </button>
  );
  const sizes = [...new Set([...SIZES, view.size])].sort((one, other) => one - other);
  return (
    <nav class="pager" aria-label="Pages">
      {turn('First', 0)}
      {turn('Previous', answer.page - 1)}
      <PageField answer={answer} change={change} />
      {turn('Next', answer.page + 1)}
      {turn('Last', last)}
      <label class="size">
        Alerts on a page{' '}
        <select
          value={view.size}
          onChange={(event) => change({ size: Number(event.currentTarget.value) })}
        >
          {sizes.map((size) => (
            <option key={size} value={size}>
              {size}
            </option>
          ))}
        </select>
      </label>
    </nav>
  );
}
