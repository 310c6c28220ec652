// The text field, the period and the chips of what is filtered.
import { useEffect, useRef, useState } from 'preact/hooks';
import type { Failure } from '../api';
import { type Chip, chipsOf } from '../filters';
import { FIELD_NAMES, valueText, visible } from '../texts';
import { boundText, boundTyped, isPreset, periodText, PRESETS, type Zone } from '../time';
import { type Filters, NO_FILTERS, type View } from '../url_state';
import type { ChangeView } from '../use_view';
import { Icon } from './icons';

interface Props {
  view: View;
  change: ChangeView;
  zone: Zone;
  failure: Failure | null;
}

const TEXT_MAX = 256; // the server takes no more

// What the server has against a parameter, or nothing.
function faultOf(failure: Failure | null, parameter: string): string {
  if (failure?.kind !== 'problem' || failure.problem.parameter !== parameter) return '';
  return failure.problem.detail;
}

// The first letter of a text is a step of its own for the back button, the others go with it.
function TextField({ view, change }: Pick<Props, 'view' | 'change'>) {
  const typing = useRef(false);
  const rest = () => (typing.current = false);
  return (
    <input
      id="text"
      type="search"
      class="text-field"
      placeholder="Text in the message"
      aria-label="Text in the message"
      title="Capital and small letters are the same. Begin with ! for messages without the text."
      maxLength={TEXT_MAX}
      autocomplete="off"
      spellcheck={false}
      value={view.text}
      onInput={(event) => {
        change({ text: event.currentTarget.value }, typing.current ? 'replace' : 'push');
        typing.current = true;
      }}
      onChange={rest}
      onBlur={rest}
    />
  );
}

function BoundField({
  name,
  label,
  view,
  change,
  zone,
  failure,
}: Props & { name: 'since' | 'until'; label: string }) {
  const shown = boundText(view[name], zone);
  const [typed, setTyped] = useState(shown);
  useEffect(() => setTyped(shown), [shown]);
  const fault = faultOf(failure, name);
  const commit = () => {
    if (typed !== shown) change({ [name]: boundTyped(typed, zone) });
  };
  return (
    <label class="bound">
      <span>{label}</span>
      <input
        type="text"
        name={name}
        class="bound-field"
        placeholder="YYYY/MM/DD HH:MM"
        title={`A time in ${zone.name}, as 2026/01/31 23:59. Also a date, “today”, or so long ago: -2h`}
        autocomplete="off"
        spellcheck={false}
        value={typed}
        aria-invalid={fault !== ''}
        aria-describedby={fault === '' ? undefined : `${name}-fault`}
        onInput={(event) => setTyped(event.currentTarget.value)}
        onBlur={commit}
        onKeyDown={(event) => event.key === 'Enter' && commit()}
      />
      {fault !== '' && (
        <span id={`${name}-fault`} class="fault" role="alert">
          {fault}
        </span>
      )}
    </label>
  );
}

function Presets({ view, change }: Pick<Props, 'view' | 'change'>) {
  return (
    <div class="presets" role="group" aria-label="Period">
      {PRESETS.map((preset) => (
        <button
          key={preset.label}
          type="button"
          aria-pressed={isPreset(preset, view)}
          onClick={() => change({ since: preset.since, until: preset.until })}
        >
          {preset.label}
        </button>
      ))}
    </div>
  );
}

export function chipText(chip: Chip, filters: Filters, zone: Zone): string {
  if (chip.kind === 'period') return periodText(filters, zone);
  if (chip.kind === 'text') return `“${visible(chip.value)}”`;
  return valueText(chip.kind, chip.value);
}

function chipName(chip: Chip): string {
  if (chip.kind === 'period') return 'Period';
  if (chip.kind === 'text') return 'Text';
  return FIELD_NAMES[chip.kind];
}

export function Chips({ view, change, zone }: Omit<Props, 'failure'>) {
  const chips = chipsOf(view);
  if (chips.length === 0) return null;
  return (
    <div class="chips" role="group" aria-label="Filters">
      {chips.map((chip) => {
        const text = chipText(chip, view, zone);
        const name = `${chipName(chip)}${chip.excluded ? ' not' : ''}`;
        return (
          <button
            key={`${name} ${chip.value}`}
            type="button"
            class={chip.excluded ? 'chip is-excluded' : 'chip'}
            title="Remove this filter"
            onClick={() => change(chip.without)}
          >
            <span class="unseen">Remove filter: </span>
            <span>{name}</span> <span class="chip-value">{text}</span>
            <Icon name="close" />
          </button>
        );
      })}
      {chips.length > 1 && (
        <button type="button" class="quiet" onClick={() => change(NO_FILTERS)}>
          Clear all
        </button>
      )}
    </div>
  );
}

export function FilterBar(props: Props) {
  return (
    <div class="filter-bar" role="search">
      <TextField view={props.view} change={props.change} />
      <Presets view={props.view} change={props.change} />
      <div class="bounds">
        <BoundField {...props} name="since" label="From" />
        <BoundField {...props} name="until" label="to" />
      </div>
    </div>
  );
}
