#!/usr/bin/env bash
# Checks the format of every source file and runs clang-tidy over those that the presets test and bench compile, which
# must have been built. Changes nothing.
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

need_packages clang-format clang-tidy clang-tools
cd "$project_root"

folders=(feature host rowstore platform workstation examples tests bench)
find "${folders[@]}" \( -name '*.h' -o -name '*.cpp' \) -print0 | xargs -0 clang-format --dry-run --Werror
echo "Format: clean."

# tidy PRESET PATTERN: checks the sources that match, with the compile commands of a preset that was built.
tidy() {
  [ -f "build/$1/compile_commands.json" ] || fail "build the preset '$1' first"
  run-clang-tidy -quiet -p "build/$1" -j "$(nproc)" "$2" >"build/tidy-$1.log" 2>&1 || {
    sed 's/\x1b\[[0-9;]*m//g' "build/tidy-$1.log" | grep -E 'error:|warning:' | sort -u >&2 || true
    fail "clang-tidy has something to say; all of it is in build/tidy-$1.log"
  }
  grep -q '^clang-tidy' "build/tidy-$1.log" || fail "clang-tidy was given no source of '$2'"
}
tidy test '/(feature|rowstore|workstation|examples|tests)/[^ ]*\.cpp$'
tidy bench '/bench/[^/]*\.cpp$'
echo "clang-tidy: clean."
