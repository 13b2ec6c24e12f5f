#!/usr/bin/env bash
# Holds what the tool reads and writes against readers of others: loaders.gl and laz-perf for LAS and LAZ, three.js for PCD, PLY,
# OBJ, STL and glTF, all from npm, which is asked for them.
#
#   scripts/foreign_readers.sh TOOL FOLDER    such as build/release/apps/zef/zef and a folder of scans
#
# FOLDER holds files of points in its folder formats/ and meshes in stl/. A line for each file that both read: whether
# the points are the same, in their order, and how far apart they are. Ends with 1 if some differ by more than the format rounds.
set -euo pipefail
(($# == 2)) || { sed -n '2,9s/^# \{0,1\}//p' "$0"; exit 2; }
tool=$(realpath "$1")
folder=$(realpath "$2")
cd "$(dirname "${BASH_SOURCE[0]}")/.."
mkdir -p build/foreign
cp scripts/foreign/package.json scripts/foreign/compare.mjs build/foreign/
cd build/foreign
npm install --no-audit --no-fund --silent
node compare.mjs "$tool" "$folder"
