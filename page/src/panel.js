// What stands beside the picture, and what mouse, fingers and keys do in it.
import {check, count, element, folded, number, range, section, select} from './dom.js';
import {POINTS_DISTANCE, POINTS_HEIGHT, POINTS_OWN, SCALE} from './materials.js';
import {FRONTS} from './Viewer.js';

const VIEWS = ['iso', 'front', 'back', 'left', 'right', 'top', 'bottom'];

const KEYS = [
  ['drag, one finger', 'turn'], ['wheel, two fingers', 'closer or farther'], ['right drag, two fingers', 'move'],
  ['double click', 'turn around that place'], ['arrows', 'turn'], ['+ −', 'closer or farther'], ['1 … 7', 'iso, front, back, left, right, top, bottom'],
  ['0', 'see all'], ['F', 'flat or smooth'], ['W', 'wireframe'], ['C', 'colours'], ['B', 'borders'], ['P', 'points'],
  ['X', 'section'], ['M', 'measure'], ['T', 'light or dark'], ['?', 'this list'],
];

export class Panel {
  constructor(app, stage, viewer) {
    this.app = app;
    this.stage = stage;
    this.viewer = viewer;
    this.data = viewer.data;
    this.picked = [];
    this.panel = element('aside', {id: 'panel', 'aria-label': 'Settings'});
    app.append(this.panel);
    this.fill();
    this.listen();
    this.applyTheme();
    viewer.onMoved = () => this.place();
  }

  fill() {
    const {data} = this;
    this.help = this.makeHelp();
    this.panel.append(...[
      element('header', {}, element('h1', {}, data.title),
        element('button', {id: 'theme', title: 'Light or dark (T)', 'aria-label': 'Light or dark', onclick: () => this.switchTheme()}, '◐'),
        element('button', {id: 'help', title: 'Keys (?)', 'aria-label': 'Keys', onclick: () => this.help.showModal()}, '?')),
      this.makeViews(), this.makeShown(), data.meshes.length ? this.makeSurface() : null,
      data.cloud ? this.makePoints() : null, this.makeSection(), data.meshes.length > 1 ? this.makeCompare() : null,
      this.makeMeasure(), ...data.meshes.flatMap((mesh, i) => this.makeLists(mesh, i)), this.makeReport(), this.makeLicences(),
    ].filter(Boolean));
    document.body.append(this.help);
    this.stage.append(element('button', {id: 'menu', onclick: () => this.app.classList.toggle('folded')}, 'Settings'));
  }

  makeViews() {
    const buttons = VIEWS.map(view => element('button', {id: `view-${view}`, onclick: () => this.viewer.look(view)}, view));
    return section('View', element('div', {class: 'buttons'}, ...buttons));
  }

  makeShown() {
    const {meshes, cloud} = this.data;
    const rows = meshes.map((mesh, i) =>
      check(`mesh-${i}`, `${mesh.name}: ${count(mesh.counts.triangles)} triangles`, true, on => this.viewer.setVisible(i, on), FRONTS[i % 3]));
    if (cloud) {
      // Dense points would hide the surface, which is what people look at first.
      const first = meshes.length === 0;
      this.viewer.cloud.visible = first;
      rows.push(check('points', `${count(cloud.all)} points`, first, on => {
        this.viewer.cloud.visible = on;
        this.viewer.draw();
      }, '#2a4a80'));
    }
    const has = kind => meshes.some(mesh => mesh[kind].count > 0);
    if (has('borders')) rows.push(check('borders', 'borders', true, on => this.viewer.setLines('borders', on), '#c4182c'));
    if (has('nonManifold'))
      rows.push(check('non-manifold', 'non-manifold edges', true, on => this.viewer.setLines('nonManifold', on), '#d000c8'));
    const notes = meshes.filter(mesh => mesh.reduced).map(mesh =>
      `${mesh.name} is shown with ${count(mesh.triangles.count / 3)} of ${count(mesh.counts.triangles)} triangles.`);
    if (cloud && cloud.points.count < cloud.all) notes.push(`${count(cloud.points.count)} of ${count(cloud.all)} points are shown.`);
    return section('Shown', ...rows, ...notes.map(note => element('p', {class: 'note'}, note)));
  }

  makeSurface() {
    const {meshes} = this.data;
    const set = name => on => this.viewer.setSurfaces(name, on);
    const numFilled = meshes.reduce((sum, mesh) => sum + mesh.numFilled, 0);
    const numAll = meshes.reduce((sum, mesh) => sum + mesh.vertices.count, 0);
    return section('Surface',
      check('flat', 'flat shading', false, set('uFlat')),
      check('wires', 'wireframe', false, on => this.viewer.setWires(on)),
      check('sides', 'back sides in another colour', true, set('uSides'), '#de9e60'),
      meshes.some(mesh => mesh.hasColor) && check('colors', 'colours of the vertices', true, set('uColors')),
      numFilled > 0 && check('filled', `far from all points: ${Number((100 * numFilled / numAll).toPrecision(2))} %`, true, set('uFilled'), '#b04a9c'));
  }

  makePoints() {
    const {cloud} = this.data;
    const {uMode} = this.viewer.cloud.material.uniforms;
    const modes = [[POINTS_OWN, cloud.hasColor ? 'their own' : 'one colour'], [POINTS_HEIGHT, 'height']];
    if (cloud.distances.length) modes.push([POINTS_DISTANCE, 'distance to the surface']);
    this.legend = element('div', {id: 'legend'}, element('div', {class: 'scale', style: `background:linear-gradient(90deg,${SCALE})`}));
    this.legendEnds = element('div', {class: 'ends'});
    this.legend.append(this.legendEnds);
    if (cloud.distances.length) {
      const [{of95, largest}] = cloud.distances;
      this.farthest = of95 || largest || 1;
      this.farRow = range('farthest', 'end of the scale', [-2, 2, 0.05], 0, power => {
        this.viewer.setPoints('uFarthest', this.farthest * 10 ** power);
        this.showLegend();
      });
      this.legend.append(this.farRow, ...cloud.distances.map(distance => element('p', {class: 'note'},
        `${this.data.meshes[distance.mesh].name}: mean ${number(distance.mean)}, 95 % within ${number(distance.of95)}, largest ${number(distance.largest)}`)));
      this.viewer.setPoints('uFarthest', this.farthest);
    }
    const made = section('Points',
      range('point-size', 'size', [1, 12, 0.5], 2, size => this.viewer.setPoints('uSize', size * Math.min(window.devicePixelRatio, 2))),
      select('point-colors', 'colour by', modes.map(([mode, text]) => [String(mode), text]), String(uMode.value), mode => {
        this.viewer.setPoints('uMode', Number(mode));
        if (!this.viewer.cloud.visible) this.click('points');
        this.showLegend();
      }), this.legend);
    this.viewer.setPoints('uSize', 2 * Math.min(window.devicePixelRatio, 2));
    this.showLegend();
    return made;
  }

  showLegend() {
    const {uMode, uFarthest, uHeights} = this.viewer.cloud.material.uniforms;
    this.legend.hidden = uMode.value === POINTS_OWN;
    const far = uMode.value === POINTS_DISTANCE;
    for (const part of this.legend.children) if (part !== this.legendEnds && !part.classList.contains('scale')) part.hidden = !far;
    const middle = this.data.middle[this.data.yUp ? 1 : 2];
    const ends = far ? [0, uFarthest.value] : [uHeights.value.x + middle, uHeights.value.y + middle];
    this.legendEnds.replaceChildren(...[ends[0], (ends[0] + ends[1]) / 2, ends[1]].map(end => element('span', {}, number(end))));
  }

  makeSection() {
    const state = {axis: null, share: 0.5, flip: false};
    const rest = element('div', {hidden: true});
    const apply = () => {
      rest.hidden = state.axis === null;
      this.viewer.setSection(state.axis, state.share, state.flip);
    };
    rest.append(
      range('section-at', 'where', [0, 1, 0.002], 0.5, share => { state.share = share; apply(); }),
      check('section-flip', 'the other half', false, on => { state.flip = on; apply(); }));
    return section('Section',
      select('section', 'across', [['', 'no section'], ['0', 'x'], ['1', 'y'], ['2', 'z']], '', axis => {
        state.axis = axis === '' ? null : Number(axis);
        apply();
      }), rest);
  }

  makeCompare() {
    this.share = 0.5;
    this.divider = element('button', {id: 'divider', 'aria-label': 'Where the first mesh ends', hidden: true});
    const [left, right] = this.data.meshes.slice(0, 2).map(mesh => element('div', {class: 'side', hidden: true}, mesh.name));
    left.style.left = right.style.right = '12px';
    this.sides = [left, right];
    this.stage.append(this.divider, left, right);
    const moveTo = share => {
      this.share = Math.min(Math.max(share, 0), 1);
      this.divider.style.left = `${100 * this.share}%`;
      this.viewer.setCompare(this.share);
    };
    this.divider.addEventListener('pointerdown', event => this.divider.setPointerCapture(event.pointerId));
    this.divider.addEventListener('pointermove', event => {
      if (!this.divider.hasPointerCapture(event.pointerId)) return;
      const rect = this.stage.getBoundingClientRect();
      moveTo((event.clientX - rect.left) / rect.width);
    });
    this.divider.addEventListener('keydown', event => {
      const step = {ArrowLeft: -0.02, ArrowRight: 0.02}[event.key];
      if (!step) return;
      event.stopPropagation();
      moveTo(this.share + step);
    });
    return section('Before and after', check('compare', 'first mesh left, second right of the line', false, on => {
      for (const part of [this.divider, ...this.sides]) part.hidden = !on;
      if (on) moveTo(this.share);
      else this.viewer.setCompare(null);
    }));
  }

  makeMeasure() {
    this.label = element('div', {id: 'ruler', hidden: true});
    this.marks = [0, 1].map(() => element('div', {class: 'mark', hidden: true}));
    this.notice = element('div', {id: 'notice', hidden: true});
    this.stage.append(this.label, ...this.marks, this.notice);
    this.measured = element('div', {});
    this.measureButton = element('button', {id: 'measure', 'aria-pressed': 'false', onclick: () => this.setMeasuring(!this.measuring)}, 'Pick two places');
    return section('Measure', this.measureButton, this.measured);
  }

  setMeasuring(on) {
    this.measuring = on;
    this.measureButton.setAttribute('aria-pressed', String(on));
    this.picked = [];
    this.viewer.setRuler(null, null);
    this.measured.replaceChildren();
    this.notice.hidden = !on;
    this.notice.textContent = 'Click on the first place';
  }

  pick(event) {
    const place = this.viewer.pick(event.clientX, event.clientY);
    if (!place) return;
    if (this.picked.length === 2) this.picked = [];
    this.picked.push(place);
    const [a, b] = this.picked;
    this.viewer.setRuler(a, b);
    this.notice.hidden = Boolean(b);
    this.notice.textContent = 'Click on the second place';
    const rows = this.picked.map((p, i) => ['from to'.split(' ')[i], p.toArray().map((c, axis) => number6(c + this.data.middle[axis])).join(' ')]);
    if (b) rows.push(['distance', number(a.distanceTo(b))], ['along x y z', b.clone().sub(a).toArray().map(number).join(' ')]);
    this.measured.replaceChildren(tableOf(rows));
  }

  // Labels follow the picture.
  place() {
    const places = this.picked.map(point => this.viewer.placeOf(point));
    this.marks.forEach((mark, i) => {
      mark.hidden = !places[i];
      if (places[i]) [mark.style.left, mark.style.top] = places[i].map(c => `${c}px`);
    });
    this.label.hidden = !(places[0] && places[1]);
    if (this.label.hidden) return;
    this.label.textContent = number(this.picked[0].distanceTo(this.picked[1]));
    [this.label.style.left, this.label.style.top] = [0, 1].map(i => `${(places[0][i] + places[1][i]) / 2}px`);
  }

  makeLists(mesh, index) {
    const of = this.data.meshes.length > 1 ? ` of ${mesh.name}` : '';
    const makeList = (kind, items, text) => element('ul', {class: 'list', id: `${kind}-${index}`}, ...items.map((item, i) => {
      const button = element('button', {onclick: () => {
        for (const other of this.panel.querySelectorAll('[aria-current]')) other.removeAttribute('aria-current');
        button.setAttribute('aria-current', 'true');
        this.viewer.flyTo(item.box);
      }}, element('span', {}, `${i + 1}`), element('small', {}, text(item)));
      return element('li', {}, button);
    }));
    const {borderLoops, pieces} = mesh.counts;
    const title = (name, all, items) => `${count(all)} ${name}${all === 1 ? '' : 's'}${of}${items.length < all ? `, the largest ${items.length}` : ''}`;
    return [
      borderLoops > 0 && folded(title('border loop', borderLoops, mesh.loops), borderLoops < 30,
        makeList('loops', mesh.loops, loop => `${count(loop.edges)} edges, length ${number(loop.length)}`)),
      pieces > 1 && folded(title('piece', pieces, mesh.pieces), false,
        makeList('pieces', mesh.pieces, piece => `${count(piece.triangles)} triangles`)),
    ];
  }

  makeReport() {
    const rows = this.data.report.slice();
    if (rows.length === 0) {
      for (const {name, counts} of this.data.meshes) {
        rows.push([name, ''], ['triangles', count(counts.triangles)], ['vertices', count(counts.vertices)], ['pieces', count(counts.pieces)],
          ['border loops', count(counts.borderLoops)], ['non-manifold edges', count(counts.nonManifoldEdges)],
          ['orientation conflicts', count(counts.orientationConflicts)], ['area', number(counts.area)], ['closed', counts.closed ? 'yes' : 'no']);
      }
    }
    const {box} = this.data;
    rows.push(['size', [0, 1, 2].map(axis => number(box[axis + 3] - box[axis])).join(' × ')]);
    return folded('Report', true, tableOf(rows));
  }

  makeLicences() {
    return folded('Licences', false, element('p', {class: 'note'}, 'This page was made by zef. It holds three.js and meshoptimizer:'),
      element('pre', {}, `three.js\n\n${THREE_LICENSE}`), element('pre', {}, `meshoptimizer\n\n${MESHOPTIMIZER_LICENSE}`));
  }

  makeHelp() {
    const dialog = element('dialog', {}, element('h2', {}, 'Keys'),
      element('table', {}, ...KEYS.map(([key, text]) => element('tr', {}, element('td', {}, element('kbd', {}, key)), element('td', {}, text)))),
      element('form', {method: 'dialog'}, element('button', {}, 'Close')));
    return dialog;
  }

  switchTheme() {
    const dark = getComputedStyle(document.documentElement).getPropertyValue('--sky').trim() === '#10141a';
    document.documentElement.dataset.theme = dark ? 'light' : 'dark';
    this.applyTheme();
  }

  applyTheme() {
    const style = getComputedStyle(document.documentElement);
    this.viewer.setBackground(style.getPropertyValue('--sky').trim());
    this.viewer.ruler.material.color.set(style.getPropertyValue('--ink').trim());
  }

  click(id) {
    document.getElementById(id)?.click();
  }

  listen() {
    const {viewer} = this;
    const {canvas} = viewer;
    let down = null;
    canvas.addEventListener('pointerdown', event => { down = [event.clientX, event.clientY]; });
    canvas.addEventListener('click', event => {
      const still = down && Math.hypot(event.clientX - down[0], event.clientY - down[1]) < 6;
      if (this.measuring && still) this.pick(event);
    });
    canvas.addEventListener('dblclick', event => {
      const place = this.measuring ? null : viewer.pick(event.clientX, event.clientY);
      if (!place) return;
      const away = viewer.camera.position.clone().sub(viewer.controls.target);
      viewer.moveTo(place, away.clone().normalize(), away.length() * 0.7, true);
    });
    window.matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => this.applyTheme());
    window.addEventListener('keydown', event => this.key(event));
  }

  key(event) {
    if (event.ctrlKey || event.metaKey || event.altKey || this.help.open) return;
    if (['SELECT', 'INPUT'].includes(event.target.tagName) && event.target.type !== 'checkbox') return;
    const {viewer} = this;
    const actions = {
      ArrowLeft: () => viewer.turn(-10, 0), ArrowRight: () => viewer.turn(10, 0), ArrowUp: () => viewer.turn(0, 10),
      ArrowDown: () => viewer.turn(0, -10), '+': () => viewer.zoom(0.85), '=': () => viewer.zoom(0.85), '-': () => viewer.zoom(1 / 0.85),
      0: () => viewer.look('iso'), f: () => this.click('flat'), w: () => this.click('wires'), c: () => this.click('colors'),
      b: () => this.click('borders'), p: () => this.click('points'), m: () => this.click('measure'), t: () => this.switchTheme(),
      x: () => document.getElementById('section').focus(), '?': () => this.help.showModal(), Escape: () => this.setMeasuring(false),
    };
    VIEWS.forEach((view, i) => { actions[i + 1] = () => viewer.look(view); });
    const action = actions[event.key.length === 1 ? event.key.toLowerCase() : event.key];
    if (!action) return;
    event.preventDefault();
    action();
  }
}

const number6 = x => Number(x.toPrecision(7)).toString();

function tableOf(rows) {
  return element('table', {}, ...rows.map(([label, value]) => element('tr', {},
    element('td', value === '' ? {colspan: 2} : {}, label), value === '' ? '' : element('td', {}, value))));
}
