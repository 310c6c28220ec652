// The server's answers, and asking for them.

export interface Alert {
  alert: string; // SERVER/ID
  server: string;
  id: number;
  event: string;
  level: string;
  module: string;
  raised: string;
  raised_utc: string | null;
  written: string;
  message: string;
}

export interface Log {
  state: 'ok' | 'missing' | 'unreadable';
  cause: string;
  last_good: string | null;
  revision: string;
}

export interface AlertPage {
  total: number;
  page: number;
  pages: number;
  moved_on: boolean;
  log: Log;
  alerts: Alert[];
}

export interface OneAlert {
  log: Log;
  alert: Alert;
}

export interface Count {
  value: string;
  count: number;
}

export interface Facets {
  total: number;
  server: Count[];
  module: Count[];
  event: Count[];
  level: Count[];
}

export interface Histogram {
  total: number;
  from: number | null;
  until: number | null;
  bucket_ms: number;
  levels: string[];
  counts: number[][];
}

export interface Peer {
  server: string;
  state: string;
  last_answer: string;
  unacknowledged: number;
  given_up: number;
  catch_up: string;
}

// The daemon may say more and, if it is another version, less.
export interface DaemonStatus {
  state?: string;
  started?: string;
  intake?: { waiting: number; set_aside: number };
  peers?: Peer[];
  catch_up?: { step: string; peer?: string; server?: string };
}

export interface Held {
  server: string;
  count: number;
  first: number;
  last: number;
  missing: number;
  holes: [number, number][];
}

export interface Status {
  server: string;
  version: string;
  now: string;
  zone: string;
  offset_minutes: number;
  log: Log & {
    path: string;
    count: number;
    capacity: number;
    oldest: string | null;
    newest: string | null;
  };
  complete: boolean;
  problems: { code: string; text: string }[];
  daemon: { reachable: boolean; cause: string; asked: string | null; status: DaemonStatus | null };
  held: Held[];
}

export interface Problem {
  status: number;
  code: string;
  detail: string;
  parameter?: string;
}

// Why there is no answer: the server said so, or it said nothing.
export type Failure =
  | { kind: 'problem'; problem: Problem; retrySeconds: number }
  | { kind: 'silent' };

const BASE = 'api/v1/';
const PATIENCE_MS = 10_000; // for an answer
const RETRY_SECONDS = 3;

export function apiAddress(path: string, query: URLSearchParams): string {
  const text = query.toString();
  return BASE + path + (text === '' ? '' : `?${text}`);
}

// SERVER/ID as a part of a path.
export function alertPath(name: string): string {
  const slash = name.lastIndexOf('/');
  const part = (text: string) => encodeURIComponent(text);
  return `alerts/${part(name.slice(0, Math.max(slash, 0)))}/${part(name.slice(slash + 1))}`;
}

export class NoAnswer extends Error {
  constructor(readonly failure: Failure) {
    super(failure.kind === 'problem' ? failure.problem.detail : 'the server does not answer');
  }
}

// When and whether to ask again: what was asked wrongly stays wrong.
export function retryAfter(failure: Failure): number | null {
  if (failure.kind === 'silent') return RETRY_SECONDS;
  const { status } = failure.problem;
  return status === 429 || status >= 500 ? failure.retrySeconds : null;
}

async function problemOf(response: Response): Promise<Failure> {
  const type = response.headers.get('content-type') ?? '';
  if (!type.startsWith('application/problem+json')) return { kind: 'silent' };
  const retrySeconds = Number(response.headers.get('retry-after')) || RETRY_SECONDS;
  return { kind: 'problem', problem: (await response.json()) as Problem, retrySeconds };
}

async function answerOf<Answer>(address: string, signal: AbortSignal): Promise<Answer> {
  const response = await fetch(address, { signal, headers: { accept: 'application/json' } });
  if (!response.ok) throw new NoAnswer(await problemOf(response));
  return (await response.json()) as Answer;
}

// Throws NoAnswer, or an AbortError when `signal` ended it.
export async function ask<Answer>(
  path: string,
  query: URLSearchParams,
  signal: AbortSignal,
): Promise<Answer> {
  const patience = new AbortController();
  const giveUp = () => patience.abort();
  const timer = setTimeout(giveUp, PATIENCE_MS);
  signal.addEventListener('abort', giveUp);
  try {
    return await answerOf<Answer>(apiAddress(path, query), patience.signal);
  } catch (error) {
    if (signal.aborted || error instanceof NoAnswer) throw error;
    throw new NoAnswer({ kind: 'silent' });
  } finally {
    clearTimeout(timer);
    signal.removeEventListener('abort', giveUp);
  }
}
