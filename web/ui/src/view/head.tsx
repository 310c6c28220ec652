// The line at the top: where one is, the time zone, the look and the help.
import type { Status } from '../api';
import type { Theme } from '../theme';
import { visible } from '../texts';
import type { ZoneChoice } from '../url_state';
import { Icon } from './icons';

interface Props {
  status: Status | null;
  zone: ZoneChoice;
  onZone: (zone: ZoneChoice) => void;
  theme: Theme;
  onTheme: () => void;
  onHelp: () => void;
}

function ZoneSwitch({ status, zone, onZone }: Pick<Props, 'status' | 'zone' | 'onZone'>) {
  const names = { server: status?.zone ?? 'Server time', utc: 'UTC' } as const;
  return (
    <fieldset class="switch">
      <legend class="unseen">Time zone</legend>
      {(['server', 'utc'] as const).map((choice) => (
        <label key={choice} class={choice === zone ? 'is-chosen' : ''}>
          <input
            type="radio"
            name="zone"
            class="unseen"
            checked={choice === zone}
            onChange={() => onZone(choice)}
          />
          {names[choice]}
        </label>
      ))}
    </fieldset>
  );
}

export function Head({ status, zone, onZone, theme, onTheme, onHelp }: Props) {
  return (
    <header class="head">
      <h1>
        Alerts <span class="head-server">{status === null ? '' : visible(status.server)}</span>
      </h1>
      <ZoneSwitch status={status} zone={zone} onZone={onZone} />
      <button
        type="button"
        onClick={onTheme}
        aria-label={`Theme: ${theme}`}
        title="Light, dark, or as the system has it"
      >
        <Icon name="theme" />
        <span class="wide">Theme: {theme}</span>
      </button>
      <button type="button" onClick={onHelp} aria-label="Help" title="Keys and searching (?)">
        ?
      </button>
    </header>
  );
}
