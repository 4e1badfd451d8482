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
for way in "${ways[@]}"; do
    for state in idle watching callback call; do
        for ((time = 1; time <= ${TIMES:-1}; ++time)); do
            status=0
            ended=$( (
                run ends "$library" Voicemail alice "$way" "$state" 2>err.txt </dev/null
                echo "status $?"
            ) | while read -r line; do
                [ "${line%$'\r'}" != ending ] || began=$(date +%s%N)
                case $line in status*) echo "${line#status } $(($(date +%s%N) - ${began:-0}))" ;; esac
            done)
            read -r status nanoseconds <<<"$ended"
            wanted=7
            [ "$way" != crash ] || wanted=$crashed
            : >out.txt
            if [ "$status" = "$wanted" ] && [ "$nanoseconds" -lt 2000000000 ]; then
                good
            else
                bad "$way while $state: status $status after $((nanoseconds / 1000000)) ms"
            fi
            [ "$nanoseconds" -le "$longest" ] || longest=$nanoseconds
        done
    done
done
[ -z "${FIGURES:-}" ] || echo "ends: ${TIMES:-1} times each, the longest took $((longest / 1000000)) ms"
finish
