// Searching the alerts: filters, counts, the chart and what was found.
import { useMemo, useState } from 'preact/hooks';
import { between, type Zone } from '../time';
import { FIELDS, type View } from '../url_state';
import type { Live } from '../use_live';
import type { Search } from '../use_search';
import type { ChangeView } from '../use_view';
import { FacetList } from './facets';
import { Chips, FilterBar } from './filter_bar';
import { HistogramBox } from './histogram';
import { Results } from './results';

interface SearchProps {
  search: Search;
  live: Live;
  view: View;
  change: ChangeView;
  zone: Zone;
  server: string;
  dark: boolean;
  onRestart: () => void;
}

export function SearchView(props: SearchProps) {
  const { search, view, change, zone, dark } = props;
  const [facetsOpen, setFacetsOpen] = useState(false);
  // Drawn anew for new counts and other chosen values only, not for each letter of a text.
  const facets = useMemo(
    () => <FacetList facets={search.facets} view={view} />,
    [search.facets, ...FIELDS.map((field) => view[field])],
  );
  return (
    <main class="search">
      <FilterBar view={view} change={change} zone={zone} failure={search.failure} />
      <Chips view={view} change={change} zone={zone} />
      <button
        type="button"
        class="facets-toggle"
        aria-expanded={facetsOpen}
        aria-controls="facets"
        onClick={() => setFacetsOpen(!facetsOpen)}
      >
        Values and counts
      </button>
      <aside
        id="facets"
        class={facetsOpen ? 'facets is-open' : 'facets'}
        aria-label="Values and counts"
      >
        {facets}
      </aside>
      <div class="found">
        <HistogramBox
          histogram={search.histogram}
          zone={zone}
          dark={dark}
          onPeriod={({ from, end }) => change(between(from, end))}
        />
        <Results {...props} />
      </div>
    </main>
  );
}
