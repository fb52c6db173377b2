#!/usr/bin/env bash
# Compiles the plug-in against the headers of an older SQLite, sqlite.sh 3.15.0 or sqlite.sh 3.31.1. Then runs the usual
# tests with that version's library, for 3.15.0 without velhost's. Further arguments go to ctest. The sources of these
# versions come from packages of npm.
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
cd "$project_root"

version=${1:-}
left_out=()
case $version in
3.15.0)
  package=sqlite3@3.1.8 archive=sqlite-autoconf-3150000.tar.gz
  left_out=(-E '^Velhost[.]') # velhost, a workstation's program, needs what 3.31 has against hostile files
  ;;
3.31.1) package=sqlite3@4.2.0 archive=sqlite-autoconf-3310100.tar.gz ;;
*) fail "name one of the versions 3.15.0 and 3.31.1" ;;
esac
folder=$PWD/build/sqlite-$version
library=$folder/libsqlite3.so.0

need_packages "${build_packages[@]}" libgtest-dev
command -v npm >/dev/null || need_packages npm # npm may be there without Debian's package

build_library() {
  rm -rf "$folder"
  mkdir -p "$folder"
  (cd "$folder" && npm pack "$package") >"$folder.log" 2>&1 ||
    impossible "could not fetch npm's package $package (npm's reason is in $folder.log)"
  tar -xzOf "$folder"/*.tgz "package/deps/$archive" | tar -xz --strip-components=1 -C "$folder"
  grep -qE "^#define SQLITE_VERSION +\"$version\"" "$folder/sqlite3.h" || fail "$package has another version of SQLite"
  gcc -w -O1 -fPIC -shared -Wl,-soname,libsqlite3.so.0 -o "$library" "$folder/sqlite3.c" -lpthread -ldl
}
[ -f "$library" ] || build_library

cmake --preset release -B "$folder/plug-in" -DSQLite3_INCLUDE_DIR="$folder" -DSQLite3_LIBRARY="$library" \
  >"$folder.log" || fail "could not configure the plug-in: $folder.log"
cmake --build "$folder/plug-in" --target tessary

# Runs the tests that were built with this machine's SQLite. CTest records the run in build/sqlite-VERSION.
build_preset test
export LD_LIBRARY_PATH=$folder
ldd build/test/bin/unit_tests | grep -qF "$library" || fail "the tests do not load $library"
printf 'subdirs("%s")\n' "$PWD/build/test" >"$folder/CTestTestfile.cmake"
run_tests "sqlite-$version" "${left_out[@]}" "${@:2}"
