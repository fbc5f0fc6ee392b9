# Thin targets over the CMake presets. Each one does its own set-up first.
.PHONY: setup demo test tsan valgrind bench clean

setup:
	@scripts/setup.sh

# Builds the release library and runs the demo program.
demo: setup
	cmake --preset release
	cmake --build --preset release --target demo
	./build/release/examples/demo

# Builds everything with AddressSanitizer and UBSan and runs every test.
test: setup
	cmake --preset dev
	cmake --build --preset dev
	ctest --preset dev

# The concurrency tests under ThreadSanitizer.
tsan: setup
	cmake --preset tsan
	cmake --build --preset tsan
	ctest --preset tsan

# Every test program under valgrind (no sanitizers); any error fails the run.
valgrind:
	@scripts/setup.sh valgrind
	cmake --preset valgrind
	cmake --build --preset valgrind
	ctest --preset valgrind

# Release benchmarks, library beside its alternatives in one run.
bench:
	@scripts/setup.sh bench
	cmake --preset release
	cmake --build --preset release
	@for b in build/release/bench/vesk_bench_*; do \
	  $$b --benchmark_repetitions=10 --benchmark_enable_random_interleaving=true \
	      --benchmark_report_aggregates_only=true || exit 1; \
	done

clean:
	rm -rf build
