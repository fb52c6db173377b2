#!/usr/bin/env bash
# Checks the format of every source file and runs clang-tidy over all of them. Changes nothing.
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

need_packages clang-format clang-tidy clang-tools
cd "$project_root"

git ls-files -z '*.h' '*.cpp' | xargs -0 clang-format --dry-run --Werror
echo "Format: clean."

# Of a variant that is built, so that every source has its compile command.
variant=${1:-test}
git ls-files '*.cpp' | sed "s|^|^$project_root/|; s|\$|\$|" |
  xargs run-clang-tidy -quiet -p "build/$variant" -j "$(nproc)" >build/tidy.log 2>&1 || {
  grep -E 'error:|warning:' build/tidy.log | sort -u >&2
  fail "clang-tidy has something to say; all of it is in build/tidy.log"
}
echo "clang-tidy: clean."
