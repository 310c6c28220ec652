// This server and its picture of the cluster, asked for again and again while somebody looks.
import { useCallback, useEffect, useRef, useState } from 'preact/hooks';
import { ask, NoAnswer, type Status } from './api';

const POLL_MS = 5000;

export interface Watch {
  status: Status | null; // the last one
  silent: boolean; // the server did not answer the last time
  lastAnswer: number | null; // when it did, in milliseconds
  poll: () => void;
}

const UNKNOWN: Omit<Watch, 'poll'> = { status: null, silent: false, lastAnswer: null };

export function useStatus(): Watch {
  const [watch, setWatch] = useState(UNKNOWN);
  const pollNow = useRef(() => {});

  useEffect(() => {
    let run = new AbortController();
    let timer: number | undefined;

    const poll = async () => {
      run.abort();
      clearTimeout(timer);
      if (document.hidden) return;
      const mine = (run = new AbortController());
      try {
        const status = await ask<Status>('status', new URLSearchParams(), mine.signal);
        setWatch({ status, silent: false, lastAnswer: Date.now() });
      } catch (error) {
        if (!(error instanceof NoAnswer)) return;
        setWatch((before) => ({ ...before, silent: true }));
      }
      timer = window.setTimeout(poll, POLL_MS);
    };

    pollNow.current = () => void poll();
    void poll();
    document.addEventListener('visibilitychange', poll);
    return () => {
      document.removeEventListener('visibilitychange', poll);
      run.abort();
      clearTimeout(timer);
    };
  }, []);

  return { ...watch, poll: useCallback(() => pollNow.current(), []) };
}
