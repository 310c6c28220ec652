// What the operator must know of before believing what is shown, and why nothing is shown.
import type { ComponentChildren } from 'preact';
import type { Failure, Log } from '../api';
import { chipsOf } from '../filters';
import { visible } from '../texts';
import { shortStamp, type Zone } from '../time';
import { NO_FILTERS, type View } from '../url_state';
import type { ChangeView } from '../use_view';
import { chipText } from './filter_bar';
import { Icon } from './icons';

export function Notice({ kind, children }: { kind: 'bad' | 'plain'; children: ComponentChildren }) {
  return (
    <div class={`notice is-${kind}`} role="status">
      <Icon name={kind === 'bad' ? 'warning' : 'notice'} />
      <div>{children}</div>
    </div>
  );
}

function whenText(ms: number | null, zone: Zone): string {
  return ms === null
    ? 'never since this page was opened'
    : `${shortStamp(Math.floor(ms / 1000) * 1000, zone)} ${zone.name}`;
}

function goodText(log: Log, zone: Zone): string {
  if (log.last_good === null) return 'It was never read since the program began.';
  return `Last read whole: ${whenText(Date.parse(log.last_good), zone)}.`;
}

export function SilentNotice({ lastAnswer, zone }: { lastAnswer: number | null; zone: Zone }) {
  return (
    <Notice kind="bad">
      <b>This server does not answer.</b> Last answer: {whenText(lastAnswer, zone)}. Trying again
      every few seconds; what is shown is from before.
    </Notice>
  );
}

const LOG_TITLES = {
  missing: 'The log is missing.',
  unreadable: 'The log cannot be read.',
} as const;

export function LogNotice({ log, zone, shown }: { log: Log; zone: Zone; shown: boolean }) {
  if (log.state === 'ok') return null;
  return (
    <Notice kind="bad">
      <b>{LOG_TITLES[log.state]}</b> {visible(log.cause)}. {goodText(log, zone)}{' '}
      {shown && 'The last known alerts are shown. '}Trying again by itself.
    </Notice>
  );
}

const PROBLEM_TITLES: Record<string, string> = {
  log_missing: 'The log is missing.',
  log_unreadable: 'The log cannot be read.',
  too_many_requests: 'The server has too much to do.',
  bad_parameter: 'The server does not understand this search.',
};

export function FailureNotice({ failure }: { failure: Failure }) {
  if (failure.kind === 'silent') return null;
  const { code, detail, status } = failure.problem;
  const again = status === 429 || status >= 500;
  return (
    <Notice kind="bad">
      <b>{PROBLEM_TITLES[code] ?? 'The server refuses this search.'}</b> {visible(detail)}.
      {again && ' Trying again by itself.'}
    </Notice>
  );
}

interface EmptyProps {
  view: View;
  change: ChangeView;
  zone: Zone;
}

export function NothingMatches({ view, change, zone }: EmptyProps) {
  const chips = chipsOf(view);
  if (chips.length === 0) {
    return (
      <div class="empty">
        <h2>The log is empty</h2>
        <p>No server of this cluster has raised an alert that is kept here.</p>
      </div>
    );
  }
  return (
    <div class="empty">
      <h2>No alert matches</h2>
      <p>Take a filter away:</p>
      <div class="chips">
        {chips.map((chip) => (
          <button
            key={`${chip.kind} ${chip.value}`}
            type="button"
            onClick={() => change(chip.without)}
          >
            Without {chip.excluded ? 'not ' : ''}
            {chip.kind} {chipText(chip, view, zone)}
          </button>
        ))}
        <button type="button" class="strong" onClick={() => change(NO_FILTERS)}>
          Show all alerts
        </button>
      </div>
    </div>
  );
}
