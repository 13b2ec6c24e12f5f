#!/usr/bin/env bash
# Makes a folder, and an archive of it, whose zef runs on any x86-64 Linux without being installed: all libraries lie beside
# it, the C library with its loader too, so that only the kernel (3.2 or newer) must be there.
#
#   scripts/portable.sh [FOLDER]
#
# Leaves zef-VERSION-linux-x86_64.tar.gz in FOLDER (build/portable by default). With root it is tried in a
# folder that holds nothing else, as chroot.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
folder=$(realpath -m "${1:-build/portable}")
version=$(sed -n 's/^project(zef VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
name=zef-$version-linux-x86_64
stage=$folder/$name

rm -rf "$stage"
cmake -G Ninja -S . -B "$folder/build" -DCMAKE_BUILD_TYPE=Release -DZEF_BUILD_TESTS=OFF -DZEF_PYTHON=OFF
cmake --build "$folder/build" --target zef_tool zef_page_bundle
mkdir -p "$stage/bin" "$stage/lib" "$stage/share/zef"
tool=$folder/build/apps/zef/zef
install -s "$tool" "$stage/bin/zef.bin"
cp LICENSE "$stage/"
cp "$folder/build/page/page.js" "$stage/share/zef/"
while read -r library; do
    cp -L "$library" "$stage/lib/"
done < <(ldd "$tool" | sed -n 's/.*=> \(\/[^ ]*\) .*/\1/p')
# Beside the tool, since what runs is the loader, and share/ is found from there.
cp -L /lib64/ld-linux-x86-64.so.2 "$stage/bin/"
cat >"$stage/zef" <<'WRAPPER'
#!/bin/sh
here=$(cd "$(dirname "$(readlink -f "$0")")" && pwd)
exec "$here/bin/ld-linux-x86-64.so.2" --library-path "$here/lib" "$here/bin/zef.bin" "$@"
WRAPPER
chmod +x "$stage/zef"
tar --sort=name --mtime="@$(git log -1 --format=%ct)" --owner=0 --group=0 --numeric-owner --format=gnu \
    -C "$folder" -cf - "$name" | gzip -9n >"$folder/$name.tar.gz"

cloud=$folder/try.xyz
awk 'BEGIN { for (i = 0; i < 5000; ++i) { z = 1 - (2 * i + 1) / 5000; r = sqrt(1 - z * z)
             printf "%.9f %.9f %.9f\n", r * cos(2.399963 * i), r * sin(2.399963 * i), z } }' >"$cloud"
"$stage/zef" reconstruct "$cloud" -o "$folder/try.ply" --force --quiet >/dev/null
"$stage/zef" view "$folder/try.ply" -o "$folder/try.html" --force --quiet >/dev/null
if ((EUID == 0)); then
    root=$(mktemp -d)
    cp -r "$stage" "$root/zef"
    cp "$cloud" "$root/"
    mkdir "$root/proc" "$root/tmp"
    chroot "$root" /zef/bin/ld-linux-x86-64.so.2 --library-path /zef/lib /zef/bin/zef.bin reconstruct /try.xyz -o /tmp/try.ply --quiet
    cmp "$root/tmp/try.ply" "$folder/try.ply"
    rm -r "$root"
    echo "portable: runs in a folder of its own"
else
    echo "portable: not root: not tried in a folder of its own"
fi
ls -l "$folder/$name.tar.gz"
