# Two commands set everything up on a fresh Debian 12 machine: `make demo` and `make test`.
BUILD := build
ASAN_BUILD := build-asan
CMAKE_FLAGS ?=

.PHONY: all deps build test demo tour bench asan format clean

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

# The whole suite under AddressSanitizer and UndefinedBehaviorSanitizer.
asan: deps
	cmake --preset asan
	cmake --build $(ASAN_BUILD)
	ctest --preset asan -j2

format:
	git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD) $(ASAN_BUILD)
