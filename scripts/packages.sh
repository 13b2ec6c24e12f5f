#!/usr/bin/env bash
# Builds the Debian packages from the archive of a release, has lintian look at them, and tries them.
#
#   scripts/packages.sh [FOLDER]
#
# Leaves them in FOLDER (build/packages by default). Installs debhelper, lintian and what else building packages takes.
# With root and a network the packages are installed into a fresh Debian (by debootstrap, some 300 MB, removed
# afterwards) and mesh a cloud there; else that is left out, and said. Some ten minutes.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
folder=$(realpath -m "${1:-build/packages}")

say() {
    echo "packages: $*"
}

wanted=(debhelper dh-python dpkg-dev fakeroot lintian debootstrap)
missing=()
for package in "${wanted[@]}"; do
    dpkg-query -W -f='${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
done
if ((${#missing[@]})); then
    say "installing ${missing[*]}"
    if ((EUID == 0)); then as_root=(); else as_root=(sudo); fi
    "${as_root[@]}" apt-get update -q
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}"
fi

rm -rf "$folder"
mkdir -p "$folder"
scripts/release.sh --draft "$folder/archive"
archive=("$folder"/archive/zef-*.tar.gz)
version=$(basename "${archive[0]}" .tar.gz)
version=${version#zef-}
cp "${archive[0]}" "$folder/zef_$version.orig.tar.gz"
tar -xf "${archive[0]}" -C "$folder"
cp -r debian "$folder/zef-$version/"
(cd "$folder/zef-$version" && dpkg-buildpackage -us -uc)
rm -r "${folder:?}/zef-$version"

say "lintian"
lintian --fail-on error --suppress-tags bad-distribution-in-changes-file,initial-upload-closes-no-bugs "$folder"/*.changes

# A cloud of a sphere through the tool and through Python, and a program through pkg-config.
cat >"$folder/try.sh" <<'TRY'
set -euo pipefail
cd "$(mktemp -d)"
python3 - <<'PYTHON'
import math, zef
golden = math.pi * (3 - math.sqrt(5))
rows = []
for i in range(5000):
    z = 1 - (2 * i + 1) / 5000
    r = math.sqrt(1 - z * z)
    rows.append((r * math.cos(golden * i), r * math.sin(golden * i), z))
open("sphere.xyz", "w").writelines("%.9f %.9f %.9f\n" % row for row in rows)
mesh = zef.reconstruct(rows)
report = mesh.check()
assert report.closed and report.manifold, report
PYTHON
zef reconstruct sphere.xyz -o sphere.ply --quiet
zef check sphere.ply
zef view sphere.ply -o sphere.html --png sphere.png --quiet
test -s sphere.html && test -s sphere.png
cat >program.cpp <<'CPP'
#include <zef/zef.h>
int main() { return zef::check(zef::readMesh("sphere.ply")).closed ? 0 : 1; }
CPP
g++ -std=c++20 program.cpp -o program $(pkg-config --cflags --libs zef)
./program
echo "the packages work"
TRY

root=$folder/root
if ((EUID != 0)); then
    say "not root: nothing was installed into a fresh Debian"
elif ! debootstrap --variant=minbase bookworm "$root" >"$folder/debootstrap.log" 2>&1; then
    say "debootstrap could not make a fresh Debian, so that nothing was installed: $(tail -1 "$folder/debootstrap.log")"
else
    cp "$folder"/*.deb "$folder/try.sh" "$root/tmp/"
    chroot "$root" sh -c "apt-get update -q && DEBIAN_FRONTEND=noninteractive apt-get install -q -y \
        --no-install-recommends /tmp/*.deb g++ pkg-config" >"$folder/install.log" 2>&1
    mount -t proc proc "$root/proc"
    trap 'umount "$root/proc"' EXIT
    chroot "$root" bash /tmp/try.sh
    trap - EXIT
    umount "$root/proc"
    rm -rf "$root"
fi
say "done: $folder"
