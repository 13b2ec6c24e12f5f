#!/usr/bin/env bash
# Fills the recipes of packaging/ with the place and the sums of a release's archive, and holds them to their form as far as
# the programs here can.
#
#   scripts/fill_recipes.sh ARCHIVE URL [FOLDER]
#
# ARCHIVE is what scripts/release.sh made, URL where it can be had; the recipes land in FOLDER (build/recipes).
set -euo pipefail
archive=$(realpath "${1:?the archive of a release}")
url=${2:?where it can be had}
folder=$(realpath -m "${3:-build/recipes}")
cd "$(dirname "${BASH_SOURCE[0]}")/.."

rm -rf "$folder"
mkdir -p "$folder"
cp -r packaging/*/ "$folder"
sha256=$(sha256sum "$archive" | cut -d' ' -f1)
sha512=$(sha512sum "$archive" | cut -d' ' -f1)
find "$folder" -type f -exec sed -i "s|@URL@|$url|; s|@SHA256@|$sha256|; s|@SHA512@|$sha512|; s|@HOMEPAGE@|${url%/*}|" {} +
if grep -rn "@[A-Z0-9]*@" "$folder"; then
    echo "recipes: the marks above are left" >&2
    exit 1
fi

version=$(sed -n 's/^project(zef VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
for file in vcpkg/zef/vcpkg.json conan/conanfile.py conda/meta.yaml; do
    grep -qE "version[\"]?(: | = )\"$version\"" "$folder/$file" ||
        { echo "recipes: $file is not of version $version" >&2; exit 1; }
done
python3 - "$folder" <<'PYTHON'
import json, pathlib, re, sys
folder = pathlib.Path(sys.argv[1])
port = json.loads((folder / "vcpkg/zef/vcpkg.json").read_text())
assert re.fullmatch(r"[a-z0-9]+(-[a-z0-9]+)*", port["name"]) and port["license"] == "MIT"
names = [d if isinstance(d, str) else d["name"] for d in port["dependencies"]]
assert names and all(re.fullmatch(r"[a-z0-9-]+", name) for name in names)
compile((folder / "conan/conanfile.py").read_text(), "conanfile.py", "exec")
text = re.sub(r"\{\{.*?\}\}", "x", (folder / "conda/meta.yaml").read_text())
try:
    import yaml
    assert yaml.safe_load(text)["package"]["name"] == "zef"
except ImportError:
    print("recipes: no YAML reader (python3-yaml): meta.yaml was not read")
PYTHON
if command -v ruby >/dev/null; then ruby -c "$folder/homebrew/zef.rb" >/dev/null; else echo "recipes: no Ruby: zef.rb was not read"; fi
if command -v conan >/dev/null; then conan inspect "$folder/conan"; else echo "recipes: no conan: conanfile.py was compiled only"; fi
if command -v vcpkg >/dev/null; then vcpkg format-manifest "$folder/vcpkg/zef/vcpkg.json"; else echo "recipes: no vcpkg: vcpkg.json was read as JSON only"; fi
echo "recipes: $folder"
