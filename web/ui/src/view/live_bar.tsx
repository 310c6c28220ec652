// The live mode: how the stream is, and how many new alerts wait to be shown.
import { FRESH_MAX } from '../live';
import { numberText } from '../texts';
import type { Live } from '../use_live';
import { Icon } from './icons';

interface Props {
  live: Live;
  onShow: () => void;
}

function streamText(live: Live): string {
  if (live.paused) return 'Paused';
  if (live.stream === 'lost') return 'Stream lost, trying again';
  return live.stream === 'open' ? 'Live' : 'Connecting';
}

export function freshText(fresh: number): string {
  return `${numberText(fresh)}${fresh >= FRESH_MAX ? '+' : ''} new`;
}

function streamClass(live: Live): string {
  return live.paused ? 'stream is-paused' : `stream is-${live.stream}`;
}

export function LiveBar({ live, onShow }: Props) {
  const wanted = live.fresh > 0 || live.changed;
  return (
    <div class="live">
      <div role="status" class="live-news">
        {live.fresh > 0 && (
          <button type="button" class="strong" onClick={onShow} title="Show them (l)">
            {freshText(live.fresh)}
          </button>
        )}
      </div>
      <button
        type="button"
        class={wanted ? 'again is-wanted' : 'again'}
        onClick={onShow}
        aria-label="Search again"
        title={live.changed ? 'The log has changed. Search again (r)' : 'Search again (r)'}
      >
        <Icon name="again" />
      </button>
      <span class={streamClass(live)} role="status">
        {streamText(live)}
      </span>
      <button
        type="button"
        aria-pressed={live.paused}
        onClick={() => live.setPaused(!live.paused)}
        aria-label="Pause live mode"
        title={live.paused ? 'Go on' : 'Pause'}
      >
        <Icon name={live.paused ? 'play' : 'pause'} />
      </button>
    </div>
  );
}
