// What this server knows of each server of its cluster, in one list.
import type { Held, Peer, Status } from './api';

export interface ServerLine {
  server: string;
  here: boolean; // the server that answers
  peer: Peer | null; // what its daemon says of another one
  held: Held | null; // the alerts of it that are kept here
}

// This server first, then its peers, then servers that left the cluster and whose alerts are kept.
export function serverLines(status: Status): ServerLine[] {
  const peers = status.daemon.status?.peers ?? [];
  const names = [
    status.server,
    ...peers.map((peer) => peer.server),
    ...status.held.map((held) => held.server),
  ];
  return [...new Set(names)].map((server) => ({
    server,
    here: server === status.server,
    peer: peers.find((peer) => peer.server === server) ?? null,
    held: status.held.find((held) => held.server === server) ?? null,
  }));
}

export type Health = 'good' | 'bad' | 'unknown';

export function healthOf(line: ServerLine, status: Status): Health {
  if ((line.held?.missing ?? 0) > 0) return 'bad';
  if (line.here) return status.log.state === 'ok' && status.daemon.reachable ? 'good' : 'bad';
  if (line.peer === null || !status.daemon.reachable) return 'unknown';
  return line.peer.state === 'answering' && line.peer.unacknowledged === 0 ? 'good' : 'bad';
}

export function stateText(line: ServerLine, status: Status): string {
  if (line.here)
    return status.daemon.reachable ? 'this server' : 'this server, daemon not reachable';
  if (line.peer === null) return status.daemon.reachable ? 'not in the cluster' : 'not known';
  const { state, catch_up } = line.peer;
  const known = status.daemon.reachable ? state : `${state} when last asked`;
  if (catch_up === '') return known;
  return `${known}, catching up ${catch_up === 'running' ? 'now' : catch_up}`;
}
