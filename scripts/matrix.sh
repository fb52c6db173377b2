#!/usr/bin/env bash
# Builds the plug-in with each compiler, C++ library and kind of link-time optimisation, checks the symbols of each, and
# loads it into the smallest host, which is built with and without type information and exceptions. Prints one table.
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
cd "$project_root"

need_packages "${build_packages[@]}" clang lld llvm libc++-dev libc++abi-dev

# The plug-ins, one per line:
# architecture, compiler, C++ library, link-time optimisation
plugins="
x86-64 g++     libstdc++ none
x86-64 g++     libstdc++ full
x86-64 clang++ libstdc++ none
x86-64 clang++ libstdc++ thin
x86-64 clang++ libstdc++ full
x86-64 clang++ libc++    none
x86-64 clang++ libc++    thin
x86-64 clang++ libc++    full
armhf  g++     libstdc++ none
armhf  g++     libstdc++ full
arm64  g++     libstdc++ none
arm64  g++     libstdc++ full
"

# use_architecture NAME: sets toolchain (CMake's arguments), emulator (a command's beginning) and tools (a prefix).
use_architecture() {
  toolchain=() emulator=() tools=
  [ "$1" != x86-64 ] || return 0
  prepare_arm "$1"
  toolchain=(-DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/arm.cmake" -DARM_PREFIX="${arm_prefixes[$1]}"
    -DARM_ROOT="$PWD/build/$1-root")
  emulator=(emulate "$1")
  tools=${arm_prefixes[$1]}-
}

# flags_for COMPILER LIBRARY LTO: prints the flags for the compiler.
flags_for() {
  local flags=
  [ "$2" = libstdc++ ] || flags="-stdlib=libc++"
  case $1-$3 in
  *-none) ;;
  g++-full) flags+=" -flto" ;;
  clang++-*) flags+=" -flto=$3" ;;
  *) fail "no link-time optimisation '$3' with $1" ;;
  esac
  echo "$flags"
}

# build FOLDER COMPILER FLAGS TARGET... [-- CMAKE-ARGUMENT...]
build() {
  local folder=build/matrix/$1 compiler=$2 flags=$3 targets=()
  shift 3
  while [ $# -gt 0 ] && [ "$1" != -- ]; do
    targets+=("$1")
    shift
  done
  [ $# -eq 0 ] || shift
  local archiver=llvm linker=lld
  [ "$compiler" != g++ ] || archiver=gcc linker=bfd
  cmake -S . -B "$folder" -G Ninja -DCMAKE_BUILD_TYPE=MinSizeRel -DBUILD_TESTING=OFF \
    -DCMAKE_COMPILE_WARNING_AS_ERROR=ON "${toolchain[@]:--DCMAKE_CXX_COMPILER=$compiler}" \
    -DCMAKE_AR="$(command -v "${tools}$archiver-ar")" -DCMAKE_RANLIB="$(command -v "${tools}$archiver-ranlib")" \
    -DCMAKE_EXE_LINKER_FLAGS="-fuse-ld=$linker" -DCMAKE_SHARED_LINKER_FLAGS="-fuse-ld=$linker" \
    -DCMAKE_CXX_FLAGS="$flags" "$@" >"$folder.log" 2>&1 &&
    cmake --build "$folder" --target "${targets[@]}" >>"$folder.log" 2>&1 || {
    tail -n 20 "$folder.log" >&2
    fail "cannot build $folder"
  }
}

# build_plugin FOLDER COMPILER FLAGS HOST [CMAKE-ARGUMENT...]: against the libraries of that host.
build_plugin() {
  local folder=$1 compiler=$2 flags=$3 libraries=$PWD/build/matrix/$4/lib
  shift 4
  build "$folder" "$compiler" "$flags" tessary -- -DTESSARY_LIBVEL="$libraries/libvel.so" \
    -DTESSARY_LIBLOG="$libraries/liblog.so" -DTESSARY_LIBCUTILS="$libraries/libcutils.so" \
    -DTESSARY_LIBPERFD="$libraries/libozr-perfd-client.so" "$@"
}

# check_symbols FOLDER: prints the size of the stripped plug-in, or what is wrong with its symbols.
check_symbols() {
  local library=build/matrix/$1/lib/libtessary.so answer
  answer=$(NM="${tools}nm" READELF="${tools}readelf" STRIP="${tools}strip" tests/contract/library.sh "$library") ||
    fail "$1: $answer"
  # A host without type information loads the plug-in only if this one is weak.
  "${tools}nm" -D "$library" | grep ' w _ZTI7Feature$' >/dev/null || fail "$1: the type information of Feature is not weak"
  sed -n 's/^Stripped: \([0-9]*\) bytes$/\1/p' <<<"$answer"
}

# row ARCHITECTURE COMPILER LIBRARY LTO HOST BYTES ANSWER: a line of the table, which build/matrix/table keeps.
row() { printf '%-12s  %-8s  %-14s  %-4s  %-22s  %5s  %s\n' "$@" | tee -a build/matrix/table; }

rm -rf build/matrix
mkdir -p build/matrix
row architecture compiler library LTO host bytes answer
while read -r architecture compiler library lto; do
  [ -n "$architecture" ] || continue
  use_architecture "$architecture"
  host=host-$architecture-$library
  if [ ! -d "build/matrix/$host" ]; then
    builder=g++
    [ "$library" = libstdc++ ] || builder=clang++
    flags=$(flags_for "$builder" "$library" none)
    build "$host" "$builder" "$flags" smallest_host vel log cutils ozr-perfd-client
    build "$host-bare" "$builder" "$flags -fno-rtti -fno-exceptions" smallest_host vel log cutils ozr-perfd-client
  fi
  name=$architecture-$compiler-$library-$lto
  build_plugin "$name" "$compiler" "$(flags_for "$compiler" "$library" "$lto")" "$host-bare"
  bytes=$(check_symbols "$name")
  for kind in "" -bare; do
    answer=$("${emulator[@]}" "build/matrix/$host$kind/bin/smallest_host" "build/matrix/$name/lib/libtessary.so") ||
      fail "$name: the host $host$kind does not get the answer"
    [ "$answer" = "com.example.game: type 17" ] || fail "$name in $host$kind: $answer"
    row "$architecture" "$compiler" "$library" "$lto" "${kind:+no }RTTI, ${kind:+no }exceptions" "$bytes" "$answer"
  done
done <<<"$plugins"

# A plug-in with std::__ndk1, the inline namespace of the NDK's libc++. That library is not here, so the plug-in is
# linked with undefined symbols. Its own symbols must be as agreed, and a host with std::__1 must refuse it.
use_architecture x86-64
build_plugin ndk1 clang++ "-stdlib=libc++ -D_LIBCPP_ABI_NAMESPACE=__ndk1" host-x86-64-libc++-bare \
  -DCMAKE_CXX_STANDARD_LIBRARIES=-Wl,--unresolved-symbols=ignore-all
bytes=$(check_symbols ndk1)
if build/matrix/host-x86-64-libc++/bin/smallest_host build/matrix/ndk1/lib/libtessary.so 2>build/matrix/refusal; then
  fail "a host with std::__1 loads a plug-in with std::__ndk1"
fi
grep -q 'undefined symbol: .*__ndk1' build/matrix/refusal || fail "ndk1: $(cat build/matrix/refusal)"
row x86-64 clang++ "libc++, __ndk1" none "RTTI, exceptions" "$bytes" "refused: undefined symbol"
