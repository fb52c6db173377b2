#!/usr/bin/env bash
# Compares Android.bp with CMake's sources, flags and libraries, and builds what it describes with clang and libc++.
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
cd "$project_root"

need_packages "${build_packages[@]}" blueprint-tools clang lld libc++-dev libc++abi-dev python3

difference=$(bpfmt -d Android.bp) || fail "Android.bp: bpfmt cannot parse it"
[ -z "$difference" ] || fail "Android.bp is not as bpfmt would write it:"$'\n'"$difference"

folder=build/android-bp
cmake -S . -B "$folder" -G Ninja -DBUILD_TESTING=OFF -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_CXX_FLAGS=-stdlib=libc++ >"$folder.log"
cmake --build "$folder" --target vel log cutils ozr-perfd-client >>"$folder.log" ||
  fail "cannot build the libraries that the plug-in needs: $folder.log"
python3 scripts/androidbp.py "$folder"
NM=nm READELF=readelf STRIP=strip tests/contract/library.sh "$folder/libtessary.so"
