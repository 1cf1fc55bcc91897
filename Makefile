# Entry points for a fresh machine: `make demo` and `make test`.
PRESET ?= dev
BUILD_DIR := build/$(PRESET)

.PHONY: all deps configure build test demo asan-test bench fuzz format clean

all: build

deps:
	@bash scripts/install-deps.sh

$(BUILD_DIR)/build.ninja: | deps
	cmake --preset $(PRESET)

configure: $(BUILD_DIR)/build.ninja

build: configure
	cmake --build --preset $(PRESET)

test: build
	ctest --preset $(PRESET) -j2

demo: build
	$(BUILD_DIR)/tools/tal-machine show examples/machines/example-machine.xml
	$(BUILD_DIR)/tools/tal-machine check examples/machines/example-machine.xml
	$(BUILD_DIR)/tools/tal-machine cl show examples/conceptlaser/example.xml

asan-test:
	$(MAKE) test PRESET=asan

bench:
	$(MAKE) build PRESET=release
	bash bench/run.sh build/release
	bash bench/machine.sh build/release

fuzz:
	bash scripts/install-deps.sh
	cmake --preset fuzz
	cmake --build --preset fuzz
	mkdir -p build/fuzz/corpus-document build/fuzz/corpus-machine build/fuzz/corpus-expat
	build/fuzz/fuzz/fuzz_document -max_total_time=60 -dict=fuzz/xml.dict \
	  build/fuzz/corpus-document fuzz/corpus
	build/fuzz/fuzz/fuzz_machine -max_total_time=60 -dict=fuzz/machine.dict \
	  build/fuzz/corpus-machine fuzz/machine-corpus
	build/fuzz/fuzz/fuzz_expat -max_total_time=60 -dict=fuzz/xml.dict \
	  build/fuzz/corpus-expat fuzz/expat-corpus

format:
	clang-format-14 -i $$(git ls-files '*.h' '*.cpp')

clean:
	rm -rf build
