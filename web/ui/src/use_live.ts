// The live stream of a view's filters.
import { useEffect, useRef, useState } from 'preact/hooks';
import type { Alert } from './api';
import { type LiveEvents, LiveStream, type LiveState, QUIET } from './live';

// Typing passes through many filters; a stream is opened for the one that stays.
const SETTLE_MS = 400;

export interface Live extends LiveState {
  paused: boolean;
  setPaused: (paused: boolean) => void;
  forget: () => void;
  seen: (alerts: readonly Alert[]) => void;
}

// What was announced counts for other filters no more. The stream does not count as away while it
// is changed for another.
function withoutNews(state: LiveState): LiveState {
  const { stream, fresh, gone, changed } = state;
  return fresh === 0 && !gone && !changed ? state : { ...QUIET, stream };
}

export function useLive(filters: string, handlers: Omit<LiveEvents, 'onState'>): Live {
  const [state, setState] = useState(QUIET);
  const [paused, setPaused] = useState(false);
  const stream = useRef<LiveStream | null>(null);
  const current = useRef(handlers);
  current.current = handlers;

  useEffect(() => {
    setState(withoutNews);
    if (paused) return;
    const live = new LiveStream(new URLSearchParams(filters), {
      onState: setState,
      onBegin: (log) => current.current.onBegin(log),
      onLog: (log) => current.current.onLog(log),
    });
    // A browser keeps few connections to one server: tabs that nobody sees leave theirs to others.
    const follow = () => {
      live.close();
      if (!document.hidden) live.open();
    };
    stream.current = live;
    const settled = setTimeout(follow, SETTLE_MS);
    document.addEventListener('visibilitychange', follow);
    return () => {
      clearTimeout(settled);
      document.removeEventListener('visibilitychange', follow);
      live.close();
      stream.current = null;
    };
  }, [filters, paused]);

  return {
    ...state,
    paused,
    setPaused,
    forget: () => stream.current?.forget(),
    seen: (alerts) => stream.current?.seen(alerts),
  };
}
