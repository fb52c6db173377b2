#!/usr/bin/env bash
# Measures what the feature's calls cost, and the row store beside the plain C API and a C++ wrapper. Prints the tables
# of docs/performance.md. Takes about five minutes on an idle machine. Argument: how many times to time it (default 9).
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

need_packages "${build_packages[@]}" "${bench_packages[@]}"
build_preset bench
python3 "$project_root/bench/report.py" "$project_root/build/bench/bin/bench" "$@"
