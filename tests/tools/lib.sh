# For the scripts of this folder: CASE.sh BIN-DIR WORK-DIR EXE-SUFFIX [RUNNER]. Each expectation is a case; the last
# line counts them as a test program does.
set -u
bin=$1 work=$2 suffix=$3 runner=${4:-}
rm -rf "$work"
mkdir -p "$work"
cd "$work" || exit 1
export LOCALMAPI_FILE=$work/site.db ORLMAPI_SETTINGS=$work/settings.json
unset ORLMAPI_DEBUG
passed=0 failed=0

run() { # PROGRAM ARGS...
    if [ -n "$runner" ]; then "$runner" "$bin/$1$suffix" "${@:2}"; else "$bin/$1$suffix" "${@:2}"; fi
}
good() { passed=$((passed + 1)); }
bad() {
    failed=$((failed + 1))
    printf 'FAILED: %s\n' "$*"
    sed 's/^/  out: /' out.txt
    sed 's/^/  err: /' err.txt
}

# expect STATUS PROGRAM ARGS...: runs it; what it printed is in out.txt and err.txt
expect() {
    local wanted=$1 status=0
    shift
    run "$@" >out.txt 2>err.txt </dev/null || status=$?
    if [ "$status" = "$wanted" ]; then good; else bad "$* ended with $status, not $wanted"; fi
}
# The last command's output has, or its errors have, a line that matches; errors are silent.
out() { if grep -qE -- "$1" out.txt; then good; else bad "no line of the output matches: $1"; fi; }
err() { if grep -qE -- "$1" err.txt; then good; else bad "no line of the errors matches: $1"; fi; }
silent() { if [ ! -s err.txt ]; then good; else bad "something was written to the errors"; fi; }
# The last command's output is JSON for which the expression is true.
json() { if jq -e "$@" out.txt >/dev/null 2>&1; then good; else bad "not so: $*"; fi; }
same() { if cmp -s "$1" "$2"; then good; else bad "$1 and $2 differ"; fi; }
equal() { if [ "$1" = "$2" ]; then good; else bad "\"$1\" is not \"$2\""; fi; }

# wave FILE SECONDS [TAG]: a WAVE file, 8 kHz, 8 bits, mono
wave() {
    local bytes=$(($2 * 8000)) tag=${3:-1}
    little() { printf "\\x$(printf %02x $(($1 & 255)))\\x$(printf %02x $((($1 >> 8) & 255)))\\x$(printf %02x $((($1 >> 16) & 255)))\\x$(printf %02x $((($1 >> 24) & 255)))"; }
    {
        printf RIFF
        little $((bytes + 36))
        printf 'WAVEfmt '
        little 16
        little $((tag + 65536))
        little 8000
        little 8000
        little $((1 + 8 * 65536))
        printf data
        little "$bytes"
        head -c "$bytes" /dev/zero | tr '\0' '\200'
    } >"$1"
}
site() {
    run localmapi init --server NORVIK1 --organization Norvik >/dev/null
    run localmapi user add alice --name "Alice Archer" >/dev/null
    run localmapi user add bob --name "Bob Baker" --smtp bob@norvik.example >/dev/null
    run localmapi user add vm --name "Voicemail Service" --service >/dev/null
    run localmapi profile add Voicemail --user vm --default >/dev/null
}
finish() {
    [ $passed -gt 0 ] && printf '[  PASSED  ] %s tests.\n' "$passed"
    [ $failed -gt 0 ] && printf '[  FAILED  ] %s tests\n' "$failed"
    [ $failed -eq 0 ]
    exit
}
