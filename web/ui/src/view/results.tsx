// The alerts that were found: how many, the table and its pages.
import { apiAddress } from '../api';
import { numberText } from '../texts';
import type { Zone } from '../time';
import { filterQuery, type View } from '../url_state';
import type { Live } from '../use_live';
import type { Search } from '../use_search';
import type { ChangeView } from '../use_view';
import { LiveBar } from './live_bar';
import { Notice, NothingMatches } from './notices';
import { Pager } from './pager';
import { AlertTable } from './table';

interface Props {
  search: Search;
  live: Live;
  view: View;
  change: ChangeView;
  zone: Zone;
  server: string;
  onRestart: () => void;
}

function totalText({ answer }: Search, view: View): string {
  if (answer === null) return 'Searching';
  const { total, page, alerts } = answer;
  const all = `${numberText(total)} ${total === 1 ? 'alert' : 'alerts'}`;
  if (answer.pages < 2) return all;
  const first = page * view.size;
  return `${all}, ${numberText(first + 1)}–${numberText(first + alerts.length)} shown`;
}

function Export({ view, server }: Pick<Props, 'view' | 'server'>) {
  const link = (format: 'csv' | 'jsonl', label: string) => {
    const query = filterQuery(view);
    query.append('format', format);
    return (
      <a href={apiAddress('alerts', query)} download={`alerts-${server}.${format}`}>
        {label}
      </a>
    );
  };
  return (
    <span class="export">
      Export {link('csv', 'CSV')} {link('jsonl', 'JSON lines')}
    </span>
  );
}

function MovedOn({ onRestart }: Pick<Props, 'onRestart'>) {
  return (
    <Notice kind="plain">
      The log has changed since page 1.{' '}
      <button type="button" onClick={onRestart}>
        Start again at the first page
      </button>
    </Notice>
  );
}

function Gone({ onRestart }: Pick<Props, 'onRestart'>) {
  return (
    <Notice kind="bad">
      The stream was away for too long: alerts may have been missed.{' '}
      <button type="button" onClick={onRestart}>
        Search again
      </button>
    </Notice>
  );
}

export function Results({ search, live, view, change, zone, server, onRestart }: Props) {
  const { answer } = search;
  return (
    <section class="results" aria-label="Alerts" aria-busy={search.loading}>
      <div class="results-head">
        <h2>
          <span role="status">{totalText(search, view)}</span>
        </h2>
        <Export view={view} server={server} />
        <LiveBar live={live} onShow={onRestart} />
      </div>
      {live.gone && <Gone onRestart={onRestart} />}
      {answer !== null && answer.moved_on && view.page > 0 && <MovedOn onRestart={onRestart} />}
      {answer !== null && answer.total === 0 && answer.log.state === 'ok' && (
        <NothingMatches view={view} change={change} zone={zone} />
      )}
      {answer !== null && answer.total > 0 && (
        <>
          <AlertTable alerts={answer.alerts} view={view} change={change} zone={zone} />
          <Pager answer={answer} view={view} change={change} />
        </>
      )}
    </section>
  );
}
