#!/usr/bin/env bash
# Builds kxxml-bench in Release, runs every figure beside its baseline in one run, and
# writes the results into the docs:
#   docs/PERFORMANCE.md          the table between the "results" markers, with the machine
#   docs/performance.json        Google Benchmark's own JSON output of the run
#   docs/performance-summary.json  the figures, baselines and ratios
#   docs/jobs-scaling.png        the jobs reply by size (needs gnuplot; Debian: gnuplot-nox)
#
#   docs/PERFORMANCE.md          also the block between the "results-qt5" markers: the jobs
#                                replies, single and paged, from a Qt 5.15 build (QT5=0 skips it)
#
# Environment: BUILD_DIR (default build-bench), REPETITIONS (default 5), FILTER (a
# --benchmark_filter; by default everything), QT5 (default 1).
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$root/build-bench}
repetitions=${REPETITIONS:-5}
filter=${FILTER:-.}
docs=$root/docs
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DKXXML_BUILD_BENCH=ON \
      -DKXXML_BUILD_TESTS=OFF -DKXXML_BUILD_EXAMPLES=OFF >/dev/null
cmake --build "$build" --target kxxml-bench -j"$(nproc)"

"$build/bin/kxxml-bench" \
    --benchmark_filter="$filter" \
    --benchmark_repetitions="$repetitions" \
    --benchmark_report_aggregates_only=true \
    --benchmark_out="$docs/performance.json" --benchmark_out_format=json \
    --kx_summary="$work/summary.md" \
    --kx_summary_json="$docs/performance-summary.json" \
    --kx_scaling="$work/scaling.dat"

# The jobs replies again from a Qt 5 build: its DOM is about 2.7 times smaller per element.
if [[ ${QT5:-1} == 1 && $filter == . ]]; then
    cmake -S "$root" -B "$build-qt5" -DCMAKE_BUILD_TYPE=Release -DKXXML_BUILD_BENCH=ON \
          -DKXXML_QT_MAJOR_VERSION=5 -DKXXML_BUILD_TESTS=OFF -DKXXML_BUILD_EXAMPLES=OFF >/dev/null
    cmake --build "$build-qt5" --target kxxml-bench -j"$(nproc)"
    "$build-qt5/bin/kxxml-bench" --benchmark_filter='^(jobs_reply|paged)/' \
        --benchmark_repetitions="$repetitions" --benchmark_report_aggregates_only=true \
        --kx_summary="$work/summary-qt5.md" >/dev/null
fi

cpu=$(sed -n 's/^model name[[:space:]]*:[[:space:]]*//p' /proc/cpuinfo | head -n 1)
qt=$(sed -n 's/^Qt \([0-9.]*\) at run time.*/\1/p' "$work/summary.md")
{
    echo "<!-- results:begin (written by bench/run.sh; edit outside the markers) -->"
    echo "Run of $(date -u '+%Y-%m-%d %H:%M UTC') on $(nproc) cores, ${cpu:-unknown CPU}, Qt ${qt:-unknown};"
    echo "Release build, medians of $repetitions repetitions, CPU time. Ratio = measured / baseline."
    echo
    grep -v '^Qt .* at run time' "$work/summary.md"
    echo "<!-- results:end -->"
} >"$work/results.md"

# Replace a marked block of docs/PERFORMANCE.md (append one when there is none).
doc=$docs/PERFORMANCE.md
replace_block() { # marker, block file
    if [[ -f $doc ]] && grep -q "^<!-- $1:begin" "$doc"; then
        awk -v block="$2" -v begin="^<!-- $1:begin" -v end="^<!-- $1:end" '
            $0 ~ begin { while ((getline line < block) > 0) print line; skip = 1; next }
            $0 ~ end   { skip = 0; next }
            !skip { print }' "$doc" >"$work/doc.md"
    else
        { [[ -f $doc ]] && cat "$doc"; echo; cat "$2"; } >"$work/doc.md"
    fi
    mv "$work/doc.md" "$doc"
}
replace_block results "$work/results.md"
if [[ -f $work/summary-qt5.md ]]; then
    qt5=$(sed -n 's/^Qt \([0-9.]*\) at run time.*/\1/p' "$work/summary-qt5.md")
    {
        echo "<!-- results-qt5:begin (written by bench/run.sh; edit outside the markers) -->"
        echo "The same run, Qt ${qt5:-5}: the jobs replies, single and paged."
        echo
        grep -v '^Qt .* at run time' "$work/summary-qt5.md"
        echo "<!-- results-qt5:end -->"
    } >"$work/results-qt5.md"
    replace_block results-qt5 "$work/results-qt5.md"
fi

if command -v gnuplot >/dev/null; then
    gnuplot <<EOF
set terminal pngcairo size 800,480 noenhanced
set output "$docs/jobs-scaling.png"
set title "Jobs reply (request 1003): time and peak memory per job"
set logscale x
set xlabel "jobs in the reply"
set ylabel "time per job (µs)"
set y2label "peak heap per job (KiB)"
set ytics nomirror
set y2tics
set yrange [0:*]
set y2range [0:*]
set key bottom right
set grid
plot "$work/scaling.dat" using 1:2 with linespoints lw 2 title "time per job", \
     "$work/scaling.dat" using 1:3 axes x1y2 with linespoints lw 2 title "peak heap per job"
EOF
else
    echo "run.sh: gnuplot not found; docs/jobs-scaling.png left as it was" >&2
fi
echo "run.sh: results in $doc"
