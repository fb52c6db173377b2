#!/usr/bin/env bash
# Says what the fault tests of a variant's last run have tried: how many faults of each kind and power cuts.
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

log=$project_root/build/${1:-test}/Testing/Temporary/LastTest.log
[ -f "$log" ] || fail "no test run in build/${1:-test}"
grep -q '^counted: ' "$log" || fail "the last test run in build/${1:-test} was of other tests"
awk '/^counted: / { number = $2; $1 = $2 = ""; sum[$0] += number }
  END { for (what in sum) printf "%8d%s\n", sum[what], what }' "$log" | sort -k2
