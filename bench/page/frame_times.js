// How long a page of `zef view` takes to load, and a frame to draw while the view turns.
//
//   node bench/page/frame_times.js PAGE.html [CHROMIUM [EXTRA FLAGS...]]
//
// Needs what scripts/setup.sh test installs. A browser without a GPU draws on the processor; the renderer is told beside the
// figures. To use one: node bench/page/frame_times.js PAGE.html chromium --use-angle=gl --ignore-gpu-blocklist
import {createRequire} from 'node:module';
import {pathToFileURL} from 'node:url';
import path from 'node:path';

const tests = new URL('../../tests/page/browser/package.json', import.meta.url);
const {default: puppeteer} = await import(createRequire(tests).resolve('puppeteer-core'));
const [name, chromium = 'chromium', ...flags] = process.argv.slice(2);
const drawing = flags.length ? flags : ['--use-angle=swiftshader', '--enable-unsafe-swiftshader'];
const browser = await puppeteer.launch({
  executablePath: chromium.includes('/') ? chromium : `/usr/bin/${chromium}`, args: ['--no-sandbox', ...drawing]});
const page = await browser.newPage();
await page.setViewport({width: 1280, height: 800});
const begin = Date.now();
await page.goto(pathToFileURL(path.resolve(name)).href);
await page.waitForFunction('window.zef && !window.zef.waiting', {timeout: 120000});
const loaded = Date.now() - begin;
const found = await page.evaluate(async () => {
  const viewer = window.zef, gl = viewer.renderer.getContext(), pixel = new Uint8Array(4), times = [];
  const info = gl.getExtension('WEBGL_debug_renderer_info');
  for (let i = 0; i < 24; ++i) {
    const start = performance.now();
    viewer.camera.position.applyAxisAngle(viewer.camera.up, 0.05);
    viewer.camera.lookAt(viewer.controls.target);
    viewer.drawNow();
    gl.readPixels(0, 0, 1, 1, gl.RGBA, gl.UNSIGNED_BYTE, pixel);  // waits until it is drawn
    times.push(performance.now() - start);
    await new Promise(done => setTimeout(done, 0));
  }
  times.sort((a, b) => a - b);
  return {renderer: info ? gl.getParameter(info.UNMASKED_RENDERER_WEBGL) : 'unknown',
    triangles: viewer.renderer.info.render.triangles, median: times[12], worst: times[23]};
});
console.log(`${name}: loaded in ${(loaded / 1000).toFixed(2)} s; a frame of ${found.triangles} triangles takes ` +
  `${found.median.toFixed(0)} ms (median of 24, the longest ${found.worst.toFixed(0)} ms) on ${found.renderer}`);
await browser.close();
