# Two commands set everything up on a fresh Debian 12 machine: `make demo` and `make test`.
BUILD := build
ASAN_BUILD := build-asan
TSAN_BUILD := build-tsan
FUZZ_BUILD := build-fuzz
FUZZ_SECONDS ?= 120
CMAKE_FLAGS ?=

.PHONY: all deps build test package demo tour bench asan tsan fuzz format clean

all: build

deps:
	@bash scripts/install-deps.sh test

$(BUILD)/build.ninja:
	cmake --preset default $(CMAKE_FLAGS)

build: deps $(BUILD)/build.ninja
	cmake --build $(BUILD)

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j2

# The Debian package of the default build, in $(BUILD)/norvane_{version}_{arch}.deb.
package: build
	cmake --build $(BUILD) --target package

demo: build
	@bash scripts/install-deps.sh demo
	@bash scripts/demo.sh $(BUILD)

# The tour alone, always under Xvfb, even on a desktop.
tour: build
	@bash scripts/install-deps.sh demo
	@NORVANE_FORCE_TOUR=1 bash scripts/demo.sh $(BUILD)

bench: build
	@bash scripts/install-deps.sh bench
	python3 scripts/bench-anchors.py $(BUILD)
	$(BUILD)/bin/norvane-bench
	QT_QPA_PLATFORM=offscreen $(BUILD)/bin/norvane-running-bench
	QT_QPA_PLATFORM=offscreen $(BUILD)/bin/norvane-results-bench
	QT_QPA_PLATFORM=offscreen $(BUILD)/bin/norvane-report-bench

# The whole suite under AddressSanitizer and UndefinedBehaviorSanitizer.
asan: deps
	cmake --preset asan
	cmake --build $(ASAN_BUILD)
	ctest --preset asan -j2

# The tests whose work runs off the main thread (the log's writer, the library's scan, the crash
# uploader, the version fetch and update log, the capture loader), under ThreadSanitizer.
TSAN_TESTS := FileLogger|CaptureLibrary|CrashUpload|CrashReportsVerb|UpdateLogger|VersionCheck|CSVLoader
tsan: deps
	cmake --preset tsan
	cmake --build $(TSAN_BUILD) --target norvane_tests norvane-cli norvane_crash_helper
	ctest --preset tsan -j2 -R '$(TSAN_TESTS)'

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
	rm -rf $(BUILD) $(ASAN_BUILD) $(TSAN_BUILD) $(FUZZ_BUILD)
