#!/usr/bin/env bash
# Builds the library and the example program, then runs the example.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/install-deps.sh"

build="$root/build/example"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DORVO_BUILD_TESTS=OFF -DORVO_BUILD_EXAMPLES=ON >/dev/null
cmake --build "$build" --target system_demo service_demo property_demo -j "$(nproc)"
"$build/examples/system_demo"
"$build/examples/property_demo"
