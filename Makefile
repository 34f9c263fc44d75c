# Thin wrapper over the CMake presets. Each target first installs the Debian packages it
# lacks (tools/deps).
PRESET ?= default
MAKEFLAGS += --no-print-directory
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
BIN = build/bin/tarn

FUZZ_SECONDS ?= 60
FUZZ_SEED ?= 1

.PHONY: all build run test bench asan tsan coverage fuzz clean

all: build

build:
	@tools/deps test
	cmake --preset $(PRESET) >/dev/null
	cmake --build --preset $(PRESET) -j $(JOBS)

# The whole road with the shipped examples: check them, compile one component and show the head
# of its compiled file, index the example library folder, then ask the model library for its
# component twice (the first request compiles, the second finds it current) and show its pins.
# Only the tool and the library are built, in the tree the tests share.
LIBRARY = build/example-library
run:
	@tools/deps run
	@echo "configuring and building the tool and libtarn.so in build/ (tests off)"
	@cmake --preset run >/dev/null
	@cmake --build --preset run -j $(JOBS)
	$(BIN) check examples/*.ibs examples/*.ebd examples/library/*.ibs
	$(BIN) compile examples/tarn_demo.ibs --component TDEMO1 --output build/TDEMO1.cbs
	head -n 24 build/TDEMO1.cbs
	$(BIN) index examples/library
	rm -rf $(LIBRARY)
	$(BIN) lib --cache $(LIBRARY) --index examples/library/ibisindex.ibx TDEMO2
	$(BIN) lib --cache $(LIBRARY) --index examples/library/ibisindex.ibx TDEMO2
	cat $(LIBRARY)/tarn_rdr.txt

test: build
	ctest --preset $(PRESET) -j $(JOBS)

asan:
	@tools/deps asan
	cmake --preset asan >/dev/null
	cmake --build --preset asan -j $(JOBS)
	ctest --preset asan -j $(JOBS)

# The same tests under ThreadSanitizer: the library shared by threads, any race aborts.
tsan:
	@tools/deps tsan
	cmake --preset tsan >/dev/null
	cmake --build --preset tsan -j $(JOBS)
	ctest --preset tsan -j $(JOBS)

# Line coverage of the library (not of the tests, tools or examples) by the whole suite; the
# summary goes to the terminal, the detail to build-coverage/coverage.html.
COVERED = --filter 'libibis/' --filter 'service/' --filter 'writers/' --filter 'api/' --filter 'navig/' --filter 'include/'
coverage:
	@tools/deps coverage
	cmake --preset coverage >/dev/null
	cmake --build --preset coverage -j $(JOBS)
	find build-coverage -name '*.gcda' -delete
	ctest --preset coverage -j $(JOBS)
	gcovr -r . build-coverage $(COVERED) --exclude-unreachable-branches \
	  --html-details build-coverage/coverage.html --print-summary | tail -n 3

# VENDOR=FOLDER adds a row for each real vendor .ibs of 0.4 to 5 MB in FOLDER.
VENDOR ?=
bench:
	@tools/deps bench
	cmake --preset bench >/dev/null
	cmake --build --preset bench -j $(JOBS)
	TARN_BENCH_VENDOR_DIR='$(VENDOR)' build-bench/bin/tarn_bench

# Every libFuzzer target for FUZZ_SECONDS each (clang); a finding fails and is kept in
# build-fuzz/findings. FUZZ_SEED=0 explores with a fresh seed each run.
fuzz:
	@tools/deps fuzz
	cmake --preset fuzz >/dev/null
	cmake --build --preset fuzz -j $(JOBS)
	fuzz/run.sh $(FUZZ_SECONDS) $(FUZZ_SEED)

clean:
	rm -rf build build-asan build-tsan build-bench build-fuzz
