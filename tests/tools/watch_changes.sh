# Watching while other programs change what is watched: a line a change, in order, as it happens.
. "$(dirname "$0")/lib.sh" "$@"
site
wave hello.wav 1

# What expect writes goes elsewhere.
start() {
    (exec ${runner:+"$runner"} "$bin/$1$suffix" "${@:2}") >watched.txt 2>watch-errors.txt </dev/null &
    started=$!
}
# lines N: waits until the watch has printed so many
lines() {
    for _ in $(seq 300); do
        [ "$(wc -l <watched.txt)" -ge "$1" ] && break
        sleep 0.1
    done
    cp watched.txt out.txt
    : >err.txt
    if [ "$(wc -l <watched.txt)" -ge "$1" ]; then good; else bad "the watch has no line $1"; fi
}
# The last line for alice: unread, urgent, read.
counts() { jq -r 'select(.mailbox == "alice") | "\(.unread) \(.unreadHighPriority) \(.read)"' watched.txt | tail -n 1; }
# Counts are taken one after another, so a change may be seen half done first.
becomes() {
    for _ in $(seq 300); do
        [ "$(counts)" = "$1" ] && break
        sleep 0.1
    done
    cp watched.txt out.txt
    equal "$(counts)" "$1"
}

start orlmapi --profile Voicemail --json watch alice bob --for 120
lines 2
becomes "0 0 0"
expect 0 localmapi deliver voicemail --to alice --wav hello.wav --from-name Bob
becomes "1 0 0"
expect 0 localmapi deliver voicemail --to alice --wav hello.wav --from-name Bob --urgent
becomes "2 1 0"
id=$(run orlmapi --profile Voicemail --json list alice --um --priority | jq -r '.[0].entryId')
expect 0 orlmapi --profile Voicemail mark alice "$id" --read
becomes "1 0 1"
expect 0 orlmapi --profile Voicemail mark alice "$id" --unread
becomes "2 1 0"
expect 0 orlmapi --profile Voicemail delete alice "$id"
becomes "1 0 0"

# Mail and faxes count for nothing; what comes after them shows that they were seen through.
before=$(wc -l <watched.txt)
expect 0 localmapi deliver mail --to alice --from bob --subject "No voice"
expect 0 localmapi deliver voicemail --to bob --wav hello.wav --from-name Alice
lines $((before + 1))
equal "$(tail -n 1 watched.txt | jq -r '"\(.mailbox) \(.unread) \(.unreadHighPriority) \(.read)"')" "bob 1 0 0"
equal "$(counts)" "1 0 0"
# No two lines of a mailbox tell the same.
equal "$(jq -s '[group_by(.mailbox)[] | map([.unread, .unreadHighPriority, .read]) | . as $c | range(1; length) | select($c[.] == $c[. - 1])] | length' watched.txt)" 0
kill -INT "$started"
wait "$started"
equal "$?" 0
equal "$(cat watch-errors.txt)" ""

# --count ends with its last line.
start orlmapi --profile Voicemail --json watch alice --count 2
lines 1
expect 0 localmapi deliver voicemail --to alice --wav hello.wav --from-name Bob
wait "$started"
equal "$?" 0
equal "$(wc -l <watched.txt)" 2
finish
