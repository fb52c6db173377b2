#!/usr/bin/env bash
# Compares the documents with the product. Every message that the sources log must have a section in docs/operations.md,
# and every section a message. Every command in a block marked "sh" must run. Every link must lead to a file and, in a
# document, to a heading.
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

# Scripts that are CI stages are not run again.
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

# anchors DOCUMENT: the names by which a link can reach its headings.
anchors() {
  sed -nE 's/^#+ //p' "$1" | tr '[:upper:]' '[:lower:]' | sed -E 's/[^a-z0-9 _-]//g; s/ /-/g'
}
links=0
for document in README.md CONTRIBUTING.md docs/*.md; do
  while read -r link; do
    target=${link%%#*}
    file=$document
    [ -z "$target" ] || file=$(dirname "$document")/$target
    [ -e "$file" ] || fail "$document links to $link, which is not there"
    if [[ $link == *#* ]]; then
      anchors "$file" | grep -qxF "${link#*#}" || fail "$document links to $link, which has no such heading"
    fi
    links=$((links + 1))
  done < <(grep -oE '\]\([^)]+\)' "$document" | sed -E 's/^\]\(//; s/\)$//' | grep -v '^http')
done
echo "Links: $links lead somewhere."
