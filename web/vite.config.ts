import {defineConfig} from 'vite';

// While one works on the page, its calls go to a server that runs beside it.
const server = process.env['KORVANE_URL'] ?? 'http://127.0.0.1:8420';

export default defineConfig({
  base: '/',
  esbuild: {jsx: 'automatic', jsxImportSource: 'preact'},
  build: {
    target: 'es2022',
    outDir: process.env['KORVANE_PAGE'] ?? 'dist',
    emptyOutDir: true,
    assetsInlineLimit: 0,
    modulePreload: {polyfill: false},
    reportCompressedSize: false,
    // Space and editor come when they are opened, and are what they are.
    chunkSizeWarningLimit: 800,
  },
  server: {
    proxy: Object.fromEntries(
      ['/v1', '/openapi.json', '/healthz'].map((path) => [path, {target: server, changeOrigin: true}])),
  },
});
