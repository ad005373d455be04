# Entry points of bridgesnmp. Each target installs the Debian packages it lacks first.
BUILD      ?= build
ASAN_BUILD ?= build-asan
PORT       ?= 1161
CMAKE_ARGS ?=

.PHONY: all deps build test unit-test integration-test sanitize-test bench demo demo-stop format clean

all: build

deps:
	@tools/install-deps.sh

$(BUILD)/build.ninja: | deps
	cmake -S . -B $(BUILD) -G Ninja $(CMAKE_ARGS)

build: deps $(BUILD)/build.ninja
	cmake --build $(BUILD)

test: build
	cd $(BUILD) && ctest --output-on-failure
	$(MAKE) sanitize-test

unit-test: build
	cd $(BUILD) && ctest --output-on-failure -L unit

integration-test: build
	cd $(BUILD) && ctest --output-on-failure -L integration

# Unit tests again under AddressSanitizer and UndefinedBehaviorSanitizer.
sanitize-test: deps
	cmake -S . -B $(ASAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DBRIDGESNMP_SANITIZE=ON \
	      -DBRIDGESNMP_PLUGIN=OFF -DBRIDGESNMP_BENCH=OFF $(CMAKE_ARGS)
	cmake --build $(ASAN_BUILD)
	cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
	      ctest --output-on-failure -L unit

bench: build
	tools/run-benchmarks.sh $(BUILD)

demo: build
	tools/demo.sh start $(BUILD) $(PORT)

demo-stop:
	tools/demo.sh stop $(BUILD) $(PORT)

format: deps
	git ls-files '*.h' '*.cpp' | xargs clang-format -i

clean:
	rm -rf $(BUILD) $(ASAN_BUILD)
