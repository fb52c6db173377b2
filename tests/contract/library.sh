#!/usr/bin/env bash
# Compares what libtessary.so shows and asks for with contract.txt: library.sh LIBRARY [MOST_BYTES].
# NM, READELF and STRIP name the tools for its architecture.
set -euo pipefail
library=$1
contract=$(dirname "$0")/contract.txt
stripped=$(mktemp)
trap 'rm -f "$stripped"' EXIT
export LC_ALL=C

# fault LINE: goes on, so that one run names everything.
faults=0
fault() {
  printf '%s\n' "$*"
  faults=1
}

# Names as a reader writes them.
readable() {
  sed -E 's/@.*//' | c++filt | sed -E 's/\[abi:cxx11\]//
    s/std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >/std::string/g
    s/, std::allocator<int> >/>/g'
}
undefined() { "$NM" -D --undefined-only "$library" | sed -nE 's/^ +U //p'; }
versioned='@(GLIBC|GLIBCXX|CXXABI|GCC)_'

actual() {
  "$READELF" -dW "$library" | sed -nE 's/.*\(NEEDED\).*\[(.*)\]/needs \1/p'
  "$NM" -D --defined-only "$library" | cut -d' ' -f3- | readable | sed 's/^/exports /'
  undefined | grep -vE "$versioned" | readable | sed 's/^/imports /'
}
difference=$(diff <(grep -E '^(needs|exports|imports) ' "$contract" | sort) <(actual | sort) | grep '^[<>]') || true
if [ -n "$difference" ]; then
  fault "Agreed (<) but not so in the library (>):"$'\n'"$difference"
fi

while read -r symbol; do
  allowed=
  while read -r pattern; do
    # shellcheck disable=SC2053 # the pattern is one
    [[ $symbol == $pattern ]] && allowed=yes
  done < <(sed -n 's/^runtime //p' "$contract")
  [ -n "$allowed" ] || fault "of the runtime, not agreed: $symbol"
done < <(undefined | grep -E "$versioned" | readable)

# The registration and the compiler's own entry are all that runs at load.
initialisers() { "$NM" "$library" | sed -nE 's/.* (_GLOBAL__sub_I_|__cxx_global_var_init)/\1/p' | xargs; }
entries=$("$READELF" -SW "$library" | sed -nE 's/.* \.init_array +[A-Z_]+ +[0-9a-f]+ [0-9a-f]+ ([0-9a-f]+).*/\1/p')
case $("$READELF" -hW "$library") in
*ELF64*) word=8 ;;
*) word=4 ;;
esac
[ $((16#$entries)) -le $((2 * word)) ] || fault "static initialisation besides the registration: $(initialisers)"

"$STRIP" -o "$stripped" "$library"
bytes=$(stat -c %s "$stripped")
printf 'Stripped: %d bytes\n' "$bytes"
[ "$bytes" -le "${2:-$bytes}" ] || fault "larger than $2 bytes"
exit "$faults"
