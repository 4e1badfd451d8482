# What a command says when something is wrong around it.
. "$(dirname "$0")/lib.sh" "$@"

expect 0 orlmapi --help
out 'Exit status'
expect 2 orlmapi
expect 2 orlmapi --frobnicate
err '^orlmapi: "--frobnicate" is not known here$'
err '^Run orlmapi --help'
expect 0 orlmapi error 0x8004010f
out '^0x8004010f MAPI_E_NOT_FOUND$'
expect 0 orlmapi --json error -2147221233
json '. == {"code": "0x8004010f", "name": "MAPI_E_NOT_FOUND"}'
expect 0 orlmapi error 0x80041234
out '^0x80041234 has no name$'
expect 2 orlmapi error twelve
err '"twelve" is not a result code'
expect 2 orlmapi error 0x1800400005
expect 2 orlmapi error 0x-1
expect 2 orlmapi error 0x

# No site at all.
expect 1 orlmapi list alice
err '^orlmapi: logging on with the default profile: 0x8'
expect 1 orlmapi profiles
err '^orlmapi: listing the profiles: 0x8'

site
wave hello.wav 1
run localmapi deliver voicemail --to alice --wav hello.wav >/dev/null

# A user without rights to the mailbox.
run localmapi profile add Alice --user alice >/dev/null
expect 1 orlmapi --profile Alice list bob
err '^orlmapi: opening the mailbox bob: 0x80070005 MAPI_E_NO_ACCESS$'
expect 0 orlmapi --profile Alice --json list alice --um
json 'length == 1'

# A mailbox that is not there makes no temporary profile: the default one logs on. A wrong server does not go unnoticed:
# it is where mailboxes are looked for.
expect 0 orlmapi --server NORVIK1 --mailbox nobody --json list alice --um
json 'length == 1'
expect 1 orlmapi --server NOSUCH --mailbox vm list alice --um
err '^orlmapi: opening the mailbox alice: 0x80040115 MAPI_E_NETWORK_ERROR$'

# Words that are no UTF-8 would name something else; on Windows arguments are UTF-16.
if [ -z "$suffix" ]; then
    broken=$(printf 'caf\351')
    expect 2 localmapi user add carl --name "$broken"
    err '^localmapi: an argument is not UTF-8: '
    expect 2 orlmapi list "$broken"
    # Output that goes nowhere is a failure.
    for program in localmapi orlmapi; do
        status=0
        run $program --help >/dev/full 2>err.txt || status=$?
        equal "$status" 1
        err "^$program: standard output could not be written$"
    done
fi

# A file that is cut short is refused, and stays as it is.
head -c 5000 site.db >cut.db
cp cut.db before.db
LOCALMAPI_FILE=$work/cut.db expect 1 localmapi user list
err 'cut.db'
same cut.db before.db

# A page of nothing in the middle of the file is found and, being no matter of counts, not repaired.
run localmapi fill --user alice --count 300 >/dev/null
cp site.db holed.db
pages=$(($(wc -c <holed.db) / 4096))
dd if=/dev/zero of=holed.db bs=4096 seek=$((pages / 2)) count=1 conv=notrunc 2>/dev/null
expect 1 localmapi --file holed.db check
out '^damaged: '
err '^localmapi: [0-9]+ findings'
expect 1 localmapi --file holed.db --json check --repair
json '(.ok | not) and (.findings | length > 0) and all(.findings[]; .repaired | not)'
finish
