#!/usr/bin/env bash
# Builds a wheel of the Python package without a network, installs nothing else into a
# fresh virtual environment that sees Debian's numpy, and runs an example there. Then tells what libraries it loads.
#
#   scripts/check_wheel.sh [FOLDER]     left as it is at the end, build/wheel by default
#
# PYTHON names another interpreter than Debian's. Takes a few minutes.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

python=${PYTHON:-/usr/bin/python3}
folder=$(realpath -m "${1:-build/wheel}")
rm -rf "$folder"
mkdir -p "$folder"

# Without a network, where the system lends name spaces.
offline() {
    if unshare -rn true 2>/dev/null; then unshare -rn "$@"; else "$@"; fi
}

offline "$python" -m pip wheel . --no-deps --wheel-dir "$folder"
offline "$python" -m build --outdir "$folder/dist" --sdist --no-isolation .
"$python" -m venv --system-site-packages "$folder/venv"
offline "$folder/venv/bin/pip" install --no-index "$folder"/zef-*.whl

cd "$folder"
env -u PYTHONPATH "$folder/venv/bin/python" -c 'import os, zef
print("zef", zef.__version__, "in", zef.__file__, "with pages" if os.path.exists(zef._scene._SCRIPT) else "with pictures only")'
env -u PYTHONPATH "$folder/venv/bin/python" "$OLDPWD/examples/python/first_mesh.py" "$folder/torus.ply"
ldd "$folder"/venv/lib/python3*/site-packages/zef/_core*.so
