#!/usr/bin/env bash
# Builds the plug-in and its workstation host, plays a day on a phone into it and prints what it has learnt.
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

# Standard output is the host's alone.
{
  need_packages "${build_packages[@]}"
  build_preset release tessary velhost
} >&2

# The day starts on a phone without data, so that every run prints the same.
data="$project_root/build/release/data"
rm -rf "$data"
"$project_root/build/release/bin/velhost" replay --data "$data" "$project_root/examples/day.triggers" "$@"
