// Compares points and meshes as the tool reads and writes them with what other readers find in the same files.
import {execFileSync} from 'child_process';
import {mkdtempSync, readFileSync, readdirSync, rmSync} from 'fs';
import {tmpdir} from 'os';
import {basename, extname, join} from 'path';

import {parse} from '@loaders.gl/core';
import {LASLoader} from '@loaders.gl/las';
import {createLazPerf} from 'laz-perf';
import {GLTFLoader} from 'three/examples/jsm/loaders/GLTFLoader.js';
import {OBJLoader} from 'three/examples/jsm/loaders/OBJLoader.js';
import {PCDLoader} from 'three/examples/jsm/loaders/PCDLoader.js';
import {PLYLoader} from 'three/examples/jsm/loaders/PLYLoader.js';
import {STLLoader} from 'three/examples/jsm/loaders/STLLoader.js';

const [tool, folder] = process.argv.slice(2);
const scratch = mkdtempSync(join(tmpdir(), 'zef-foreign-'));
let numDifferent = 0;

function bytesOf(path) {
  const bytes = readFileSync(path);
  return bytes.buffer.slice(bytes.byteOffset, bytes.byteOffset + bytes.byteLength);
}

function convert(from, to, ...options) {
  execFileSync(tool, ['convert', from, to, '--force', '--quiet', ...options], {stdio: ['ignore', 'ignore', 'ignore']});
  return to;
}

// Coordinates, one after another, as the tool reads them.
function ourPoints(path) {
  const text = readFileSync(convert(path, join(scratch, 'ours.xyz'), '--double'), 'utf8');
  return text.trim().split('\n').flatMap(line => line.split(' ').slice(0, 3).map(Number));
}

async function lasPoints(path) {
  const las = {fp64: true, shape: 'mesh'};
  return (await parse(bytesOf(path), LASLoader, {worker: false, las})).attributes.POSITION.value;
}

// laz-perf gives records; places stand at their start in every format.
async function lazPoints(path) {
  const lazPerf = await createLazPerf(), bytes = new Uint8Array(bytesOf(path)), head = new DataView(bytes.buffer);
  const pFile = lazPerf._malloc(bytes.length);
  lazPerf.HEAPU8.set(bytes, pFile);
  const reader = new lazPerf.LASZip();
  reader.open(pFile, bytes.length);
  const pRecord = lazPerf._malloc(reader.getPointLength()), points = [];
  for (let i = 0; i < reader.getCount(); ++i) {
    reader.getPoint(pRecord);
    const record = new DataView(lazPerf.HEAPU8.buffer, pRecord);
    for (let axis = 0; axis < 3; ++axis)
      points.push(record.getInt32(4 * axis, true) * head.getFloat64(131 + 8 * axis, true) + head.getFloat64(155 + 8 * axis, true));
  }
  return points;
}

const verticesOf = geometry => geometry.getAttribute('position').array;
const theirs = {
  '.las': lasPoints,
  '.laz': lazPoints,
  '.pcd': path => verticesOf(new PCDLoader().parse(bytesOf(path)).geometry),
  '.ply': path => verticesOf(new PLYLoader().parse(bytesOf(path))),
};

function tell(what, path, same, words) {
  if (!same) ++numDifferent;
  console.log(`${same ? 'same' : 'DIFFERENT'}  ${what}  ${basename(path)}: ${words}`);
}

function compare(what, path, ours, other, tolerance) {
  let farthest = 0;
  for (let i = 0; i < Math.min(ours.length, other.length); ++i) farthest = Math.max(farthest, Math.abs(ours[i] - other[i]));
  const same = ours.length === other.length && ours.length > 0 && farthest <= tolerance;
  tell(what, path, same, `${ours.length / 3} and ${other.length / 3} points, at most ${farthest.toPrecision(3)} apart`);
}

const largest = values => values.reduce((most, value) => Math.max(most, Math.abs(value)), 0);

async function comparePoints(path) {
  const ours = ourPoints(path), size = largest(ours);
  const read = theirs[extname(path)];
  // Some readers know few versions of a format.
  if (read) {
    try {
      compare('read', path, ours, await read(path), extname(path) === '.pcd' ? 1e-6 * size : 1e-9 * size);
    } catch (error) {
      console.log(`left  read  ${basename(path)}: ${error.message ?? error}`);
    }
  }
  for (const ending of ['.las', '.pcd', '.ply']) {
    // three.js reads no doubles of PCD.
    const written = convert(path, join(scratch, 'written' + ending), ...(ending === '.pcd' ? ['--single'] : []));
    compare('written ' + ending, path, ours, await theirs[ending](written), ending === '.las' ? 1e-4 * size : 1e-6 * size);
  }
}

function partsOf(scene) {
  const geometries = [];
  scene.traverse(node => node.geometry && geometries.push(node.geometry));
  return geometries;
}

const meshes = {
  '.obj': path => partsOf(new OBJLoader().parse(readFileSync(path, 'utf8'))),
  '.stl': path => [new STLLoader().parse(bytesOf(path))],
  '.glb': async path => partsOf((await new GLTFLoader().parseAsync(bytesOf(path), '')).scene),
};

const trianglesOf = geometries => geometries.reduce((sum, g) => sum + (g.index ? g.index.count : g.getAttribute('position').count) / 3, 0);

async function compareMesh(path) {
  const counts = {};
  for (const ending of Object.keys(meshes))
    counts[ending] = trianglesOf(await meshes[ending](convert(path, join(scratch, 'written' + ending))));
  const read = extname(path) === '.stl' ? trianglesOf(meshes['.stl'](path)) : counts['.obj'];
  tell('mesh', path, new Set(Object.values(counts)).size === 1, `${read} triangles read, ${JSON.stringify(counts)} written`);
}

const filesOf = (name, endings) => readdirSync(join(folder, name)).filter(f => endings.includes(extname(f))).map(f => join(folder, name, f));

try {
  for (const path of filesOf('formats', ['.las', '.laz', '.pcd', '.e57', '.ptx', '.pts']).filter(p => !p.includes('bad'))) await comparePoints(path);
  for (const path of filesOf('stl', ['.stl'])) await compareMesh(path);
} finally {
  rmSync(scratch, {recursive: true});
}
process.exit(numDifferent > 0 ? 1 : 0);
