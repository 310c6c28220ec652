// Whether this server's picture is complete, and what it knows of the others.
import type { Held, Status } from '../api';
import { type Health, healthOf, type ServerLine, serverLines, stateText } from '../servers';
import { counted, holeText, numberText, visible } from '../texts';
import { ageText, localMs, localText, type Zone } from '../time';
import { Icon } from './icons';

const NAMED_MAX = 8; // servers that the line at the top names

const HEALTH_ICON = { good: 'good', bad: 'warning', unknown: 'other' } as const satisfies Record<
  Health,
  string
>;

// How long a server has said nothing, by this server's clock.
function lastAnswerText({ peer }: ServerLine, status: Status, zone: Zone): string {
  const ms = peer === null ? NaN : localMs(peer.last_answer, zone);
  return Number.isNaN(ms) ? '' : `, last answer ${ageText(ms, Date.parse(status.now))}`;
}

function Pill({ line, status, zone }: { line: ServerLine; status: Status; zone: Zone }) {
  const health = healthOf(line, status);
  const text =
    stateText(line, status) + (health === 'good' ? '' : lastAnswerText(line, status, zone));
  return (
    <li class={`pill is-${health}`} title={text}>
      <Icon name={HEALTH_ICON[health]} />
      {visible(line.server)}
      {(health !== 'good' || line.here) && <span class="pill-state">{text}</span>}
    </li>
  );
}

// A large cluster names only the servers with something to say.
function pillLines(status: Status): ServerLine[] {
  const lines = serverLines(status).filter((line) => line.here || line.peer !== null);
  if (lines.length <= NAMED_MAX) return lines;
  return lines.filter((line) => line.here || healthOf(line, status) !== 'good').slice(0, NAMED_MAX);
}

function Verdict({ status }: { status: Status }) {
  if (status.complete) {
    return (
      <p class="verdict is-good">
        <Icon name="good" />
        <b>Complete</b>
      </p>
    );
  }
  return (
    <p class="verdict is-bad">
      <Icon name="warning" />
      <span>
        <b>This server’s picture may be incomplete:</b>{' '}
        {visible(status.problems.map((problem) => problem.text).join('; '))}
      </span>
    </p>
  );
}

interface SummaryProps {
  status: Status;
  zone: Zone;
  open: boolean;
  onToggle: () => void;
}

export function ServersSummary({ status, zone, open, onToggle }: SummaryProps) {
  const { count, capacity } = status.log;
  const lines = pillLines(status);
  const others = serverLines(status).filter((line) => line.peer !== null).length + 1 - lines.length;
  return (
    <section class="summary" aria-label="This server’s picture of the cluster">
      <Verdict status={status} />
      <ul class="pills">
        {lines.map((line) => (
          <Pill key={line.server} line={line} status={status} zone={zone} />
        ))}
        {others > 0 && <li class="pill">{counted(others, 'other server')}</li>}
      </ul>
      <span class="fill" title={`The log keeps the newest ${numberText(capacity)} alerts`}>
        <meter min={0} max={Math.max(capacity, 1)} value={count} aria-label="Alerts in the log" />
        {numberText(count)} of {numberText(capacity)}
      </span>
      <button
        type="button"
        class="toggle"
        aria-expanded={open}
        aria-controls="servers"
        onClick={onToggle}
      >
        Servers
      </button>
    </section>
  );
}

function holesText(held: Held): string {
  if (held.missing === 0) return 'none';
  const holes = held.holes.map(holeText).join(', ');
  const shown = held.holes.reduce((sum, [first, last]) => sum + last - first + 1, 0);
  return `${numberText(held.missing)}: ${holes}${shown < held.missing ? ' …' : ''}`;
}

function ServerRow({ line, status, zone }: { line: ServerLine; status: Status; zone: Zone }) {
  const { held, peer } = line;
  const health = healthOf(line, status);
  return (
    <tr class={`is-${health}`}>
      <th scope="row">
        <Icon name={HEALTH_ICON[health]} />
        {visible(line.server)}
      </th>
      <td>{stateText(line, status)}</td>
      <td>{peer === null ? '–' : localText(peer.last_answer, zone) || 'never'}</td>
      <td class="number">{peer === null ? '–' : numberText(peer.unacknowledged)}</td>
      <td class="number">{peer === null ? '–' : numberText(peer.given_up)}</td>
      <td class="number">{numberText(held?.count ?? 0)}</td>
      <td class="number">{held === null ? '–' : `${held.first}–${held.last}`}</td>
      <td>{held === null ? '–' : holesText(held)}</td>
    </tr>
  );
}

function LogFacts({ status, zone }: { status: Status; zone: Zone }) {
  const { log, daemon } = status;
  const facts: [string, string][] = [
    ['Log', log.path],
    ['Oldest alert kept', log.oldest === null ? 'none' : localText(log.oldest, zone)],
    ['Newest alert', log.newest === null ? 'none' : localText(log.newest, zone)],
    [
      'Daemon',
      daemon.reachable ? (daemon.status?.state ?? 'answers') : `not reachable: ${daemon.cause}`,
    ],
    ['Waiting to be stored', counted(daemon.status?.intake?.waiting ?? 0, 'alert')],
    ['Version', status.version],
  ];
  return (
    <dl class="log-facts">
      {facts.map(([name, text]) => (
        <div key={name}>
          <dt>{name}</dt>
          <dd>{visible(text)}</dd>
        </div>
      ))}
    </dl>
  );
}

export function ServersPanel({ status, zone }: { status: Status; zone: Zone }) {
  return (
    <section id="servers" class="servers" aria-label="Servers">
      <div class="scroll" role="region" aria-label="Table of servers" tabIndex={0}>
        <table>
          <thead>
            <tr>
              <th scope="col">Server</th>
              <th scope="col">State</th>
              <th scope="col">Last answer, {zone.name}</th>
              <th
                scope="col"
                class="number"
                title="Alerts that this server raised and the other has not acknowledged"
              >
                Behind by
              </th>
              <th
                scope="col"
                class="number"
                title="Alerts that the other has not acknowledged in time since the daemon began: it fetches them when it is back"
              >
                Given up
              </th>
              <th scope="col" class="number">
                Held here
              </th>
              <th scope="col" class="number">
                Ids
              </th>
              <th scope="col">Missing here</th>
            </tr>
          </thead>
          <tbody>
            {serverLines(status).map((line) => (
              <ServerRow key={line.server} line={line} status={status} zone={zone} />
            ))}
          </tbody>
        </table>
      </div>
      <LogFacts status={status} zone={zone} />
    </section>
  );
}
