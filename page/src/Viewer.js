// The picture: what is in it, how it is drawn and where the viewer stands. Knows nothing of the panel.
import {
  BufferAttribute, BufferGeometry, Color, ColorManagement, Mesh, MeshBasicMaterial, PerspectiveCamera, Plane, Points, Scene,
  Vector3, WebGLRenderer, WebGLRenderTarget,
} from 'three';
import {OrbitControls} from 'three/examples/jsm/controls/OrbitControls.js';
import {LineMaterial} from 'three/examples/jsm/lines/LineMaterial.js';
import {LineSegments2} from 'three/examples/jsm/lines/LineSegments2.js';
import {LineSegmentsGeometry} from 'three/examples/jsm/lines/LineSegmentsGeometry.js';
import {POINTS_HEIGHT, POINTS_OWN, depthOf, pointMaterial, surfaceMaterial} from './materials.js';

// Colours are those of the files; nothing converts them.
ColorManagement.enabled = false;

export const FRONTS = ['#acc0d6', '#9ecca0', '#d6c296'];

// With z up: where the viewer stands.
const PLACES = {
  iso: [1, -1, 1], front: [0, -1, 0], back: [0, 1, 0], left: [-1, 0, 0], right: [1, 0, 0], top: [0, 0, 1],
  bottom: [0, 0, -1],
};

export class Viewer {
  constructor(canvas, context, data) {
    this.data = data;
    this.canvas = canvas;
    this.onMoved = () => {};
    this.renderer = new WebGLRenderer({canvas, context});
    this.renderer.autoClear = false;
    this.renderer.localClippingEnabled = true;
    this.renderer.outputColorSpace = 'srgb-linear';
    this.renderer.setPixelRatio(Math.min(window.devicePixelRatio, 2));
    this.scene = new Scene();
    this.camera = new PerspectiveCamera(35, 1, 0.1, 10);
    this.camera.up.set(...(data.yUp ? [0, 1, 0] : [0, 0, 1]));
    this.half = new Vector3(...[0, 1, 2].map(axis => (data.box[axis + 3] - data.box[axis]) / 2));
    this.radius = this.half.length() || 1;
    this.planes = [];
    this.compare = null;
    this.meshes = data.meshes.map((mesh, number) => this.makeMesh(mesh, number));
    this.cloud = data.cloud ? this.makeCloud(data.cloud) : null;
    this.ruler = this.makeLines(new Float32Array(6), '#101820', 2);
    this.ruler.material.depthTest = false;
    this.ruler.visible = false;
    this.frame = this.makeLines(new Float32Array(72), '#2a5db0', 2);
    this.frame.visible = false;
    this.frame.material.depthTest = false;
    this.depthTarget = new WebGLRenderTarget(1, 1);
    this.controls = new OrbitControls(this.camera, canvas);
    this.controls.zoomToCursor = true;
    this.controls.enableDamping = false;
    this.controls.addEventListener('change', () => this.draw());
    this.controls.addEventListener('start', () => { this.flight = null; });
    new ResizeObserver(() => this.resize()).observe(canvas.parentElement);
    this.resize();
    this.look('iso', false);
  }

  makeLines(ends, color, width) {
    const geometry = new LineSegmentsGeometry().setPositions(ends);
    const lines = new LineSegments2(geometry, new LineMaterial({color, linewidth: width, clippingPlanes: this.planes}));
    lines.frustumCulled = false;
    this.scene.add(lines);
    return lines;
  }

  makeMesh(mesh, number) {
    const geometry = new BufferGeometry();
    geometry.setAttribute('position', new BufferAttribute(mesh.positions, 3));
    geometry.setAttribute('color', new BufferAttribute(mesh.colors, 4, true));
    geometry.setIndex(new BufferAttribute(mesh.indices, 1));
    geometry.computeVertexNormals();
    const surface = new Mesh(geometry, surfaceMaterial(FRONTS[number % FRONTS.length], this.planes));
    surface.frustumCulled = false;
    this.scene.add(surface);
    const shown = {surface, wires: null, borders: null, nonManifold: null, visible: true};
    if (mesh.borderEnds.length) shown.borders = this.makeLines(mesh.borderEnds, '#c4182c', 2);
    if (mesh.nonManifoldEnds.length) shown.nonManifold = this.makeLines(mesh.nonManifoldEnds, '#d000c8', 3);
    return shown;
  }

  makeCloud(cloud) {
    const geometry = new BufferGeometry();
    geometry.setAttribute('position', new BufferAttribute(cloud.positions, 3));
    geometry.setAttribute('color', new BufferAttribute(cloud.colors, 4, true));
    const distances = new Float32Array(2 * cloud.points.count);
    for (const {mesh, values} of cloud.distances) values.forEach((d, i) => { distances[2 * i + mesh] = d; });
    this.second = cloud.distances.length > 0 && cloud.distances[0].mesh === 1;
    geometry.setAttribute('distances', new BufferAttribute(distances, 2));
    const material = pointMaterial(this.planes);
    material.uniforms.uSecond.value = this.second;
    material.uniforms.uUp.value.copy(this.camera.up);
    const axis = this.data.yUp ? 1 : 2;
    const [low, high] = [cloud.box[axis], cloud.box[axis + 3]].map(height => height - this.data.middle[axis]);
    material.uniforms.uHeights.value.set(low, high);
    material.uniforms.uMode.value = !cloud.hasColor && this.data.meshes.length === 0 ? POINTS_HEIGHT : POINTS_OWN;
    const points = new Points(geometry, material);
    points.frustumCulled = false;
    this.scene.add(points);
    return points;
  }

  // Sets a uniform of all surfaces.
  setSurfaces(name, value) {
    for (const {surface} of this.meshes) surface.material.uniforms[name].value = value;
    this.draw();
  }

  setPoints(name, value) {
    this.cloud.material.uniforms[name].value = value;
    this.draw();
  }

  setWires(on) {
    for (const mesh of this.meshes) {
      if (on && !mesh.wires) {
        const material = new MeshBasicMaterial({
          color: '#101820', wireframe: true, transparent: true, opacity: 0.35, clippingPlanes: this.planes});
        mesh.wires = new Mesh(mesh.surface.geometry, material);
        mesh.wires.frustumCulled = false;
        this.scene.add(mesh.wires);
      }
      if (mesh.wires) mesh.wires.material.visible = on;
    }
    this.draw();
  }

  setLines(kind, on) {
    for (const mesh of this.meshes) if (mesh[kind]) mesh[kind].material.visible = on;
    this.draw();
  }

  setVisible(number, on) {
    this.meshes[number].visible = on;
    this.draw();
  }

  // axis: 0 to 2, or null for none; share: 0 to 1 of the scene; flip: which half stays.
  setSection(axis, share, flip) {
    this.planes.length = 0;
    if (axis !== null) {
      const normal = new Vector3().setComponent(axis, flip ? 1 : -1);
      const at = (2 * share - 1) * this.half.getComponent(axis) * 1.001;
      this.planes.push(new Plane(normal, flip ? -at : at));
    }
    this.draw();
  }

  // share: of the width, left of which the first mesh is seen and right of it the second; null: all meshes.
  setCompare(share) {
    this.compare = share;
    this.draw();
  }

  setBackground(color) {
    this.renderer.setClearColor(color, 1);
    this.draw();
  }

  resize() {
    const {clientWidth, clientHeight} = this.canvas.parentElement;
    const size = `${clientWidth} ${clientHeight}`;
    if (!clientWidth || !clientHeight || size === this.size) return;
    this.size = size;
    this.renderer.setSize(clientWidth, clientHeight, false);
    this.camera.aspect = clientWidth / clientHeight;
    this.camera.updateProjectionMatrix();
    this.draw();
  }

  draw() {
    if (this.waiting) return;
    this.waiting = true;
    requestAnimationFrame(time => {
      this.waiting = false;
      if (this.flight) this.fly(time);
      this.drawNow();
    });
  }

  showOnly(number) {
    this.meshes.forEach((mesh, i) => {
      const on = mesh.visible && (number === null || number === i);
      for (const part of [mesh.surface, mesh.wires, mesh.borders, mesh.nonManifold]) if (part) part.visible = on;
    });
  }

  setClipDistances() {
    const distance = this.camera.position.length();
    this.camera.near = Math.max(distance - 1.5 * this.radius, 1e-3 * Math.min(this.radius, this.toTarget()));
    this.camera.far = distance + 1.5 * this.radius;
    this.camera.updateProjectionMatrix();
  }

  toTarget() {
    return this.camera.position.distanceTo(this.controls ? this.controls.target : new Vector3());
  }

  drawNow() {
    this.setClipDistances();
    this.renderer.setRenderTarget(null);
    this.renderer.setScissorTest(false);
    this.renderer.clear();
    if (this.compare === null || this.meshes.length < 2) {
      this.showOnly(null);
      this.renderer.render(this.scene, this.camera);
    } else {
      const {clientWidth, clientHeight} = this.canvas.parentElement;
      const middle = Math.round(clientWidth * this.compare);
      this.renderer.setScissorTest(true);
      [[0, middle], [middle, clientWidth - middle]].forEach(([left, width], number) => {
        this.showOnly(number);
        if (this.cloud) this.cloud.material.uniforms.uSecond.value = number === 1;
        this.renderer.setScissor(left, 0, width, clientHeight);
        if (width > 0) this.renderer.render(this.scene, this.camera);
      });
      this.renderer.setScissorTest(false);
      if (this.cloud) this.cloud.material.uniforms.uSecond.value = this.second;
    }
    this.onMoved();
  }

  // The place in the scene below a pixel of the page, or null.
  pick(x, y) {
    const rect = this.canvas.getBoundingClientRect();
    const [column, row] = [x - rect.left, y - rect.top];
    const right = this.compare !== null && this.meshes.length > 1 ? Number(column > rect.width * this.compare) : null;
    this.showOnly(right);
    const hidden = [this.ruler, this.frame, ...this.meshes.flatMap(mesh => [mesh.wires, mesh.borders, mesh.nonManifold])]
        .filter(part => part && part.visible);
    for (const part of hidden) part.visible = false;
    const drawn = [...this.meshes.map(mesh => mesh.surface), ...(this.cloud ? [this.cloud] : [])];
    for (const part of drawn) part.material.uniforms.uDepth.value = true;
    const clear = this.renderer.getClearColor(new Color());
    this.camera.setViewOffset(rect.width, rect.height, column, row, 1, 1);
    this.renderer.setRenderTarget(this.depthTarget);
    this.renderer.setClearColor(0, 0);
    this.renderer.clear();
    this.renderer.render(this.scene, this.camera);
    const bytes = new Uint8Array(4);
    this.renderer.readRenderTargetPixels(this.depthTarget, 0, 0, 1, 1, bytes);
    this.renderer.setRenderTarget(null);
    this.renderer.setClearColor(clear, 1);
    this.camera.clearViewOffset();
    for (const part of drawn) part.material.uniforms.uDepth.value = false;
    for (const part of hidden) part.visible = true;
    const depth = depthOf(bytes);
    if (depth === 0) return null;
    return new Vector3(2 * (column / rect.width) - 1, 1 - 2 * (row / rect.height), 2 * depth - 1).unproject(this.camera);
  }

  // In pixels of the canvas; null behind the viewer.
  placeOf(point) {
    const p = point.clone().project(this.camera);
    const {clientWidth, clientHeight} = this.canvas.parentElement;
    return p.z > 1 ? null : [(p.x + 1) / 2 * clientWidth, (1 - p.y) / 2 * clientHeight];
  }

  setRuler(a, b) {
    this.ruler.visible = Boolean(a && b);
    if (a && b) this.ruler.geometry.setPositions([...a.toArray(), ...b.toArray()]);
    this.draw();
  }

  // From where a box of these half sides, seen along that direction, fills the picture but for a margin.
  distanceFor(half, away) {
    const margin = 1.06;
    const slopeY = Math.tan(this.camera.fov * Math.PI / 360);
    const slopeX = slopeY * this.camera.aspect;
    const right = this.camera.up.clone().cross(away).normalize();
    const up = away.clone().cross(right);
    let distance = 0;
    for (let corner = 0; corner < 8; ++corner) {
      const c = new Vector3(...[0, 1, 2].map(axis => (corner >> axis & 1 ? 1 : -1) * half.getComponent(axis)));
      distance = Math.max(distance, c.dot(away) + margin * Math.max(Math.abs(c.dot(right)) / slopeX, Math.abs(c.dot(up)) / slopeY));
    }
    return distance;
  }

  look(from, animate = true) {
    const [x, y, z] = PLACES[from];
    const away = new Vector3(...(this.data.yUp ? [x, z, -y] : [x, y, z])).normalize();
    // Straight from above the picture would turn with the least touch.
    if (from === 'top' || from === 'bottom') away.addScaledVector(this.placeUp(), -1e-3).normalize();
    this.frame.visible = false;
    this.moveTo(new Vector3(), away, this.distanceFor(this.half, away) || this.radius * 3, animate);
  }

  placeUp() {
    return this.data.yUp ? new Vector3(0, 0, -1) : new Vector3(0, 1, 0);
  }

  // To a box in the coordinates of the files, from where the viewer is.
  flyTo(box) {
    const [low, high] = [box.slice(0, 3), box.slice(3)].map(corner => new Vector3(...corner.map((c, i) => c - this.data.middle[i])));
    const away = this.camera.position.clone().sub(this.controls.target).normalize();
    this.showFrame(low, high);
    // With as much of the surroundings on all sides.
    const half = high.clone().sub(low).addScalar(this.radius * 2e-3);
    this.moveTo(low.add(high).multiplyScalar(0.5), away, this.distanceFor(half, away), true);
  }

  // The edges of a box, a hundredth larger than it is.
  showFrame(low, high) {
    const slack = 0.01 * low.distanceTo(high);
    const at = (corner, axis) => (corner >> axis & 1 ? high.getComponent(axis) + slack : low.getComponent(axis) - slack);
    const ends = [];
    for (let corner = 0; corner < 8; ++corner) {
      for (let axis = 0; axis < 3; ++axis) {
        if (corner >> axis & 1) continue;
        for (const end of [corner, corner | 1 << axis]) ends.push(at(end, 0), at(end, 1), at(end, 2));
      }
    }
    this.frame.geometry.setPositions(ends);
    this.frame.visible = true;
  }

  moveTo(target, away, distance, animate) {
    const calm = window.matchMedia('(prefers-reduced-motion: reduce)').matches;
    const position = target.clone().addScaledVector(away, distance);
    this.flight = {
      start: null, milliseconds: animate && !calm ? 500 : 0, fromPosition: this.camera.position.clone(),
      fromTarget: this.controls.target.clone(), position, target};
    this.draw();
  }

  fly(time) {
    const flight = this.flight;
    flight.start ??= time;
    const share = flight.milliseconds ? Math.min((time - flight.start) / flight.milliseconds, 1) : 1;
    const eased = share * share * (3 - 2 * share);
    this.controls.target.lerpVectors(flight.fromTarget, flight.target, eased);
    this.camera.position.lerpVectors(flight.fromPosition, flight.position, eased);
    if (share === 1) this.flight = null;
    this.controls.update();
    if (this.flight) this.draw();
  }

  // Degrees around what is looked at.
  turn(right, up) {
    const away = this.camera.position.clone().sub(this.controls.target);
    away.applyAxisAngle(this.camera.up, -right * Math.PI / 180);
    const side = this.camera.up.clone().cross(away).normalize();
    const raised = away.clone().applyAxisAngle(side, -up * Math.PI / 180);
    const angle = raised.angleTo(this.camera.up);
    if (angle > 0.02 && angle < Math.PI - 0.02) away.copy(raised);
    this.camera.position.copy(this.controls.target).add(away);
    this.controls.update();
    this.draw();
  }

  zoom(factor) {
    this.camera.position.sub(this.controls.target).multiplyScalar(factor).add(this.controls.target);
    this.controls.update();
    this.draw();
  }

  // What draws, and the milliseconds that each of some frames takes while the picture turns.
  measure(numFrames) {
    const gl = this.renderer.getContext();
    const info = gl.getExtension('WEBGL_debug_renderer_info');
    const times = [];
    const pixel = new Uint8Array(4);
    for (let i = 0; i < numFrames; ++i) {
      const start = performance.now();
      this.turn(360 / numFrames, 0);
      this.drawNow();
      gl.readPixels(0, 0, 1, 1, gl.RGBA, gl.UNSIGNED_BYTE, pixel);
      times.push(performance.now() - start);
    }
    return {renderer: gl.getParameter(info ? info.UNMASKED_RENDERER_WEBGL : gl.RENDERER), times};
  }
}
