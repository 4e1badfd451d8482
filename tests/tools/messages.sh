# One message: its header, flags, text and recording; marking and deleting.
. "$(dirname "$0")/lib.sh" "$@"
site
wave hello.wav 2
run localmapi deliver voicemail --to alice --wav hello.wav --from-number +15550100 --from-name Bob --urgent >/dev/null
expect 0 orlmapi --profile Voicemail --json list alice --um --priority --attachments
json '.[0] | keys_unsorted == ["entryId", "senderName", "creatorName", "comment", "submitTime", "read", "private", "highPriority", "size", "seconds", "number", "name", "offset", "messagesReceived", "attachments"]'
json '.[0].attachments[0] | keys_unsorted == ["number", "size", "mimeTag", "fileName"]'
id=$(jq -r '.[0].entryId' out.txt)
number=$(jq -r '.[0].attachments[0].number' out.txt)

expect 0 orlmapi --profile Voicemail --json show alice "$id"
json --arg id "$id" '.entryId == $id and .seconds == 2 and .attachments == [] and .name == "Bob"'
expect 0 orlmapi --profile Voicemail show alice "$id"
out "^  $id$"
expect 0 orlmapi --profile Voicemail --json flags alice "$id"
json '. == {"private": false, "highPriority": true, "read": false}'
expect 0 orlmapi --profile Voicemail --json text alice "$id"
json 'keys_unsorted == ["subject", "body"] and (.subject | startswith("Voice Mail from Bob")) and (.body | length > 0)'
expect 0 orlmapi --profile Voicemail text alice "$id"
out '^Subject: Voice Mail from Bob'

expect 0 orlmapi --profile Voicemail save alice "$id" "$number" out.wav
same hello.wav out.wav
printf 'older and longer than the recording' >old.wav
head -c 100000 /dev/zero >>old.wav
expect 0 orlmapi --profile Voicemail --json save alice "$id" "$number" old.wav
json '.file == "old.wav"'
same hello.wav old.wav
expect 0 orlmapi --profile Voicemail save alice "$id" "$number" "prélude.wav"
same hello.wav "prélude.wav"
expect 1 orlmapi --profile Voicemail save alice "$id" 99 other.wav
err '^orlmapi: saving attachment 99 to other.wav: 0x8004010f MAPI_E_NOT_FOUND$'
[ ! -e other.wav ] && good || bad "other.wav was made"
expect 1 orlmapi --profile Voicemail save alice "$id" "$number" no/such/folder/out.wav
err '^orlmapi: saving attachment'

expect 2 orlmapi --profile Voicemail mark alice "$id"
expect 2 orlmapi --profile Voicemail mark alice "$id" --read --unread
expect 0 orlmapi --profile Voicemail mark alice "$id" --read
expect 0 orlmapi --profile Voicemail --json flags alice "$id"
json '.read'
expect 0 orlmapi --profile Voicemail --json mark alice "$id" --unread
json '.read == false'
expect 0 orlmapi --profile Voicemail flags alice "$id"
out '^read +no$'

expect 0 orlmapi --profile Voicemail delete alice "$id"
expect 1 orlmapi --profile Voicemail show alice "$id"
err '^orlmapi: reading the header of the message: 0x8004010f MAPI_E_NOT_FOUND$'
expect 0 localmapi --json list --user alice --folder deleted
json 'length == 1'
expect 0 localmapi --json list --user alice
json '. == []'
moved=$(run localmapi --json list --user alice --folder deleted | jq -r '.[0].entryId')
expect 0 orlmapi --profile Voicemail save alice "$moved" 0 moved.wav
same hello.wav moved.wav

# What a message holds is no command to the terminal.
printf 'red \033[31m\tend\n' >body.txt
expect 0 localmapi deliver mail --to bob --from alice --subject "$(printf 'clear\033[2J')" --body-file body.txt
id=$(run orlmapi --profile Voicemail --json list bob | jq -r '.[0].entryId')
expect 0 orlmapi --profile Voicemail text bob "$id"
equal "$(cat out.txt)" "$(printf 'Subject: clear [2J\n\nred  [31m\tend')"
expect 0 orlmapi --profile Voicemail --json text bob "$id"
json '.body == "red \u001b[31m\tend\n"'

expect 2 orlmapi --profile Voicemail show alice xyz
err 'is not an entry ID'
expect 2 orlmapi --profile Voicemail show alice ABC
expect 1 orlmapi --profile Voicemail show alice 00112233
err '^orlmapi: reading the header of the message: 0x8004'
wave gsm.wav 1 49
run localmapi deliver voicemail --to alice --wav gsm.wav >/dev/null
id=$(run orlmapi --profile Voicemail --json list alice --um | jq -r '.[0].entryId')
expect 1 orlmapi --profile Voicemail save alice "$id" 0 gsm-out.wav
err '0x80004005 MAPI_E_CALL_FAILED$'
[ ! -e gsm-out.wav ] && good || bad "gsm-out.wav was made"
finish
