#!/usr/bin/env bash
# Runs the tests with coverage counters and prints the line and branch coverage of feature/, rowstore/ and host/, with
# the numbers of the lines that are missing. Arguments go to ctest.
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

need_packages "${build_packages[@]}" libgtest-dev gcovr
variant=$project_root/build/coverage
cmake -S "$project_root" -B "$variant" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_CXX_FLAGS="--coverage -fprofile-update=atomic" >/dev/null
cmake --build "$variant"
find "$variant" -name '*.gcda' -delete
ctest --test-dir "$variant" --output-on-failure --parallel "$(nproc)" "$@"

# Only the product's own objects: a test that makes another kind of store has its own copy of the templates.
coverage() {
  (cd "$variant" && gcovr --root "$project_root" --object-directory "$variant" \
    --filter "$project_root/feature/" --filter "$project_root/rowstore/" --filter "$project_root/host/" \
    --exclude-throw-branches --exclude-unreachable-branches "$@" feature rowstore workstation)
}
coverage
coverage --branches
echo "Not counted: branches that only an exception takes, and those that the compiler added and nothing can take."
