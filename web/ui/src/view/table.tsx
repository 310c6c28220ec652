// The alerts of a page, newest first. A row opens in place.
import { useMemo } from 'preact/hooks';
import type { Alert } from '../api';
import { levelKind, visible } from '../texts';
import { raisedText, type Zone } from '../time';
import type { View } from '../url_state';
import type { ChangeView } from '../use_view';
import { Details } from './details';
import { Icon } from './icons';
import { Value } from './values';

interface Props {
  alerts: readonly Alert[];
  view: View;
  change: ChangeView;
  zone: Zone;
}

const COLUMNS = ['', 'Level', 'Raised', 'Server', 'Module', 'Event', 'Message'] as const;

function Head({ zone }: { zone: Zone }) {
  return (
    <thead role="rowgroup">
      <tr role="row">
        {COLUMNS.map((name) => (
          <th
            key={name}
            role="columnheader"
            scope="col"
            class={`cell-${name.toLowerCase() || 'open'}`}
          >
            {name === '' ? <span class="unseen">Details</span> : name}
            {name === 'Raised' && <span class="zone"> {zone.name}</span>}
          </th>
        ))}
      </tr>
    </thead>
  );
}

interface RowProps {
  alert: Alert;
  open: boolean;
  zone: Zone;
  onToggle: (name: string) => void;
}

// A click that chooses a value or ends the marking of text does not open the row.
function isForRow(event: MouseEvent): boolean {
  if ((event.target as Element).closest('button, a, input') !== null) return false;
  return getSelection()?.isCollapsed ?? true;
}

function Row({ alert, open, zone, onToggle }: RowProps) {
  const toggle = () => onToggle(alert.alert);
  const text = visible(alert.message);
  return (
    <tr
      role="row"
      class={`row row-${levelKind(alert.level)}${open ? ' is-open' : ''}`}
      onClick={(event) => isForRow(event) && toggle()}
    >
      <td role="cell" class="cell-open">
        <button
          type="button"
          class="open-row"
          data-row={alert.alert}
          aria-expanded={open}
          aria-label={`Details of ${visible(alert.alert)}`}
          onClick={toggle}
        >
          <Icon name="open" />
        </button>
      </td>
      <td role="cell" class="cell-level">
        <Value field="level" value={alert.level} />
      </td>
      <td role="cell" class="cell-raised">
        {visible(raisedText(alert, zone.choice))}
      </td>
      <td role="cell" class="cell-server">
        <Value field="server" value={alert.server} />
      </td>
      <td role="cell" class="cell-module">
        <Value field="module" value={alert.module} />
      </td>
      <td role="cell" class="cell-event">
        <Value field="event" value={alert.event} />
      </td>
      <td role="cell" class="cell-message" title={text}>
        {text}
      </td>
    </tr>
  );
}

export function AlertTable({ alerts, view, change, zone }: Props) {
  // New counts of live alerts and letters of a text draw the page again, not the rows.
  const detailed = view.open === '' ? null : view;
  const rows = useMemo(() => {
    const onToggle = (name: string) => change({ open: name === view.open ? '' : name });
    return alerts.flatMap((alert) => {
      const open = alert.alert === view.open;
      const row = (
        <Row key={alert.alert} alert={alert} open={open} zone={zone} onToggle={onToggle} />
      );
      if (!open) return [row];
      return [
        row,
        <tr key={`details of ${alert.alert}`} role="row" class="row-details">
          <td role="cell" colSpan={COLUMNS.length}>
            <Details alert={alert} view={view} change={change} zone={zone} />
          </td>
        </tr>,
      ];
    });
  }, [alerts, view.open, detailed, zone]);

  return (
    <table class="alerts" role="table" aria-label="Alerts, newest first">
      <Head zone={zone} />
      <tbody role="rowgroup">{rows}</tbody>
    </table>
  );
}
