import style from './style.css';
import {Panel} from './panel.js';
import {Viewer} from './Viewer.js';
import {readScene} from './data.js';
import {count, element} from './dom.js';

function say(title, ...lines) {
  document.body.replaceChildren(element('main', {class: 'missing'}, element('h1', {}, title), ...lines.map(line => element('p', {}, line))));
}

// What is in the page, for a browser that cannot draw it.
function linesOf(scene) {
  const lines = scene.meshes.map(mesh => `${mesh.name}: ${count(mesh.counts.triangles)} triangles, ${count(mesh.counts.pieces)} pieces, ` +
    `${count(mesh.counts.borderLoops)} border loops`);
  if (scene.cloud) lines.push(`${count(scene.cloud.all)} points`);
  return [...lines, ...scene.report.map(([label, value]) => `${label}: ${value}`)];
}

async function start() {
  document.head.append(element('style', {}, style));
  if (typeof WebAssembly === 'undefined') return say('This browser has no WebAssembly', 'Any browser of the last years shows this page.');
  const scene = await readScene();
  // The one that draws: making a context takes long where there is no graphics card.
  const canvas = element('canvas', {tabindex: '0', 'aria-label': 'The scene; ? lists the keys'});
  const context = canvas.getContext('webgl2', {antialias: true});
  if (!context) {
    return say('This browser cannot draw in three dimensions', 'WebGL 2 is missing or switched off. Turn on hardware acceleration in its ' +
      'settings, or open the page in another browser. zef view --png draws without one. The page holds:', ...linesOf(scene));
  }
  const stage = element('div', {id: 'stage'}, canvas);
  const app = element('div', {id: 'app'}, stage);
  if (window.matchMedia('(max-width: 720px)').matches) app.classList.add('folded');
  document.body.append(app);
  const viewer = new Viewer(canvas, context, scene);
  new Panel(app, stage, viewer);
  viewer.resize();
  window.zef = viewer;
}

start().catch(error => {
  say('The page could not be shown', String(error));
  throw error;
});
