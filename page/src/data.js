// What the page holds, unpacked: arrays for the graphics card around the middle of the scene.
import {MeshoptDecoder} from 'meshoptimizer/meshopt_decoder.module.js';

const COLORED = 1;
const FILLED = 2;

function bytesOf(text) {
  const raw = atob(text);
  const bytes = new Uint8Array(raw.length);
  for (let i = 0; i < raw.length; ++i) bytes[i] = raw.charCodeAt(i);
  return bytes;
}

export function boxOf(parts) {
  const box = [Infinity, Infinity, Infinity, -Infinity, -Infinity, -Infinity];
  for (const part of parts) {
    for (let axis = 0; axis < 3; ++axis) {
      if (part.box[axis] === null) continue;
      box[axis] = Math.min(box[axis], part.box[axis]);
      box[axis + 3] = Math.max(box[axis + 3], part.box[axis + 3]);
    }
  }
  return box[0] > box[3] ? [-1, -1, -1, 1, 1, 1] : box;
}

class Unpacker {
  constructor(bytes, middle) {
    this.bytes = bytes;
    this.middle = middle;
  }

  elements(place) {
    const target = new Uint8Array(place.count * place.stride);
    if (place.count > 0)
      MeshoptDecoder.decodeVertexBuffer(target, place.count, place.stride,
                                        this.bytes.subarray(place.at, place.at + place.size));
    return target;
  }

  triangles(place) {
    const target = new Uint8Array(place.count * 4);
    if (place.count > 0)
      MeshoptDecoder.decodeIndexBuffer(target, place.count, 4, this.bytes.subarray(place.at, place.at + place.size));
    return new Uint32Array(target.buffer);
  }

  // Positions, colours and marks of vertices, points or ends of lines.
  points(place, {origin, step}) {
    const raw = this.elements(place);
    const steps = new Uint32Array(raw.buffer);
    const positions = new Float32Array(3 * place.count);
    const colors = new Uint8Array(4 * place.count);
    let hasColor = false;
    let numFilled = 0;
    for (let i = 0; i < place.count; ++i) {
      for (let axis = 0; axis < 3; ++axis)
        positions[3 * i + axis] = origin[axis] - this.middle[axis] + step * steps[4 * i + axis];
      const marks = raw[16 * i + 15];
      for (let channel = 0; channel < 3; ++channel) colors[4 * i + channel] = raw[16 * i + 12 + channel];
      colors[4 * i + 3] = marks * 64;
      if (marks & COLORED) hasColor = true;
      if (marks & FILLED) ++numFilled;
    }
    return {positions, colors, hasColor, numFilled};
  }
}

export async function readScene() {
  const scene = JSON.parse(document.getElementById('zef-scene').textContent);
  const holder = document.getElementById('zef-bytes');
  const bytes = bytesOf(holder.textContent);
  holder.remove();
  await MeshoptDecoder.ready;
  scene.box = boxOf([...scene.meshes.filter(mesh => mesh.triangles.count > 0), ...(scene.cloud ? [scene.cloud] : [])]);
  scene.middle = [0, 1, 2].map(axis => scene.box[axis] / 2 + scene.box[axis + 3] / 2);
  const unpacker = new Unpacker(bytes, scene.middle);
  for (const mesh of scene.meshes) {
    Object.assign(mesh, unpacker.points(mesh.vertices, mesh));
    mesh.indices = unpacker.triangles(mesh.triangles);
    mesh.borderEnds = unpacker.points(mesh.borders, mesh).positions;
    mesh.nonManifoldEnds = unpacker.points(mesh.nonManifold, mesh).positions;
  }
  const {cloud} = scene;
  if (cloud) {
    Object.assign(cloud, unpacker.points(cloud.points, cloud));
    for (const distance of cloud.distances) {
      const steps = new Uint32Array(unpacker.elements(distance.steps).buffer);
      distance.values = Float32Array.from(steps, value => value * distance.step);
    }
  }
  return scene;
}
