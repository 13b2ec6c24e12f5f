#!/bin/sh
# Installs the programs that bench/compare_peers.py measures beside this library, from Debian, and builds the one
# that is a library of headers into build/peers. Nothing else here needs any of them.
set -eu
cd "$(dirname "$0")/../.."
packages="python3-numpy python3-scipy python3-open3d python3-vtk9 pcl-tools libcgal-dev g++"
sudo=
[ "$(id -u)" = 0 ] || sudo=sudo
$sudo apt-get install -y --no-install-recommends $packages
mkdir -p build/peers
g++ -std=c++17 -O3 -DNDEBUG bench/peers/advancing_front.cpp -o build/peers/advancing_front -lgmp -lmpfr
echo "peers: build/peers/advancing_front is built; run bench/compare_peers.py with /usr/bin/python3"
