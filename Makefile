# What people type. The build itself is CMake's: see CMakePresets.json.
BUILD := build/release

.PHONY: all deps build demo run test fuzz clean

all: build

deps:
	packaging/install-deps.sh

build: deps
	@test -f $(BUILD)/build.ninja || cmake --preset release >/dev/null
	cmake --build --preset release

demo: build
	demo/demo.sh $(BUILD)

run: build
	demo/run.sh $(BUILD)

# The unit tests under the sanitizers, then everything.
test: build
	@test -f build/asan/build.ninja || cmake --preset asan >/dev/null
	cmake --build --preset asan
	ctest --test-dir build/asan --output-on-failure -j 2
	ctest --test-dir $(BUILD) --output-on-failure -j 2

# Each fuzzer for FUZZ_SECONDS, under the sanitizers, from the seeds in the tree. What it finds stays in build/fuzz/found.
FUZZ_SECONDS ?= 60
fuzz: deps
	@test -f build/fuzz/build.ninja || cmake --preset fuzz >/dev/null
	cmake --build --preset fuzz
	@set -e; for seeds in tests/fuzz/seeds/*; do \
	  name=$$(basename $$seeds); echo "== $$name"; \
	  mkdir -p build/fuzz/corpus/$$name build/fuzz/found; \
	  build/fuzz/bin/fuzz_$$name -max_total_time=$(FUZZ_SECONDS) -print_final_stats=1 -verbosity=0 -close_fd_mask=1 \
	    -artifact_prefix=build/fuzz/found/$$name- build/fuzz/corpus/$$name $$seeds 2>build/fuzz/$$name.log || \
	    { tail -50 build/fuzz/$$name.log; exit 1; }; \
	  grep stat::number_of_executed_units build/fuzz/$$name.log; \
	done

clean:
	rm -rf build
