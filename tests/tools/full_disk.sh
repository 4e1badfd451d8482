# A disk with nothing free: people log on, list and delete, the operator purges, and then there is room again. On a disk
# of its own in memory, which any user may have where the system lets him have a namespace; else it is skipped (77).
if [ -z "${FULL_DISK:-}" ]; then
    if ! unshare -rm true 2>/dev/null; then
        echo "skipped: no disk of its own to be had here"
        exit 77
    fi
    FULL_DISK=1 exec unshare -rm bash "$0" "$@"
fi
. "$(dirname "$0")/lib.sh" "$@"
mkdir disk
mount -t tmpfs -o size=160m none disk || exit 1
export LOCALMAPI_FILE=$work/disk/site.db
site
as_alice=(orlmapi --json --server NORVIK1 --mailbox alice)
reserve() { stat -c %s disk/site.db-reserve; }
free_now() { df --output=avail -B1 disk | tail -1 | tr -d ' '; }
fill_up() {
    dd if=/dev/zero of=disk/rest bs=64k >/dev/null 2>&1
    dd if=/dev/zero of=disk/rest2 bs=4k >/dev/null 2>&1
    equal "$(free_now)" 0
}

equal "$(reserve)" $((16 << 20))
expect 0 localmapi fill --user alice --count 9000
head -c 400000 /dev/zero >large.bin
for number in 1 2 3 4; do
    expect 0 localmapi deliver mail --to alice --from bob --subject "large $number" --body x --attach large.bin
done
fill_up

# Reading, with a logon that makes a profile and deletes it.
expect 0 localmapi --json list --user alice
json 'length == 9004'
expect 0 "${as_alice[@]}" list alice
json 'length > 0'
ids=($(jq -r '.[0:3][].entryId' out.txt))
equal "${#ids[@]}" 3
expect 0 localmapi info
expect 0 localmapi check

# Writing more is refused for what it is.
rm -f disk/rest2
dd if=/dev/zero of=disk/rest2 bs=4k >/dev/null 2>&1
equal "$(free_now)" 0
head -c 60000000 /dev/zero >larger.bin
expect 1 localmapi deliver mail --to alice --from bob --subject "larger" --body x --attach larger.bin
err '^localmapi: .*\(disk full\)'

# Room is made, by a client and by the operator.
for id in "${ids[@]}"; do
    expect 0 "${as_alice[@]}" delete alice "$id"
done
expect 0 localmapi --json list --user alice --folder deleted
json 'length == 3'
expect 0 localmapi --json purge --deleted --older-than 0
json '.messages == 3'
expect 0 localmapi --json purge --older-than 1
json '.messages > 7000'
for number in 1 2 3 4 5 6 7 8; do
    expect 0 localmapi deliver mail --to alice --from bob --subject "again $number" --body x --attach large.bin
done
expect 0 localmapi check

# What was given up comes back with the room for it.
rm -f disk/rest disk/rest2
expect 0 localmapi user list
expect 0 localmapi contact add "Dora Doe" --smtp dora@elsewhere.example
equal "$(reserve)" $((16 << 20))
equal "$(stat -c %a disk/site.db-reserve)" 600
finish
