// Opens pages of the tool in a headless Chromium and uses every control.
//
//   node check_page.js TOOL CHROMIUM FOLDER
//
// FOLDER is made, and emptied before; it keeps pictures of the pages. Any complaint of the
// browser, any request to a network and any control that changes nothing is a failure.
import {execFileSync} from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import {pathToFileURL} from 'node:url';
import puppeteer from 'puppeteer-core';

const [tool, chromium, folder] = process.argv.slice(2);
fs.rmSync(folder, {recursive: true, force: true});
fs.mkdirSync(folder, {recursive: true});
const file = name => path.join(folder, name);
let numFailed = 0;
const expect = (good, what) => {
  if (!good) ++numFailed;
  console.log(`${good ? 'ok' : 'FAILED'}: ${what}`);
};

// A wavy sheet with a hole and colours, and a strip of its own; three triangles at one edge.
function sheet(raise) {
  const [vertices, faces] = [[], []];
  for (let y = 0; y <= 20; ++y)
    for (let x = 0; x <= 30; ++x) {
      vertices.push(`v ${x} ${y} ${raise + Math.sin(x / 4) * Math.cos(y / 5)} ${x / 30} ${y / 20} 0.4`);
      const hole = x > 10 && x < 15 && y > 8 && y < 12;
      const at = 1 + x + 31 * y;
      if (x < 30 && y < 20 && !hole && x !== 24) faces.push(`f ${at} ${at + 1} ${at + 32}`, `f ${at} ${at + 32} ${at + 31}`);
    }
  vertices.push('v 5 5 4');
  return [...vertices, ...faces, 'f 161 162 652', ''].join('\n');
}
const points = [];
for (let y = 0; y <= 80; ++y)
  for (let x = 0; x <= 80; ++x) points.push(`${x / 4} ${y / 4} ${Math.sin(x / 16) * Math.cos(y / 20) + 0.1 * Math.sin(x * y)}`);
fs.writeFileSync(file('one.obj'), sheet(0));
fs.writeFileSync(file('two.obj'), sheet(2));
fs.writeFileSync(file('scan.xyz'), points.join('\n'));
execFileSync(tool, ['view', file('one.obj'), file('two.obj'), file('scan.xyz'), '-o', file('page.html'), '-q',
  '--title', '</title><script>document.hacked = 1</script> & co']);

const args = ['--no-sandbox', '--disable-dev-shm-usage', '--use-angle=swiftshader', '--enable-unsafe-swiftshader'];
const browser = await puppeteer.launch({executablePath: chromium, args}).catch(error => {
  console.log(`Chromium cannot start here, so that no page was tried: ${error}`);
  process.exit(77);
});
const page = await browser.newPage();
const complaints = [];
page.on('console', message => { if (message.type() === 'error') complaints.push(message.text()); });
page.on('pageerror', error => complaints.push(String(error)));
page.on('request', request => { if (!/^(file|data|blob):/.test(request.url())) complaints.push(request.url()); });
const pause = milliseconds => new Promise(done => setTimeout(done, milliseconds));
const settled = async () => { await pause(60); await page.waitForFunction(() => !window.zef.flight && !window.zef.waiting); await pause(30); };
const picture = async () => { await settled(); return (await (await page.$('#stage')).screenshot()).toString('base64'); };

async function open(width, height) {
  await page.setViewport({width, height});
  await page.goto(pathToFileURL(file('page.html')).href);
  await page.waitForFunction('window.zef');
  await settled();
}

async function changes(what, act, back = null) {
  const before = await picture();
  await act();
  expect(await picture() !== before, `${what} changes the picture`);
  if (back) await back();
}
const click = id => page.evaluate(name => document.getElementById(name).click(), id);
const set = (id, value) => page.evaluate((name, to) => {
  const input = document.getElementById(name);
  input.value = to;
  input.dispatchEvent(new Event(input.tagName === 'SELECT' ? 'change' : 'input'));
}, id, value);

await open(1200, 800);
expect(await page.evaluate(() => !document.hacked && document.title.startsWith('</title>')), 'the title is text');
await page.screenshot({path: file('wide.png')});
const colors = await page.evaluate(() => {
  const {canvas} = window.zef;
  window.zef.drawNow();
  const copy = Object.assign(document.createElement('canvas'), {width: 60, height: 40}).getContext('2d');
  copy.drawImage(canvas, 0, 0, 60, 40);
  return new Set(new Uint32Array(copy.getImageData(0, 0, 60, 40).data.buffer)).size;
});
expect(colors > 50, 'the canvas shows something');
await changes('points', () => click('points'));
for (const id of ['mesh-0', 'borders', 'non-manifold', 'flat', 'wires', 'colors', 'filled', 'compare'])
  await changes(id, () => click(id), () => click(id));
for (const view of ['front', 'back', 'left', 'right', 'bottom', 'top', 'iso']) await changes(`view ${view}`, () => click(`view-${view}`));
await click('view-bottom');
await changes('sides', () => click('sides'), () => click('sides'));
await click('view-iso');
await changes('point size', () => set('point-size', 6));
await changes('colour by height', () => set('point-colors', '1'));
await changes('colour by distance', () => set('point-colors', '2'));
await changes('end of the scale', () => set('farthest', -1));
await changes('section', () => set('section', '0'));
await changes('place of the section', () => set('section-at', 0.3));
await changes('other half', () => click('section-flip'), () => set('section', ''));
await changes('theme', () => click('theme'), () => click('theme'));
for (const key of ['ArrowLeft', 'ArrowUp', '+', 'f', 'w']) await changes(`key ${key}`, () => page.keyboard.press(key));
await click('view-iso');
await changes('list of loops', () => page.evaluate(() => document.querySelectorAll('#loops-0 button')[1].click()));
const near = await page.evaluate(() => window.zef.controls.target.toArray().map((c, i) => c + window.zef.data.middle[i]));
const box = await page.evaluate(() => window.zef.data.meshes[0].loops[1].box);
expect(near.every((c, i) => Math.abs(c - (box[i] + box[i + 3]) / 2) < 1e-3), 'the loop list flies to the loop');
await changes('list of pieces', () => page.evaluate(() => document.querySelector('#pieces-0 button').click()));
await click('view-top');
await settled();
await click('measure');
await page.mouse.click(300, 400);
await page.mouse.click(500, 420);
await settled();
expect(/distance\s*[0-9.]+/.test(await page.evaluate(() => document.getElementById('panel').innerText)), 'two places have a distance');
await page.mouse.move(400, 300);
await changes('dragging', async () => { await page.mouse.down(); await page.mouse.move(460, 330, {steps: 3}); await page.mouse.up(); });
await open(390, 800);
expect(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth && document.querySelector('canvas').clientHeight > 700),
  'a phone shows the picture alone');
await click('menu');
await settled();
expect(await page.evaluate(() => document.getElementById('panel').clientHeight > 200 && document.querySelector('canvas').clientHeight > 300),
  'and the settings below it');
await page.screenshot({path: file('phone.png')});
// As in a notebook: a frame of an origin of its own.
const inner = fs.readFileSync(file('page.html'), 'utf8').replaceAll('&', '&amp;').replaceAll('"', '&quot;');
fs.writeFileSync(file('frame.html'), `<iframe srcdoc="${inner}" sandbox="allow-scripts" style="width: 900px; height: 520px"></iframe>`);
await page.setViewport({width: 1000, height: 600});
await page.goto(pathToFileURL(file('frame.html')).href);
const frame = await (await page.waitForSelector('iframe')).contentFrame();
await frame.waitForFunction('window.zef && !window.zef.waiting');
expect(await frame.evaluate(() => document.querySelector('canvas').clientHeight === 520), 'a frame of its own origin shows the page');
await page.screenshot({path: file('frame.png')});

const fewer = await browser.newPage();
await fewer.evaluateOnNewDocument(() => { HTMLCanvasElement.prototype.getContext = () => null; });
await fewer.goto(pathToFileURL(file('page.html')).href);
await fewer.waitForSelector('.missing');
expect((await fewer.evaluate(() => document.body.innerText)).includes('WebGL 2 is missing'), 'a browser without WebGL is told so');
expect(complaints.length === 0, `nothing to complain: ${complaints.join('; ')}`);
await browser.close();
process.exit(numFailed ? 1 : 0);
