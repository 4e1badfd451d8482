#!/usr/bin/env bash
# Every file and folder that a document names between backticks is there: named_files.sh TOP DOCUMENT... A name counts that
# has a slash, or one of the endings of sources; what stands below build/ is made, and patterns stand for many.
set -euo pipefail
cd "$1"
shift
passed=0 failed=0
while read -r document name; do
    if [ -e "$name" ]; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
        echo "$document names $name, which is not there"
    fi
done < <(for document; do
    grep -oE '`[^` ]+`' "$document" | tr -d '`' | sort -u |
        grep -E '^(\.github|bench|cmake|codecs|docs|examples|fuzz|include|localmapi|packaging|platform|scripts|src|tests|tools)/[A-Za-z0-9_./-]*$|^[A-Za-z]+\.(md|txt)$' |
        sed "s|^|$document |"
done)
echo "[  PASSED  ] $passed tests."
[ $failed -eq 0 ] || echo "[  FAILED  ] $failed tests."
[ $failed -eq 0 ] && [ $passed -gt 0 ]
