# Watching: what the watched mailboxes hold, how a watch ends, and what can't be watched. What changes while it watches
# is in watch_changes.sh.
. "$(dirname "$0")/lib.sh" "$@"
# start PROGRAM ARGS...: in the background, as the process $started, to out.txt and err.txt
# Without a SIGHUP that whoever runs the tests has had ignored.
start() {
    local defaults=()
    [ -z "$suffix" ] && defaults=(env --default-signal=HUP)
    (exec "${defaults[@]}" ${runner:+"$runner"} "$bin/$1$suffix" "${@:2}") >out.txt 2>err.txt </dev/null &
    started=$!
}
# lines N: waits until out.txt has so many
lines() {
    for _ in $(seq 300); do
        [ "$(wc -l <out.txt)" = "$1" ] && break
        sleep 0.1
    done
    equal "$(wc -l <out.txt)" "$1"
}
site
wave hello.wav 1
run localmapi deliver voicemail --to alice --wav hello.wav --from-name Bob --urgent >/dev/null
run localmapi deliver voicemail --to alice --wav hello.wav --from-name Bob >/dev/null
run localmapi deliver voicemail --to alice --wav hello.wav --from-name Bob >/dev/null
run localmapi deliver mail --to alice --from bob --subject "No voice" >/dev/null
id=$(run orlmapi --profile Voicemail --json list alice --um --count 1 | jq -r '.[0].entryId')
run orlmapi --profile Voicemail mark alice "$id" --read >/dev/null

# What there is comes first, a line a mailbox in their order.
expect 0 orlmapi --profile Voicemail watch alice --count 1
silent
out '^20[0-9]{2}-[0-9]{2}-[0-9]{2}T[0-9:]{8}(\.[0-9]{3})?Z  alice  2 unread, 1 urgent, 1 read$'
equal "$(wc -l <out.txt)" 1
expect 0 orlmapi --profile Voicemail --json watch alice bob --count 2
json -s 'length == 2 and map(.mailbox) == ["alice", "bob"]'
json -s '.[0] | keys_unsorted == ["time", "mailbox", "unread", "unreadHighPriority", "read"]'
json -s '.[0] | .unread == 2 and .unreadHighPriority == 1 and .read == 1'
json -s '.[1] | .unread == 0 and .unreadHighPriority == 0 and .read == 0'
equal "$(wc -l <out.txt)" 2
expect 0 orlmapi --profile Voicemail --json watch "Alice Archer" --count 1
json '.mailbox == "Alice Archer" and .unread == 2'

# The end: after so many seconds, whatever came.
begun=$(date +%s)
expect 0 orlmapi --profile Voicemail --json watch alice --for 1
equal "$(wc -l <out.txt)" 1
[ $(($(date +%s) - begun)) -ge 1 ] && good || bad "it ended before its second was over"
expect 0 orlmapi --profile Voicemail --json watch alice bob --count 1 --for 20
equal "$(wc -l <out.txt)" 1

# Or when asked to; every line is out by then.
signals="INT TERM HUP"
[ -n "$suffix" ] && signals=INT
for signal in $signals; do
    start orlmapi --profile Voicemail --json watch alice bob
    lines 2
    kill -$signal "$started"
    wait "$started"
    equal "$signal: $?" "$signal: 0"
    silent
done

# A hangup that nohup has had ignored ends nothing.
if [ -z "$suffix" ]; then
    (trap '' HUP && exec "$bin/orlmapi" --profile Voicemail --json watch alice) >out.txt 2>err.txt </dev/null &
    started=$!
    lines 1
    kill -HUP "$started"
    run localmapi deliver voicemail --to alice --wav hello.wav --from-name Bob >/dev/null
    lines 2
    kill -INT "$started"
    wait "$started"
    equal "$?" 0
    silent
fi

expect 2 orlmapi --profile Voicemail watch
expect 2 orlmapi --profile Voicemail watch alice --count 0
expect 2 orlmapi --profile Voicemail watch alice --count some
expect 2 orlmapi --profile Voicemail watch alice --for 0
expect 2 orlmapi --profile Voicemail watch alice --for -1
expect 1 orlmapi --profile Voicemail watch alice nobody
err '^orlmapi: watching the mailbox nobody: 0x8004010f MAPI_E_NOT_FOUND$'
expect 1 orlmapi --profile "No such" watch alice
err '^orlmapi: logging on with the profile No such: 0x80040111 MAPI_E_LOGON_FAILED$'
if [ -z "$suffix" ] && [ -e /dev/full ]; then
    status=0
    timeout 30 "$bin/orlmapi" --profile Voicemail watch alice >/dev/full 2>err.txt </dev/null || status=$?
    equal "$status" 1
    err '^orlmapi: standard output could not be written$'
fi
finish
