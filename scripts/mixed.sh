#!/usr/bin/env bash
# Plays the example in two builds, which must print what the usual build prints:
# - the host by clang without run-time type information, the plug-in by g++ against the host's libraries;
# - everything by clang with libc++. Here all tests run as well. Arguments go to ctest.
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
cd "$project_root"

need_packages "${build_packages[@]}" clang libc++-dev libc++abi-dev googletest

build_preset release tessary velhost
build_preset foreign-host velhost vel log cutils ozr-perfd-client
build_preset foreign-plugin

# play PRESET [PLUG-IN]: prints the example's output, on a phone without data.
play() {
  local data=build/$1/data
  rm -rf "$data"
  "build/$1/bin/velhost" replay --quiet --data "$data" ${2:+--plugin "$2"} examples/day.triggers
}

# same_as_release PRESET [PLUG-IN]: compares the output with the usual build's. Through a file and not a pipe, so that
# velhost's exit status counts.
same_as_release() {
  play "$@" >build/mixed.played || fail "$1 fails"
  diff -u build/mixed.expected build/mixed.played || fail "$1 prints something else"
  printf 'Same output as the usual build: %s\n' "$*"
}

play release >build/mixed.expected
[ -s build/mixed.expected ] || fail "the example prints nothing"
same_as_release foreign-host build/foreign-plugin/lib/libtessary.so

# The installed GoogleTest was built with the usual C++ library.
build_googletest() {
  local folder=build/libcxx-googletest
  cmake -S /usr/src/googletest -B "$folder" -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_CXX_FLAGS=-stdlib=libc++ \
    -DCMAKE_INSTALL_PREFIX="$PWD/$folder/installed" >"$folder.log"
  cmake --build "$folder" --target install >>"$folder.log" || fail "GoogleTest cannot be built: $folder.log"
}
[ -d build/libcxx-googletest/installed ] || build_googletest
build_preset libcxx
same_as_release libcxx
run_tests libcxx "$@"
