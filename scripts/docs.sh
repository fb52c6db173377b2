#!/usr/bin/env bash
# Holds the documents against the product: every message that the sources log has its section in docs/operations.md and
# the other way round, and every command shown in a block marked "sh" runs.
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

need_packages "${build_packages[@]}" libgtest-dev sqlite3
cd "$project_root"
mkdir -p build/docs

# The text between the quotes of each log call, without the line's end.
grep -rhoE 'VEL_LOG_(ERROR|WARN)\("([^"\\]|\\.)*"' feature host rowstore --include='*.h' --include='*.cpp' |
  sed -E 's/^[^"]*"//; s/"$//; s/\\n$//' | sort -u >build/docs/logged
sed -nE 's/^### `(.*)`$/\1/p' docs/operations.md | sort -u >build/docs/described
diff build/docs/logged build/docs/described ||
  fail "docs/operations.md and the sources do not agree (< logged, > described)"
echo "Messages: all $(wc -l <build/docs/logged) described."

# What CI runs as stages of their own is not run a second time here.
staged=$(grep -oE 'scripts/[a-z]+\.sh' .ci/run | grep -v -e docs.sh -e lib.sh | sort -u | paste -sd '|' -)
commands=0
for document in README.md CONTRIBUTING.md docs/*.md; do
  awk '/^```sh$/ { inside = 1; next } /^```/ { inside = 0 } inside' "$document" |
    grep -vE "^($staged)( |\$)" >build/docs/block.sh || continue
  bash -euo pipefail build/docs/block.sh >build/docs/output 2>&1 || {
    tail -n 5 build/docs/output >&2
    fail "a command shown in $document does not run"
  }
  commands=$((commands + $(grep -cvE '^ |^#|^$' build/docs/block.sh || true)))
done
echo "Commands: $commands run."
