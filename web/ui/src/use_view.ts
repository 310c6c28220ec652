// The view that the address of the page names, and changing both together.
import { useCallback, useEffect, useRef, useState } from 'preact/hooks';
import { changedView, formatView, parseView, type View } from './url_state';

// "push" makes a step that the back button takes back, "replace" none.
export type ChangeView = (patch: Partial<View>, how?: 'push' | 'replace') => void;

export function addressOf(view: View): string {
  return location.pathname + formatView(view);
}

export function useView(): [View, ChangeView] {
  const [view, setView] = useState(() => parseView(location.search));
  const current = useRef(view);

  const show = useCallback((next: View) => {
    current.current = next;
    setView(next);
  }, []);

  const change = useCallback<ChangeView>((patch, how = 'push') => {
    const next = changedView(current.current, patch);
    const address = addressOf(next);
    if (address === location.pathname + location.search) return;
    if (how === 'push') history.pushState(null, '', address);
    else history.replaceState(null, '', address);
    show(next);
  }, []);

  useEffect(() => {
    const onBack = () => show(parseView(location.search));
    addEventListener('popstate', onBack);
    return () => removeEventListener('popstate', onBack);
  }, []);

  return [view, change];
}
