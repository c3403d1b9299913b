# Sourced by the other scripts: the project's root and the little that they share.
set -euo pipefail
export LC_ALL=C
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$ROOT"
JOBS=${JOBS:-$(nproc)}

# packages GROUP...: the packages of these groups, one a line
packages() {
  local group
  for group in "$@"; do
    awk -v group="$group" '$1 == group { print $2 }' packaging/dependencies.txt
  done
}

# build PRESET [TARGET...]
build() {
  local preset=$1
  shift
  cmake --preset "$preset" >"$ROOT/build/$preset-configure.log" 2>&1 || { cat "$ROOT/build/$preset-configure.log"; return 1; }
  cmake --build "build/$preset" -j "$JOBS" ${1:+--target "$@"}
}
mkdir -p build
