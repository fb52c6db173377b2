#!/usr/bin/env bash
# Builds everything for ARM, runs all tests and the example in the emulator, and carries database files from this
# machine to ARM and back. The argument is the architecture, armhf (32 bits, the default) or arm64; more go to ctest.
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
cd "$project_root"

arm=${1:-armhf}
need_packages sqlite3
prepare_arm "$arm"

# dump and blobs print what lies in a folder of database files, as velhost and as SQLite see it.
dump_here() { build/release/bin/velhost dump --data "$1"; }
dump_arm() { emulate "$arm" "build/$arm/bin/velhost" dump --data "$1"; }
blobs() {
  sqlite3 "$1/Tessary.db" "SELECT appName, hex(blob) FROM Tessary ORDER BY appName"
  sqlite3 "$1/TessaryHeavyGame.db" "SELECT appName, hex(blob) FROM HeavyGame ORDER BY appName"
}

# same WHAT COMMAND... -- COMMAND...: fails unless both commands print the same text, which must not be empty.
same() {
  local what=$1 first=()
  shift
  while [ "$1" != -- ]; do
    first+=("$1")
    shift
  done
  shift
  "${first[@]}" >build/travel/one.txt
  "$@" >build/travel/other.txt
  [ -s build/travel/one.txt ] || fail "$what: nothing there"
  diff -u build/travel/one.txt build/travel/other.txt || fail "$what differ between this machine and $arm"
  printf 'Same here and on %s: %s (%d lines)\n' "$arm" "$what" "$(wc -l <build/travel/one.txt)"
}

build_preset "$arm"
run_tests "$arm" "${@:2}"

# The same day on both architectures, and each one's files read by the other.
build_preset release tessary velhost
rm -rf build/travel
mkdir -p build/travel
same "the example's output" \
  build/release/bin/velhost replay --quiet --data build/travel/here examples/day.triggers -- \
  emulate "$arm" "build/$arm/bin/velhost" replay --quiet --data build/travel/arm examples/day.triggers
same "files written here" dump_here build/travel/here -- dump_arm build/travel/here
same "files written on ARM" dump_arm build/travel/arm -- dump_here build/travel/arm
same "blobs" blobs build/travel/here -- blobs build/travel/arm
same "a second day on the other's files" \
  build/release/bin/velhost replay --quiet --data build/travel/arm examples/day.triggers -- \
  emulate "$arm" "build/$arm/bin/velhost" replay --quiet --data build/travel/here examples/day.triggers
