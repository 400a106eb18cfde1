# Entry points for building, testing and trying Survey. The real work is done
# by the CMake presets in CMakePresets.json (binary folders under build/).
#
#   make run     install what is missing, build, and run a demonstration
#   make check   install what is missing, then build and test every preset,
#                and run each fuzz target for a short while
#   make fuzz    run each fuzz target for FUZZ_SECONDS (default 15)
#   make build   configure and build the default preset
#   make test    build and test the default preset
#   make vocabulary  write docs/vocabulary.md anew from the registry
#   make format  reformat the C and C++ sources with clang-format
#   make clean   remove build/

PRESETS ?= default i386 asan
FUZZ_TARGETS ?= \
  parse_fuzzer \
  numeral_fuzzer \
  ipv4_fuzzer \
  versions_fuzzer \
  proc_stat_fuzzer \
  wildcard_fuzzer \
  url_fuzzer \
  variable_file_fuzzer \
  processor_memory_fuzzer \
  keys_fuzzer \
  mounts_fuzzer \
  site_banner_fuzzer \
  command_input_fuzzer \
  regular_expressions_fuzzer \
  dmi_structure_fuzzer \
  dmi_table_fuzzer \
  dmi_entry_point_fuzzer \
  rpm_capability_fuzzer \
  client_import_fuzzer \
  certificate_pem_fuzzer \
  host_selector_fuzzer \
  usage_statistics_fuzzer \
  file_lines_fuzzer
FUZZ_SECONDS ?= 15
JOBS    ?= $(shell nproc 2>/dev/null || echo 2)

# Compiles go through ccache when the machine has it (the dependency script
# installs it), so that a second check rebuilds only what changed.
ifneq ($(shell command -v ccache 2>/dev/null),)
export CMAKE_C_COMPILER_LAUNCHER   ?= ccache
export CMAKE_CXX_COMPILER_LAUNCHER ?= ccache
endif
SHELL   := /bin/bash

.PHONY: all run check build test deps demo fuzz format format-check clean vocabulary

all: build

deps:
	bash scripts/install-deps.sh

run: deps build
	bash scripts/demo.sh

# Each preset in turn is configured and built, and its tests then run in the
# background while the next preset is built: the tests leave the processors
# idle much of the time, waiting on the programs they run, and the build
# fills that time. The fuzz targets are built while the last preset's tests
# run, and run once those have passed. Each preset's test output is shown
# when its tests end; the first failing step stops everything with a failing
# status.
check: deps
	@set -e; tested=""; testpid=""; \
	trap 'if [ -n "$$testpid" ]; then kill $$testpid 2>/dev/null || true; fi' EXIT; \
	collect() { \
	  if [ -z "$$testpid" ]; then return 0; fi; \
	  status=0; wait $$testpid || status=$$?; testpid=""; \
	  cat build/$$tested/ctest.log; \
	  echo "=== tests of preset $$tested: status $$status ==="; \
	  if [ $$status -ne 0 ]; then exit $$status; fi; \
	}; \
	for p in $(PRESETS); do \
	  echo "=== preset $$p ==="; \
	  echo "+ cmake --preset $$p"; \
	  cmake --preset $$p; \
	  echo "+ cmake --build --preset $$p -j$(JOBS)"; \
	  cmake --build --preset $$p -j$(JOBS); \
	  collect; \
	  echo "+ ctest --preset $$p -j$(JOBS) --no-tests=error (output when it ends)"; \
	  ctest --preset $$p -j$(JOBS) --no-tests=error >build/$$p/ctest.log 2>&1 & \
	  testpid=$$!; tested=$$p; \
	done; \
	echo "=== fuzz targets: build ==="; \
	FUZZ_BUILD_ONLY=1 JOBS=$(JOBS) bash scripts/fuzz.sh $(FUZZ_SECONDS) $(FUZZ_TARGETS); \
	collect; \
	$(MAKE) --no-print-directory fuzz

# The fuzz targets, built together and run JOBS at a time under the address
# and undefined-behaviour sanitizers; a crash fails with the fuzzer's log.
fuzz:
	JOBS=$(JOBS) bash scripts/fuzz.sh $(FUZZ_SECONDS) $(FUZZ_TARGETS)

build:
	cmake --preset default
	cmake --build --preset default -j$(JOBS)

test: build
	ctest --preset default -j$(JOBS) --no-tests=error

demo:
	bash scripts/demo.sh

# The vocabulary page of the documents, as the built command lists it.
vocabulary:
	cmake --preset default
	cmake --build --preset default -j$(JOBS) --target vocabulary_page
	cp build/default/docs/vocabulary.md docs/vocabulary.md

FORMAT_FILES = git ls-files -- '*.c' '*.cc' '*.cpp' '*.h' '*.hpp'

format:
	$(FORMAT_FILES) | xargs -r clang-format -i

format-check:
	$(FORMAT_FILES) | xargs -r clang-format --dry-run -Werror

clean:
	rm -rf build
