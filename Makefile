# SPDX-License-Identifier: Apache-2.0
# A thin layer over the CMake presets.
#
#   make run        installs what is missing, builds, solves the example cases
#   make test       installs what is missing, builds everything, runs the tests
#   make sanitize   the same tests under the address, leak and undefined-behaviour sanitizers
#   make sanitize-quick   those that manage memory by hand, under the address and leak sanitizers
#   make sanitize-thread  those that use threads, under the thread sanitizer
#   make valgrind   some of them under Valgrind
#   make fuzz       SECONDS=10 of each fuzz target under libFuzzer; what it finds ends in build-fuzz/found
#   make fuzz-long  EXECUTIONS=10000000 of each fuzz target: most in a fast build, some under the sanitizers; goes on where it stopped
#   make bench      the benchmarks: a table of goals and measurements, also in bench/results.md
#   make windows    the same program for 64-bit Windows, as one zip, tried under wine: build-windows/quiver-<version>-windows-x64.zip
#   make test-windows  the tests of that build, under wine
#   make install    PREFIX=/usr/local DESTDIR=
#   make docs       writes docs/models anew
#   make format     formats the sources; make check-format only looks
#   make lint       clang-tidy over the sources, or over FILES="cli/list.cc ..."
#   make mutation   puts small faults into the models and counts how many the tests see: SAMPLE=200 SEED=1 FILES="models/..."
#   make interface  records the binary interface between host and model library, after VERSION was raised
#   make package    a .deb in build/;  make check-package installs and uses it in a clean root (as root)
#   make reproducible  builds once more, elsewhere, and compares the bytes
#   make clean
.DEFAULT_GOAL := run
.PHONY: run test sanitize sanitize-quick sanitize-thread valgrind fuzz fuzz-long bench windows test-windows install docs format check-format lint mutation interface package \
  check-package reproducible clean dependencies dependencies-windows dependencies-fuzz products

PREFIX ?= /usr/local
SECONDS ?= 10
JOBS ?= $(shell nproc)
CCACHE := $(if $(shell command -v ccache),-D CMAKE_CXX_COMPILER_LAUNCHER=ccache)
CONFIGURE = cmake $(CCACHE) --log-level=WARNING --preset
# A model's text keeps its own layout (one equation, one line), so the formatter leaves models/<field> and blocks alone.
FORMATTED = git ls-files -z '*.h' '*.cc' ':!models/*/*' ':!blocks/*'

run: products
	@tools/run_examples.sh build/bin/quiver

products: dependencies
	@$(CONFIGURE) release >/dev/null
	@cmake --build --preset release --parallel $(JOBS) --target products

test: dependencies
	@$(CONFIGURE) release >/dev/null
	@cmake --build --preset release --parallel $(JOBS)
	@ctest --preset release --parallel $(JOBS)

# Options of the sanitizers are in CMakePresets.json: the leak checker of GCC 12 stumbles over thread-local data of libraries that
# were opened while the program ran, and memory that cannot be had must fail as it does without sanitizers.
sanitize: dependencies
	@$(CONFIGURE) sanitize >/dev/null
	@cmake --build --preset sanitize --parallel $(JOBS)
	@ctest --preset sanitize --parallel $(JOBS)

sanitize-quick: dependencies
	@$(CONFIGURE) sanitize-quick >/dev/null
	@cmake --build --preset sanitize-quick --parallel $(JOBS) --target memory_tests
	@ctest --preset sanitize-quick --parallel $(JOBS)

sanitize-thread: dependencies
	@$(CONFIGURE) sanitize-thread >/dev/null
	@cmake --build --preset sanitize-thread --parallel $(JOBS) --target threads_tests
	@ctest --preset sanitize-thread --parallel $(JOBS)

valgrind: dependencies
	@tools/install_dependencies.sh --valgrind
	@$(CONFIGURE) release >/dev/null
	@cmake --build --preset release --parallel $(JOBS) --target $$(tools/valgrind.sh --list)
	@tools/valgrind.sh build

fuzz: dependencies-fuzz products
	@$(CONFIGURE) fuzz >/dev/null
	@cmake --build --preset fuzz --parallel $(JOBS) --target fuzz_targets
	@tools/fuzz.sh build-fuzz $(SECONDS) $(TARGETS)

fuzz-long: dependencies-fuzz products
	@for build in fuzz fuzz-fast; do $(CONFIGURE) $$build >/dev/null && \
	  cmake --build --preset $$build --parallel $(JOBS) --target fuzz_targets || exit 1; done
	@tools/fuzz.sh --executions $(or $(EXECUTIONS),10000000) $(TARGETS)

bench: dependencies
	@$(CONFIGURE) release -D QUIVER_BUILD_BENCH=ON >/dev/null
	@cmake --build --preset release --parallel $(JOBS) --target benches
	@bench/run.sh build

windows: dependencies-windows
	@$(CONFIGURE) windows >/dev/null
	@cmake --build --preset windows --parallel $(JOBS) --target products
	@tools/windows_package.sh
	@tools/check_windows_package.sh

test-windows: dependencies-windows
	@$(CONFIGURE) windows >/dev/null
	@cmake --build --preset windows --parallel $(JOBS)
	@tools/windows_emulator.sh --start
	@status=0; ctest --preset windows --parallel $(JOBS) || status=1; tools/windows_emulator.sh --stop; exit $$status

install: products
	@cmake --install build --prefix "$(PREFIX)"

docs: products
	@tools/write_model_pages.sh build/bin/quiver

format:
	@$(FORMATTED) | xargs -0 clang-format -i

check-format:
	@wrong=$$($(FORMATTED) | xargs -0 clang-format --dry-run 2>&1 | sed -n 's/:[0-9]*:[0-9]*: warning:.*//p' | sort -u); \
	test -z "$$wrong" || { printf 'Not formatted (make format does it):\n%s\n' "$$wrong"; exit 1; }

lint: dependencies
	@$(CONFIGURE) release >/dev/null
	@tools/lint.sh build $(FILES)

mutation: dependencies
	@tools/mutation_check --jobs $(JOBS) --sample $(or $(SAMPLE),200) --seed $(or $(SEED),1) $(FILES)

interface: products
	@if tools/interface.sh build --check >/dev/null 2>&1; then echo 'The interface is the recorded one.'; \
	else tools/interface.sh build >build/interface.txt; \
	  if [ "$$(head -n 1 build/interface.txt)" = "$$(head -n 1 host/interface.txt)" ]; then tools/interface.sh build --check; \
	  else cp build/interface.txt host/interface.txt; fi; fi

package: products
	@tools/install_dependencies.sh --package
	@rm -f build/*.deb
	@cd build && SOURCE_DATE_EPOCH=$${SOURCE_DATE_EPOCH:-$$(git log -1 --format=%ct 2>/dev/null || echo 0)} cpack --config CPackConfig.cmake

check-package: package
	@tools/check_package.sh build

reproducible: package
	@JOBS=$(JOBS) tools/check_reproducible.sh build

clean:
	rm -rf build build-*

dependencies:
	@tools/install_dependencies.sh

dependencies-fuzz: dependencies
	@tools/install_dependencies.sh --fuzz

dependencies-windows: dependencies
	@tools/install_dependencies.sh --windows
	@CCACHE="$(CCACHE)" JOBS=$(JOBS) tools/windows_libraries.sh
