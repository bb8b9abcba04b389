import {readdirSync, readFileSync, statSync, writeFileSync} from 'node:fs';
import {join} from 'node:path';
import {fileURLToPath} from 'node:url';
import {gzipSync} from 'node:zlib';
import {defineConfig, type Plugin} from 'vite';

// While one works on the page, its calls go to a server that runs beside it.
const server = process.env['KORVANE_URL'] ?? 'http://127.0.0.1:8420';

/** Puts NAME.gz beside every NAME: the server sends it as it is. */
function compressed(): Plugin {
  let folder = '';
  const compress = (path: string) => {
    for (const name of readdirSync(path)) {
      const one = join(path, name);
      if (statSync(one).isDirectory()) compress(one);
      else if (!name.endsWith('.gz')) writeFileSync(`${one}.gz`, gzipSync(readFileSync(one), {level: 9}));
    }
  };
  return {
    name: 'compressed',
    apply: 'build',
    configResolved: (config) => {
      folder = config.build.outDir;
    },
    closeBundle: () => compress(folder),
  };
}

export default defineConfig({
  base: '/',
  resolve: {
    alias: {'korvane-client': fileURLToPath(new URL('../clients/typescript/src/index.ts', import.meta.url))},
  },
  plugins: [compressed()],
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
