# SPDX-License-Identifier: MIT
# Thin targets over the CMake presets. Each one does its own set-up first:
# scripts/setup.sh installs what the target needs and is quiet when all is there.
.PHONY: setup demo test check tsan fuzz valgrind bench docs install clean

PREFIX ?= /usr/local

setup:
	@scripts/setup.sh

# Builds the release library and runs the demo programs: the tour of the
# library, then a line of Cyrillic converted between two charsets.
demo:
	@scripts/setup.sh
	cmake --preset release
	cmake --build --preset release --target demo cyrillic
	./build/release/examples/demo
	./build/release/examples/cyrillic

# The whole check, as CI runs it: every test, the examples and the install
# check under AddressSanitizer + UBSan, then every test under ThreadSanitizer,
# then every fuzz target built with clang and run for a few seconds.
# One after the other: each build uses both cores.
test:
	@$(MAKE) --no-print-directory check
	@$(MAKE) --no-print-directory tsan
	@$(MAKE) --no-print-directory fuzz

check:
	@scripts/setup.sh test
	cmake --preset dev
	cmake --build --preset dev
	ctest --preset dev

tsan:
	@scripts/setup.sh test
	cmake --preset tsan
	cmake --build --preset tsan
	ctest --preset tsan

# The fuzz targets (clang, libFuzzer), FUZZ_SECONDS each; 600 for a campaign.
FUZZ_SECONDS ?= 10
fuzz:
	@scripts/setup.sh fuzz
	cmake --preset fuzz
	cmake --build --preset fuzz
	scripts/fuzz_run.sh $(FUZZ_SECONDS)

# Every test program under valgrind (no sanitizers); any error fails the run.
valgrind:
	@scripts/setup.sh valgrind
	cmake --preset valgrind
	cmake --build --preset valgrind
	ctest --preset valgrind

# Release benchmarks, library beside its alternatives in one run.
bench:
	@scripts/setup.sh bench
	cmake --preset bench
	cmake --build --preset bench
	@for b in build/bench/bench/vesk_bench_*; do \
	  $$b --benchmark_repetitions=10 --benchmark_enable_random_interleaving=true \
	      --benchmark_report_aggregates_only=true || exit 1; \
	done

# The HTML reference of the public headers: build/docs/html/index.html.
docs:
	@scripts/setup.sh docs
	cmake --preset release
	cmake --build --preset release --target docs

# The release library, its shipped modules, headers and package files under $(PREFIX).
install:
	@scripts/setup.sh
	cmake --preset release
	cmake --build --preset release --target vesk urifile
	cmake --install build/release --prefix $(PREFIX)

clean:
	rm -rf build
