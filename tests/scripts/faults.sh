#!/usr/bin/env bash
# Every fault that mapitest is to find can be planted in the sources as they are: faults.sh TOP.
set -uo pipefail
top=$1
status=0
count=0
for fault in "$top"/tests/mapitest/faults/*.patch; do
    patch --dry-run --fuzz=0 -s -f -p1 -d "$top" <"$fault" || {
        echo "$(basename "$fault") can't be planted"
        status=1
    }
    count=$((count + 1))
done
[ $count -ge 20 ] || { echo "there are $count faults"; status=1; }
exit $status
