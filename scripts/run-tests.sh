#!/usr/bin/env bash
# Builds orvo_core and runs every test three times: a normal build with g++
# (with the examples, benchmarks and the install check), a clang build under
# AddressSanitizer and UndefinedBehaviorSanitizer (which also builds the fuzz
# targets and runs them briefly over their corpora), and a g++ build under
# ThreadSanitizer. Warnings are errors in all three.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/install-deps.sh"

jobs="$(nproc)"
failed=0

configure_and_build() {
  local dir="$1"; shift
  cmake -S "$root" -B "$dir" -G Ninja -DORVO_WERROR=ON "$@" >/dev/null
  cmake --build "$dir" -j "$jobs"
}

run_ctest() {
  local dir="$1"
  (cd "$dir" && ctest --output-on-failure -j "$jobs" --timeout 300) || failed=1
}

echo "=== normal build (g++) ==="
configure_and_build "$root/build/release" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ -DORVO_BUILD_BENCH=ON
run_ctest "$root/build/release"

echo "=== AddressSanitizer + UndefinedBehaviorSanitizer (clang) ==="
fuzz_flag=OFF
if compgen -G "$root/fuzz/*.cpp" >/dev/null; then fuzz_flag=ON; fi
configure_and_build "$root/build/asan" -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DORVO_SANITIZE=address,undefined -DORVO_BUILD_FUZZ="$fuzz_flag"
(cd "$root/build/asan" && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --output-on-failure -j "$jobs" --timeout 300 -E install_and_consume) || failed=1
if [ "$fuzz_flag" = ON ]; then
  for target in "$root"/build/asan/fuzz/fuzz_*; do
    name="$(basename "$target")"; name="${name#fuzz_}"
    corpus="$root/fuzz/corpus/$name"
    mkdir -p "$corpus"
    echo "fuzzing $name for 20 s"
    work="$(mktemp -d)"
    "$target" -max_total_time=20 -rss_limit_mb=4096 -malloc_limit_mb=4096 "$work" "$corpus" >/dev/null 2>"$work.log" \
      || { cat "$work.log"; failed=1; }
    rm -rf "$work" "$work.log"
  done
fi

echo "=== ThreadSanitizer (g++) ==="
configure_and_build "$root/build/tsan" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ -DORVO_SANITIZE=thread \
  -DORVO_BUILD_EXAMPLES=OFF
# Some kernels randomise mappings beyond what TSan accepts; without address
# randomisation it always finds its shadow memory.
tsan_prefix=()
if setarch "$(uname -m)" -R true 2>/dev/null; then tsan_prefix=(setarch "$(uname -m)" -R); fi
(cd "$root/build/tsan" && TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" "${tsan_prefix[@]}" \
  ctest --output-on-failure -j "$jobs" --timeout 300 -E install_and_consume) || failed=1

if [ "$failed" -ne 0 ]; then
  echo "some tests failed"
  exit 1
fi
echo "all three builds passed"
