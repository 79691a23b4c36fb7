# SPDX-License-Identifier: GPL-3.0-or-later
# The README's two commands, plus benchmarks and fuzzing.
BUILD      ?= build
FUZZ_BUILD ?= build-fuzz
JOBS       ?= $(shell nproc)
CLI         = $(BUILD)/KinloomCLI/kinloom-cli

.PHONY: all run package screenshots test bench fuzz deps configure build clean

all: build

deps:
	@./scripts/install-deps

configure: deps
	@cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKINLOOM_WERROR=ON >/dev/null

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

test: build
	@ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

APP         = $(BUILD)/KinloomApp/kinloom

# Writes the sample tree into a temporary folder and opens it in the app, or checks it with the
# command-line tool where there is no display to open a window on.
run: build
	@dir=$$(mktemp -d) && $(CLI) sample "$$dir/Sample Tree.ged" && \
	if [ -n "$$DISPLAY$$WAYLAND_DISPLAY" ]; then \
	    $(APP) "$$dir/Sample Tree.ged"; \
	else \
	    echo "No display here, so the sample tree is checked by the command-line tool instead."; \
	    $(CLI) check "$$dir/Sample Tree.ged"; \
	fi

# Builds the Debian package build/kinloom_VERSION_ARCH.deb.
package: build
	@cd $(BUILD) && cpack -G DEB

# Opens the sample tree in the real window under a virtual screen and saves a PNG of each view.
screenshots: build
	@dir=$$(mktemp -d) && $(CLI) sample "$$dir/Sample Tree.ged" && \
	    xvfb-run -a -s "-screen 0 1280x900x24" $(BUILD)/KinloomApp/kinloom-screenshots $(BUILD)/screenshots "$$dir/Sample Tree.ged" && \
	    cp "$(BUILD)/screenshots/03 duplicates.png" docs/kinloom.png

bench: build
	@$(BUILD)/bench/kinloom-bench-dates
	@$(BUILD)/bench/kinloom-bench-duplicates $(BENCH_ARGS)
	@$(BUILD)/bench/kinloom-bench $(BENCH_ARGS)
	@dir=$$(mktemp -d) && $(CLI) sample "$$dir/t100k.ged" --people 100000 >/dev/null && \
	    QT_QPA_PLATFORM=offscreen $(BUILD)/bench/kinloom-bench-app "$$dir/t100k.ged"; rm -rf "$$dir"
	@$(BUILD)/bench/kinloom-bench-list

fuzz:
	@./scripts/install-deps fuzz
	@CC=clang CXX=clang++ cmake -S . -B $(FUZZ_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	    -DKINLOOM_BUILD_FUZZERS=ON -DKINLOOM_BUILD_TESTS=OFF -DKINLOOM_BUILD_BENCH=OFF >/dev/null
	@cmake --build $(FUZZ_BUILD) -j $(JOBS)
	@echo "Fuzzers in $(FUZZ_BUILD)/fuzz/; seed them with scripts/fuzz-seeds ../shared/corpus SEEDS and run e.g. $(FUZZ_BUILD)/fuzz/fuzz-reader SEEDS/fuzz-reader -max_len=16384 -max_total_time=60"

clean:
	rm -rf $(BUILD) $(FUZZ_BUILD)
