# Thin: every target is a preset of CMake's. `make run`, `make serve` and `make test` need
# nothing but this repository, make and a Debian 12.
.DEFAULT_GOAL := help
.PHONY: help packages run build-program serve test check-sources coverage asan asan-quick tsan torture soak bench \
  cluster cluster-guide bench-counts bench-commands bench-page package try-packages try-consumer generators fuzz fuzz-corpora mutants docs \
  pictures format check-format lint lint-changed release clean

PROJECT := build/release/guideline.db
BENDING_LIST := build/release/guideline.pdf
SERVED := build/release/projects
PACKAGES := build/package/packages
BENCH_FLAGS := --benchmark_repetitions=15 --benchmark_enable_random_interleaving=true \
  --benchmark_min_time=0.05
BENCH_RESULTS := bench/results.json
WIRE_RESULTS := bench/wire.json
WIRE_ROUNDS := 15
FUZZ_SECONDS := 60
CRASHES := 1000
TORTURE_ROUNDS := 100
SOAK_SECONDS := 3600
CLUSTER_SECONDS := 300
CLUSTER = tests/cluster/alone.sh env PATH="$$PATH:$(CURDIR)/build/tools/usr/sbin" node
MUTANTS := 100
SEED := 1
LINT_SOURCES := 20
SOURCES = $(shell scripts/sources.py)

help: ## list the targets
	@grep -hE '^[a-z -]+:.*##' $(MAKEFILE_LIST) | sed -E 's/^([a-z -]+):.*## /  make \1\t/' | expand -t 22

packages: ## install all that the targets below need, but for the benchmarks
	@scripts/install-packages.sh

packages-%:
	@scripts/install-packages.sh $*

# What each preset needs.
configure-release: packages-page
configure-dev configure-coverage configure-asan configure-asan-quick configure-tsan: packages-test
configure-lint: packages-lint
configure-fuzz: packages-fuzz
configure-bench: packages-test packages-bench
configure-package: packages-page packages-packaging
bench-commands bench-page: packages-test

# `make run` leaves it out.
OPTIONS_release := -DKORVANE_BUILD_PAGE=ON

configure-%:
	@mkdir -p build
	@cmake --preset $* $(OPTIONS_$*) >build/$*-configure.log || { cat build/$*-configure.log; exit 1; }

build-%: configure-%
	@echo "== build: $*"
	@cmake --build --preset $*

# Without the page: that needs Node, and npm. The rest is shared with `make serve`.
build-program: packages-run
	@mkdir -p build
	@cmake --preset release -DKORVANE_BUILD_PAGE=OFF >build/release-configure.log || \
	  { cat build/release-configure.log; exit 1; }
	@echo "== build: release, without the page"
	@cmake --build --preset release --target korvane project_plugin

run: build-program ## install, build, import examples/guideline.abs into a new project, print it and its bending list
	@rm -f $(PROJECT)
	@echo "== import: examples/guideline.abs into $(PROJECT)"
	@build/release/bin/korvane import examples/guideline.abs --project $(PROJECT) --show
	@echo "== bending list: $(BENDING_LIST)"
	@build/release/bin/korvane bending-list $(PROJECT) --output $(BENDING_LIST)

serve: build-release ## install, build, and serve the example project over HTTP until Ctrl-C
	@mkdir -p $(SERVED)
	@test -e $(SERVED)/guideline.db || build/release/bin/korvane import examples/guideline.abs \
	  --project $(SERVED)/guideline.db
	@build/release/bin/korvane serve --root $(SERVED)

test: check-sources build-dev ## install, build and run all tests
	@echo "== test"
	@ctest --preset dev --no-tests=error

asan asan-quick tsan: %: build-% ## all tests under the address and undefined-behaviour, or the thread sanitizer
	@ctest --preset $* --no-tests=error

check-sources: packages-test
	@scripts/check-includes.py
	@scripts/check-lengths.py
	@scripts/check-headers.py

package: build-package ## the Debian packages, in build/package/packages
	@rm -f $(PACKAGES)/*.deb
	@echo "== packages: $(PACKAGES)"
	@cmake --build --preset package --target package >build/package-cpack.log 2>&1 || { cat build/package-cpack.log; exit 1; }
	@ls -sh $(PACKAGES)/*.deb

try-packages: package ## the packages in a fresh Debian 12: install, start, call, upgrade, remove, purge; as root
	@echo "== lintian"
	@lintian --allow-root --fail-on error,warning $(PACKAGES)/*.deb
	@packaging/try-packages.sh $(PACKAGES) build/try

try-consumer: build-dev ## tests/consumer with what is installed, with the sources, and each installed header by itself
	@KORVANE_BUILD=$(CURDIR)/build/dev tests/packaging/consumer_test.py --whole

coverage: build-coverage ## lines and branches of bond/ and of the plugin that the tests take
	@find build/coverage -name '*.gcda' -delete
	@ctest --preset coverage --no-tests=error >build/coverage-tests.log 2>&1 || { tail -n 40 build/coverage-tests.log; exit 1; }
	@scripts/coverage.py

torture: build-dev ## kills, failing disks and memory, power cuts, hostile files at length (CRASHES, TORTURE_ROUNDS)
	@for test in crash_loop/crash_loop_test killed_changes/killed_changes_test; do \
	  KORVANE_CRASHES=$(CRASHES) build/dev/tests/scenarios/$$test || exit 1; done
	@KORVANE_BACKUPS=$(TORTURE_ROUNDS) build/dev/tests/scenarios/copies/copies_test
	@for test in torture/failing_disk_test torture/failing_memory_test torture/power_cut_test \
	    hostile_files/hostile_files_test other_programs/other_programs_test; do \
	  KORVANE_TORTURE_ROUNDS=$(TORTURE_ROUNDS) build/dev/tests/scenarios/$$test || exit 1; done

mutants: packages-test ## slips in the sources that the tests are to notice (MUTANTS, SEED)
	@scripts/mutants.py --count=$(MUTANTS) --seed=$(SEED)

soak: build-dev ## an hour of mixed load on the server (SOAK_SECONDS)
	@KORVANE_SOAK_SECONDS=$(SOAK_SECONDS) build/dev/tests/scenarios/soak/soak_test

cluster: build-release packages-cluster ## three servers of one folder, killed, stopped, cut off, frozen, their storage too, while they are used; as root (CLUSTER_SECONDS)
	@node --test tests/cluster/history.test.mjs >/dev/null
	@$(CLUSTER) tests/cluster/cluster.mjs --program build/release/bin/korvane --seconds $(CLUSTER_SECONDS)
	@$(CLUSTER) tests/cluster/scale.mjs --program build/release/bin/korvane

cluster-guide: package packages-cluster ## docs/cluster.md on three machines, from packages to a kill that nobody notices; as root
	@mkdir -p build/archives && cd build/archives && { ls haproxy_*.deb >/dev/null 2>&1 || apt-get download -qq haproxy; }
	@$(CLUSTER) tests/cluster/guide.mjs --packages $(PACKAGES) --archives build/archives

generators: build-release packages-generators ## clients that openapi-generator makes for Python and C#: compiled, and tried
	@KORVANE_PROGRAM=build/release/bin/korvane node --test tests/generators/

bench: build-bench ## the benchmarks: ratios with their goals, kept in bench/*.json and docs/performance.md
	@build/bench/bench/korvane_bench --results=$(BENCH_RESULTS) $(BENCH_FLAGS)
	@build/bench/bench/korvane_wire --results=$(WIRE_RESULTS) --rounds=$(WIRE_ROUNDS)
	@scripts/performance.py

bench-counts: build-bench ## instructions, system calls and switches of the server for each call, of any busy machine
	@bench/counts.py --program=build/bench/bin/korvane

bench-commands: build-release ## the commands over 100,000 bars beside sqlite3 and ogr2ogr, kept in bench/commands.json
	@bench/commands.py --program=build/release/bin/korvane --results=bench/commands.json
	@scripts/performance.py

bench-page: build-release ## the page with 100,000 bars in Chromium: first rows, frames, sorting, memory
	@KORVANE_PROGRAM=build/release/bin/korvane node bench/page.mjs

pictures: build-dev ## the pictures of README, anew from the tests of the page
	@KORVANE_PICTURES=$(CURDIR)/build/pictures KORVANE_PROGRAM=$(CURDIR)/build/dev/bin/korvane \
	  node --test --test-name-pattern=axe tests/web/walk.test.mjs >/dev/null
	@for picture in docs/pictures/*.png; do cp build/pictures/$$(basename $$picture) docs/pictures/; done

fuzz: build-fuzz ## the fuzz targets, a minute each (FUZZ_SECONDS)
	@FUZZ_SECONDS=$(FUZZ_SECONDS) scripts/fuzz.sh run

fuzz-corpora: build-fuzz ## make fuzz/corpora of all that the fuzz targets have found
	@scripts/fuzz.sh minimise

docs: configure-dev ## write the tables of docs/format.md and docs/contracts.md anew, from the descriptions
	@cmake --build --preset dev --target write_format_page
	@build/dev/tests/format/write_format_page docs/format.md docs/contracts.md

format: ## format all sources
	@clang-format -i $(SOURCES)

check-format: packages-format
	@clang-format --dry-run --Werror $(SOURCES)

lint: configure-lint ## clang-tidy over all sources
	@run-clang-tidy -quiet -extra-arg=-Wno-unknown-warning-option -p build/lint '^$(CURDIR)/(?!build/)'

lint-changed: configure-lint ## clang-tidy over what has changed since the last release, in part (LINT_SOURCES)
	@LINT_SOURCES=$(LINT_SOURCES) scripts/lint-changed.py

release: ## version, changelog, project file, packages, checksums and bill of materials (VERSION; TRY=1 commits nothing)
	@scripts/release.py $(if $(TRY),--dry-run) $(VERSION)

clean: ## remove what was built
	@rm -rf build
