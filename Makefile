# Thin wrapper around CMake. `make demo` and `make test` install what they
# need on a Debian machine first (when it is missing), then build and run.

BUILD      ?= build
ASAN_BUILD ?= build-asan
TSAN_BUILD ?= build-tsan
MEMCHECK_BUILD ?= build-memcheck
JOBS       ?= $(shell nproc 2>/dev/null || echo 2)
PREFIX     ?= /usr/local
PACKAGES   := g++ make cmake pkg-config libgtest-dev libgmock-dev \
              libbenchmark-dev unixodbc-dev libsqlite3-dev binutils \
              unixodbc odbcinst python3-pyodbc libsqliteodbc \
              libdbd-odbc-perl php-cli php-odbc ruby-odbc \
              clang abigail-tools \
              pandoc mandoc man-db \
              debhelper dpkg-dev fakeroot lintian

CMAKE_FLAGS ?= -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKX_WERROR=ON

.PHONY: all deps configure build demo abi-baseline coverage test test-normal test-asan test-tsan test-clang \
        test-release bench install clean \
        memcheck fuzz man html package

all: build

deps:
	@sh scripts/install-deps.sh $(PACKAGES)

configure: deps
	cmake -S . -B $(BUILD) $(CMAKE_FLAGS)

build: configure
	cmake --build $(BUILD) -j $(JOBS)

# The demonstration needs the library, the demo program and the reference
# driver only; the tests and benchmarks are built by `make test` and `make bench`.
demo: configure
	cmake --build $(BUILD) -j $(JOBS) --target kxsupp_demo kxevaldrv
	./$(BUILD)/examples/kxsupp_demo
	sh driver/demo/run_demo.sh $(BUILD)

test: test-normal test-asan test-tsan test-clang test-release

test-normal: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

test-asan: deps
	cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DKX_SANITIZE=ON -DKX_WERROR=ON \
	      -DKX_BUILD_BENCH=OFF
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	cd $(ASAN_BUILD) && \
	  ASAN_OPTIONS=detect_leaks=1:halt_on_error=1:abort_on_error=0 \
	  UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
	  ctest --output-on-failure -j $(JOBS)

# The thread stress test under ThreadSanitizer, in a build of the library's
# objects and that test alone; any report fails the run.
# The library and its tests also build without a warning under Clang, and
# pass there (Debug: the compile is the point, and it is the quickest).
CLANG_BUILD ?= build-clang
test-clang: deps
	CC=clang CXX=clang++ cmake -S . -B $(CLANG_BUILD) -DCMAKE_BUILD_TYPE=Debug \
	      -DKX_WERROR=ON -DKX_BUILD_BENCH=OFF -DKX_BUILD_EXAMPLES=OFF -DKX_BUILD_DRIVER=OFF
	cmake --build $(CLANG_BUILD) -j $(JOBS)
	cd $(CLANG_BUILD) && ctest --output-on-failure -j $(JOBS)

# A Release build (-O3) warns where the others do not (GCC's object-size
# and string-overflow checks look deeper at -O3): the library, the tests and
# the driver build without a warning there too, and the tests pass.
RELEASE_BUILD ?= build-release
test-release: deps
	cmake -S . -B $(RELEASE_BUILD) -DCMAKE_BUILD_TYPE=Release -DKX_WERROR=ON -DKX_BUILD_BENCH=OFF \
	      -DKX_FLAT_MEMORY_TESTS=OFF
	cmake --build $(RELEASE_BUILD) -j $(JOBS)
	cd $(RELEASE_BUILD) && ctest --output-on-failure -j $(JOBS)

test-tsan: deps
	cmake -S . -B $(TSAN_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKX_TSAN=ON -DKX_WERROR=ON \
	      -DKX_BUILD_BENCH=OFF -DKX_BUILD_EXAMPLES=OFF -DKX_BUILD_DRIVER=OFF
	cmake --build $(TSAN_BUILD) -j $(JOBS) --target threads_stress_test
	cd $(TSAN_BUILD)/tests && \
	  TSAN_OPTIONS=halt_on_error=1:report_signal_unsafe=0:exitcode=66 ./threads_stress_test

bench: configure
	cmake --build $(BUILD) -j $(JOBS) --target kxsupp_bench kxsupp_bench_shared
	./$(BUILD)/bench/kxsupp_bench
	./$(BUILD)/bench/kxsupp_bench_shared
	cmake --build $(BUILD) -j $(JOBS) --target kxevaldrv_bench kxevaldrv_parse_bench
	ODBCSYSINI=$(CURDIR)/$(BUILD) ./$(BUILD)/driver/kxevaldrv_bench $(CURDIR)/$(BUILD)/driver/libkxevaldrv.so \
	  $(CURDIR)/$(BUILD)/driver/libkxfloordrv.so
	ODBCSYSINI=$(CURDIR)/$(BUILD) /usr/bin/python3 bench/driver/executemany_bench.py \
	  $(CURDIR)/$(BUILD)/driver/libkxevaldrv.so
	./$(BUILD)/driver/kxevaldrv_parse_bench

# Every test program once under valgrind memcheck (slow), and the driver's
# C clients and isql sessions with the driver loaded by unixODBC's driver
# manager; fails on any read of uninitialised or unaddressable memory, or a
# failed test.
memcheck: deps
	@sh scripts/install-deps.sh valgrind
	cmake -S . -B $(MEMCHECK_BUILD) -DCMAKE_BUILD_TYPE=Debug -DKX_SANITIZE=OFF \
	      -DKX_WERROR=ON -DKX_BUILD_BENCH=OFF -DKX_BUILD_EXAMPLES=OFF
	cmake --build $(MEMCHECK_BUILD) -j $(JOBS)
	sh scripts/memcheck.sh $(MEMCHECK_BUILD)

# Line and branch coverage of the library's sources by the test suite. The
# tests run one at a time: parallel runs would race on the shared counters.
COVERAGE_BUILD ?= build-coverage
coverage: deps
	@sh scripts/install-deps.sh gcovr
	cmake -S . -B $(COVERAGE_BUILD) -DCMAKE_BUILD_TYPE=Debug -DKX_COVERAGE=ON \
	      -DKX_BUILD_BENCH=OFF -DKX_BUILD_EXAMPLES=OFF
	cmake --build $(COVERAGE_BUILD) -j $(JOBS)
	find $(COVERAGE_BUILD) -name '*.gcda' -delete
	cd $(COVERAGE_BUILD) && ctest -j 1 --output-on-failure
	gcovr --root . --object-directory $(COVERAGE_BUILD) \
	      --filter 'memory/' --filter 'diagnostics/' --filter 'config/' \
	      --filter 'values/' --filter 'arith/' --filter 'functions/' --filter 'parse/' \
	      --exclude-unreachable-branches --exclude-throw-branches \
	      --txt $(COVERAGE_BUILD)/coverage.txt --print-summary $(COVERAGE_BUILD)
	@echo "per-file report: $(COVERAGE_BUILD)/coverage.txt"

# Every libFuzzer target of tests/fuzz for FUZZ_TIME seconds, one after
# another, in a clang build of its own (the library instrumented too);
# prints each target's executions and coverage (and, with llvm-cov from
# Debian's llvm, the lines of driver/ the driver's corpus reaches). `make
# test` only replays the seed corpora and regression files.
FUZZ_BUILD ?= build-fuzz
FUZZ_TIME  ?= 60
fuzz: deps
	@sh scripts/install-deps.sh llvm
	sh scripts/fuzz.sh $(FUZZ_BUILD) $(FUZZ_TIME) $(JOBS)

# Writes the ABI baseline that `make test` compares the library with; run it
# after a deliberate ABI change, and commit the file with the change.
abi-baseline: configure
	cmake --build $(BUILD) -j $(JOBS) --target kxsupp
	abidw --no-show-locs --no-corpus-path --drop-private-types \
	      --headers-dir include --headers-dir $(BUILD)/include \
	      --out-file tests/abi/kxsupp.abi $(BUILD)/libkxsupp.so

install: build
	cmake --install $(BUILD) --prefix $(PREFIX)

# The reference pages (doc/, Markdown made into man pages and HTML by
# pandoc): build/doc/man (read one with `man -l`) and build/doc/html.
# `make build` makes the man pages too when pandoc is there.
man: configure
	cmake --build $(BUILD) -j $(JOBS) --target man

html: configure
	cmake --build $(BUILD) -j $(JOBS) --target html
	@echo "open $(BUILD)/doc/html/index.html"

# The Debian packages libkxsupp0, libkxsupp-dev and odbc-kxeval (debian/),
# built from a copy of the tree with at most two jobs and checked by
# lintian; they land in build-package/. DEB_BUILD_OPTIONS=nocheck unless set.
PACKAGE_BUILD ?= build-package
package: deps
	sh scripts/build-packages.sh $(PACKAGE_BUILD)

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(CLANG_BUILD) $(TSAN_BUILD) $(COVERAGE_BUILD) $(MEMCHECK_BUILD) $(FUZZ_BUILD) \
	      $(PACKAGE_BUILD)
