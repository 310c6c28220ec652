// The keys and the ways of searching.
import { useEffect, useRef } from 'preact/hooks';
import { KEYS } from '../keys';

export function Help({ onClose }: { onClose: () => void }) {
  const dialog = useRef<HTMLDialogElement>(null);
  useEffect(() => dialog.current!.showModal(), []);
  return (
    <dialog ref={dialog} class="help" aria-labelledby="help-title" onClose={onClose}>
      <h2 id="help-title">Keys</h2>
      <dl>
        {KEYS.map(([key, effect]) => (
          <div key={key}>
            <dt>
              <kbd>{key}</kbd>
            </dt>
            <dd>{effect}</dd>
          </div>
        ))}
      </dl>
      <h2>Searching</h2>
      <ul>
        <li>Click a value to see only its alerts, and again to see all.</li>
        <li>Click it with Alt, or press x on it, to see the others.</li>
        <li>A text that begins with ! finds messages without it.</li>
        <li>Drag over the chart to choose a period, or type its ends.</li>
        <li>The address of the page holds all of this: send it as a link.</li>
      </ul>
      <button type="button" class="strong" onClick={() => dialog.current!.close()}>
        Close
      </button>
    </dialog>
  );
}
