# shipped_pe.sh FILE x86|x64 OBJDUMP NM ADDR2LINE SOURCE-DIR BUILD-DIR: a DLL or program of Windows as users get it.
set -u
export LC_ALL=C TZ=UTC0
file=$1 width=$2 objdump=$3 nm=$4 addr2line=$5 source=$6 build=$7 here=$(dirname "$0") failed=0
wrong() {
    printf '%s: %s\n' "$file" "$*"
    failed=1
}
headers=$("$objdump" -p "$file")
has() { grep -qE -- "$1" <<<"$headers" || wrong "$2"; }
hasnt() { ! grep -qE -- "$1" <<<"$headers" || wrong "$2"; }

case $file in *.dll) dll=yes ;; *) dll=no ;; esac
has '^Time/Date[[:space:]]+Thu Jan  1 00:00:00 1970$' "it has a time inside"
has '^MajorSubsystemVersion[[:space:]]+6$' "its subsystem is not that of Windows 7"
has '^MinorSubsystemVersion[[:space:]]+1$' "its subsystem is not that of Windows 7"
has '^MajorOSystemVersion[[:space:]]+6$' "its system is not Windows 7"
has 'DYNAMIC_BASE' "its address is not chosen when it is loaded"
has 'NX_COMPAT' "its data can be executed"
has 'Base Relocation Directory' "it can't be moved"
if [ "$width" = x64 ]; then
    has 'HIGH_ENTROPY_VA' "its address is chosen from 32 bits"
    has '^Magic[[:space:]]+020b' "it is no PE32+"
else
    has '^Magic[[:space:]]+010b' "it is no PE32"
    [ $dll = no ] || has 'NO_SEH' "handlers in it could be entered"
fi
"$nm" "$file" 2>&1 | grep -q 'no symbols' || wrong "it is not stripped"
"$objdump" -h "$file" | grep -qE '\.debug_' && wrong "it has debug data"
"$nm" "$file.debug" | grep -qF __stack_chk_fail || wrong "its stack is not guarded"

# No path of the machine that it was built on.
for path in "$source" "$build"; do
    ! grep -aqF -- "$path" "$file" || wrong "it names $path"
    ! grep -aqF -- "$path" "$file.debug" || wrong "its debug data name $path"
done

# Whatever address a crash has, its function and line are found.
mapfile -t addresses < <("$nm" "$file.debug" |
    awk '$2 ~ /^[tT]$/ && $3 ~ /^_+Z.*(CMAPIImpl|localmapi|tool)/ && ++count <= 50 { print "0x" $1 }')
found=$("$addr2line" -f -e "$file.debug" "${addresses[@]}" | grep -cE '\.(c|cpp|h|hpp):[1-9]')
[ "${#addresses[@]}" -ge 20 ] && [ "$found" -ge $((${#addresses[@]} * 9 / 10)) ] ||
    wrong "of ${#addresses[@]} addresses the lines of $found are found"

# What it asks of the system is there on the oldest Windows that is supported, and in Wine.
wine=/usr/lib/i386-linux-gnu/wine/i386-windows
[ "$width" = x86 ] || wine=/usr/lib/x86_64-linux-gnu/wine/x86_64-windows
imports=$(awk '/DLL Name:/ { dll = tolower($3) } /^\t[0-9a-f]+\t *[0-9]+ / { print dll, $3 }' <<<"$headers" |
    grep -v '^orlmapi32\.dll ' | sort -u)
[ "$(wc -l <<<"$imports")" -ge 20 ] || wrong "its imports were not found"
while read -r import; do
    grep -qxF -- "$import" "$here/windows7.txt" || wrong "$import is not in the list of Windows 7"
done <<<"$imports"
for dll in $(cut -d' ' -f1 <<<"$imports" | sort -u); do
    exported=$("$objdump" -p "$wine/$dll" | awk '/Ordinal\/Name Pointer/ { names = 1 } names && /^\t\[ *[0-9]+\]/ { print $NF }')
    while read -r name; do
        grep -qxF -- "$name" <<<"$exported" || wrong "Wine's $dll has no $name"
    done < <(awk -v dll="$dll" '$1 == dll { print $2 }' <<<"$imports")
done
exit $failed
