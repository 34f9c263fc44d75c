# Thin wrapper over the CMake presets.
PRESET ?= default
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
BIN = build/bin/tarn

.PHONY: all build run test bench asan clean

all: build

build:
	cmake --preset $(PRESET) >/dev/null
	cmake --build --preset $(PRESET) -j $(JOBS)

# Checks the shipped examples with the command-line tool, then compiles the example component
# and shows the head of its compiled file.
run: build
	$(BIN) check examples/*.ibs examples/*.ebd
	$(BIN) compile examples/tarn_demo.ibs --component TDEMO1 --output build/TDEMO1.cbs
	head -n 24 build/TDEMO1.cbs

test: build
	ctest --preset $(PRESET) -j $(JOBS)

asan:
	cmake --preset asan >/dev/null
	cmake --build --preset asan -j $(JOBS)
	ctest --preset asan -j $(JOBS)

bench:
	cmake --preset bench >/dev/null
	cmake --build --preset bench -j $(JOBS)
	build-bench/bin/tarn_bench

clean:
	rm -rf build build-asan build-bench
