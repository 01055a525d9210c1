# What people type. The build itself is CMake's: see CMakePresets.json.
SHELL := /bin/bash
.SHELLFLAGS := -o pipefail -c
BUILD := build/release
DEPS := packaging/install-deps.sh

.PHONY: all deps build demo run install package package-test test bench bench-micro bench-instructions flame-graph check \
  fuzz monitoring monitoring-test soak chaos clean

all: build

# Everything that any target needs.
deps:
	$(DEPS) build demo test clients check bench instructions flame-graph package monitoring

# What ships: the module, the libraries beside it, switchd and vsanctl.
build:
	$(DEPS) build
	@test -f $(BUILD)/build.ninja || cmake --preset release >/dev/null
	cmake --build --preset release --target product

# Below PREFIX, with DESTDIR in front: see docs/install.md.
PREFIX ?= /usr/local
install:
	$(DEPS) build
	cmake --preset release -DCMAKE_INSTALL_PREFIX=$(PREFIX) >/dev/null
	cmake --build --preset release --target product
	DESTDIR="$(DESTDIR)" cmake --install $(BUILD) >/dev/null

# Debian packages of what is committed, in build/packages.
package:
	$(DEPS) build package
	packaging/make-packages.sh build/packages

# The packages looked through, and installed, used, upgraded and purged on a small Debian machine of their own.
package-test: package
	$(DEPS) demo clients monitoring
	/usr/bin/python3 -B -m pytest -q -p no:cacheprovider tests/installed

demo: build
	$(DEPS) demo
	demo/demo.sh $(BUILD)

run: build
	$(DEPS) demo
	demo/run.sh $(BUILD)

# Every test, under the sanitizers and then as it ships.
test:
	$(DEPS) build demo test clients bench
	cmake --preset asan >/dev/null
	cmake --build --preset asan
	ctest --test-dir build/asan --output-on-failure -j 2
	cmake --preset release -DVSANMIB_TESTS=ON -DVSANMIB_BENCH=ON >/dev/null
	cmake --build --preset release
	ctest --test-dir $(BUILD) --output-on-failure -j 2

# How fast the module is beside the same rows in other tables: see bench/README.md. A developer measures one thing in ten
# seconds with SECONDS=10 SIZES=100 PEERS=ours SHAPES=getnext-1.
SECONDS := 300
bench:
	$(DEPS) build demo bench
	cmake --preset release -DVSANMIB_BENCH=ON >/dev/null
	cmake --build --preset release --target product bench_programs
	python3 -B bench/bench.py --build $(BUILD) --out build/bench --seconds $(SECONDS) \
	  --sizes "$(SIZES)" --peers "$(PEERS)" --shapes "$(SHAPES)" $(addprefix --cpu ,$(CPU))

# Trace lines, records, exchanges and lookups, each by itself.
bench-micro:
	$(DEPS) build bench
	cmake --preset release -DVSANMIB_BENCH=ON >/dev/null
	cmake --build --preset release --target bench_micro
	@mkdir -p build/bench
	$(BUILD)/bin/bench_micro --benchmark_out=build/bench/micro.json

# Instructions of the agent a request, by library: what stays the same on a busy machine. PEERS and SHAPES choose.
bench-instructions:
	$(DEPS) build demo bench instructions
	cmake --preset release -DVSANMIB_BENCH=ON >/dev/null
	cmake --build --preset release --target product bench_programs
	python3 -B bench/instructions.py --build $(BUILD) --out build/bench --peers "$(PEERS)" --shapes "$(SHAPES)"

# Pictures of where the agent spends its time, build/bench/flame-*.svg.
flame-graph:
	$(DEPS) build demo bench flame-graph
	cmake --preset release -DVSANMIB_BENCH=ON >/dev/null
	cmake --build --preset release --target product bench_programs
	python3 -B bench/record_flames.py --build $(BUILD) --out build/bench

# What the compilers' warnings do not see: the other compiler, the format, and clang-tidy over what ships.
SOURCES = $(shell git ls-files 'feature/*.cpp' 'platform/*.cpp' 'operator_input/*.cpp' 'switchd/*.cpp' 'vsanctl/*.cpp')
check:
	$(DEPS) build check
	cmake --preset clang >/dev/null
	cmake --build --preset clang --target product
	@test -n "$(SOURCES)" || { echo "no sources: git ls-files says nothing here" >&2; exit 1; }
	git ls-files '*.cpp' '*.h' '*.c' | xargs clang-format --dry-run -Werror
	printf '%s\n' $(SOURCES) | xargs -n 4 -P 2 clang-tidy --quiet -p build/clang

# Each fuzzer for FUZZ_SECONDS, under the sanitizers, from the seeds in the tree. What it finds stays in build/fuzz/found.
FUZZ_SECONDS ?= 60
fuzz:
	$(DEPS) build test check
	cmake --preset fuzz >/dev/null
	cmake --build --preset fuzz
	@set -e; for seeds in tests/fuzz/seeds/*; do \
	  name=$$(basename $$seeds); echo "== $$name"; \
	  mkdir -p build/fuzz/corpus/$$name build/fuzz/found; \
	  build/fuzz/bin/fuzz_$$name -max_total_time=$(FUZZ_SECONDS) -print_final_stats=1 -verbosity=0 -close_fd_mask=1 \
	    -artifact_prefix=build/fuzz/found/$$name- build/fuzz/corpus/$$name $$seeds 2>build/fuzz/$$name.log || \
	    { tail -50 build/fuzz/$$name.log; exit 1; }; \
	  grep stat::number_of_executed_units build/fuzz/$$name.log; \
	done

# What the SNMP exporter asks for, made of our MIB files. See docs/monitoring.md.
monitoring:
	$(DEPS) monitoring
	packaging/monitoring/generate.sh

# That, the alerts and the dashboard with a Prometheus that watches a virtual switch.
monitoring-test: build
	$(DEPS) demo monitoring
	cd tests/monitoring && VSANMIB_BUILD=$(abspath $(BUILD)) /usr/bin/python3 -B -m unittest files_test scrape_test live_test

clean:
	rm -rf build

# Promises kept for long, see docs/reliability.md: an hour of load and disturbances, or a day with SECONDS=86400; and ROUNDS
# of processes that die or stand still. Both end with an error when a promise is broken; SEED repeats a run.
SOAK_ARGS = --build $(BUILD) --out build/$@ $(addprefix --seed ,$(SEED))
SOAK_SECONDS = $(if $(filter file,$(origin SECONDS)),3600,$(SECONDS))
ROUNDS ?= 1000
soak: soak_programs
	python3 -B tests/soak/soak.py soak --seconds $(SOAK_SECONDS) $(SOAK_ARGS)

chaos: soak_programs
	python3 -B tests/soak/soak.py chaos --rounds $(ROUNDS) $(SOAK_ARGS)

.PHONY: soak_programs
soak_programs:
	$(DEPS) build demo test bench
	cmake --preset release -DVSANMIB_TESTS=ON >/dev/null
	cmake --build --preset release --target product soak_load
