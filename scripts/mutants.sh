#!/usr/bin/env bash
# Runs the test suite against deliberate faults (scripts/mutants.txt), one at a time, and
# says which faults the suite catches and with which tests. A developer tool: slow (a build
# and a suite run per fault), never part of CI.
#
#   scripts/mutants.sh [-o RESULTS] [-w DIR] [-t SECONDS] [-k] [-a BUILD RESULTS2] [ID...]
#       Copies the work tree (tracked and untracked files, as they are now) to DIR/tree,
#       builds it in DIR/build (Release, incremental; tests are not relinked when a library
#       changes), checks that the suite passes there, then for each fault (all, or the IDs
#       given): puts it into the copy, rebuilds, runs ctest with a per-test timeout and takes
#       the fault out again. Writes RESULTS (tab-separated: id, result, failing tests) and
#       prints a table and a summary. The work tree itself is never written to.
#       -k keeps DIR/tree as it is instead of copying the work tree (to measure an earlier
#       state while the work tree changes).
#       -a also runs, for each fault, the suite already built in BUILD (for instance the work
#       tree's own build/ with a changed suite) against the faulty libraries, which
#       LD_LIBRARY_PATH puts before the ones BUILD's programs were linked with; its results go
#       to RESULTS2. One build per fault then measures two suites: before and after. Faults in
#       tools/ change the copy's kxxml program, which BUILD's tests do not run: BUILD's suite
#       misses them by construction, so measure those with a run of their own.
#   scripts/mutants.sh --compare BEFORE AFTER
#       Compares two RESULTS files: faults caught before and missed after, and the counts.
#
# Defaults: DIR build-mutants, RESULTS DIR/results.tsv, SECONDS 60. The consumer_project
# test (an outside project built against the installed tree) is left out: it tests the
# packaging, not the code, and would install and build a project for every fault.
# Results: caught (a test failed or timed out), missed (every test passed), not-compiled
# (the build failed: the entry is wrong and must be fixed).
set -euo pipefail
shopt -u patsub_replacement 2>/dev/null || true # & in a replacement is literal

root="$(cd "$(dirname "$0")/.." && pwd)"
faults="$root/scripts/mutants.txt"
work="$root/build-mutants"
results=""
timeout=60
keep=0
also=""
also_results=""

compare() {
    local before="$1" after="$2"
    awk -F'\t' '
        FNR == 1 { file++ }
        /^#/ { next }
        file == 1 { before[$1] = $2 }
        file == 2 { after[$1] = $2 }
        END {
            for (id in before) {
                nb[before[id]]++
                if (before[id] == "caught" && after[id] != "caught") {
                    printf "caught before, %s after: %s\n", (id in after ? after[id] : "absent"), id
                    lost++
                }
                if (before[id] != "caught" && after[id] == "caught")
                    printf "missed before, caught after: %s\n", id
            }
            for (id in after) na[after[id]]++
            printf "before: %d faults, %d caught, %d missed, %d not compiled\n",
                   length(before), nb["caught"], nb["missed"], nb["not-compiled"]
            printf "after:  %d faults, %d caught, %d missed, %d not compiled\n",
                   length(after), na["caught"], na["missed"], na["not-compiled"]
            if (lost) { printf "%d fault(s) caught before are no longer caught\n", lost; exit 1 }
            print "every fault caught before is still caught"
        }' "$before" "$after"
}

ids=()
while [ $# -gt 0 ]; do
    case "$1" in
        --compare) [ $# -eq 3 ] || { echo "usage: $0 --compare BEFORE AFTER" >&2; exit 2; }
                   compare "$2" "$3"; exit $? ;;
        -o) results="$2"; shift 2 ;;
        -w) work="$2"; shift 2 ;;
        -t) timeout="$2"; shift 2 ;;
        -k) keep=1; shift ;;
        -a) also="$(cd "$2" && pwd)"; also_results="$3"; shift 3 ;;
        -h|--help) sed -n '2,28p' "$0"; exit 0 ;;
        -*) echo "unknown option $1" >&2; exit 2 ;;
        *) ids+=("$1"); shift ;;
    esac
done
mkdir -p "$work"
work="$(cd "$work" && pwd)"
results="${results:-$work/results.tsv}"
tree="$work/tree"
build="$work/build"
logs="$work/logs"
mkdir -p "$tree" "$logs"
# The list as it is now: the loop below reads it line by line while the work tree may change.
cp "$faults" "$work/faults.txt"

# Undoes the fault in place in the copy, also on Ctrl-C or an error.
active_file=""
active_backup=""
restore() {
    if [ -n "$active_file" ]; then
        cp "$active_backup" "$active_file" # a new time stamp: the next build recompiles it
        active_file=""
    fi
}
# Ctrl-C reaches the running build or suite too; the loop stops once it has ended.
interrupted=0
trap 'restore' EXIT
trap 'interrupted=1' INT TERM
check_interrupted() {
    if [ "$interrupted" -eq 1 ]; then
        restore
        echo "interrupted: the copy is left without faults" >&2
        exit 130
    fi
}

# Brings the copy up to date with the work tree, touching only files whose content differs.
sync_tree() {
    (cd "$root" && git ls-files -z --cached --others --exclude-standard) >"$work/files"
    while IFS= read -r -d '' f; do
        [ -f "$root/$f" ] || continue
        if ! cmp -s "$root/$f" "$tree/$f"; then
            mkdir -p "$(dirname "$tree/$f")"
            cp "$root/$f" "$tree/$f"
        fi
    done <"$work/files"
    # Files gone from the work tree go from the copy too.
    (cd "$tree" && find . -type f -printf '%P\0') | while IFS= read -r -d '' f; do
        grep -qzxF -- "$f" "$work/files" || rm -f "$tree/$f"
    done
}

# Decodes \n, \t and \\ in a field of mutants.txt.
decode() {
    local s="$1" out="" c
    while [ -n "$s" ]; do
        c="${s:0:1}"
        if [ "$c" = '\' ] && [ ${#s} -gt 1 ]; then
            case "${s:1:1}" in
                n) out+=$'\n' ;; t) out+=$'\t' ;; *) out+="${s:1:1}" ;;
            esac
            s="${s:2}"
        else
            out+="$c"
            s="${s:1}"
        fi
    done
    printf '%s' "$out"
}

run_suite() { # $1: build dir, $2: log file; prints the failing tests, space-separated
    rm -f "$1/Testing/Temporary/LastTestsFailed.log"
    ctest --test-dir "$1" -j2 --timeout "$timeout" -E '^consumer_project$' >"$2" 2>&1 || true
    if [ -f "$1/Testing/Temporary/LastTestsFailed.log" ]; then
        cut -d: -f2- "$1/Testing/Temporary/LastTestsFailed.log" | sort | paste -sd' ' -
    fi
}

# The suite of BUILD run against the copy's (faulty) libraries.
run_also() { LD_LIBRARY_PATH="$build/lib${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}" run_suite "$also" "$1"; }

if [ "$keep" -eq 0 ]; then
    echo "copying the work tree to $tree"
    sync_tree
fi
cmake -S "$tree" -B "$build" -DCMAKE_BUILD_TYPE=Release -DCMAKE_LINK_DEPENDS_NO_SHARED=ON \
      -DKXXML_BUILD_BENCH=OFF -DKXXML_BUILD_EXAMPLES=OFF -DKXXML_BUILD_FUZZ=OFF >"$logs/configure.log" 2>&1 \
    || { echo "configure failed: $logs/configure.log" >&2; exit 1; }
echo "building the copy without faults"
cmake --build "$build" -j2 >"$logs/build-clean.log" 2>&1 \
    || { echo "build failed: $logs/build-clean.log" >&2; exit 1; }
failing="$(run_suite "$build" "$logs/suite-clean.log")"
if [ -n "$failing" ]; then
    echo "the suite fails without a fault ($failing): see $logs/suite-clean.log" >&2
    exit 1
fi
if [ -n "$also" ]; then
    failing="$(run_also "$logs/also-clean.log")"
    if [ -n "$failing" ]; then
        echo "the suite of $also fails without a fault ($failing): see $logs/also-clean.log" >&2
        exit 1
    fi
fi
check_interrupted

{
    echo "# mutants.sh $(date -u +%Y-%m-%dT%H:%M:%SZ) $(cd "$root" && git rev-parse --short HEAD)$(cd "$root" && git diff --quiet HEAD || echo '+changes')"
    echo "# id	result	tests that failed"
} >"$results"
if [ -n "$also" ]; then
    sed "s|^# mutants.sh .*|& (suite of $also)|" "$results" >"$also_results"
fi
total=0; caught=0; missed=0; broken=0; also_caught=0
printf '%-24s %-13s %s\n' "fault" "result" "caught by"
while IFS=$'\t' read -r id file original replacement description; do
    case "$id" in ''|'#'*) continue ;; esac
    if [ ${#ids[@]} -gt 0 ] && ! printf '%s\n' "${ids[@]}" | grep -qxF -- "$id"; then
        continue
    fi
    total=$((total + 1))
    target="$tree/$file"
    original="$(decode "$original")"
    replacement="$(decode "$replacement")"
    IFS= read -r -d '' text <"$target" || true
    rest="${text//"$original"/}"
    occurrences=$(( (${#text} - ${#rest}) / ${#original} ))
    if [ "$occurrences" -ne 1 ]; then
        echo "$id: the original text occurs $occurrences times in $file, not once" >&2
        printf '%s\tnot-compiled\tentry does not apply\n' "$id" >>"$results"
        printf '%-24s %-13s %s\n' "$id" "NOT COMPILED" "(entry does not apply)"
        broken=$((broken + 1))
        continue
    fi
    cp "$target" "$work/backup"
    active_backup="$work/backup"
    active_file="$target"
    printf '%s' "${text/"$original"/"$replacement"}" >"$target"
    also_result=""
    if ! cmake --build "$build" -j2 >"$logs/$id.build.log" 2>&1; then
        check_interrupted
        result="not-compiled"; tests="see logs/$id.build.log"; broken=$((broken + 1))
    else
        tests="$(run_suite "$build" "$logs/$id.ctest.log")"
        check_interrupted
        if [ -n "$tests" ]; then
            result="caught"; caught=$((caught + 1))
        else
            result="missed"; tests="-"; missed=$((missed + 1))
        fi
        if [ -n "$also" ]; then
            also_tests="$(run_also "$logs/$id.also.log")"
            check_interrupted
            if [ -n "$also_tests" ]; then
                also_result="caught"; also_caught=$((also_caught + 1))
            else
                also_result="missed"; also_tests="-"
            fi
            printf '%s\t%s\t%s\n' "$id" "$also_result" "$also_tests" >>"$also_results"
        fi
    fi
    restore
    printf '%s\t%s\t%s\n' "$id" "$result" "$tests" >>"$results"
    printf '%-24s %-13s %s\n' "$id" "$result" "$tests"
    [ -z "$also_result" ] || printf '%-24s %-13s %s\n' "  (also)" "$also_result" "$also_tests"
done <"$work/faults.txt"
# The last fault's file was put back: build once more so that the copy ends without faults.
cmake --build "$build" -j2 >"$logs/build-clean.log" 2>&1 || true

echo
echo "faults: $total, caught: $caught, missed: $missed, not compiled: $broken"
echo "results: $results"
if [ -n "$also" ]; then
    echo "suite of $also: caught: $also_caught of $((total - broken)) that compiled"
    echo "results: $also_results"
fi
[ "$broken" -eq 0 ]
