#!/usr/bin/env bash
# Makes the archive of a release: what git holds at HEAD, and the script of the pages, made, so that building
# from it wants no npm. The same commit gives the same bytes; it is made twice to see that.
#
#   scripts/release.sh [--draft] [FOLDER]
#
# Leaves zef-VERSION.tar.gz and SHA256SUMS in FOLDER (build/archive by default). Refuses what is not committed, and a
# version that CHANGELOG.md calls "not released", unless --draft is given.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

fail() {
    echo "release: $*" >&2
    exit 1
}

draft=false
if [[ ${1:-} == --draft ]]; then
    draft=true
    shift
fi
folder=${1:-build/archive}
version=$(sed -n 's/^project(zef VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
[[ -n $version ]] || fail "CMakeLists.txt names no version"
heading=$(grep -m1 "^## " CHANGELOG.md)
[[ $heading == "## $version"* ]] || fail "CHANGELOG.md begins with \"$heading\", not with $version"
if ! $draft; then
    [[ $heading != *"not released"* ]] || fail "CHANGELOG.md says \"$heading\"; give it a date, or --draft"
    [[ -z $(git status --porcelain) ]] || fail "there are changes that are not committed; commit them, or --draft"
fi
[[ -d page/node_modules/esbuild ]] || fail "what pages are made of is not installed: run scripts/setup.sh"

# make_archive FILE: all times are that of the commit, owners are nobody.
make_archive() {
    local stage
    stage=$(mktemp -d)
    git archive --prefix="zef-$version/" HEAD | tar -x -C "$stage"
    mkdir -p "$stage/zef-$version/page/made"
    node page/build.mjs "$stage/zef-$version/page/made/page.js"
    tar --sort=name --mtime="@$(git log -1 --format=%ct)" --owner=0 --group=0 --numeric-owner --mode=u+rwX,go=rX \
        --format=gnu -C "$stage" -cf - "zef-$version" | gzip -9n >"$1"
    rm -r "$stage"
}

mkdir -p "$folder"
name=zef-$version.tar.gz
make_archive "$folder/$name"
make_archive "$folder/$name.again"
cmp "$folder/$name" "$folder/$name.again" || fail "the same commit gave other bytes"
rm "$folder/$name.again"
(cd "$folder" && sha256sum "$name" | tee SHA256SUMS)
