#!/usr/bin/env bash
# Makes sure the build dependencies are on this (Debian) machine. As root it
# installs whatever is missing; otherwise it prints the one command to run.
set -euo pipefail

missing=()

need_cmd() {  # need_cmd COMMAND PACKAGE
  command -v "$1" >/dev/null 2>&1 || missing+=("$2")
}
need_file() {  # need_file PACKAGE FILE-GLOB...
  local pkg=$1 f
  shift
  for f in "$@"; do
    [ -e "$f" ] && return 0
  done
  missing+=("$pkg")
}

need_cmd cmake cmake
need_cmd ninja ninja-build
need_cmd g++ g++
need_cmd clang++ clang
need_cmd python3 python3
need_cmd pkg-config pkg-config
need_cmd clang-format clang-format
need_cmd ip iproute2
need_file libgtest-dev /usr/include/gtest/gtest.h
need_file libgmock-dev /usr/include/gmock/gmock.h
need_file libbenchmark-dev /usr/include/benchmark/benchmark.h
# Sanitizer and libFuzzer runtimes for clang.
need_file libclang-rt-14-dev /usr/lib/llvm-14/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a

[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -ne 0 ]; then
  echo "Missing build dependencies. Install them with:" >&2
  echo "  sudo apt-get install -y --no-install-recommends ${missing[*]}" >&2
  exit 1
fi

echo "Installing build dependencies: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update </dev/null
apt-get install -y --no-install-recommends "${missing[@]}" </dev/null
