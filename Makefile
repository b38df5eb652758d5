# Two commands for a fresh Debian machine:
#   make demo   plays a sample stream through the reference host
#   make test   runs every test: the suite, the sanitizer builds and the fuzzers
# Both install what is missing (scripts/install-deps.sh), build and run.

BUILD ?= build
JOBS ?= 2
CMAKE_FLAGS ?=
CTEST = ctest --output-on-failure --no-tests=error -j$(JOBS)
# Sanitizer builds skip the window tests (Xvfb and SDL are not instrumented);
# the sanitizer settings themselves come from tests/CMakeLists.txt.
SANITIZER_SKIP = window

.PHONY: all deps build test check test-ratio sanitize asan tsan abort-check fuzz demo bench format clean

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
	@bash scripts/test-ratio.sh

# Tests stay at most 35% of the non-blank lines of src/, tools/ and bench/.
test-ratio:
	@bash scripts/test-ratio.sh

check: build
	cd $(BUILD) && $(CTEST)

sanitize: asan tsan

asan: deps
	cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DZENT_SANITIZE=address \
	  -DZENT_BUILD_TOOLS=OFF -DZENT_BUILD_BENCH=OFF >/dev/null
	cmake --build build-asan -j$(JOBS)
	cd build-asan && $(CTEST) -LE "$(SANITIZER_SKIP)"

tsan: deps
	cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=Debug -DZENT_SANITIZE=thread \
	  -DZENT_BUILD_TOOLS=OFF -DZENT_BUILD_BENCH=OFF >/dev/null
	cmake --build build-tsan -j$(JOBS)
	cd build-tsan && $(CTEST) -LE "$(SANITIZER_SKIP)"

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
	cmake --build build-fuzz -j$(JOBS) --target srt_fuzz id3_fuzz manifest_fuzz cea608_fuzz
	cd build-fuzz && $(CTEST) -L fuzz

demo: build
	bash scripts/demo.sh $(BUILD)

bench: build
	@bash scripts/install-deps.sh --bench
	bash scripts/run-benchmarks.sh $(BUILD)

format:
	git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD) build-asan build-tsan build-abort build-fuzz
