#!/usr/bin/env bash
# Builds the plug-in, velhost and the tests, and runs the tests. Arguments go to ctest: scripts/test.sh -R FeatureTest
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

need_packages "${build_packages[@]}" libgtest-dev
build_preset test
run_tests test "$@"
