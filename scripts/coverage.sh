#!/usr/bin/env bash
# Runs the tests with coverage counters. Prints the line and branch coverage of feature/, rowstore/ and host/, and the
# numbers of the lines that no test runs. Arguments go to ctest.
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

need_packages "${build_packages[@]}" libgtest-dev gcovr
folder=$project_root/build/coverage
cmake -S "$project_root" -B "$folder" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_CXX_FLAGS="--coverage -fprofile-update=atomic" >/dev/null
cmake --build "$folder"
find "$folder" -name '*.gcda' -delete
ctest --test-dir "$folder" --output-on-failure --parallel "$(nproc)" "$@"

# Only these folders' objects, workstation's for host/. A test with another kind of store has its own templates.
coverage() {
  (cd "$folder" && gcovr --root "$project_root" --object-directory "$folder" \
    --filter "$project_root/feature/" --filter "$project_root/rowstore/" --filter "$project_root/host/" \
    --exclude-throw-branches --exclude-unreachable-branches "$@" feature rowstore workstation)
}
coverage
coverage --branches
echo "Not counted: branches that only an exception takes, and those that the compiler added and nothing can take."
