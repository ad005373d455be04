#!/usr/bin/env bash
# Builds bridgesnmp's Debian package from a build tree, compiling nothing the tree has
# already built: the package stages the tree's `cmake --install` with debhelper.
#
#   tools/build-deb.sh <builddir> <outdir>    (make deb)
#
# Prints the path of the .deb written to <outdir>.
set -euo pipefail

[ $# -eq 2 ] || {
   echo "usage: $0 <builddir> <outdir>" >&2
   exit 2
}
src=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "$1" && pwd)
mkdir -p "$2"
out=$(cd "$2" && pwd)

# The package's paths are under /usr; this changes no compile flag of the tree.
cmake -S "$src" -B "$build" -DCMAKE_INSTALL_PREFIX=/usr >/dev/null

# debhelper works in the directory that holds debian/: a scratch copy keeps its staging
# out of the source tree.
work=$(mktemp -d "${TMPDIR:-/tmp}/bridgesnmp-deb-XXXXXX")
trap 'rm -rf "$work"' EXIT
cp -r "$src/debian" "$work/"
version=$(cd "$work" && dpkg-parsechangelog -S Version)
rm -f "$out/bridgesnmp_${version}_"*.deb
(cd "$work" && BRIDGESNMP_BUILD="$build" BRIDGESNMP_DEB_DIR="$out" debian/rules binary) >&2
ls "$out/bridgesnmp_${version}_$(dpkg --print-architecture).deb"
