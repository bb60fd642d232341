# Makefile: thin wrappers around CMake and CTest. `make demo` and `make test` do all the set-up.
BUILD      ?= build
JOBS       ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_ARGS ?=
DEB_PACKAGES := cmake make g++ binutils python3 googletest libgtest-dev libgmock-dev libbenchmark-dev python3-jieba
FUZZ_PACKAGES := clang libclang-rt-14-dev

.PHONY: all deps install-packages data-sources build test demo bench quality asan tsan fuzz format clean

all: build

# deps: installs the Debian packages the build, tests and benchmarks need (as root), or prints the line.
deps:
	@$(MAKE) --no-print-directory install-packages PACKAGES="$(DEB_PACKAGES)"

install-packages:
	@missing=""; for p in $(PACKAGES); do \
	    dpkg-query -W -f='$${Status}' $$p 2>/dev/null | grep -q "install ok installed" || missing="$$missing $$p"; \
	done; \
	if [ -z "$$missing" ]; then echo "deps: all packages present"; \
	elif [ "$$(id -u)" = "0" ]; then \
	    echo "deps: installing$$missing"; \
	    apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $$missing; \
	else echo "deps: run as root: apt-get install -y --no-install-recommends$$missing"; exit 1; fi

build: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_ARGS)
	cmake --build $(BUILD) -j $(JOBS)

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

# demo: the detailed scan of data/samples/texts.txt with the keywords of data/samples/keywords.txt, on a
# scratch copy of $(BUILD)/data, then the hit statistics.
demo: build
	./$(BUILD)/vintrel-demo $(BUILD)/data data/samples/keywords.txt data/samples/texts.txt

bench: deps
	cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DVINTREL_BUILD_TESTS=OFF -DVINTREL_BUILD_BENCH=ON $(CMAKE_ARGS)
	cmake --build build-bench -j $(JOBS)
	@for b in build-bench/bench/*_bench; do echo "== $$b"; $$b $(BENCH_ARGS) || exit 1; done
	@echo "== segmentation quality (SIGHAN 2005 PKU)"; python3 bench/segment_quality.py build-bench ../shared

# quality: the segmenter's precision, recall, F1 and OOV recall on the SIGHAN 2005 PKU test set.
quality: build
	python3 bench/segment_quality.py $(BUILD) ../shared

# asan: AddressSanitizer + UndefinedBehaviorSanitizer over the whole test suite.
asan: deps
	cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DVINTREL_SANITIZE=address $(CMAKE_ARGS)
	cmake --build build-asan -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	    ctest --test-dir build-asan --output-on-failure -j $(JOBS)

# tsan: ThreadSanitizer over the tests labelled `threads`.
tsan: deps
	cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVINTREL_SANITIZE=thread $(CMAKE_ARGS)
	cmake --build build-tsan -j $(JOBS)
	TSAN_OPTIONS=halt_on_error=1 ctest --test-dir build-tsan --output-on-failure -L threads -j $(JOBS)

# fuzz: libFuzzer targets under clang; new inputs go to build-fuzz/corpus/<Target>/ (the committed
# seeds in fuzz/corpus/ also replay inside `make test`).
fuzz: deps
	@$(MAKE) --no-print-directory install-packages PACKAGES="$(FUZZ_PACKAGES)"
	CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVINTREL_BUILD_FUZZ=ON -DVINTREL_BUILD_TESTS=OFF $(CMAKE_ARGS)
	cmake --build build-fuzz -j $(JOBS)
	@for f in build-fuzz/fuzz/*_fuzz; do t=$$(basename $$f _fuzz); mkdir -p build-fuzz/corpus/$$t; echo "== $$t"; \
	    $$f -max_total_time=$${FUZZ_SECONDS:-60} build-fuzz/corpus/$$t fuzz/corpus/$$t || exit 1; done

# data-sources: regenerates the text tables under data/ from Debian-packaged public data (the packages are
# listed in data/scripts/README.md), then checks them.
data-sources:
	/usr/bin/python3 data/scripts/gen_sources.py && /usr/bin/python3 data/scripts/check_sources.py

format:
	find Src tests bench tools fuzz -name '*.h' -o -name '*.cpp' -o -name '*.c' | xargs clang-format -i

clean:
	rm -rf $(BUILD) build-bench build-asan build-tsan build-fuzz
