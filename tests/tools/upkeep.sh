# What a site takes, what each mailbox may hold, and what is purged.
. "$(dirname "$0")/lib.sh" "$@"
site

expect 0 localmapi --json info
json '.file | endswith("site.db")'
json '.server == "NORVIK1" and .organization == "Norvik" and .format >= 6 and .bytes > 0 and .free >= 0 and .log >= 0'
json '.mailboxes == [{"user": "alice", "messages": 0, "bytes": 0, "quota": null},
    {"user": "bob", "messages": 0, "bytes": 0, "quota": null}, {"user": "vm", "messages": 0, "bytes": 0, "quota": null}]'

# Quotas.
expect 0 localmapi user quota alice 50KB
out '^alice has 0 bytes of 50\.0 KB$'
expect 0 localmapi --json user quota alice
json '. == {"user": "alice", "bytes": 0, "quota": 51200}'
expect 0 localmapi user add carol --name "Carol Cook" --quota 2GB
expect 0 localmapi user quota carol
out '^carol has 0 bytes of 2\.0 GB$'
for size in 0KB 12 1TB -1MB 1.5MB "" 9999999GB 99999999999999999999KB; do
    [ -z "$size" ] || expect 2 localmapi user quota alice "$size"
    [ -z "$size" ] || err "^localmapi: '$size' is no size"
done
expect 2 localmapi user add dave --name "Dave" --quota much
expect 1 localmapi user quota dave
err 'dave'
head -c 60000 /dev/zero >large.bin
expect 0 localmapi deliver mail --to alice --from bob --subject "small" --body "Hello."
expect 1 localmapi deliver mail --to alice --from bob --subject "large" --body "Hello." --attach large.bin
err '^localmapi: There is no room in the mailbox of Alice Archer \(50 KB\)\.$'
expect 0 localmapi --json list --user alice
json 'map(.subject) == ["small"]'
expect 0 localmapi user quota alice none
out '^alice has [0-9.]+ [a-zA-Z]+, without a limit$'
expect 0 localmapi deliver mail --to alice --from bob --subject "large" --body "Hello." --attach large.bin
expect 0 localmapi info
out '^alice +2 messages, [0-9.]+ KB$'
out '^carol +0 messages, 0 bytes of 2\.0 GB$'

# A purge: what it would remove, and then what it removes. Every minute back there is one message.
expect 0 localmapi fill --user bob --count 4000
expect 0 localmapi --json purge --older-than 1 --dry-run
json '.messages > 2500 and .messages < 2600 and .bytes > 0 and .dryRun'
would=$(jq .messages out.txt)
expect 0 localmapi --json info
json '(.mailboxes[] | select(.user == "bob") | .messages) == 4000'
expect 0 localmapi --json purge --older-than 1 --user alice
json '.messages == 0 and .bytes == 0'
expect 0 localmapi --json purge --older-than 1 --user bob
json ".messages >= $would and .messages < $would + 5 and (.dryRun | not)"
removed=$(jq .messages out.txt)
expect 0 localmapi --json info
json "(.mailboxes[] | select(.user == \"bob\") | .messages) == 4000 - $removed and .free > 0"
expect 0 localmapi purge --older-than 1
out '^removed [0-5] messages, '

# Deleted Items alone; today's too, with 0.
expect 0 orlmapi --server NORVIK1 --mailbox alice list alice
expect 0 localmapi purge --deleted --older-than 0
out '^removed 0 messages, 0 bytes$'
expect 2 localmapi purge --older-than 0
err '^localmapi: --older-than 0 would remove everything'
expect 2 localmapi purge
expect 2 localmapi purge --deleted
expect 2 localmapi purge --older-than -1
expect 2 localmapi purge --older-than soon
expect 2 localmapi purge --older-than 99999
expect 1 localmapi purge --older-than 1 --user nobody
err 'nobody'
expect 0 localmapi --json list --user alice
json 'length == 2'

# The file gives back what is free in it.
expect 0 localmapi --json compact
json '.before > .after and .after > 0 and .done'
expect 0 localmapi --json info
json '.free == 0'
expect 0 localmapi compact --longest 0
out '^compacted .*site.db from [0-9.]+ [KM]B to [0-9.]+ [KM]B$'
expect 2 localmapi compact --longest never
expect 0 localmapi --json list --user alice
json 'length == 2'
expect 0 localmapi check
finish
