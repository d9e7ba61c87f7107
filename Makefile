# The two user commands are `make run` and `make test`; both install what is missing first.
BUILD      ?= build
ASAN_BUILD ?= build-asan
JOBS       ?= $(shell nproc)
CMAKE_ARGS ?=
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 60

.PHONY: run test check test-asan build build-asan deps bench fuzz format clean demo samples

# From a scratch copy of the samples under the build folder: its config.cfg is the settings file
# read at start-up, and "Save default settings" there never touches the repository's files.
# Files already in the copy are kept, so saved settings survive the next run.
RUN_DIR ?= $(BUILD)/samples
run: build
	mkdir -p $(RUN_DIR)
	cp -rn samples/config.cfg samples/*.kelvara samples/lesion samples/healthy samples/exam $(RUN_DIR)/
	cd $(RUN_DIR) && $(abspath $(BUILD))/src/app/kelvara

# The headless analysis of both sample cases.
demo: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_ARGS)
	cmake --build $(BUILD) --target kelvara-batch -j $(JOBS)
	./$(BUILD)/src/batch/kelvara-batch --out $(BUILD)/demo --small-area 20 --pathology 50 \
	  samples/lesion.kelvara samples/healthy.kelvara samples/exam.kelvara
	@cat $(BUILD)/demo/summary.csv

# Regenerates the sample DICOM files (they are committed; this is only needed to change them).
samples: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_ARGS)
	cmake --build $(BUILD) --target kelvara-sample-generator -j $(JOBS)
	./$(BUILD)/samples/generator/kelvara-sample-generator samples

# The whole suite twice: the normal build, then AddressSanitizer + UndefinedBehaviorSanitizer.
test: check test-asan

# The normal build only (quicker while working).
check: build
	scripts/run-tests.sh $(BUILD)

test-asan: build-asan
	ASAN_OPTIONS=halt_on_error=1:detect_leaks=0 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
	  scripts/run-tests.sh $(ASAN_BUILD)

deps:
	@scripts/install-deps.sh

build: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_ARGS)
	cmake --build $(BUILD) -j $(JOBS)

build-asan: deps
	cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DKELVARA_SANITIZE=ON -DKELVARA_BUILD_BENCH=OFF $(CMAKE_ARGS)
	cmake --build $(ASAN_BUILD) -j $(JOBS)

bench: build
	@for b in $(BUILD)/bench/bench_*; do [ -x "$$b" ] && "$$b"; done

# libFuzzer harnesses (clang), each run for FUZZ_SECONDS; crashes land in fuzz/regression/.
fuzz: deps
	cmake -S . -B $(FUZZ_BUILD) -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DKELVARA_FUZZ=ON -DKELVARA_BUILD_TESTS=OFF -DKELVARA_BUILD_BENCH=OFF $(CMAKE_ARGS)
	cmake --build $(FUZZ_BUILD) -j $(JOBS) --target fuzz_dicom fuzz_series fuzz_project fuzz_chain fuzz_bmp fuzz_cohort
	scripts/run-fuzz.sh $(FUZZ_BUILD) $(FUZZ_SECONDS)

format:
	find src tests bench fuzz -name '*.cpp' -o -name '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD) $(ASAN_BUILD)
