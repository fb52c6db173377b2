#!/usr/bin/env bash
# Measures the row store beside the plain C API and a C++ wrapper, and the feature's operations; leaves table.md,
# results.json and two charts in build/bench and prints the tables. Takes about five minutes. Arguments: the rounds of
# the timings (25) and the operations of the memory test (1000000).
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

need_packages "${build_packages[@]}" "${bench_packages[@]}" gnuplot-nox
build_preset bench
cd "$project_root/build/bench"
python3 "$project_root/bench/report.py" . "$@"
gnuplot "$project_root/bench/charts.gp" 2>charts.log || fail "gnuplot: $(tail -n 1 charts.log)"
echo "Tables, results and charts: build/bench/table.md, results.json, ratios.svg, lookup.svg"
