# One command sets up and tests everything: `make test`.
JOBS ?= 2
CMAKE_BUILD = cmake --build --preset

.PHONY: all test deps native sanitize windows package fuzz coverage bench demo clean

all: native windows

deps:
	@scripts/install-deps

native: deps
	cmake --preset native >/dev/null
	$(CMAKE_BUILD) native -j $(JOBS)

sanitize: deps
	cmake --preset sanitize >/dev/null
	$(CMAKE_BUILD) sanitize -j $(JOBS)

# The Windows build's Wine tests decode trace files with the native trace reader.
windows: deps native
	cmake --preset windows >/dev/null
	$(CMAKE_BUILD) windows -j $(JOBS)

# The installer package build/windows/VXGPOSnapin.msi (make windows builds it too).
package: windows
	$(CMAKE_BUILD) windows --target vx_package

fuzz: deps
	cmake --preset fuzz >/dev/null
	$(CMAKE_BUILD) fuzz -j $(JOBS)

test: native sanitize windows fuzz
	@scripts/run-tests

# Line and branch coverage of src/ by the native unit tests, per folder.
coverage:
	@scripts/install-deps coverage
	cmake --preset coverage >/dev/null
	$(CMAKE_BUILD) coverage -j $(JOBS)
	@scripts/coverage

bench: native
	build/native/bench/trace_bench --benchmark_min_time=0.3 --benchmark_repetitions=5 --benchmark_report_aggregates_only=true

demo: windows
	@scripts/demo $(DEMO)

clean:
	rm -rf build
