// The stream of new alerts: counts them without keeping them, and finds back to a stream that was
// lost.
import { type Alert, apiAddress, type Log } from './api';

// New alerts that are told apart by name; beyond that, "1,000+" says enough.
export const FRESH_MAX = 1000;
const TELL_MS = 200; // a burst of alerts is told once in this time
const RETRY_MS_MAX = 30_000;

export interface LiveState {
  stream: 'connecting' | 'open' | 'lost';
  fresh: number; // new alerts that match, at most FRESH_MAX
  gone: boolean; // alerts may have been missed
  changed: boolean; // alerts have left the log, or it is another one
}

export const QUIET: LiveState = { stream: 'connecting', fresh: 0, gone: false, changed: false };

export interface LiveEvents {
  onState: (state: LiveState) => void;
  onBegin: (log: Log) => void; // the stream begins, at this state of the log
  onLog: (log: Log) => void; // the state of the log has changed
}

export class LiveStream {
  private state = QUIET;
  private readonly names = new Set<string>();
  private source: EventSource | null = null;
  private lastId = '';
  private begun = false;
  private failures = 0;
  private retry: number | undefined;
  private telling: number | undefined;

  constructor(
    private readonly filters: URLSearchParams,
    private readonly events: LiveEvents,
  ) {}

  open(): void {
    const query = new URLSearchParams(this.filters);
    if (this.lastId !== '') query.append('last_event_id', this.lastId);
    const source = new EventSource(apiAddress('stream', query));
    const on = (name: string, act: (data: unknown) => void) =>
      source.addEventListener(name, (event: MessageEvent<string>) => {
        if (event.lastEventId !== '') this.lastId = event.lastEventId;
        act(JSON.parse(event.data === '' ? 'null' : event.data));
      });
    on('hello', (data) => this.begin(data as { log: Log; position: string | number }));
    on('alert', (data) => this.count((data as Alert).alert));
    on('gone', () => this.tell({ gone: true }));
    on('changed', () => this.tell({ changed: true }));
    on('log', (data) => this.events.onLog(data as Log));
    source.onerror = () => this.lose(source);
    this.source = source;
  }

  // Ends the connection. What was counted stays, and `open` goes on behind it.
  close(): void {
    clearTimeout(this.retry);
    clearTimeout(this.telling);
    this.telling = undefined;
    this.source?.close();
    this.source = null;
  }

  // The operator sees the log anew.
  forget(): void {
    this.names.clear();
    this.tell({ fresh: 0, gone: false, changed: false });
  }

  // These alerts are shown by now.
  seen(alerts: readonly Alert[]): void {
    for (const alert of alerts) this.names.delete(alert.alert);
    if (this.names.size !== this.state.fresh) this.tell({ fresh: this.names.size });
  }

  private begin(hello: { log: Log; position: string | number }): void {
    if (this.lastId === '') this.lastId = String(hello.position);
    this.failures = 0;
    this.tell({ stream: 'open' });
    if (!this.begun) this.events.onBegin(hello.log);
    this.begun = true;
  }

  private count(name: string): void {
    if (this.names.size >= FRESH_MAX) return;
    this.names.add(name);
    this.tell({ fresh: this.names.size });
  }

  // The browser tries again by itself unless it was turned away.
  private lose(source: EventSource): void {
    this.tell({ stream: 'lost' });
    if (source.readyState !== EventSource.CLOSED || this.source !== source) return;
    this.source = null;
    const wait = Math.min(1000 * 2 ** this.failures, RETRY_MS_MAX);
    this.failures += 1;
    this.retry = window.setTimeout(() => this.open(), wait);
  }

  private tell(part: Partial<LiveState>): void {
    this.state = { ...this.state, ...part };
    this.telling ??= window.setTimeout(() => {
      this.telling = undefined;
      this.events.onState(this.state);
    }, TELL_MS);
  }
}
