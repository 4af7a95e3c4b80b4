# The two commands that matter: `make demo` and `make test`. Each sets up what it needs on a fresh Debian 12 machine.

.PHONY: demo docs wheel deb test test-release test-asan build build-asan bench bench-deidentify fuzz soak coverage lint lint-changed format setup setup-bench setup-fuzz clean

demo: build
	@scripts/demo.sh build/release

# The pages of docs/ as a site in build/docs, which a browser opens without a server; a broken link is an error.
docs: setup
	PYTHONDONTWRITEBYTECODE=1 /usr/bin/python3 -m mkdocs build
	@echo "The first page is build/docs/index.html"

# The Python package as a file for pip; prints its path.
wheel: build
	@scripts/wheel.sh build/release

# The same and the rest as Debian packages, in build/deb; prints their paths.
deb: build
	@scripts/deb.sh build/release

test: test-release lint-changed test-asan

test-release: build
	ctest --preset release -j 2

test-asan: build-asan
	ctest --preset asan -j 2

# What a call costs, then the library beside other programs. BENCH="--small --rounds 1" tries it; docs/performance.md.
bench: setup-bench
	cmake --preset release
	cmake --build --preset release
	@build/release/bench/bridgeBenchmarks
	@/usr/bin/python3 bench/compare.py build/release $(BENCH)

# De-identifies planted identifiers with radvex and with other programs. PLANTED="--patients 30 --misses 2" tries it.
bench-deidentify: setup-bench build
	@/usr/bin/python3 bench/deidentify/run.py $(PLANTED)

# Runs every fuzz target for SECONDS, on a DCMTK built for it (once, about 10 minutes). Findings: build/fuzz/findings.
SECONDS ?= 60
fuzz: setup-fuzz
	cmake --preset fuzz
	cmake --build --preset fuzz
	@scripts/fuzz.sh build/fuzz $(SECONDS)

# Many calls in one process, every second one on a broken file.
CALLS ?= 100000
soak: build
	build/release/fuzz/soak $(CALLS)

# Which lines of our own code the tests run.
coverage: setup-fuzz
	cmake --preset coverage
	cmake --build --preset coverage
	@scripts/coverage.sh build/coverage

build: build/release/build.ninja
	cmake --build --preset release

build-asan: build/asan/build.ninja
	cmake --build --preset asan

build/%/build.ninja: CMakeLists.txt CMakePresets.json $(wildcard cmake/*) scripts/build-dcmtk.sh scripts/build-openjpeg.sh | setup
	cmake --preset $*

setup:
	@scripts/install-packages.sh

setup-bench:
	@scripts/install-packages.sh packages-bench.txt

setup-fuzz:
	@scripts/install-packages.sh packages-fuzz.txt

# Layout of the whole tree, and clang-tidy, which takes 8 seconds a file. It reads each file by itself, with all that the
# file includes; the builds compile several at a time, which takes less.
lint: build/lint/build.ninja
	@scripts/lint.sh build/lint

# The same, with clang-tidy only over what changed in the last day, and for a few minutes at most.
lint-changed: build/lint/build.ninja
	@scripts/lint.sh build/lint changed

format:
	@git ls-files '*.h' '*.cpp' | xargs clang-format -i

clean:
	rm -rf build
