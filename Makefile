# Build, test and check ipmodel. `make help` lists the targets.
#
# Every build folder is configured once with Ninja; after that Ninja reruns
# CMake by itself when a CMakeLists.txt changes. `make clean` starts over.

SHELL := /bin/bash
.SHELLFLAGS := -euo pipefail -c
.DEFAULT_GOAL := help

BUILD       := build
CLANG_BUILD := build-clang
BENCH_BUILD := build-bench
ASAN_BUILD  := build-asan
FUZZ_BUILD  := build-fuzz
CHECK_DIR   := $(CURDIR)/$(BUILD)/install-check
PREFIX      := $(CHECK_DIR)/prefix

# Seconds each fuzz target runs for in `make fuzz`.
FUZZ_SECONDS ?= 20
# Extra arguments for every benchmark program, e.g. BENCH_ARGS=--benchmark_filter=Lookup
BENCH_ARGS ?=

CTEST := ctest --output-on-failure -j2

# $(call configure,FOLDER,CMAKE ARGUMENTS)
configure = test -f $(1)/build.ninja || cmake -S . -B $(1) -G Ninja $(2)

.PHONY: help deps build demo test test-clang bench sanitize install-tree install-check \
        readme-example fuzz format clean

help:
	@echo "make demo           build, run the demo program and ipmodel on this machine"
	@echo "make test           build everything with g++ and run the tests (build/)"
	@echo "make test-clang     build the library and tests with clang++ and test (build-clang/)"
	@echo "make bench          Release build, run every benchmark (build-bench/)"
	@echo "make sanitize       AddressSanitizer + UndefinedBehaviorSanitizer tests (build-asan/)"
	@echo "make install-check  install to a scratch prefix, build examples/consumer against it"
	@echo "make readme-example build the README's example against the installed tree"
	@echo "make fuzz           clang + libFuzzer build, $(FUZZ_SECONDS)s of each fuzz target"
	@echo "make format         clang-format every tracked C++ file"
	@echo "make clean          remove every build folder"

deps:
	@bash scripts/deps.sh

build: deps
	$(call configure,$(BUILD),-DCMAKE_CXX_COMPILER=g++)
	cmake --build $(BUILD)

demo: build
	bash scripts/demo.sh $(BUILD)

test: build
	cd $(BUILD) && $(CTEST)

# Benchmarks are compiled in the g++ builds only.
test-clang: deps
	$(call configure,$(CLANG_BUILD),-DCMAKE_CXX_COMPILER=clang++ -DIPMODEL_BENCH=OFF)
	cmake --build $(CLANG_BUILD)
	cd $(CLANG_BUILD) && $(CTEST)

bench: deps
	$(call configure,$(BENCH_BUILD),-DCMAKE_CXX_COMPILER=g++ -DCMAKE_BUILD_TYPE=Release -DIPMODEL_TESTS=OFF)
	cmake --build $(BENCH_BUILD)
	benches=$$(find $(BENCH_BUILD) -type f -executable -name 'bench_*' | sort); \
	if [ -z "$$benches" ]; then echo "no benchmark programs"; exit 0; fi; \
	for b in $$benches; do echo "== $$b"; "$$b" $(BENCH_ARGS); done

# Unoptimised: instrumented -O2 compiles take about five times as long, and the
# sanitizers need no optimiser to see what they check.
sanitize: deps
	$(call configure,$(ASAN_BUILD),-DCMAKE_CXX_COMPILER=g++ -DCMAKE_BUILD_TYPE=Debug \
	  -DIPMODEL_SANITIZE=ON -DIPMODEL_BENCH=OFF)
	cmake --build $(ASAN_BUILD)
	cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1 \
	  UBSAN_OPTIONS=print_stacktrace=1 $(CTEST)

# A fresh install of build/ into $(PREFIX).
install-tree: build
	rm -rf $(CHECK_DIR)
	cmake --install $(BUILD) --prefix $(PREFIX)

# The consumer sees only the installed tree: once through find_package, once
# through pkg-config (--define-prefix places the tree where it was installed).
install-check: install-tree
	@echo "-- consumer through find_package"
	cmake -S examples/consumer -B $(CHECK_DIR)/consumer -G Ninja -DCMAKE_CXX_COMPILER=g++ \
	  -DCMAKE_PREFIX_PATH=$(PREFIX) -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
	cmake --build $(CHECK_DIR)/consumer
	$(CHECK_DIR)/consumer/consumer
	@echo "-- consumer through pkg-config"
	pc=$$(find $(PREFIX) -name ipmodel.pc); test -n "$$pc"; \
	export PKG_CONFIG_LIBDIR=$$(dirname "$$pc"); \
	flags=$$(pkg-config --define-prefix --cflags --libs ipmodel); \
	libdir=$$(pkg-config --define-prefix --variable=libdir ipmodel); \
	echo "g++ examples/consumer/main.cpp $$flags"; \
	g++ -Wall -Wextra -Werror examples/consumer/main.cpp $$flags -o $(CHECK_DIR)/consumer-pc; \
	LD_LIBRARY_PATH=$$libdir $(CHECK_DIR)/consumer-pc

readme-example: install-tree
	bash scripts/check-readme.sh
	cmake -S examples/readme -B $(CHECK_DIR)/readme -G Ninja -DCMAKE_CXX_COMPILER=g++ \
	  -DCMAKE_PREFIX_PATH=$(PREFIX) -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
	cmake --build $(CHECK_DIR)/readme
	$(CHECK_DIR)/readme/ipmodel_readme_example

# Seeds, when a target has them, are read from fuzz/corpus/<target>/; what a
# run finds goes to $(FUZZ_BUILD)/corpus/<target>/, crashing inputs to
# $(FUZZ_BUILD)/artifacts/.
fuzz: deps
	$(call configure,$(FUZZ_BUILD),-DCMAKE_CXX_COMPILER=clang++ -DIPMODEL_FUZZ=ON -DIPMODEL_TESTS=OFF -DIPMODEL_BENCH=OFF)
	cmake --build $(FUZZ_BUILD)
	targets=$$(find $(FUZZ_BUILD) -type f -executable -name 'fuzz_*' | sort); \
	if [ -z "$$targets" ]; then echo "no fuzz targets"; exit 0; fi; \
	for t in $$targets; do \
	  name=$$(basename "$$t"); corpus=$(FUZZ_BUILD)/corpus/$$name; mkdir -p "$$corpus"; \
	  seeds=; if [ -d fuzz/corpus/$$name ]; then seeds=fuzz/corpus/$$name; fi; \
	  mkdir -p $(FUZZ_BUILD)/artifacts; \
	  echo "== $$name ($(FUZZ_SECONDS)s)"; \
	  "$$t" -max_total_time=$(FUZZ_SECONDS) -print_final_stats=1 \
	    -artifact_prefix=$(FUZZ_BUILD)/artifacts/$$name- "$$corpus" $$seeds; \
	done

format:
	git ls-files -z '*.h' '*.hpp' '*.cpp' '*.cc' | xargs -0 -r clang-format -i

clean:
	rm -rf $(BUILD) $(CLANG_BUILD) $(BENCH_BUILD) $(ASAN_BUILD) $(FUZZ_BUILD)
