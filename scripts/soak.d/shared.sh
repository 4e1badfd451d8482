# For the subjects of scripts/soak: SUBJECT_begin makes what is to be tried on, SUBJECT_try does it once (try and lane are
# set), SUBJECT_end, where there is one, looks at the whole.

# begin_random SEED, then random BELOW: picked is 0 to BELOW - 1, the same for the same seed. Never in a subshell, which has
# random numbers of its own.
begin_random() {
    RANDOM=$(($1 * 2 + 1))
    : $RANDOM $RANDOM $RANDOM # what follows from neighbouring seeds is alike at first
}
random() { picked=$(((RANDOM << 15 | RANDOM) % $1)); }

failed() { # TEXT...
    printf 'try %d (seed %d): %s\n' "$try" $((seed + try)) "$*"
}
# count WHAT [HOW-MANY]: for the figures that are printed in the end
declare -A counts
count() { counts[$1]=$((${counts[$1]:-0} + ${2:-1})); }
print_counts() {
    local what
    for what in "${!counts[@]}"; do printf 'counted %d %s\n' "${counts[$what]}" "$what"; done
}
sum_counts() { # FILES
    cat "$@" | awk '/^counted / { n = $2; sub(/^counted [0-9]+ /, ""); sum[$0] += n } END { for (what in sum) print what ": " sum[what] }' |
        sort
}

# recording FILE BYTES: a WAVE file of noise, 8 kHz, 8 bits, mono; an even number of bytes
recording() {
    local bytes=$2
    little() { printf "\\x$(printf %02x $(($1 & 255)))\\x$(printf %02x $((($1 >> 8) & 255)))\\x$(printf %02x $((($1 >> 16) & 255)))\\x$(printf %02x $((($1 >> 24) & 255)))"; }
    random 1000000
    {
        printf RIFF
        little $((bytes + 36))
        printf 'WAVEfmt '
        little 16
        little 65537
        little 8000
        little 8000
        little $((1 + 8 * 65536))
        printf data
        little "$bytes"
        LC_ALL=C awk -v bytes="$bytes" -v seed=$picked 'BEGIN { srand(seed); while (bytes-- > 0) printf "%c", 1 + int(rand() * 255) }'
    } >"$1"
}
# people NAME...: a site with users of these names, and a service account who may open all mailboxes
people() {
    localmapi init --server NORVIK1 --organization Norvik
    local name
    for name; do localmapi user add "$name" --name "$name"; done
    localmapi user add vm --name "Voicemail Service" --service
    localmapi profile add Voicemail --user vm --default
}
as_vm=(orlmapi --profile Voicemail)
