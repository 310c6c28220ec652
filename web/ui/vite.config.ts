import { defineConfig } from 'vite';

export default defineConfig({
  base: './',
  build: {
    outDir: '../../build/page',
    emptyOutDir: true,
    target: 'es2022',
    // The page may load files of its own server only, and nothing inline.
    assetsInlineLimit: 0,
    modulePreload: { polyfill: false },
  },
});
