# What people type. The build itself is CMake's: see CMakePresets.json.
BUILD := build/release

.PHONY: all deps build demo run test clean

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

clean:
	rm -rf build
