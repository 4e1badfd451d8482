# Deliveries as they look in the Inbox.
. "$(dirname "$0")/lib.sh" "$@"
site
wave hello.wav 3
wave short.wav 1

expect 0 localmapi deliver voicemail --to alice --wav hello.wav --from-number +15550100 --from-name "Bob" --urgent --private
silent
expect 0 localmapi --json list --user alice
json 'length == 1 and .[0].class == "IPM.Note.Microsoft.Voicemail.UM" and .[0].urgent and .[0].private and (.[0].read | not)'
expect 0 orlmapi --profile Voicemail --json list alice --um --priority --attachments
json '.[0] | .seconds == 3 and .number == "+15550100" and .name == "Bob" and .private and .highPriority and (.read | not)'
json '.[0].attachments | length == 1 and .[0].mimeTag == "audio/wav" and .[0].fileName == "hello.wav" and .[0].size >= 24044'
json '.[0].submitTime | test("^20[0-9]{2}-[0-9]{2}-[0-9]{2}T[0-9:]{8}(\\.[0-9]{3})?Z$")'

expect 0 localmapi deliver voicemail --to alice --wav short.wav --seconds 77 --subject "Čau"
expect 0 orlmapi --profile Voicemail --json list alice --um
json '.[0].seconds == 77 and .[0].attachments == []'
printf '0&\262u\216f\317\021\246\331\0\252\0b\316l and more' >talk.wma
expect 2 localmapi deliver voicemail --to alice --wav talk.wma
err -- '--seconds'
expect 0 localmapi deliver voicemail --to alice --wav talk.wma --seconds 5 --from-name "Zoë"
expect 0 orlmapi --profile Voicemail --json list alice --um --attachments
json '.[1].attachments[0].mimeTag == "audio/x-ms-wma" and .[1].name == "Zoë"'

# A second that has begun counts; a recording that was cut off is as long as what is there.
wave long.wav 9
for case in 8000:1 8001:2 16000:2; do
    head -c $((44 + ${case%:*})) long.wav >cut.wav
    expect 0 localmapi deliver voicemail --to alice --wav cut.wav
    expect 0 orlmapi --profile Voicemail --json list alice --um
    json --argjson seconds "${case#*:}" '.[-1].seconds == $seconds'
done
printf '\377\377\377\377' | dd of=long.wav bs=1 seek=40 conv=notrunc 2>/dev/null
expect 0 localmapi deliver voicemail --to alice --wav long.wav
expect 0 orlmapi --profile Voicemail --json list alice --um
json '.[-1].seconds == 9'

expect 1 localmapi deliver voicemail --to nobody --wav hello.wav
err '^localmapi: there is no user nobody$'
expect 1 localmapi deliver voicemail --to alice --wav missing.wav
err 'missing.wav'
printf 'no sound' >noise.wav
expect 1 localmapi deliver voicemail --to alice --wav noise.wav
err 'noise.wav: this is neither'
expect 2 localmapi deliver voicemail --to alice
expect 1 localmapi deliver voicemail --to alice --wav .
err '^localmapi: \.: .+'
expect 2 localmapi deliver voicemail --to alice --wav hello.wav --seconds -1

printf 'Dear Alice,\nsee the file.\n' >body.txt
printf 'menu' >menu.pdf
expect 0 localmapi deliver mail --to alice --from bob --subject "Lunch?" --body-file body.txt --attach menu.pdf --attach hello.wav
expect 0 orlmapi --profile Voicemail --json list alice --attachments
json '.[0] | .senderName == "Bob Baker" and (.attachments | map(.fileName) == ["menu.pdf", "hello.wav"])'
id=$(jq -r '.[0].entryId' out.txt)
expect 0 orlmapi --profile Voicemail --json text alice "$id"
json '.subject == "Lunch?" and .body == "Dear Alice,\nsee the file.\n"'
expect 0 localmapi deliver mail --to alice --from someone@elsewhere.example --subject "Hi" --body "x" --urgent
expect 1 localmapi deliver mail --to alice --from nobody --subject "Hi"
err 'nobody'
expect 2 localmapi deliver mail --to alice --from bob --subject "Hi" --body x --body-file body.txt
expect 1 localmapi deliver mail --to alice --from bob --subject "Hi" --attach missing.pdf
err 'missing.pdf'
expect 1 localmapi deliver mail --to alice --from bob --subject "Hi" --body-file missing.txt
err '^localmapi: missing\.txt: .+'
printf 'caf\351' >latin.txt
expect 1 localmapi deliver mail --to alice --from bob --subject "Hi" --body-file latin.txt
err '^localmapi: latin\.txt: this is not text in UTF-8$'
expect 2 localmapi deliver mail --to alice --from bob --subject "Hi" --attach menu.pdf hello.wav
err '"hello\.wav" is not known here'
expect 1 localmapi deliver mail --to alice --from @ --subject "Hi"
# A folder is said to be one, whatever failed before.
expect 1 localmapi deliver mail --to alice --from bob --subject "Hi" --attach .
folder=$(cat err.txt)
expect 1 localmapi deliver mail --to alice --from bob --subject "Hi" --body-file .
equal "$(cat err.txt)" "$folder"

expect 0 localmapi deliver fax --to bob --attach menu.pdf --creator "Fax Server" --from line1@fax.norvik.example
expect 0 orlmapi --profile Voicemail --json list bob --fax --summary
json 'length == 1 and .[0].creatorName == "line1@fax.norvik.example" and (.[0].attachments | length == 1)'
expect 0 orlmapi --profile Voicemail --json list bob --fax --summary --fax-server "Fax" --fax-server "Other"
json 'length == 1'

expect 0 localmapi fill --user bob --count 300 --mix voicemail,mail
expect 0 localmapi --json list --user bob
json 'length == 301'
expect 2 localmapi fill --user bob --count 0
expect 2 localmapi fill --user bob --count 5 --mix letters
expect 0 localmapi list --user bob --folder sent
equal "$(cat out.txt)" ''
expect 2 localmapi list --user bob --folder attic
expect 0 localmapi check
# What is no file is refused at once, instead of being waited for.
if [ -z "$suffix" ]; then
    mkfifo pipe
    for arguments in "voicemail --to alice --wav" "mail --to alice --from bob --subject Pipe --body-file" \
        "mail --to alice --from bob --subject Pipe --attach"; do
        for file in pipe /dev/zero; do
            # shellcheck disable=SC2086 # several arguments
            expect 1 localmapi deliver $arguments $file
            err "^localmapi: $file: this is no ordinary file$"
        done
    done
    expect 1 localmapi --file pipe user list
    err "^localmapi: 'pipe' is no ordinary file\.$"
    expect 1 localmapi --file /dev/zero check
fi
finish
