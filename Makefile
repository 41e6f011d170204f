# Two commands set everything up on a fresh Debian 12 machine: `make demo` and `make test`.
BUILD := build
ASAN_BUILD := build-asan
FUZZ_BUILD := build-fuzz
FUZZ_SECONDS ?= 120
CMAKE_FLAGS ?=

.PHONY: all deps build test demo tour bench asan fuzz format clean

all: build

deps:
	@bash scripts/install-deps.sh test

$(BUILD)/build.ninja:
	cmake --preset default $(CMAKE_FLAGS)

build: deps $(BUILD)/build.ninja
	cmake --build $(BUILD)

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j2

demo: build
	@bash scripts/install-deps.sh demo
	@bash scripts/demo.sh $(BUILD)

# The tour alone, always under Xvfb, even on a desktop.
tour: build
	@bash scripts/install-deps.sh demo
	@NORVANE_FORCE_TOUR=1 bash scripts/demo.sh $(BUILD)

bench: build
	@bash scripts/install-deps.sh bench
	$(BUILD)/bin/norvane-bench
	QT_QPA_PLATFORM=offscreen $(BUILD)/bin/norvane-running-bench
	QT_QPA_PLATFORM=offscreen $(BUILD)/bin/norvane-results-bench
	QT_QPA_PLATFORM=offscreen $(BUILD)/bin/norvane-report-bench

# The whole suite under AddressSanitizer and UndefinedBehaviorSanitizer.
asan: deps
	cmake --preset asan
	cmake --build $(ASAN_BUILD)
	ctest --preset asan -j2

# Every parser under libFuzzer with AddressSanitizer and UndefinedBehaviorSanitizer (clang 14), each for
# FUZZ_SECONDS seconds. Crashes land in $(FUZZ_BUILD)/fuzz/{target}/crashes/.
fuzz:
	@bash scripts/install-deps.sh fuzz
	cmake --preset fuzz
	cmake --build $(FUZZ_BUILD) --target norvane-fuzz
	@bash tests/fuzz/run.sh $(FUZZ_BUILD) $(FUZZ_SECONDS)

format:
	git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(FUZZ_BUILD)
