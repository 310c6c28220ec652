// The page of alerts that the view asks for, with the counts beside it.
import { useCallback, useLayoutEffect, useRef, useState } from 'preact/hooks';
import {
  type AlertPage,
  ask,
  type Facets,
  type Failure,
  type Histogram,
  NoAnswer,
  retryAfter,
} from './api';
import { filterQuery, type View } from './url_state';

export interface Search {
  answer: AlertPage | null; // the last one; an older one while `loading` or after a `failure`
  facets: Facets | null;
  histogram: Histogram | null;
  failure: Failure | null;
  loading: boolean;
  again: () => void;
}

type Found = Omit<Search, 'again'>;

const NOTHING: Found = {
  answer: null,
  facets: null,
  histogram: null,
  failure: null,
  loading: true,
};
const NARROW_WIDTH = 700;

// About how many bars the histogram has room for.
function bucketCount(): string {
  return innerWidth < NARROW_WIDTH ? '40' : '100';
}

// Lets the page draw what it has.
function afterDrawing(): Promise<void> {
  return new Promise((done) => setTimeout(done));
}

// Page turns tell the server which log the first page was of.
interface FirstPage {
  filters: string;
  revision: string;
}

function pageQuery(view: View, first: FirstPage | null): URLSearchParams {
  const query = filterQuery(view);
  const isOfSearch = first?.filters === query.toString();
  if (first !== null && isOfSearch && view.page > 0) query.append('revision', first.revision);
  query.append('page', String(view.page));
  query.append('size', String(view.size));
  return query;
}

async function askCounts(
  view: View,
  signal: AbortSignal,
): Promise<Pick<Found, 'facets' | 'histogram'>> {
  const buckets = filterQuery(view);
  buckets.append('buckets', bucketCount());
  const [facets, histogram] = await Promise.all([
    ask<Facets>('facets', filterQuery(view), signal),
    ask<Histogram>('histogram', buckets, signal),
  ]);
  return { facets, histogram };
}

export function useSearch(view: View): Search {
  const [found, setFound] = useState(NOTHING);
  const [round, setRound] = useState(0);
  const first = useRef<FirstPage | null>(null);
  const counted = useRef(''); // the search whose counts are shown
  const again = useCallback(() => setRound((number) => number + 1), []);
  const filters = filterQuery(view).toString();

  // Before anything is painted: what was typed is on its way while the page draws it.
  useLayoutEffect(() => {
    const run = new AbortController();
    let retry: number | undefined;
    const add = (part: Partial<Found>) => setFound((before) => ({ ...before, ...part }));

    // The table comes first: it is what the operator looks at.
    const load = async () => {
      const answer = await ask<AlertPage>('alerts', pageQuery(view, first.current), run.signal);
      if (view.page === 0 || first.current?.filters !== filters) {
        first.current = { filters, revision: answer.log.revision };
      }
      const search = `${round} ${filters}`;
      add({ answer, failure: null, loading: counted.current !== search });
      if (counted.current === search) return;
      await afterDrawing();
      add({ ...(await askCounts(view, run.signal)), loading: false });
      counted.current = search;
    };

    add({ loading: true });
    load().catch((error: unknown) => {
      if (!(error instanceof NoAnswer)) return;
      add({ failure: error.failure, loading: false });
      const seconds = retryAfter(error.failure);
      if (seconds !== null) retry = window.setTimeout(again, seconds * 1000);
    });
    return () => {
      run.abort();
      clearTimeout(retry);
    };
  }, [filters, view.page, view.size, round]);

  return { ...found, again };
}
