# lifetime.sh BIN-DIR WORK-DIR EXE-SUFFIX [RUNNER]: the libraries loaded and unloaded, alone and with a mailbox's page.
# ROUNDS (150) and CONNECTED (40) say how often; FIGURES=yes shows what was counted.
. "$(dirname "$0")/../tools/lib.sh" "$@"
# What the allocator keeps for each thread would count as in use.
export GLIBC_TUNABLES=glibc.malloc.tcache_count=0:glibc.malloc.arena_max=1
rounds=${ROUNDS:-150} connected=${CONNECTED:-40}
if [ -n "$suffix" ]; then libraries=(OrlMapi32.dll localmapi.dll); else libraries=(libOrlMapi32.so.1 libmapi32.so.1); fi
figures() { [ -z "${FIGURES:-}" ] || { printf '%s\n' "$*" && cat out.txt; }; }

site
run localmapi fill --user alice --count 60 --mix voicemail >/dev/null
for library in "${libraries[@]}"; do
    expect 0 lifetime "$bin/$library" "$rounds"
    figures "$library"
done
expect 0 lifetime "$bin/${libraries[0]}" "$connected" Voicemail alice
figures "${libraries[0]} with a page"
finish
