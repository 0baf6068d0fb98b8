#!/usr/bin/env bash
# Measures what the test suite covers: builds the library and its tests with
# clang's source-based coverage, runs every test through CTest, and prints
# line and branch coverage of the library (core/src and core/include) per
# file and in total. The merged profile and a per-line listing stay in
# build/coverage for a closer look:
#   llvm-cov-14 show build/coverage/core/tests/orvo_core_tests \
#     -instr-profile=build/coverage/coverage.profdata core/src/text/String.cpp
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/install-deps.sh"

build="$root/build/coverage"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DORVO_COVERAGE=ON -DORVO_BUILD_EXAMPLES=OFF >/dev/null
cmake --build "$build" --target orvo_core_tests -j "$(nproc)" >"$build/build.log" \
  || { cat "$build/build.log"; exit 1; }

profiles="$build/profiles"
rm -rf "$profiles" && mkdir -p "$profiles"
# One raw profile per process: tests that start children write their own.
(cd "$build" && LLVM_PROFILE_FILE="$profiles/%p.profraw" \
  ctest -j "$(nproc)" --timeout 300 -E install_and_consume --output-on-failure >/dev/null) \
  || echo "warning: some tests failed; coverage is of the run as it went" >&2
llvm-profdata-14 merge -sparse "$profiles"/*.profraw -o "$build/coverage.profdata"

# The crash writer runs as a program of its own: its profiles count too.
llvm-cov-14 report "$build/core/tests/orvo_core_tests" \
  -object "$build/core/orvo_crash_writer" \
  -instr-profile="$build/coverage.profdata" \
  -show-region-summary=false -show-instantiation-summary=false \
  -show-functions=false \
  "$root/core/src" "$root/core/include" \
  | sed "s|$root/||"
