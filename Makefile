# Entry points of bridgesnmp. Each target installs the Debian packages it lacks first.
BUILD      ?= build
SAN_BUILD  ?= build-san
STORM_BUILD ?= build-storm
FUZZ_SECONDS ?= 60
PDUS       ?= 1000000
DURATION   ?= 10m
PORT       ?= 1161
CMAKE_ARGS ?=

.PHONY: all deps build test unit-test integration-test sanitize-test fuzz storm soak bench bench-1m \
        demo demo-stop demo-linux demo-linux-stop demo-linux-uml deb format clean

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

# The sanitizer build: clang with AddressSanitizer and UndefinedBehaviorSanitizer, and the
# libFuzzer targets (tests/fuzz). Configured with how long each fuzz target mutates.
san-configure = CC=clang CXX=clang++ cmake -S . -B $(SAN_BUILD) -G Ninja \
	      -DCMAKE_BUILD_TYPE=Debug -DBRIDGESNMP_SANITIZE=ON -DBRIDGESNMP_FUZZ=ON \
	      -DBRIDGESNMP_PLUGIN=OFF -DBRIDGESNMP_BENCH=OFF -DBRIDGESNMP_FUZZ_SECONDS=$(1) $(CMAKE_ARGS)
san-env = ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1

# Unit tests again under the sanitizers, and each fuzz target over its seeds for a few seconds.
sanitize-test: deps
	$(call san-configure,4)
	cmake --build $(SAN_BUILD)
	cd $(SAN_BUILD) && $(san-env) ctest --output-on-failure -L unit

# The fuzz targets alone, each mutating for FUZZ_SECONDS (make fuzz FUZZ_SECONDS=600).
fuzz: deps
	$(call san-configure,$(FUZZ_SECONDS))
	cmake --build $(SAN_BUILD)
	cd $(SAN_BUILD) && $(san-env) ctest --output-on-failure --verbose -L fuzz

# A request storm (PDUS PDUs) against stock snmpd running the plug-in built with ASan and
# UBSan (gcc's; its runtime is preloaded, with libstdc++ so that it can intercept throws),
# while the switch churns.
storm: deps
	cmake -S . -B $(STORM_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	      -DBRIDGESNMP_SANITIZE=ON -DBRIDGESNMP_BENCH=OFF $(CMAKE_ARGS)
	cmake --build $(STORM_BUILD) --target bridgesnmp
	tools/snmpstorm.py storm --plugin $(STORM_BUILD)/plugin/bridgesnmp.so \
	      --preload "$$(gcc -print-file-name=libasan.so) $$(gcc -print-file-name=libstdc++.so)" \
	      --pdus $(PDUS)

# A soak of the plain plug-in (DURATION: seconds, or 10m, 1h): steady churn, walks and
# SETs, with snmpd's RSS sampled and held to a 5 % band after warm-up.
soak: build
	tools/snmpstorm.py soak --plugin $(BUILD)/plugin/bridgesnmp.so --duration $(DURATION)

# Every benchmark with 100k learned hosts, ending with the summary of figures and aims.
bench: build
	tools/run-benchmarks.sh $(BUILD)

# The same figures with a million learned hosts (and the walks at 10k to compare the cost per
# object with); takes much longer.
bench-1m: build
	tools/run-benchmarks.sh $(BUILD) 1m

demo: build
	tools/demo.sh start $(BUILD) $(PORT)

demo-stop:
	tools/demo.sh stop $(BUILD) $(PORT)

# A Linux kernel bridge in private network namespaces, served by the plug-in (needs root).
demo-linux: build
	tools/demo-linux.sh start $(BUILD) $(PORT)

demo-linux-stop:
	tools/demo-linux.sh stop $(BUILD) $(PORT)

# The same demo, VLANs included, inside user-mode Linux (a Linux 6.1 kernel with bridge VLAN
# filtering, run as a process); it stops with the kernel.
demo-linux-uml: build
	tests/kernel/uml-run.sh $(BUILD)/uml-demo tools/demo-linux.sh show $(BUILD) $(PORT)

# The Debian package, from the build tree (written to $(BUILD)/deb/).
deb: build
	tools/build-deb.sh $(BUILD) $(BUILD)/deb

format: deps
	git ls-files '*.h' '*.cpp' | xargs clang-format -i

clean:
	rm -rf $(BUILD) $(SAN_BUILD) $(STORM_BUILD)
