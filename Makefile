# The two commands that matter: `make demo` and `make check`. Both install what they need and build what they run.
# IPTASKS_NO_INSTALL=1 leaves the machine's packages alone.

PREFIX ?= /usr/local
FUZZ_SECONDS ?= 1800
COVERAGE_BAR ?= 95
CHANGES ?= 100000
MUTANTS ?= 100
MUTANT_SEED ?= 1
SOURCES = $(shell git ls-files '*.cpp' '*.h' '*.c')

.PHONY: help packages release demo check changes mutants bench fuzz coverage orders docs format lint install package clean

help:
	@echo "demo      compile two 5G NR codes into register writes, in a plain tclsh"
	@echo "release   everything that is installed, into build/release"
	@echo "check     all tests under sanitizers, fuzzing with a fixed number of runs, and a part of the tests optimised"
	@echo "changes   CHANGES ($(CHANGES)) random changes of all cores, each held against computing anew; goes on where it was stopped"
	@echo "bench     the benchmarks, each with its bar"
	@echo "mutants   MUTANTS ($(MUTANTS)) changes of the product; at least 95 of 100 must be noticed by a test"
	@echo "fuzz      fuzz for FUZZ_SECONDS ($(FUZZ_SECONDS)) on each target"
	@echo "coverage  line coverage of the package, at least COVERAGE_BAR ($(COVERAGE_BAR)) %"
	@echo "orders    find the processing orders of the base graphs anew"
	@echo "docs      write the references of commands and cores, made from data, to build/release/docs"
	@echo "format    lay out all C and C++ sources, with clang-format 14;  lint: check that and run clang-tidy"
	@echo "install   into PREFIX ($(PREFIX));  package: all of it as a package of Debian"
	@echo "clean     remove the build folder"

# The packages of everything that this file does, but the demonstration, which needs few.
packages:
ifndef IPTASKS_NO_INSTALL
	@./tools/install_packages.sh all
endif

build/%/build.ninja: CMakePresets.json CMakeLists.txt
	cmake --preset $* >/dev/null

release: packages
	cmake --preset release >/dev/null
	cmake --build --preset release

demo:
ifndef IPTASKS_NO_INSTALL
	@./tools/install_packages.sh package
endif
	[ -e build/release/build.ninja ] || cmake --preset package >/dev/null
	cmake --build --preset demo
	tclsh examples/demo.tcl build/release/lib build/demo

check: packages
	./tests/check.sh

changes: packages build/release/build.ninja
	cmake --build --preset release --target real_cores_test
	tclsh tests/cores/change_all.tcl -changes $(CHANGES)

mutants: packages
	tclsh tests/mutation/run.tcl -count $(MUTANTS) -seed $(MUTANT_SEED)

bench: release
ifndef IPTASKS_NO_INSTALL
	@./tools/install_packages.sh all python3 python3-scipy kconfig-frontends-nox
endif
	cmake --build --preset release --target bench

fuzz: packages build/fuzz/build.ninja
	cmake --build --preset fuzz
	set -e; for corpus in tests/fuzz/corpus_*; do name=$${corpus#*corpus_}; mkdir -p build/found/$$name; \
	  build/fuzz/bin/fuzz_$$name -max_total_time=$(FUZZ_SECONDS) -dict=tests/fuzz/$$name.dict \
	    -artifact_prefix=build/found/ build/found/$$name $$corpus; done

coverage: packages build/coverage/build.ninja
	cmake --build --preset coverage
	find build/coverage -name '*.gcda' -delete
	ctest --preset coverage
	gcovr --root . --filter 'shared/' --filter 'platform/' --fail-under-line $(COVERAGE_BAR) build/coverage

orders: release
	build/release/bin/order_base_graphs data

docs: packages
	cmake --preset release >/dev/null
	cmake --build --preset release --target docs
	@echo "build/release/docs/commands/README.md build/release/docs/cores/README.md"

format:
	clang-format-14 -i $(SOURCES)

lint: release
	clang-format-14 --dry-run -Werror $(SOURCES)
	printf "%s\n" $(filter shared/%.cpp platform/%.cpp,$(SOURCES)) | \
	  xargs -n 8 -P $$(nproc) clang-tidy --quiet -p build/release

install: release
	cmake --install build/release --prefix $(PREFIX)

package: release
	cpack --config build/release/CPackConfig.cmake
	@ls -l build/release/package/*.deb

clean:
	rm -rf build
