// Lets the glTF validator judge what the tool writes under .glb names.
//
//   node check_glb.js TOOL FOLDER
//
// FOLDER is made, and emptied before. Any error or warning of the validator is a failure.
'use strict';

const {execFileSync} = require('child_process');
const fs = require('fs');
const path = require('path');
const validator = require('gltf-validator');

const [tool, folder] = process.argv.slice(2);

// A sheet of 4 x 3 squares, each cut into two triangles.
function sheet(origin, color) {
  const lines = [];
  for (let y = 0; y <= 3; ++y)
    for (let x = 0; x <= 4; ++x) lines.push(`v ${origin + x / 3} ${y / 3} ${Math.sin(x + y) / 7}${color(x, y)}`);
  for (let y = 0; y < 3; ++y)
    for (let x = 0; x < 4; ++x) {
      const at = 1 + x + 5 * y;
      lines.push(`f ${at} ${at + 1} ${at + 6}`, `f ${at} ${at + 6} ${at + 5}`);
    }
  return lines.join('\n') + '\n';
}

const plain = () => '';
const colored = (x, y) => ` ${x / 4} ${y / 3} 0.5`;
const cases = [
  {name: 'plain', obj: sheet(0, plain), more: []},
  {name: 'coloured', obj: sheet(0, colored), more: []},
  {name: 'shifted', obj: sheet(4000000, colored), more: ['--shift', 'auto']},
  {name: 'single', obj: 'v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n', more: []},
];

async function complaintsAbout(bytes) {
  const report = await validator.validateBytes(new Uint8Array(bytes));
  return report.issues.messages.filter(message => message.severity < 2);
}

async function check({name, obj, more}) {
  const input = path.join(folder, name + '.obj');
  const output = path.join(folder, name + '.glb');
  fs.writeFileSync(input, obj);
  execFileSync(tool, ['convert', input, '-o', output, ...more], {stdio: ['ignore', 'ignore', 'inherit']});
  const bytes = fs.readFileSync(output);
  const complaints = await complaintsAbout(bytes);
  for (const {code, message, pointer} of complaints) console.error(`${name}.glb: ${code} ${pointer || ''} ${message}`);
  bytes.writeUInt32LE(1000, bytes.length - 4);  // an index of no vertex
  const bHeard = (await complaintsAbout(bytes)).length > 0;
  if (!bHeard) console.error(`${name}.glb: the validator does not notice an index beyond the vertices`);
  return complaints.length === 0 && bHeard;
}

async function main() {
  fs.rmSync(folder, {recursive: true, force: true});
  fs.mkdirSync(folder, {recursive: true});
  let numFailed = 0;
  for (const each of cases) {
    if (!await check(each)) ++numFailed;
  }
  console.log(`${cases.length - numFailed} of ${cases.length} files are valid, says ${validator.version()}`);
  process.exitCode = numFailed === 0 ? 0 : 1;
}

main();
