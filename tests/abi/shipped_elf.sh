# shipped_elf.sh FILE READELF NM ADDR2LINE SOURCE-DIR BUILD-DIR: a library or program of Linux as users get it.
set -u
file=$1 readelf=$2 nm=$3 addr2line=$4 source=$5 build=$6 failed=0
wrong() {
    printf '%s: %s\n' "$file" "$*"
    failed=1
}
dynamic=$("$readelf" -Wd "$file") segments=$("$readelf" -Wl "$file")
grep -q 'GNU_RELRO' <<<"$segments" || wrong "its tables can be written to"
grep -qE 'BIND_NOW|Flags:.* NOW' <<<"$dynamic" || wrong "its functions are bound when they are called"
grep 'GNU_STACK' <<<"$segments" | grep -q 'RW ' || wrong "its stack can be executed"
grep -q 'TEXTREL' <<<"$dynamic" && wrong "its code is changed when it is loaded"
grep -qE 'Type:[[:space:]]+DYN' < <("$readelf" -h "$file") || wrong "its address is fixed"
path=$(sed -nE 's/.*(RUNPATH|RPATH).*\[(.*)\]/\2/p' <<<"$dynamic")
[[ $path =~ ^(\$ORIGIN(/\.\./lib[^:]*)?:?)*$ ]] || wrong "it looks for libraries in $path"
"$nm" "$file" 2>&1 | grep -q 'no symbols' || wrong "it is not stripped"
"$nm" -D "$file" | grep -q '__stack_chk_fail' || wrong "its stack is not guarded"
"$nm" -D "$file" | grep -qE '__[a-z]+_chk(@|$)' || wrong "its calls of the C library are not checked"
for path in "$source" "$build"; do
    ! grep -aqF -- "$path" "$file" || wrong "it names $path"
    ! grep -aqF -- "$path" "$file.debug" || wrong "its debug data name $path"
done
mapfile -t addresses < <("$nm" "$file.debug" |
    awk '$2 ~ /^[tT]$/ && $3 ~ /^_+Z.*(CMAPIImpl|localmapi|tool)/ && ++count <= 50 { print "0x" $1 }')
found=$("$addr2line" -f -e "$file.debug" "${addresses[@]}" | grep -cE '\.(c|cpp|h|hpp):[1-9]')
[ "${#addresses[@]}" -ge 20 ] && [ "$found" -ge $((${#addresses[@]} * 9 / 10)) ] ||
    wrong "of ${#addresses[@]} addresses the lines of $found are found"
exit $failed
