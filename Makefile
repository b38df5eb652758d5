# Two commands for a fresh Debian machine:
#   make demo   plays a sample stream through the reference host
#   make test   runs every test: the suite, the sanitizer builds and the fuzzers
# Both install what is missing (scripts/install-deps.sh), build and run.

BUILD ?= build
JOBS ?= 2
CMAKE_FLAGS ?=
CTEST = ctest --output-on-failure --no-tests=error -j$(JOBS)

.PHONY: all deps build test check sanitize asan tsan abort-check fuzz demo bench format clean

all: build

deps:
	@bash scripts/install-deps.sh

build: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_FLAGS) >/dev/null
	cmake --build $(BUILD) -j$(JOBS)

# Every test: the normal build's suite, then ASan+UBSan and TSan builds, the
# abort-on-invariant build and a bounded fuzzing run.
test: check sanitize abort-check fuzz
	@echo "make test: all test stages passed"

check: build
	cd $(BUILD) && $(CTEST)

sanitize: asan tsan

asan: deps
	cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DZENT_SANITIZE=address \
	  -DZENT_BUILD_TOOLS=OFF -DZENT_BUILD_BENCH=OFF >/dev/null
	cmake --build build-asan -j$(JOBS)
	cd build-asan && ASAN_OPTIONS=detect_leaks=1 \
	  LSAN_OPTIONS=suppressions=$(CURDIR)/tests/sanitizers/lsan.supp:print_suppressions=0 \
	  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 $(CTEST) -LE "slow|window"

tsan: deps
	cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=Debug -DZENT_SANITIZE=thread \
	  -DZENT_BUILD_TOOLS=OFF -DZENT_BUILD_BENCH=OFF >/dev/null
	cmake --build build-tsan -j$(JOBS)
	cd build-tsan && TSAN_OPTIONS="suppressions=$(CURDIR)/tests/sanitizers/tsan.supp halt_on_error=1 second_deadlock_stack=1" \
	  $(CTEST) -LE "slow|window"

# Broken invariants abort in this build; its death tests prove each one is detected.
abort-check: deps
	cmake -S . -B build-abort -DZENT_ABORT_ON_INVARIANT=ON -DZENT_BUILD_TOOLS=OFF \
	  -DZENT_BUILD_BENCH=OFF >/dev/null
	cmake --build build-abort -j$(JOBS) --target invariant_tests
	cd build-abort && $(CTEST) -R invariant_tests

fuzz: deps
	cmake -S . -B build-fuzz -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_COMPILER=clang \
	  -DZENT_BUILD_FUZZERS=ON -DZENT_BUILD_TESTS=OFF -DZENT_BUILD_TOOLS=OFF \
	  -DZENT_BUILD_BENCH=OFF >/dev/null
	cmake --build build-fuzz -j$(JOBS) --target srt_fuzz id3_fuzz manifest_fuzz
	cd build-fuzz && $(CTEST) -L fuzz

demo: build
	bash scripts/demo.sh $(BUILD)

bench: build
	bash scripts/run-benchmarks.sh $(BUILD)

format:
	git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD) build-asan build-tsan build-abort build-fuzz
