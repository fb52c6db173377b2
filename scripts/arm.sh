#!/usr/bin/env bash
# Builds everything for 32-bit ARM, runs all tests and the example in the emulator, and carries database files from
# this machine to ARM and back. Arguments go to ctest.
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
cd "$project_root"

need_packages "${build_packages[@]}" g++-arm-linux-gnueabihf qemu-user sqlite3

# Debian's ARM packages, unpacked into build/arm-root. The indices are fetched into a folder of the build tree, so that
# this machine's own list of architectures stays as it is.
unpack_arm_packages() {
  local packages=(libsqlite3-0:armhf libsqlite3-dev:armhf libgtest-dev:armhf
    libcli11-dev nlohmann-json3-dev)
  local apt=build/arm-apt
  rm -rf "$apt" build/arm-root
  mkdir -p "$apt/lists/partial" "$apt/cache" "$apt/packages"
  local options=(-qq -o "APT::Architectures::=armhf" -o "APT::Sandbox::User=root"
    -o "Dir::State::Lists=$PWD/$apt/lists" -o "Dir::Cache=$PWD/$apt/cache")
  apt-get "${options[@]}" update >"$apt/log" 2>&1 || true # a stale index of one suite is not fatal
  (cd "$apt/packages" && apt-get "${options[@]}" download "${packages[@]}") >>"$apt/log" 2>&1 ||
    fail "could not fetch the ARM packages: ${packages[*]} (apt's reason is in $apt/log)"
  local package
  for package in "$apt"/packages/*.deb; do
    dpkg -x "$package" "$apt/root"
  done
  mv "$apt/root" build/arm-root
}

emulate() {
  qemu-arm -L /usr/arm-linux-gnueabihf "$@"
}

# dump and blobs print what lies in a folder of database files, as velhost and as SQLite see it.
dump_here() { build/release/bin/velhost dump --data "$1"; }
dump_arm() { emulate build/arm/bin/velhost dump --data "$1"; }
blobs() {
  sqlite3 "$1/Tessary.db" "SELECT appName, hex(blob) FROM Tessary ORDER BY appName"
  sqlite3 "$1/TessaryHeavyGame.db" "SELECT appName, hex(blob) FROM HeavyGame ORDER BY appName"
}

# same WHAT COMMAND... -- COMMAND...: both commands print the same, and something.
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
  diff -u build/travel/one.txt build/travel/other.txt || fail "$what differ between the two architectures"
  printf 'Same on both architectures: %s (%d lines)\n' "$what" "$(wc -l <build/travel/one.txt)"
}

[ -d build/arm-root ] || unpack_arm_packages
build_preset arm
run_tests arm "$@"

# The same day on both architectures, and each one's files read by the other.
build_preset release tessary velhost
rm -rf build/travel
mkdir -p build/travel
same "the example's output" \
  build/release/bin/velhost replay --quiet --data build/travel/here examples/day.triggers -- \
  emulate build/arm/bin/velhost replay --quiet --data build/travel/arm examples/day.triggers
same "files written here" dump_here build/travel/here -- dump_arm build/travel/here
same "files written on ARM" dump_arm build/travel/arm -- dump_here build/travel/arm
same "blobs" blobs build/travel/here -- blobs build/travel/arm
same "a second day on the other's files" \
  build/release/bin/velhost replay --quiet --data build/travel/arm examples/day.triggers -- \
  emulate build/arm/bin/velhost replay --quiet --data build/travel/here examples/day.triggers
