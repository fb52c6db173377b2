#!/usr/bin/env bash
# Checks the format of every source file and runs clang-tidy over all of them. Changes nothing.
# The variants test and bench must have been built.
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

need_packages clang-format clang-tidy clang-tools
cd "$project_root"

git ls-files -z '*.h' '*.cpp' | xargs -0 clang-format --dry-run --Werror
echo "Format: clean."

# tidy VARIANT PATTERN: checks the sources that match, each with the compile command it has in a variant that was built.
tidy() {
  run-clang-tidy -quiet -p "build/$1" -j "$(nproc)" "$project_root/$2" >"build/tidy-$1.log" 2>&1 || {
    sed 's/\x1b\[[0-9;]*m//g' "build/tidy-$1.log" | grep -E 'error:|warning:' | sort -u >&2
    fail "clang-tidy has something to say; all of it is in build/tidy-$1.log"
  }
}
tidy test '(feature|rowstore|workstation|tests)/'
tidy bench 'bench/'
echo "clang-tidy: clean."
