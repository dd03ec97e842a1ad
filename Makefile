# The front door. `make run` builds and runs the demo; `make test` passes the tests.
# Everything else goes through the CMake presets in CMakePresets.json.

PREFIX ?= /usr/local
JOBS   ?= $(shell nproc 2>/dev/null || echo 2)
FUZZ_SECONDS ?= 20

# Debian packages the build and the tests need (util-linux: flock(1), a peer in the named-mutex
# tests; libkrb5-dev: GSS-API for the library; krb5-kdc, krb5-admin-server: the KDC that the
# Kerberos tests set up on loopback); `make deps` installs the missing ones (as root).
DEPS := cmake ninja-build g++ make pkg-config ccache clang-14 libclang-rt-14-dev \
        libgtest-dev libgmock-dev libbenchmark-dev valgrind util-linux \
        libmimalloc-dev libjemalloc2 libtcmalloc-minimal4 libfmt-dev libicu-dev libutfcpp-dev \
        unrtf pandoc \
        zlib1g-dev libbz2-dev \
        jq rapidjson-dev nlohmann-json3-dev libsimdjson-dev \
        libkrb5-dev krb5-kdc krb5-admin-server

CTEST := ctest --output-on-failure -j $(JOBS)

.PHONY: all deps build run test test-dev test-asan test-tsan bench fuzz release install clean help

all: build

help:
	@echo "make run        build, then run 'orvgui demo'"
	@echo "make test       dev build + all tests, the asan build + all tests, the tsan build + concurrency tests"
	@echo "make test-tsan  ThreadSanitizer build + the concurrency tests"
	@echo "make bench      benchmarks beside their peers, with ratios"
	@echo "make fuzz       each fuzz target for FUZZ_SECONDS seconds"
	@echo "make install PREFIX=/usr/local"
	@echo "make deps       install missing Debian build packages (as root)"

deps:
	@missing=$$(for p in $(DEPS); do \
	    dpkg-query -W -f='$${Status}\n' $$p 2>/dev/null | grep -q '^install ok installed' || echo $$p; \
	  done); \
	if [ -n "$$missing" ]; then \
	  if [ "$$(id -u)" = 0 ]; then \
	    echo "installing:" $$missing; \
	    DEBIAN_FRONTEND=noninteractive apt-get update -qq && \
	    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $$missing; \
	  else \
	    echo "missing packages (run 'make deps' as root):" $$missing >&2; exit 1; \
	  fi; \
	fi

build: deps
	cmake --preset dev
	cmake --build --preset dev -j $(JOBS)

run: build
	./build/dev/tools/orvgui/orvgui demo

test: test-dev test-asan test-tsan

test-dev: build
	cd build/dev && $(CTEST)

test-asan: deps
	cmake --preset asan
	cmake --build --preset asan -j $(JOBS)
	ctest --preset asan -j $(JOBS)

test-tsan: deps
	cmake --preset tsan
	cmake --build --preset tsan -j $(JOBS)
	ctest --preset tsan -j $(JOBS)

bench: deps
	cmake --preset dev -B build/bench -DCMAKE_BUILD_TYPE=Release -DORVGUI_BUILD_TESTS=OFF
	cmake --build build/bench -j $(JOBS)
	@for b in build/bench/bench/bench_*; do echo "== $$b"; $$b $(BENCH_ARGS) || exit 1; done
	@for lib in libjemalloc.so.2 libtcmalloc_minimal.so.4; do \
	  path=$$(ls /usr/lib/*/$$lib 2>/dev/null | head -1); [ -n "$$path" ] || continue; \
	  echo "== glibc variants with $$lib preloaded"; \
	  LD_PRELOAD=$$path build/bench/bench/bench_Particle --benchmark_filter='/glibc' || exit 1; \
	done

fuzz: deps
	cmake --preset fuzz
	cmake --build --preset fuzz -j $(JOBS)
	@for f in build/fuzz/fuzz/fuzz_*; do \
	  name=$$(basename $$f); corpus=build/fuzz/corpus/$$name; mkdir -p $$corpus; \
	  echo "== $$name ($(FUZZ_SECONDS) s)"; \
	  if ! $$f -max_total_time=$(FUZZ_SECONDS) $$corpus fuzz/seeds/$$name > $$corpus.log 2>&1; then \
	    cat $$corpus.log; exit 1; fi; \
	  tail -2 $$corpus.log; \
	done

release: deps
	cmake --preset release
	cmake --build --preset release -j $(JOBS)

install: release
	cmake --install build/release --prefix $(PREFIX)

clean:
	rm -rf build
