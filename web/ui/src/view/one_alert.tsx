// One alert alone, as a permalink names it.
import { useEffect, useState } from 'preact/hooks';
import { alertPath, ask, type Failure, NoAnswer, type OneAlert, retryAfter } from '../api';
import { visible } from '../texts';
import type { Zone } from '../time';
import type { View } from '../url_state';
import type { ChangeView } from '../use_view';
import { Details } from './details';
import { FailureNotice, Notice } from './notices';

interface Props {
  view: View;
  change: ChangeView;
  zone: Zone;
}

interface Found {
  one: OneAlert | null;
  failure: Failure | null;
}

function useAlert(name: string): Found {
  const [found, setFound] = useState<Found>({ one: null, failure: null });
  const [round, setRound] = useState(0);
  useEffect(() => {
    const run = new AbortController();
    let retry: number | undefined;
    ask<OneAlert>(alertPath(name), new URLSearchParams(), run.signal)
      .then((one) => setFound({ one, failure: null }))
      .catch((error: unknown) => {
        if (!(error instanceof NoAnswer)) return;
        setFound({ one: null, failure: error.failure });
        const seconds = retryAfter(error.failure);
        if (seconds !== null) retry = window.setTimeout(() => setRound(round + 1), seconds * 1000);
      });
    return () => {
      run.abort();
      clearTimeout(retry);
    };
  }, [name, round]);
  return found;
}

function Fault({ failure, name }: { failure: Failure; name: string }) {
  if (failure.kind === 'silent')
    return <Notice kind="bad">This server does not answer. Trying again.</Notice>;
  if (failure.problem.status !== 404) return <FailureNotice failure={failure} />;
  return (
    <Notice kind="bad">
      <b>The alert {visible(name)} is not here.</b> It may have made room for newer ones, or has not
      reached this server.
    </Notice>
  );
}

export function OneAlertView({ view, change, zone }: Props) {
  const { one, failure } = useAlert(view.alert);
  return (
    <section class="one-alert" aria-label="One alert">
      <div class="one-alert-head">
        <h2>Alert {visible(view.alert)}</h2>
        <button type="button" onClick={() => change({ alert: '' })}>
          Show all alerts
        </button>
      </div>
      {failure !== null && <Fault failure={failure} name={view.alert} />}
      {one !== null && <Details alert={one.alert} view={view} change={change} zone={zone} />}
    </section>
  );
}
