#!/bin/sh
# Builds the fuzzers and gives each so many random and mutated inputs (200000, or as asked for), under the address
# and undefined-behaviour sanitizers. Needs clang++ and its runtime (libclang-rt-dev). What makes one fail is kept in
# the build folder as crash-…; what was found interesting is kept there too and serves the next run.
#
#   tests/fuzz/run.sh [RUNS] [BUILD-FOLDER]
set -eu
here=$(cd "$(dirname "$0")" && pwd)
runs=${1:-200000}
build=${2:-$here/../../build/fuzz}

cmake -S "$here" -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=clang++ >/dev/null
cmake --build "$build" >/dev/null || cmake --build "$build"
export ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1
cd "$build"
for fuzzer in callback records; do
  mkdir -p "corpus-$fuzzer"
  ./$fuzzer -runs="$runs" -max_len=4096 -timeout=10 -close_fd_mask=1 -print_final_stats=1 \
    -dict="$here/$fuzzer.dict" "corpus-$fuzzer" "$here/$fuzzer" 2>"$fuzzer.log" ||
    { tail -n 60 "$fuzzer.log" >&2; exit 1; }
  echo "$fuzzer: $(sed -n 's/^stat::number_of_executed_units: *//p' "$fuzzer.log") inputs, nothing found"
done
