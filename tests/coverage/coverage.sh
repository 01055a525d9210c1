#!/bin/bash
# How much of the code the tests reach: the module by its unit tests alone, all the rest by all tests. Fails below what
# is promised. With "module" as its second argument, the first half only.
#
# usage: coverage.sh BUILD [module]
set -euo pipefail
build=$1 part=${2:-all}
tree=$(cd "$(dirname "$0")/../.." && pwd)
MODULE_BRANCHES=100
REST_LINES=90
# The fuzzers' seeds are no tests of the rest, and the module does export more names while its ways are counted.
NOT_RUN='^fuzz_|^Exports\.|^integrating_|^structure'

# Runs of another build, or of other tests, would be counted too.
forget() { find "$build" -name '*.gcda' -delete; }

# Counts what was run, in JSON for promises and as a table of files: the report's name, and what it is about.
count() {
  local name=$1; shift
  gcovr --config "$tree/tests/coverage/gcovr.cfg" --root "$tree" --object-directory "$build" "$@" \
    --json "$build/coverage-$name.json" --txt "$build/coverage-$name.txt" --print-summary \
    2>"$build/coverage-$name.log" | grep -E '^(lines|branches)' | sed "s/^/$name: /"
}

# Fails when the report has less than is promised of a kind.
promise() {
  gcovr --root "$tree" --add-tracefile "$build/coverage-$1.json" "--fail-under-$2" "$3" >/dev/null || {
    echo "coverage.sh: $1 has less than $3 % of its $2s, see $build/coverage-$1.txt" >&2
    return 1
  }
}

forget
for program in module_tests call_failure_tests exchange_table_tests; do
  "$build/bin/$program" --gtest_brief=1 >"$build/coverage-$program.log" 2>&1 ||
    { tail -30 "$build/coverage-$program.log"; exit 1; }
done
count module --filter feature/vsan_manager/mib/
promise module branch $MODULE_BRANCHES
[ "$part" = all ] || exit 0

forget
ctest --test-dir "$build" --output-on-failure -j 4 -E "$NOT_RUN" >"$build/coverage-tests.log" || {
  grep -A30 'tests passed' "$build/coverage-tests.log"
  exit 1
}
grep 'tests passed' "$build/coverage-tests.log"
rest=()
for folder in protocol platform feature/managers operator_input switchd vsanctl; do
  rest+=(--filter "$folder/")
done
count rest "${rest[@]}"
promise rest line $REST_LINES
