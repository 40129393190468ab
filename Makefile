# Entry points for a fresh machine: `make demo` and `make test` install what they need.
BUILD ?= build
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=

.PHONY: deps build test demo bench fuzz asan clean

deps:
	bash scripts/install-deps.sh

build: deps
	cmake -S . -B $(BUILD) -G Ninja $(CMAKE_FLAGS)
	cmake --build $(BUILD) -j $(JOBS)

test: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

demo: build
	bash examples/run-demo.sh $(BUILD)/quillon

bench: deps
	cmake -S . -B $(BUILD)-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DQUILLON_BENCH=ON -DQUILLON_TESTS=OFF
	cmake --build $(BUILD)-bench -j $(JOBS)
	bash bench/run.sh $(BUILD)-bench

fuzz: deps
	CC=clang CXX=clang++ cmake -S . -B $(BUILD)-fuzz -G Ninja -DQUILLON_FUZZ=ON -DQUILLON_TESTS=OFF
	cmake --build $(BUILD)-fuzz -j $(JOBS)
	bash fuzz/run.sh $(BUILD)-fuzz $(FUZZ_SECONDS)

# Unoptimised: the sanitizers find the same faults, and the build takes half the time.
asan: deps
	cmake -S . -B $(BUILD)-asan -G Ninja -DQUILLON_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O0
	cmake --build $(BUILD)-asan -j $(JOBS)
	cd $(BUILD)-asan && LSAN_OPTIONS=suppressions=$(CURDIR)/tests/lsan.supp \
	  ctest --output-on-failure -j $(JOBS) -L unit

clean:
	rm -rf $(BUILD) $(BUILD)-bench $(BUILD)-fuzz $(BUILD)-asan demo-out
