# ends.sh BIN-DIR WORK-DIR EXE-SUFFIX [RUNNER]: every way in which a host ends, in every state of the library: within two
# seconds, and with the host's own status. TIMES (1) says how often each.
. "$(dirname "$0")/../tools/lib.sh" "$@"
library=$bin/libOrlMapi32.so.1 ways=(unload exit return crash) crashed=139
if [ -n "$suffix" ]; then
    library=$bin/OrlMapi32.dll ways+=(kill) crashed=5 # the low byte of STATUS_ACCESS_VIOLATION
fi
# A host that ends at once gives nothing back, and its crash is its own; a sanitizer would report both.
export ASAN_OPTIONS=detect_leaks=0:handle_segv=0 TSAN_OPTIONS=handle_segv=0:report_thread_leaks=0:atexit_sleep_ms=0
# Wine would start its debugger for a crash.
export WINEDLLOVERRIDES='winedbg.exe=;winemenubuilder.exe=;mscoree=;mshtml='
site
run localmapi fill --user alice --count 2000 --mix voicemail >/dev/null
longest=0
ends() { # WAY STATE [VARIABLE=VALUE]: TIMES times
    local status nanoseconds wanted=7 time
    [ "$1" != crash ] || wanted=$crashed
    for ((time = 1; time <= ${TIMES:-1}; ++time)); do
        read -r status nanoseconds < <( (
            [ $# -eq 2 ] || export "$3"
            status=0
            run ends "$library" Voicemail alice "$1" "$2" 2>err.txt </dev/null || status=$?
            echo "status $status"
        ) | while read -r line; do
            [ "${line%$'\r'}" != ending ] || began=$(date +%s%N)
            case $line in status*) echo "${line#status } $(($(date +%s%N) - ${began:-0}))" ;; esac
        done)
        : >out.txt
        if [ "$status" = "$wanted" ] && [ "$nanoseconds" -lt 2000000000 ]; then
            good
        else
            bad "$1 while $2: status $status after $((nanoseconds / 1000000)) ms"
        fi
        [ "$nanoseconds" -le "$longest" ] || longest=$nanoseconds
    done
}
for way in "${ways[@]}"; do
    for state in idle watching callback; do ends "$way" "$state"; done
    # Each of MAPI's calls takes its time, and a page is some of them: the thread is inside one.
    ends "$way" call LOCALMAPI_BEHAVIOUR=slow=20
done
if [ -n "$suffix" ]; then
    for way in unload exit return; do ends "$way" without WINEDLLOVERRIDES="$WINEDLLOVERRIDES;localmapi="; done
    ends unload late
fi
[ -z "${FIGURES:-}" ] || echo "ends: ${TIMES:-1} times each, the longest took $((longest / 1000000)) ms"
finish
