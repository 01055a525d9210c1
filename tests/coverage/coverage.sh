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

# Runs of another build, or of other tests, would be counted too.
forget() { find "$build" -name '*.gcda' -delete; }

# Counts what was run: the name of the report, what it is about, and what is promised.
count() {
  local name=$1; shift
  gcovr --config "$tree/tests/coverage/gcovr.cfg" --root "$tree" --object-directory "$build" "$@" \
    --json "$build/coverage-$name.json" --txt "$build/coverage-$name.txt" 2>"$build/coverage-$name.log" || true
  gcovr --root "$tree" -a "$build/coverage-$name.json" --print-summary -o /dev/null |
    grep -E '^(lines|branches)' | sed "s/^/$name: /"
}

# Fails when the report has less than is promised of a kind.
promise() {
  gcovr --config "$tree/tests/coverage/gcovr.cfg" --root "$tree" -a "$build/coverage-$1.json" -o /dev/null \
    "--fail-under-$2" "$3" || { echo "coverage.sh: $1 has less than $3 % of its $2s" >&2; return 1; }
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
ctest --test-dir "$build" --output-on-failure -j 2 -E '^fuzz_' >"$build/coverage-tests.log" ||
  { grep -A30 'tests passed' "$build/coverage-tests.log"; exit 1; }
tail -3 "$build/coverage-tests.log"
count rest --filter platform/ --filter feature/managers/ --filter operator_input/ --filter switchd/ --filter vsanctl/
promise rest line $REST_LINES
