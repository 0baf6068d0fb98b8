#!/usr/bin/env bash
# Installs the Debian packages that building and testing orvo_core needs,
# when any of them is missing. Safe to run again: it only installs what is
# absent.
set -euo pipefail

packages=(
  cmake ninja-build g++ clang libclang-rt-14-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libdw1 libdw-dev
  lldb-14 gdb
)
if [ "${ORVO_BENCH_PEERS:-0}" = 1 ]; then
  packages+=(libprotobuf-dev protobuf-compiler libssl-dev uuid-dev nlohmann-json3-dev rapidjson-dev)
fi

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$package")
  fi
done

if [ "${#missing[@]}" -gt 0 ]; then
  echo "installing: ${missing[*]}"
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update -qq
  $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
