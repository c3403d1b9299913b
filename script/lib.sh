# Sourced by the other scripts: the project's root and the little that they share.
set -euo pipefail
export LC_ALL=C
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$ROOT"
JOBS=${JOBS:-$(nproc)}
export QEN_RECORDINGS=${QEN_RECORDINGS:-$ROOT/../shared/data}

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

# must_report FOLDER FAULT TEXT: the program with the planted fault must fail and say TEXT; a fault that goes unseen makes the
# lane worthless, and so does a program that fails because it could not run
launcher=()
must_report() {
  local program=$1/tests/planted/planted_$2
  if "${launcher[@]}" "$program" >build/planted.log 2>&1 || ! grep -q "$3" build/planted.log; then
    cat build/planted.log >&2
    echo "planted fault went unseen: $program" >&2
    return 1
  fi
}

mkdir -p build
