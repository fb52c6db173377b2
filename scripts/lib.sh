# Shared by the scripts of this folder; sourced, not run.

set -euo pipefail
project_root=$(CDPATH='' cd -- "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# Ends the script with one line on standard error.
fail() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# As `fail`, with status 77: the code is not at fault, this machine lacks something.
impossible() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 77
}

# Runs apt-get as root, without questions.
apt_get() {
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null 2>&1 || fail "needs root or sudo to install packages"
    as_root=(sudo)
  fi
  # Waits: a fresh machine may be installing something by itself.
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq -o DPkg::Lock::Timeout=300 "$@"
}

# need_packages PACKAGE...: installs the Debian packages that are missing. Needs no network when none is.
# Without apt-get, names them and fails, unless TESSARY_HAVE_PACKAGES is set.
need_packages() {
  if ! command -v apt-get >/dev/null 2>&1; then
    [ -n "${TESSARY_HAVE_PACKAGES:-}" ] && return
    fail "no apt-get here: install what Debian calls '$*', then run again with TESSARY_HAVE_PACKAGES=1"
  fi
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  printf 'Installing: %s\n' "${missing[*]}"
  apt_get update || true # a stale index of one suite is not fatal
  apt_get install -y --no-install-recommends "${missing[@]}" >/dev/null ||
    fail "could not install: ${missing[*]}"
}

# What every build needs.
build_packages=(g++ cmake ninja-build libsqlite3-dev libcli11-dev nlohmann-json3-dev)
# What the benchmarks need on top.
bench_packages=(libbenchmark-dev libsqlitecpp-dev valgrind python3)

# build_preset PRESET [TARGET...]: configures and builds a preset of CMakePresets.json in build/PRESET.
build_preset() {
  local preset=$1
  shift
  cmake -S "$project_root" --preset "$preset" >"$project_root/build/$preset.log" 2>&1 || {
    cat "$project_root/build/$preset.log" >&2
    fail "could not configure the preset '$preset'"
  }
  cmake --build "$project_root/build/$preset" ${1:+--target "$@"}
}

# run_tests PRESET [CTEST-ARGUMENT...]: runs the tests of a preset that is built. Fails when the arguments leave none.
run_tests() {
  local preset=$1
  shift
  ctest --test-dir "$project_root/build/$preset" --output-on-failure --no-tests=error \
    --parallel "$(nproc)" "$@"
}

# The ARM architectures, by Debian's names, and the prefixes of their compilers. The emulator's name is "qemu-" and the
# first word of the prefix.
declare -A arm_prefixes=([armhf]=arm-linux-gnueabihf [arm64]=aarch64-linux-gnu)

# prepare_arm ARCHITECTURE: installs compiler and emulator, and unpacks the architecture's libraries into
# build/ARCHITECTURE-root. The indices are fetched into a folder of the build tree, so that this machine's own list of
# architectures stays as it is.
prepare_arm() {
  local architecture=$1 prefix=${arm_prefixes[$1]:-} package packages=()
  [ -n "$prefix" ] || fail "no ARM architecture is called '$architecture', only ${!arm_prefixes[*]}"
  need_packages "${build_packages[@]}" "g++-$prefix" qemu-user
  for package in libsqlite3-0 libsqlite3-dev libgtest-dev android-liblog; do
    packages+=("$package:$architecture")
  done
  packages+=(libcli11-dev nlohmann-json3-dev)

  local root=$project_root/build/$architecture-root apt=$project_root/build/$architecture-apt
  [ "$(cat "$root/packages" 2>/dev/null)" = "${packages[*]}" ] && return
  rm -rf "$apt" "$root"
  mkdir -p "$apt/lists/partial" "$apt/cache" "$apt/packages"
  local options=(-qq -o "APT::Architectures::=$architecture" -o "APT::Sandbox::User=root"
    -o "Dir::State::Lists=$apt/lists" -o "Dir::Cache=$apt/cache")
  apt-get "${options[@]}" update >"$apt/log" 2>&1 || true # a stale index of one suite is not fatal
  (cd "$apt/packages" && apt-get "${options[@]}" download "${packages[@]}") >>"$apt/log" 2>&1 ||
    fail "could not fetch the packages ${packages[*]} (apt's reason is in $apt/log)"
  for package in "$apt"/packages/*.deb; do
    dpkg -x "$package" "$apt/root"
  done
  echo "${packages[*]}" >"$apt/root/packages"
  mv "$apt/root" "$root"
}

# emulate ARCHITECTURE PROGRAM [ARGUMENT...]
emulate() {
  local prefix=${arm_prefixes[$1]}
  shift
  "qemu-${prefix%%-*}" -L "/usr/$prefix" "$@"
}

# One script at a time in this tree: two would write the same files. A script that another one calls does not wait.
mkdir -p "$project_root/build"
if [ -z "${TESSARY_LOCKED:-}" ]; then
  exec 9>"$project_root/build/lock"
  flock -n 9 || { echo "Waiting for another script in this tree." >&2; flock 9; }
  export TESSARY_LOCKED=1
fi
