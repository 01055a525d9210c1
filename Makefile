# What people type. The build itself is CMake's: see CMakePresets.json.
SHELL := /bin/bash
.SHELLFLAGS := -o pipefail -c
BUILD := build/release
DEPS := packaging/install-deps.sh

.PHONY: all deps build demo run install package package-powerpc package-test test bench bench-micro \
  bench-instructions bench-instructions-both fleet-figures target sizes flame-graph check fuzz model model-defects \
  broken-exchanges monitoring monitoring-test soak soak_programs chaos fabric-rounds fabric-figures fabric_programs \
  demo-fabric coverage mutate long bigendian powerpc-test clean

all: build

# Everything that any target needs.
deps:
	$(DEPS) build demo fleet fabric test clients check bench instructions flame-graph package monitoring

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

# The same for the target, in build/packages-powerpc, with the small build's options; and looked through, which an agent
# under the emulator answers from.
package-powerpc: package
	$(DEPS) build test powerpc package demo
	cross/powerpc-prefix.sh
	POWERPC_PREFIX=build/powerpc-prefix packaging/make-packages.sh build/packages-powerpc
	python3 -B tests/size/target_packages.py --packages build/packages-powerpc \
	  --native build/packages --prefix build/powerpc-prefix

# The packages looked through, and installed, used, upgraded and purged on a small Debian machine of their own.
package-test: package
	$(DEPS) demo clients monitoring
	/usr/bin/python3 -B -m pytest -q -p no:cacheprovider tests/installed

demo: build
	$(DEPS) demo
	demo/demo.sh $(BUILD)

# Three switches of one fabric: pending here and running there, refused elsewhere, committed everywhere.
demo-fabric: build
	$(DEPS) demo fabric
	demo/fabric.sh $(BUILD)

run: build
	$(DEPS) demo
	demo/run.sh $(BUILD)

# Every test, under the sanitizers as clang builds it, and then as it ships, by g++. Most tests wait most of the time.
test:
	$(DEPS) build demo fleet fabric test clients bench
	cmake --preset asan >/dev/null
	cmake --build --preset asan
	ctest --test-dir build/asan --output-on-failure -j 6
	cmake --preset release -DVSANMIB_TESTS=ON -DVSANMIB_BENCH=ON >/dev/null
	cmake --build --preset release
	ctest --test-dir $(BUILD) --output-on-failure -j 6

# Everything on the target's kind of processor and on another big-endian one, under emulators, and agents and switches
# of different byte orders together: see cross/README.md. More than an hour.
bigendian:
	$(DEPS) build demo test clients powerpc s390x
	cross/powerpc-prefix.sh
	cross/s390x-prefix.sh
	cmake --preset release -DVSANMIB_TESTS=ON >/dev/null
	cmake --build --preset release
	@set -e; for processor in powerpc powerpc-small s390x; do \
	  cmake --preset $$processor >/dev/null; \
	  cmake --build --preset $$processor; \
	  ctest --test-dir build/$$processor --no-tests=error --output-on-failure -j 2; \
	  cross/lab-tests.sh $$processor $$processor -j 4; \
	done
	@set -e; for pair in "powerpc native" "native powerpc" "s390x powerpc"; do \
	  echo "== agent and switch: $$pair"; cross/lab-tests.sh $$pair -j 4; \
	done

# What of it is quick, on the build that the target gets: after `make test`, the unit tests and fuzz seeds, each program
# in one process, and some tests of each kind through an agent. That each call may fail takes three minutes there, and is
# the same code.
POWERPC_KINDS := Read|Write|RowStatus|SetPhase|Fabric|FabricTimer|Reload|RoleMatrix|Why|MembershipTrap|Receivers
POWERPC_KINDS := $(POWERPC_KINDS)|UnsharedPage|ForwardedSockets
POWERPC_LABS = ^(.*/)?($(POWERPC_KINDS))\.
powerpc-test:
	$(DEPS) build demo test clients bench powerpc
	cross/powerpc-prefix.sh
	cmake --preset release -DVSANMIB_TESTS=ON -DVSANMIB_BENCH=ON >/dev/null
	cmake --build --preset release
	cmake --preset powerpc-small >/dev/null
	cmake --build --preset powerpc-small --target product quick_tests
	ctest --test-dir build/powerpc-small --no-tests=error --output-on-failure -j 2 \
	  -R '^(one_process\.|fuzz_|module_is_small)' -E call_failure_tests
	cross/lab-tests.sh powerpc-small powerpc-small -j 4 -R '$(POWERPC_LABS)'
	cross/lab-tests.sh powerpc-small native -j 4 -R '^Write\.'
	cross/lab-tests.sh native powerpc-small -j 4 -R '^(FabricTimer|UnsharedPage)\.'

# How fast the module is beside the same rows in other tables: see bench/README.md. A developer measures one thing in
# ten seconds with SECONDS=10 SIZES=100 PEERS=ours SHAPES=getnext-1.
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

# The target's build: what runs in the agent for little memory. See docs/size.md.
TARGET := build/powerpc-small
target:
	$(DEPS) build test powerpc
	cross/powerpc-prefix.sh
	cmake --preset powerpc-small >/dev/null
	cmake --build --preset powerpc-small --target product

# The same for agents of the target's processor, under an emulator: as usual, and the target's build.
bench-instructions-both: bench-instructions target
	cmake --preset powerpc >/dev/null
	cmake --build --preset powerpc --target product
	@set -e; for build in build/powerpc $(TARGET); do \
	  python3 -B bench/instructions.py --build $(BUILD) --target $$build --out build/bench --shapes "$(SHAPES)"; \
	done

# What the module takes of a switch's memory, option by option: ends with an error where it is too much. See
# docs/size.md.
sizes: target
	$(DEPS) build bench
	cmake --preset release -DVSANMIB_BENCH=ON >/dev/null
	cmake --build --preset release --target product bench_driver
	python3 -B bench/sizes.py --build $(BUILD) --target $(TARGET) --out build/sizes

# What fleets of SIZES switches cost: memory, start, idle CPU, a poller's walk over all. Writes docs/fleet.json and
# docs/fleet.svg; a quarter of an hour of a machine that does nothing else. See docs/fleet.md.
FLEET_SIZES := $(or $(SIZES),10 100 1000)
fleet-figures:
	$(DEPS) build demo bench fleet
	cmake --preset release -DVSANMIB_BENCH=ON >/dev/null
	cmake --build --preset release --target product fleet_walk
	python3 -B bench/fleet/fleet_figures.py --build $(BUILD) --out docs --sizes "$(FLEET_SIZES)"

# Pictures of where the agent spends its time, build/bench/flame-*.svg.
flame-graph:
	$(DEPS) build demo bench flame-graph
	cmake --preset release -DVSANMIB_BENCH=ON >/dev/null
	cmake --build --preset release --target product bench_programs
	python3 -B bench/record_flames.py --build $(BUILD) --out build/bench

# What the compilers' warnings do not see: the format, and clang-tidy over what ships.
check:
	$(DEPS) build check
	@test -n "$$(git ls-files '*.cpp')" || { echo "no sources: git ls-files says nothing here" >&2; exit 1; }
	git ls-files '*.cpp' '*.h' '*.c' | xargs clang-format --dry-run -Werror
	cmake --preset check >/dev/null
	run-clang-tidy -quiet -p build/check

# Each fuzzer for FUZZ_SECONDS, under the sanitizers, from the seeds in the tree; what it reached (cov: edges of the
# code, ft: ways through them) is printed, what it finds stays in build/fuzz/found.
FUZZ_SECONDS ?= 60
fuzz:
	$(DEPS) build test
	cmake --preset fuzz >/dev/null
	cmake --build --preset fuzz
	@set -e; for seeds in tests/fuzz/seeds/*; do \
	  name=$$(basename $$seeds); echo "== $$name"; \
	  mkdir -p build/fuzz/corpus/$$name build/fuzz/found; \
	  build/fuzz/bin/fuzz_$$name -max_total_time=$(FUZZ_SECONDS) -print_final_stats=1 -close_fd_mask=1 \
	    -artifact_prefix=build/fuzz/found/$$name- build/fuzz/corpus/$$name $$seeds 2>build/fuzz/$$name.log || \
	    { tail -50 build/fuzz/$$name.log; exit 1; }; \
	  grep DONE build/fuzz/$$name.log; \
	done

# Agent, module and switch against a model of them: PDUS random SETs, twice, side by side. MODEL_SEED repeats a run,
# with the next seed beside it.
PDUS ?= 500000
model:
	$(DEPS) build demo test
	cmake --preset release -DVSANMIB_TESTS=ON >/dev/null
	cmake --build --preset release --target product whole_model_test watched_module
	@pids=; for run in 1 2; do \
	  if [ $$run = 2 ] && [ -n "$$MODEL_SEED" ]; then MODEL_SEED=$$((MODEL_SEED + 1)); fi; \
	  MODEL_PDUS=$(PDUS) $(BUILD)/bin/whole_model_test >build/model-$$run.log 2>&1 & pids="$$pids $$!"; \
	done; failed=0; for pid in $$pids; do wait $$pid || failed=1; done; \
	grep -hE '^MODEL_SEED|PDUs:|^PDU ' build/model-1.log build/model-2.log; exit $$failed

# Each exchange of each object breaks in each way, those that cost a time-out too: half an hour of waiting.
broken-exchanges:
	$(DEPS) build demo test
	cmake --preset release -DVSANMIB_TESTS=ON >/dev/null
	cmake --build --preset release --target product broken_exchange_test watched_module
	BROKEN_ALL=1 $(BUILD)/bin/broken_exchange_test

# Whether that can fail: defects planted into a copy of the tree, one by one, each to be found.
model-defects:
	$(DEPS) build demo test
	python3 -B tests/model/defects.py

# What the SNMP exporter asks for, made of our MIB files. See docs/monitoring.md.
monitoring:
	$(DEPS) monitoring
	packaging/monitoring/generate.sh

# That, the alerts and the dashboard with a Prometheus that watches a virtual switch.
monitoring-test: build
	$(DEPS) demo monitoring
	cd tests/monitoring && VSANMIB_BUILD=$(abspath $(BUILD)) \
	  /usr/bin/python3 -B -m unittest files_test scrape_test live_test

# How much of the code the tests reach: the module's branches by its unit tests alone, the lines of the rest by all.
coverage:
	$(DEPS) build demo test clients coverage
	cmake --preset coverage >/dev/null
	cmake --build --preset coverage
	tests/coverage/coverage.sh build/coverage

# Whether the unit tests notice what is wrong: each small change of the module, by itself. Half an hour; ONLY names a
# file or a text of the mutants to try.
mutate:
	$(DEPS) build test mutation
	cmake --preset mutation >/dev/null
	cmake --build --preset mutation
	nice -n 10 tests/mutation/mutate.py --build build/mutation --only "$(ONLY)"

# Promises kept for long, see docs/reliability.md: an hour of load and disturbances, or a day with SECONDS=86400; and
# ROUNDS of processes that die or stand still. Both end with an error when a promise is broken; SEED repeats a run.
SOAK_ARGS = --build $(BUILD) --out build/$@ $(addprefix --seed ,$(SEED))
SOAK_SECONDS = $(if $(filter file,$(origin SECONDS)),3600,$(SECONDS))
ROUNDS ?= 1000
soak: soak_programs
	python3 -B tests/soak/soak.py soak --seconds $(SOAK_SECONDS) $(SOAK_ARGS)

chaos: soak_programs
	python3 -B tests/soak/soak.py chaos --rounds $(ROUNDS) $(SOAK_ARGS)

# A fabric of five switches over an etcd of three members, for ROUNDS of operators who compete and of what goes wrong;
# the history is in build/fabric-rounds/, and what the checker finds ends it with an error.
fabric-rounds: fabric_programs
	python3 -B tests/fabric/rounds.py --rounds $(ROUNDS) $(SOAK_ARGS)

# How soon a commit is in force on 100 switches, and what a fabric costs an agent's answers.
fabric-figures: fabric_programs
	python3 -B tests/fabric/figures.py --build $(BUILD) --out build/$@

fabric_programs:
	$(DEPS) build demo test fabric bench
	cmake --preset release -DVSANMIB_TESTS=ON >/dev/null
	cmake --build --preset release --target product fabric_programs

soak_programs:
	$(DEPS) build demo test bench
	cmake --preset release -DVSANMIB_TESTS=ON >/dev/null
	cmake --build --preset release --target product soak_load

# All that takes long, one after the other: most of three hours, by what each took by itself.
.NOTPARALLEL:
long: package-test monitoring-test coverage mutate model model-defects broken-exchanges chaos soak fabric-rounds fuzz

clean:
	rm -rf build
