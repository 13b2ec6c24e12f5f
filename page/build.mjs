// Bundles the page into one script, with the licences of what it holds.
//
//   node build.mjs OUT
import {build} from 'esbuild';
import {readFileSync} from 'node:fs';

const text = name => JSON.stringify(readFileSync(new URL(`node_modules/${name}`, import.meta.url), 'utf8'));

await build({
  absWorkingDir: new URL('.', import.meta.url).pathname,
  entryPoints: ['src/main.js'],
  outfile: process.argv[2],
  bundle: true,
  minify: true,
  charset: 'utf8',
  format: 'iife',
  target: 'es2021',
  legalComments: 'none',
  loader: {'.css': 'text'},
  define: {THREE_LICENSE: text('three/LICENSE'), MESHOPTIMIZER_LICENSE: text('meshoptimizer/LICENSE.md')},
});
