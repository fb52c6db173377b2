#!/usr/bin/env bash
# Compares what libtessary.so shows and asks for with contract.txt: library.sh LIBRARY [MOST_BYTES].
# NM, READELF and STRIP name the tools for its architecture. Which C++ library it was built with does not matter.
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

# Names as a reader writes them, without versions and without the inline namespaces of the C++ libraries.
readable() {
  sed -E 's/@.*//' | c++filt | sed -E 's/\[abi:cxx11\]//
    s/std::(__cxx11|__1|__ndk1)::/std::/g
    s/std::basic_string<char, std::char_traits<char>, std::allocator<char> >/std::string/g
    s/, std::allocator<int> >/>/g
    s/libsqlite3?\.so.*/libsqlite.so/'
}

actual() {
  "$READELF" -dW "$library" | sed -nE 's/.*\(NEEDED\).*\[(.*)\]/needs \1/p' | readable
  "$NM" -D --defined-only "$library" | cut -d' ' -f3- | readable | sed 's/^/exports /'
  "$NM" -D --undefined-only "$library" | sed -nE 's/^ +U //p' | readable | sed 's/^/imports /'
}

# is_runtime LINE: whether it asks for something of the C or C++ runtime that the contract allows.
mapfile -t runtime < <(sed -n 's/^runtime //p' "$contract")
is_runtime() {
  local pattern
  for pattern in "${runtime[@]}"; do
    # shellcheck disable=SC2053 # the pattern is one
    [[ ${1#* } == $pattern ]] && return
  done
  return 1
}

while read -r sign line; do
  case $sign in
  '<') fault "agreed, but not in the library: $line" ;;
  '>') is_runtime "$line" || fault "not agreed: $line" ;;
  esac
done < <(diff <(grep -E '^(needs|exports|imports) ' "$contract" | sort) <(actual | sort))

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
