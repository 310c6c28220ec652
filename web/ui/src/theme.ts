// Light or dark: as the system has it, or as the operator chose in this browser.
import { useEffect, useState } from 'preact/hooks';

const THEMES = ['system', 'light', 'dark'] as const;
export type Theme = (typeof THEMES)[number];

const KEY = 'theme';

// A browser may keep nothing for this page; the choice then lasts until it is left.
function storedTheme(): Theme {
  try {
    const stored = localStorage.getItem(KEY);
    return THEMES.find((theme) => theme === stored) ?? 'system';
  } catch {
    return 'system';
  }
}

function storeTheme(theme: Theme): void {
  try {
    localStorage.setItem(KEY, theme);
  } catch {
    return;
  }
}

export function useTheme(): { theme: Theme; dark: boolean; next: () => void } {
  const [theme, setTheme] = useState(storedTheme);
  const [systemDark, setSystemDark] = useState(
    () => matchMedia('(prefers-color-scheme: dark)').matches,
  );

  useEffect(() => {
    const system = matchMedia('(prefers-color-scheme: dark)');
    const follow = () => setSystemDark(system.matches);
    system.addEventListener('change', follow);
    return () => system.removeEventListener('change', follow);
  }, []);

  const dark = theme === 'system' ? systemDark : theme === 'dark';
  // Before the parts of the page read their colours, so not in an effect.
  document.documentElement.dataset['theme'] = theme;

  const next = () => {
    const chosen = THEMES[(THEMES.indexOf(theme) + 1) % THEMES.length]!;
    storeTheme(chosen);
    setTheme(chosen);
  };
  return { theme, dark, next };
}
