#!/usr/bin/env bash
# Builds the libFuzzer targets with clang++ (in build-fuzz/) and runs each on its corpus.
#   fuzz/run.sh [-t SECONDS] [-n RUNS] [TARGET...]
# Default: every target for 600 seconds. -n stops a target after RUNS executions instead.
# New inputs go to build-fuzz/fuzz/work/<target>/corpus, findings (crash-*, timeout-*, leak-*)
# beside it; keep every finding under tests/data/<target>/ and fix the library.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${KXXML_FUZZ_BUILD_DIR:-$root/build-fuzz}
limit=(-max_total_time=600)
while getopts "t:n:" option; do
    case $option in
        t) limit=(-max_total_time="$OPTARG") ;;
        n) limit=(-runs="$OPTARG") ;;
        *) sed -n 2,6p "$0"; exit 2 ;;
    esac
done
shift $((OPTIND - 1))
targets=("$@")
((${#targets[@]})) || targets=(textform_to_xml xml_to_textform typed_values host_textform dataset)

cmake -S "$root" -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DKXXML_BUILD_FUZZ=ON \
      -DKXXML_BUILD_TESTS=OFF -DKXXML_BUILD_EXAMPLES=OFF -DKXXML_BUILD_BENCH=OFF >/dev/null
cmake --build "$build" -j2 --target "${targets[@]/#/fuzz_}"

# ASan's fill of fresh memory costs more than it finds here (the checks read what they write).
export ASAN_OPTIONS=${ASAN_OPTIONS:-max_malloc_fill_size=0}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1}
status=0
for target in "${targets[@]}"; do
    work="$build/fuzz/work/$target"
    mkdir -p "$work/corpus"
    echo "== $target"
    "$build/bin/fuzz_$target" "${limit[@]}" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="$work/" "$work/corpus" "$root/fuzz/corpus/$target" >"$work/log" 2>&1 || status=1
    grep -E "^Done|stat::number_of_executed_units|stat::peak_rss_mb|ERROR|broken|SUMMARY" "$work/log" || true
done
exit $status
