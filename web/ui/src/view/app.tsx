// The page.
import { useEffect, useMemo, useState } from 'preact/hooks';
import type { Status } from '../api';
import { type KeyActions, moveRow, useKeys } from '../keys';
import { useTheme } from '../theme';
import { makeZone, offsetFrom, type Zone } from '../time';
import { filterQuery, type View } from '../url_state';
import { type Live, useLive } from '../use_live';
import { type Search, useSearch } from '../use_search';
import { useStatus, type Watch } from '../use_status';
import { type ChangeView, useView } from '../use_view';
import { visible } from '../texts';
import { Head } from './head';
import { Help } from './help';
import { freshText } from './live_bar';
import { FailureNotice, LogNotice, SilentNotice } from './notices';
import { OneAlertView } from './one_alert';
import { SearchView } from './search_view';
import { ServersPanel, ServersSummary } from './servers';
import { valueHandlers } from './values';

const NO_ALERTS: never[] = [];

function useZone(view: View, watch: Watch, search: Search): Zone {
  const alerts = search.answer?.alerts ?? NO_ALERTS;
  const name = watch.status?.zone ?? 'server time';
  const minutes = watch.status?.offset_minutes ?? null;
  return useMemo(
    () => makeZone(view.zone, name, offsetFrom(alerts, minutes)),
    [view.zone, name, minutes, alerts],
  );
}

// The live stream, held together with the search that it goes on from.
function useLiveSearch(view: View, search: Search, watch: Watch): Live {
  const live = useLive(filterQuery(view).toString(), {
    // Alerts may have come between the search and the begin of the stream.
    onBegin: (log) => {
      if (view.page === 0 && search.answer?.log.revision !== log.revision) search.again();
    },
    onLog: watch.poll,
  });
  const shown = search.answer?.log.state;
  const now = watch.status?.log.state;
  useEffect(() => {
    if (search.answer !== null && view.page === 0) live.seen(search.answer.alerts);
  }, [search.answer]);
  useEffect(() => {
    if (shown !== undefined && now !== undefined && shown !== now) search.again();
  }, [shown, now]);
  return live;
}

function useTitle(watch: Watch, live: Live): void {
  const server = watch.status === null ? '' : ` ${visible(watch.status.server)}`;
  const news = live.fresh > 0 ? `(${freshText(live.fresh)}) ` : '';
  const title = `${news}Alerts${server}`;
  useEffect(() => {
    document.title = title;
  }, [title]);
}

function closeRow(view: View, change: ChangeView): void {
  document.querySelector<HTMLElement>('.row.is-open [data-row]')?.focus();
  if (view.open !== '') change({ open: '' });
}

function keyActions(
  view: View,
  change: ChangeView,
  search: Search,
  restart: () => void,
  help: () => void,
): KeyActions {
  const turn = (page: number) => {
    if (page >= 0 && page < (search.answer?.pages ?? 0)) change({ page });
  };
  return {
    '/': () => document.querySelector<HTMLInputElement>('#text')?.select(),
    j: () => moveRow(1),
    k: () => moveRow(-1),
    n: () => turn(view.page + 1),
    p: () => turn(view.page - 1),
    l: restart,
    r: restart,
    Escape: () => closeRow(view, change),
    '?': help,
  };
}

function Notices({ search, watch, zone }: { search: Search; watch: Watch; zone: Zone }) {
  const silent = watch.silent || search.failure?.kind === 'silent';
  return (
    <>
      {silent && <SilentNotice lastAnswer={watch.lastAnswer} zone={zone} />}
      {search.failure !== null && <FailureNotice failure={search.failure} />}
      {search.failure === null && search.answer !== null && (
        <LogNotice log={search.answer.log} zone={zone} shown={search.answer.total > 0} />
      )}
    </>
  );
}

interface ClusterProps {
  status: Status | null;
  zone: Zone;
  open: boolean;
  onToggle: () => void;
}

function Cluster({ status, zone, open, onToggle }: ClusterProps) {
  if (status === null) return null;
  return (
    <>
      <ServersSummary status={status} zone={zone} open={open} onToggle={onToggle} />
      {open && <ServersPanel status={status} zone={zone} />}
    </>
  );
}

export function App() {
  const [view, change] = useView();
  const [helping, setHelping] = useState(false);
  const { theme, dark, next } = useTheme();
  const watch = useStatus();
  const search = useSearch(view);
  const live = useLiveSearch(view, search, watch);
  const zone = useZone(view, watch, search);
  useTitle(watch, live);

  const restart = () => {
    live.forget();
    if (view.page === 0) search.again();
    else change({ page: 0 });
  };
  const help = () => setHelping(true);
  useKeys(keyActions(view, change, search, restart, help));
  const { status } = watch;
  const parts = { search, live, view, change, zone, dark, onRestart: restart };

  return (
    <div class="page" {...valueHandlers(view, change)}>
      <Head
        status={status}
        zone={view.zone}
        onZone={(choice) => change({ zone: choice })}
        theme={theme}
        onTheme={next}
        onHelp={help}
      />
      <Cluster
        status={status}
        zone={zone}
        open={view.servers}
        onToggle={() => change({ servers: !view.servers })}
      />
      <Notices search={search} watch={watch} zone={zone} />
      {view.alert === '' ? (
        <SearchView {...parts} server={status?.server ?? 'log'} />
      ) : (
        <main>
          <OneAlertView view={view} change={change} zone={zone} />
        </main>
      )}
      {helping && <Help onClose={() => setHelping(false)} />}
    </div>
  );
}
