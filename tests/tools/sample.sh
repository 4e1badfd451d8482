# sample.sh BIN-DIR WORK-DIR EXE-SUFFIX [RUNNER]: a site made with one command, and the first voice mails listed with the next.
. "$(dirname "$0")/lib.sh" "$@"
expect 0 localmapi sample
out '^made .*site\.db with the users alice and bob, the service account vm, its profile Voicemail and 60 messages for alice'
out '^Try: orlmapi list alice --um'
expect 0 orlmapi --json list alice --um --count 5
json 'length == 5 and all(.[]; .entryId | length > 0)'
expect 0 orlmapi --json profiles
json 'map(.name) == ["Voicemail"]'
expect 0 localmapi --json info
json '[.mailboxes[] | select(.user == "alice")][0].messages == 60'
expect 0 localmapi check

# What is there stays as it is.
cp site.db before.db
expect 1 localmapi sample
err 'is there already'
same site.db before.db
expect 0 localmapi --file other.db --json sample
json '.users == ["alice", "bob"] and .service == "vm" and .profile == "Voicemail" and .messages == 60'
expect 2 localmapi sample alice
finish
