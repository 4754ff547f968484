#!/usr/bin/env bash
# Runs the kxxml tool built with one Qt version and the one built with the other on the same
# inputs and compares what they print: standard output byte for byte (the library writes
# every element's attributes in order of their names, so XML text needs no normalising),
# the exit status and standard error.
# Usage: tests/compare-qt-outputs.sh TOOL_A TOOL_B
set -uo pipefail
if (($# != 2)); then
    echo "usage: $0 TOOL_A TOOL_B" >&2
    exit 2
fi
tool_a=$(realpath -e "$1") && tool_b=$(realpath -e "$2") || exit 2
for tool in "$tool_a" "$tool_b"; do
    [[ -x $tool ]] || { echo "$0: $tool is not a program" >&2; exit 2; }
done
data=$(cd "$(dirname "$0")/data/tool" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$data" || exit 2

# Negative and wide numbers in every number form of a letter, and signed page numbers.
printf 'SI 1F\n10 Numbers\n12 2 26 4294967295\n17 2 -1 5\n19 1 -7\n1C -9223372036854775807\n1D 2 255 18446744073709551615\nTI 0\n' \
    >"$work/numbers.txt"
# XML with CR LF line ends and blanks in an attribute value, which XML turns into spaces.
printf '<packetable datatype="1f" hkey="3" key="12" name="L\tM">\r\n <item datatype="1F">\r\n  <_10 value="a&#9;b\tc\nd\r\ne"/>\r\n </item>\r\n</packetable>\r\n' \
    >"$work/blanks.xml"
printf 'SI 5\n01 Negative\n02 -2147483648\n03 -3\n04 2 a\rb\nTI 0\n' >"$work/section.txt"

cases=0
failed=0
# check NAME COMMAND...: runs the command with each tool as $KXXML and compares the results.
check() {
    local name=$1 side
    shift
    cases=$((cases + 1))
    for side in a b; do
        local tool=tool_$side
        KXXML=${!tool} bash -c "$*" >"$work/$side.out" 2>"$work/$side.err" </dev/null
        echo "exit status $?" >>"$work/$side.err"
    done
    if ! cmp -s "$work/a.out" "$work/b.out" || ! cmp -s "$work/a.err" "$work/b.err"; then
        failed=$((failed + 1))
        echo "DIFFERENT: $name ($*)"
        diff -u --label "$tool_a" --label "$tool_b" "$work/a.out" "$work/b.out" | head -40
        diff -u --label "$tool_a (stderr)" --label "$tool_b (stderr)" "$work/a.err" "$work/b.err" | head -20
    elif [[ ! -s $work/a.out && $name != error:* ]]; then
        failed=$((failed + 1))
        echo "EMPTY: $name ($*) printed nothing: $(head -c 300 "$work/a.err")"
    fi
}

# Replies to requests on the built-in dataset, and the scripted session.
check "request outputs" '$KXXML request outputs'
check "request publications" '$KXXML request publications --db a:1 --db a:2'
check "request books" '$KXXML request books --db b:1 --db b:2'
check "request jobs" '$KXXML request jobs --db a:1 --db a:2'
check "request jobs with publications" '$KXXML request jobs --db a:2 --include-publications'
check "request jobs without publications" '$KXXML request jobs --db a:1 --exclude-publications'
check "request on small dataset" '$KXXML request outputs --dataset small.json'
check "demo" '$KXXML demo'
# Host text forms to XML and back.
for input in letter.txt job.txt "$work/numbers.txt" "$work/section.txt"; do
    check "to-xml $(basename "$input")" "\$KXXML to-xml --name Sample --key 12:3 '$input'"
    check "to-text $(basename "$input")" "\$KXXML to-xml '$input' | \$KXXML to-text --check"
done
check "to-text of XML with blanks" "\$KXXML to-text --check '$work/blanks.xml'"
check "to-text of a reply" '$KXXML request jobs --db a:2 --include-publications | sed -n "/<packetable/,/<\/packetable>/p;/<\/packetable>/q" | $KXXML to-text'
# Archive entries with their references inlined.
check "archive by name" '$KXXML archive --name Memo'
check "archive by key" '$KXXML archive --key 12:3'
check "archive references" '$KXXML archive --name Memo --references'
# Errors: the same message and exit status.
check "error: no reply" '$KXXML request books --db b:2'
check "error: failing query" '$KXXML request outputs --dataset failing.json'
check "error: bad dataset" '$KXXML request jobs --dataset bad-page.json'
check "error: bad tag" '$KXXML to-xml bad-tag.txt'
check "error: bad number" '$KXXML to-xml bad-number.txt'
check "error: malformed xml" '$KXXML to-text malformed.xml'
check "error: too deep" '$KXXML to-text deep.xml'
check "error: entity bomb" '$KXXML to-text bomb.xml'
check "error: rejected by host" '$KXXML to-text --check rejected.xml'

echo "$((cases - failed)) of $cases cases print the same with both tools"
((failed == 0))
