// The values of each field and how many alerts have them.
import { useState } from 'preact/hooks';
import type { Count, Facets } from '../api';
import { canFilter, choiceOf } from '../filters';
import { FIELD_NAMES, numberText, valueText, visible } from '../texts';
import { type Field, FIELDS, type View } from '../url_state';
import { Icon } from './icons';
import { LevelMark } from './values';

const SHOWN = 8; // of each field, before all are asked for
const SHOWN_MAX = 300; // a list that is longer is searched, not read

function FacetValue({
  field,
  one,
  most,
  view,
}: {
  field: Field;
  one: Count;
  most: number;
  view: View;
}) {
  const choice = choiceOf(view, field, one.value);
  const name = valueText(field, one.value);
  const share = `${(100 * one.count) / most}%`;
  const text = field === 'level' ? <LevelMark level={one.value} /> : visible(one.value) || '(none)';
  const label = (
    <>
      <span class="facet-bar" style={{ width: share }} />
      <span class="facet-name">{text}</span>
      <span class="facet-count">{numberText(one.count)}</span>
    </>
  );
  if (!canFilter(field, one.value)) return <li class="facet-value">{label}</li>;
  const target = { 'data-field': field, 'data-value': one.value };
  return (
    <li class={`facet-value is-${choice}`}>
      <button type="button" class="facet-include" aria-pressed={choice === 'included'} {...target}>
        {label}
      </button>
      <button
        type="button"
        class="facet-exclude"
        data-exclude
        aria-pressed={choice === 'excluded'}
        aria-label={`Without ${name}`}
        title={`Without ${name}`}
        {...target}
      >
        <Icon name="exclude" />
      </button>
    </li>
  );
}

function Facet({ field, counts, view }: { field: Field; counts: Count[]; view: View }) {
  const [all, setAll] = useState(false);
  const shown = counts.slice(0, all ? SHOWN_MAX : SHOWN);
  if (counts.length === 0) return null;
  const most = Math.max(...counts.map((one) => one.count));
  return (
    <section class="facet">
      <h2>{FIELD_NAMES[field]}</h2>
      <ul class={all ? 'is-long' : ''}>
        {shown.map((one) => (
          <FacetValue key={one.value} field={field} one={one} most={most} view={view} />
        ))}
      </ul>
      {counts.length > SHOWN && (
        <button type="button" class="quiet" aria-expanded={all} onClick={() => setAll(!all)}>
          {all ? 'Fewer' : `All ${numberText(counts.length)}`}
        </button>
      )}
    </section>
  );
}

// Levels stand in their own order, the worst first; of other fields the most frequent comes first.
function inOrder(field: Field, counts: Count[]): Count[] {
  if (field !== 'level') return counts;
  return [...counts].sort((one, other) => one.value.localeCompare(other.value));
}

export function FacetList({ facets, view }: { facets: Facets | null; view: View }) {
  if (facets === null) return null;
  return (
    <>
      {FIELDS.map((field) => (
        <Facet key={field} field={field} counts={inOrder(field, facets[field])} view={view} />
      ))}
      <p class="hint">Click: only this. Alt-click or “–”: without it.</p>
    </>
  );
}
