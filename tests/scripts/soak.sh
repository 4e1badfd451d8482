#!/usr/bin/env bash
# What scripts/soak can't be asked: soak.sh SCRIPT. Nothing is built or tried for it.
set -euo pipefail
script=$1
passed=0
fail() { echo "$*"; exit 1; }

# refused WHY ARGUMENTS...: as used wrongly, with exactly this
refused() {
    local why=$1 said status=0
    shift
    said=$("$script" "$@" 2>&1) || status=$?
    [ "$status" = 2 ] || fail "$*: status $status instead of: $why"
    [ "$said" = "soak: $why (see scripts/soak --help)" ] || fail "$*: $said"
    passed=$((passed + 1))
}
refused '"" is nothing to try'
refused '"nothing" is nothing to try' nothing 5
refused '"../kills" is nothing to try' ../kills
for number in 0 -0 many 1.5 ''; do
    case $number in
        -*) refused "no such option: $number" kills "$number" ;;
        '') ;;
        *) refused "\"$number\" is no number of tries" damaged "$number" ;;
    esac
done
refused '"5" is one argument too many' disks 5 5
refused '--seed takes a value' kills 5 --seed
for seed in -1 x 1234567890; do refused "\"$seed\" is no seed" kills 5 --seed "$seed"; done
refused 'no such option: --sede' kills --sede 5

# Its help names every subject that it has, and each has its file.
help=$("$script" --help)
for file in "$(dirname "$script")"/soak.d/*.sh; do
    subject=$(basename "$file" .sh)
    case $subject in
        shared | *_*) continue ;;
    esac
    grep -qE "^  $subject \[N\]" <<<"$help" || fail "the help does not name $subject"
    refused "\"x\" is no number of tries" "$subject" x
done
echo "[  PASSED  ] $passed tests."
