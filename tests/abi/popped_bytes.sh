# popped_bytes.sh DLL SYMBOLS OBJDUMP NM: how many bytes each export of a 32-bit DLL takes from the stack, read from its
# machine code, against the parameters that the compiler saw in the header, which stand in the function's decorated name in
# SYMBOLS (the DLL's debug file, or itself). The code is followed from each export's entry to every return that it reaches
# within the function; a jump to another function counts as its return.
set -eu
dll=$1 symbols=$2 objdump=$3 nm=$4
base=$("$objdump" -p "$dll" | awk '/^ImageBase/ { print $2 }')
{
    "$nm" "$symbols" | awk '$2 ~ /^[Tt]$/ { print "function", $1, $3 }'
    "$objdump" -p "$dll" | awk -v base="$base" '
        /^Export Address Table/ { table = 1 }
        /^\[Ordinal\/Name Pointer\] Table/ { table = 0; names = 1 }
        table && match($0, /base\[ *[0-9]+\] [0-9a-f]+ Export RVA/) {
            line = $0; sub(/.*base\[ */, "", line); split(line, part, /\] | /)
            print "export", part[1], part[2], base
        }
        names && /^\t\[ *[0-9]+\]/ { line = $0; sub(/^\t\[ */, "", line); split(line, part, /\] */); print "name", part[1], part[2] }'
    "$objdump" -d --no-show-raw-insn "$dll" | awk -F'\t' '/^ *[0-9a-f]+:\t/ { sub(/^ */, "", $1); sub(/:$/, "", $1); sub(/ *$/, "", $2); print "code", $1, $2 }'
} | awk '
    function value(hex,   i, v) {
        v = 0; hex = tolower(hex); sub(/^0x/, "", hex)
        for (i = 1; i <= length(hex); ++i) v = v * 16 + index("0123456789abcdef", substr(hex, i, 1)) - 1
        return v
    }
    $1 == "function" { at = value($2); starts[at] = 1; if ($3 ~ /^_Orl[A-Za-z]*@[0-9]+$/) { split(substr($3, 2), part, "@"); wanted[part[1]] = part[2]; entry[part[1]] = at } }
    $1 == "export" { exported[$2] = value($3) + value($4) }
    $1 == "name" { ordinal_of[$3] = $2 }
    $1 == "code" { at = value($2); code[at] = substr($0, index($0, $3)); order[++count] = at; if (last) next_of[last] = at; last = at }
    function follow(from, name,   work, n, at, text, target, seen) {
        n = 1; work[1] = from
        while (n > 0) {
            at = work[n--]
            while ((at in code) && !(at in seen)) {
                seen[at] = 1
                if (at != from && (at in starts)) break # another function: what a call that does not return is followed by
                text = code[at]
                if (text ~ /^ret/) {
                    popped = text ~ /0x/ ? value(substr(text, index(text, "0x") + 2)) : 0
                    ++returns[name]
                    if (popped != wanted[name]) wrong(name ": returns with " popped " bytes popped, its parameters are " wanted[name])
                    break
                }
                if (text ~ /^(jmp|j[a-z]+) +[0-9a-f]+/) {
                    target = text; sub(/^j[a-z]+ +/, "", target); sub(/ .*/, "", target); target = value(target)
                    if (target in starts && target != from) { if (text ~ /^jmp/) { leaves[name] = leaves[name] " " target; break } }
                    else work[++n] = target
                    if (text ~ /^jmp/) break
                }
                at = next_of[at]
            }
        }
    }
    function wrong(what) { print what; bad = 1 }
    END {
        for (name in wanted) {
            ++functions
            if (!(name in ordinal_of)) { wrong(name ": not exported"); continue }
            if (exported[ordinal_of[name] + 1] != entry[name]) wrong(name ": the export is not the function")
            follow(entry[name], name)
            if (!returns[name]) wrong(name ": no return was found" leaves[name])
        }
        for (name in ordinal_of) if (!(name in wanted)) wrong(name ": exported without a decorated name")
        print functions " functions"
        exit bad || functions != 43
    }'
