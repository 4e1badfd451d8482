# Logons side by side: processes that name no profile share one, and each ends as the user that it names.
. "$(dirname "$0")/lib.sh" "$@"
site
wave hello.wav 1
for user in alice bob; do
    run localmapi deliver voicemail --to $user --wav hello.wav --from-name "For $user" >/dev/null
done
# What the default profile gives is everybody's mailbox.
expect 0 orlmapi --profile Voicemail list alice --um

# Four at a time, each into a mailbox of its own and into one that it has no right to.
rounds=5
[ -n "$suffix" ] || ln -s site.db link.db
logons() { # NUMBER
    local own=alice other=bob round status
    [ $(($1 % 2)) -eq 0 ] || own=bob other=alice
    # By whatever way the site is reached.
    [ "$1" -lt 3 ] || [ -n "$suffix" ] || export LOCALMAPI_FILE=$work/link.db
    for ((round = 0; round < rounds; ++round)); do
        run orlmapi --server NORVIK1 --mailbox $own --json list $own --um </dev/null 2>&1 | jq -r '.[].name' >>own.$1
        status=0
        run orlmapi --server NORVIK1 --mailbox $own list $other --um </dev/null >other.out.$1 2>>other.$1 || status=$?
        [ $status -eq 1 ] || echo "ended with $status, not 1" >>other.$1
    done
}
for i in 1 2 3 4; do logons $i & done
wait
for i in 1 2 3 4; do
    own=alice other=bob
    [ $((i % 2)) -eq 0 ] || own=bob other=alice
    equal "$(sort own.$i | uniq -c | xargs)" "$rounds For $own"
    equal "$(sort other.$i | uniq -c | xargs)" \
        "$rounds orlmapi: opening the mailbox $other: 0x80070005 MAPI_E_NO_ACCESS"
done
expect 0 localmapi --json profile list
json 'map(.name) == ["Voicemail"]'
finish
