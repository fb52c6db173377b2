#!/usr/bin/env bash
# Builds the plug-in against Android's own headers and its own liblog, as Debian packages them, and loads it into the
# smallest host: on this machine, and for 32-bit ARM in the emulator. Both times the real logger must print every line
# that the stand-in prints.
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
cd "$project_root"

need_packages "${build_packages[@]}" android-liblog android-liblog-dev android-libcutils-dev
prepare_arm armhf

# Puts Android's headers where a device has them. The packages lack two: <perfd_client.h>, and the C library's
# <sys/system_properties.h>, of which only PROP_VALUE_MAX is needed.
headers=$PWD/build/aosp-headers
rm -rf "$headers"
mkdir -p "$headers/sys"
ln -s /usr/include/android/{android,cutils} "$PWD/workstation/include/perfd_client.h" "$headers"
echo '#define PROP_VALUE_MAX 92' >"$headers/sys/system_properties.h"

# play HOST PLUG-IN: what the plug-in logs in the host when its files cannot be made. The host then ends with 1.
play() {
  local status=0
  "${run[@]}" "$1" "$2" no/such/folder 2>&1 >/dev/null || status=$?
  [ "$status" -eq 1 ] || fail "$1 ends with $status"
}
messages() { grep -o 'VELDB: .*\|Tessary: .*' || true; }

# try_liblog PRESET LIBLOG [EMULATOR...]
try_liblog() {
  local preset=$1 liblog=$2 own=$PWD/build/$1/lib build=$PWD/build/aosp-$1
  run=("${@:3}")
  build_preset "$preset" tessary
  cmake --preset "$preset" -B "$build" -DBUILD_TESTING=OFF -DARM_ROOT="$PWD/build/$preset-root" \
    -DTESSARY_DEVICE_HEADERS="$headers" -DTESSARY_LIBLOG="$liblog" -DTESSARY_LIBVEL="$own/libvel.so" \
    -DTESSARY_LIBCUTILS="$own/libcutils.so" -DTESSARY_LIBPERFD="$own/libozr-perfd-client.so" >"$build.log" 2>&1 ||
    fail "could not configure: $build.log"
  cmake --build "$build" --target tessary smallest_host

  play "$build/bin/smallest_host" "$own/libtessary.so" | messages >"$build/expected"
  play "$build/bin/smallest_host" "$build/lib/libtessary.so" >"$build/printed"
  messages <"$build/printed" | diff -u "$build/expected" - || fail "$preset: the real logger prints something else"
  [ -s "$build/expected" ] || fail "$preset: no line was logged"
  printf "Printed by Android's liblog with the preset %s:\\n" "$preset"
  cat "$build/printed"
}

try_liblog release "$(dpkg -L android-liblog | grep -m1 '/liblog\.so\.0$')"
try_liblog armhf "$PWD/build/armhf-root/usr/lib/${arm_prefixes[armhf]}/android/liblog.so.0" emulate armhf
