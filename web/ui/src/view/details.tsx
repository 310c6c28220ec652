// All that is known of one alert.
import type { ComponentChildren } from 'preact';
import { useRef, useState } from 'preact/hooks';
import type { Alert } from '../api';
import { FIELD_NAMES, visible } from '../texts';
import { ageText, around, localText, raisedText, type Zone } from '../time';
import { FIELDS, formatView, NO_FILTERS, type View } from '../url_state';
import type { ChangeView } from '../use_view';
import { Value } from './values';

const AROUND_MINUTES = 5;

// The address at which the page shows this alert alone.
function permalink(alert: Alert, view: View): string {
  const alone = { ...view, ...NO_FILTERS, page: 0, open: '', alert: alert.alert, servers: false };
  return new URL(location.pathname + formatView(alone), location.href).href;
}

// A browser that lets no page write to the clipboard still lets its reader copy what is selected.
async function copy(field: HTMLInputElement): Promise<boolean> {
  try {
    await navigator.clipboard.writeText(field.value);
    return true;
  } catch {
    field.select();
    return false;
  }
}

function Permalink({ alert, view }: { alert: Alert; view: View }) {
  const field = useRef<HTMLInputElement>(null);
  const [told, setTold] = useState('');
  const address = permalink(alert, view);
  const onCopy = async () => {
    const copied = await copy(field.current!);
    setTold(copied ? 'Copied' : 'Selected: copy it with your keyboard');
  };
  return (
    <div class="permalink">
      <a href={address}>Permalink</a>
      <input
        ref={field}
        type="text"
        readonly
        value={address}
        aria-label="Permalink of this alert"
      />
      <button type="button" onClick={onCopy}>
        Copy link
      </button>
      <span role="status">{told}</span>
    </div>
  );
}

function times(alert: Alert, zone: Zone): [string, string][] {
  const utc = alert.raised_utc;
  const age = utc === null ? '' : ` (${ageText(Date.parse(utc), Date.now())})`;
  const other = zone.choice === 'utc' ? 'server' : 'utc';
  const otherName = other === 'utc' ? 'UTC' : 'server time';
  const raised: [string, string][] = [
    [`Raised, ${zone.name}`, raisedText(alert, zone.choice) + age],
  ];
  const also = utc === null ? 'no time: shown as it is stored' : raisedText(alert, other);
  return [
    ...raised,
    [`Raised, ${otherName}`, also],
    [`Written, ${zone.name}`, localText(alert.written, zone)],
  ];
}

function Fact({ name, children }: { name: string; children: ComponentChildren }) {
  return (
    <>
      <dt>{name}</dt>
      <dd>{children}</dd>
    </>
  );
}

interface Props {
  alert: Alert;
  view: View;
  change: ChangeView;
  zone: Zone;
}

export function Details({ alert, view, change, zone }: Props) {
  const onAround = () =>
    change({
      ...NO_FILTERS,
      ...around(Date.parse(alert.raised_utc!), AROUND_MINUTES),
      open: '',
      alert: '',
    });
  return (
    <div class="details">
      <p class="message">{visible(alert.message)}</p>
      <dl>
        <Fact name="Alert">{visible(alert.alert)}</Fact>
        {times(alert, zone).map(([name, text]) => (
          <Fact key={name} name={name}>
            {visible(text)}
          </Fact>
        ))}
        {FIELDS.map((field) => (
          <Fact key={field} name={FIELD_NAMES[field]}>
            <Value field={field} value={alert[field]} />
          </Fact>
        ))}
      </dl>
      <div class="details-actions">
        <Permalink alert={alert} view={view} />
        {alert.raised_utc !== null && (
          <button type="button" onClick={onAround}>
            All alerts {AROUND_MINUTES} min around
          </button>
        )}
      </div>
    </div>
  );
}
