# Disks of their own, in memory, of 40 to 70 MB; one in four so small (3 to 30 MB) that there is no room for the reserve, where
# less is promised: a write that fails says why, and nothing is lost. They are mounted in a namespace, which needs no rights
# where the system lets users have them.
disks_around() { # COMMAND...
    local how
    for how in -Urm -m; do
        ! unshare $how true 2>/dev/null || exec unshare $how "$@"
    done
    die "disks: this system lets $(id -un) have no namespace to mount a disk in (unshare -Urm)"
}
disks_begin() {
    local i
    for ((i = 0; i < 12; ++i)); do
        random 12
        recording recording.$i $(((picked + 1) * (i < 3 ? 2000 : 150000)))
    done
    recording recording.large 24000000 # more than the reserve, which a deletion may have given up
}

# on_disk: what takes the room
on_disk() {
    printf '%s MB, %s free, ' "$size" "$(free_now)"
    find "$disk" -type f -printf '%f=%s '
}
# must COMMAND...: it has to be done.
must() {
    local before
    before=$(on_disk)
    timeout 60 "$@" >"out.$lane" 2>&1 </dev/null || failed "status $?, $when: $*; before: $before" $'\n'"$(cat "out.$lane")"
}
# written SUBJECT RECORDING: by one way or the other; false where the disk is full, and a failure where it says anything else.
written() {
    local status=0
    random 2
    if [ $picked = 0 ]; then
        timeout 60 localmapi deliver voicemail --to alice --wav "$2" --from-number 1 --subject "$1" >"write.$lane.$writer" 2>&1 || status=$?
    else
        timeout 60 "${as_vm[@]}" send-voicemail alice --from vm --wav "$2" --seconds 1 --subject "$1" >"write.$lane.$writer" 2>&1 || status=$?
    fi
    if [ $status = 0 ]; then
        echo "$1 $2" >>"written.$lane.$writer"
        return 0
    fi
    count "writes that found the disk full"
    [ $status = 1 ] && grep -qE '\(disk full\)|NOT_ENOUGH_DISK|to make it|No space left' "write.$lane.$writer" ||
        failed "status $status, size $size MB, $when:" $'\n'"$(cat "write.$lane.$writer")"
    return 1
}
# write_until_full: by three at once
write_until_full() {
    local pids=() seeds=() writer i
    for writer in 0 1 2; do
        random 1000000
        seeds+=("$picked")
    done
    for writer in 0 1 2; do
        (
            counts=()
            begin_random "${seeds[writer]}"
            for ((i = 0; i < 2000; ++i)); do
                random 12
                written "$when.$writer.$i" recording.$picked || break
            done
            [ $i -lt 2000 ] || failed "the disk of $size MB is never full"
            print_counts
        ) &
    done
    wait
}
free_now() { df --output=avail -B1 "$disk" | tail -1 | tr -d ' '; }
fill_the_rest() {
    dd if=/dev/zero of="$disk/rest" bs=64k status=none 2>/dev/null || true
    dd if=/dev/zero of="$disk/rest2" bs=4k status=none 2>/dev/null || true
    [ "$(free_now)" = 0 ] || failed "$(free_now) bytes are free on a disk of $size MB that is filled up"
}
# Everything that was acknowledged, and not deleted, once and whole
all_there() {
    local subject file got
    cat written.$lane.* >written.$lane 2>/dev/null
    localmapi --json list --user alice 2>"out.$lane" | jq -r '.[] | "\(.subject) \(.entryId)"' | sort >"there.$lane"
    while read -r subject file; do
        grep -qxF "$subject" "deleted.$lane" && continue
        got=$(awk -v subject="$subject" '$1 == subject { print $2 }' "there.$lane")
        if [ "$(wc -w <<<"$got")" != 1 ]; then
            failed "$subject is there $(wc -w <<<"$got") times, size $size MB, $when: $(cat "out.$lane")"
            continue
        fi
        rm -f "saved.$lane"
        must "${as_vm[@]}" save alice "$got" 0 "saved.$lane"
        cmp -s "saved.$lane" "$file" || failed "$subject is not $file, size $size MB, $when"
        count "recordings that were there"
    done <"written.$lane"
}
disks_try() {
    local disk=$work/disk.$lane size when=before small=0 entry subject i writer=9 reserve
    local -x LOCALMAPI_FILE=$work/disk.$lane/site.db ORLMAPI_SETTINGS=$work/settings.$lane.json
    random 4
    if [ $picked = 0 ]; then
        small=1
        random 28
        size=$((picked + 3))
    else
        random 31
        size=$((picked + 40))
    fi
    rm -f written.$lane* "deleted.$lane"
    touch "deleted.$lane" written.$lane.9
    mkdir -p "$disk"
    mount -t tmpfs -o size=${size}m none "$disk"
    people alice bob >"out.$lane" 2>&1 || failed "there is no room for a site on $size MB: $(cat "out.$lane")"
    when=filling
    write_until_full
    fill_the_rest
    when=full
    if [ $small = 0 ]; then
        # With nothing free: logging on with a profile that is made for it, reading, deleting, and what a write says.
        must localmapi --json list --user alice
        must orlmapi --server NORVIK1 --mailbox alice list alice --um
        all_there
        must localmapi --json list --user alice
        jq -r 'sort_by(-.size)[0:3][] | "\(.entryId) \(.subject)"' "out.$lane" >"some.$lane"
        while read -r entry subject; do
            must orlmapi --server NORVIK1 --mailbox alice delete alice "$entry"
            echo "$subject" >>"deleted.$lane"
        done <"some.$lane"
        ! written large recording.large || failed "24 MB are written where nothing is free, size $size MB"
        when=purging
        must localmapi purge --deleted --older-than 0
        all_there
        # What was purged has made room for others.
        when=reusing
        writer=8
        written reused "recording.0" || failed "nothing can be written after a purge, size $size MB: $(cat write.$lane.8)"
    fi
    rm -f "$disk/rest" "$disk/rest2"
    when=again
    if [ $small = 1 ]; then
        # What others took is free again; of its own it frees nothing.
        must localmapi check
        all_there
        count "small disks that were filled"
    else
        when=writing
        for i in 1 2 3; do
            writer=8
            written again$i recording.0 || failed "nothing can be written with room again, size $size MB: $(cat write.$lane.8)"
        done
    fi
    must localmapi check
    all_there
    umount "$disk"
    count "disks that were filled"
}
