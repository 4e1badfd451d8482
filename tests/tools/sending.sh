# Sending, voice mail, forwarding and answering, from one mailbox to another.
. "$(dirname "$0")/lib.sh" "$@"
site
wave hello.wav 2
wave answer.wav 1
only() { # USER [LIST-OPTIONS]: the entry ID of the one message
    run orlmapi --profile Voicemail --json list "$@" | jq -r 'if length == 1 then .[0].entryId else "not one" end'
}

# A plain message.
printf 'First line\nsecond line \303\251\n' >body.txt
expect 0 orlmapi --profile Voicemail send alice --subject "Meeting" --body-file body.txt --from bob
out '^sent to alice: Meeting$'
silent
id=$(only alice)
expect 0 orlmapi --profile Voicemail --json text alice "$id"
json '.subject == "Meeting" and (.body | startswith("First line"))'
expect 0 orlmapi --profile Voicemail --json flags alice "$id"
json '. == {"private": false, "highPriority": false, "read": false}'
expect 0 orlmapi --profile Voicemail --json show alice "$id"
json '.senderName == "Bob Baker" and .submitTime != ""'
expect 0 localmapi --json list --user bob --folder sent
json '. == []'
expect 0 localmapi --json list --user bob --folder outbox
json '. == []'
expect 0 orlmapi --profile Voicemail delete alice "$id"
printf '\357\273\277With a mark\n' >mark.txt
expect 0 orlmapi --profile Voicemail send alice --subject "Marked" --body-file mark.txt --from bob
id=$(only alice)
expect 0 orlmapi --profile Voicemail --json text alice "$id"
json '.body | startswith("With a mark")'
expect 0 orlmapi --profile Voicemail delete alice "$id"

# Several recipients, urgent and private, with an attachment under a name of its own, from the logon's mailbox.
expect 0 orlmapi --profile Voicemail --json send "alice;bob@norvik.example" --subject "To both" --body "Hello" --attach hello.wav --attach-name greeting.wav --urgent --private
json '. == {"to": "alice;bob@norvik.example", "subject": "To both", "attachment": "greeting.wav"}'
for user in alice bob; do
    id=$(only $user --priority)
    expect 0 orlmapi --profile Voicemail --json flags $user "$id"
    json '.private and .highPriority'
    expect 0 orlmapi --profile Voicemail --json show $user "$id"
    json '.senderName == "Voicemail Service"'
    expect 0 orlmapi --profile Voicemail save $user "$id" 0 saved.wav
    same hello.wav saved.wav
    expect 0 orlmapi --profile Voicemail delete $user "$id"
done

# A voice mail.
expect 0 orlmapi --profile Voicemail send-voicemail alice --wav hello.wav --seconds 2 --number +15550100 --name Bob --from bob
out '^sent to alice: Voice Mail from Bob \(2 seconds\)$'
voice=$(only alice --um)
expect 0 orlmapi --profile Voicemail --json show alice "$voice"
json '.seconds == 2 and .number == "+15550100" and .name == "Bob" and .offset == 0 and .messagesReceived > 1700000000'
expect 0 orlmapi --profile Voicemail save alice "$voice" 0 saved.wav
same hello.wav saved.wav
expect 0 orlmapi --profile Voicemail --json send-voicemail alice --wav hello.wav --seconds 1 --subject "Call me" --urgent --from bob
json '.subject == "Call me" and .attachment == "hello.wav"'
urgent=$(only alice --um --priority)
expect 0 orlmapi --profile Voicemail delete alice "$urgent"

# Forwarding: the copy is sent by the mailbox in which the original lies, and kept in its sent items.
expect 0 orlmapi --profile Voicemail forward alice "$voice" bob
out '^asked to forward the message to bob; the library does not tell whether it was sent, its trace does$'
copy=$(only bob --um)
expect 0 orlmapi --profile Voicemail --json show bob "$copy"
json '.senderName == "Alice Archer" and .seconds == 2 and .name == "Bob"'
expect 0 orlmapi --profile Voicemail save bob "$copy" 0 saved.wav
same hello.wav saved.wav
expect 0 localmapi --json list --user alice --folder sent
json 'length == 1'
expect 0 orlmapi --profile Voicemail delete bob "$copy"
expect 0 orlmapi --profile Voicemail --json forward alice "$voice" nobody
json '. == {"asked": true}'
equal "$(only bob --um)" "not one"
# Where the recipient is unknown the copy goes to those of the original.
equal "$(run orlmapi --profile Voicemail --json list alice --um | jq length)" 2

# Answering: a copy of the message and the recording go to its sender.
expect 0 orlmapi --profile Voicemail --json respond alice "$voice" --attach answer.wav
json '. == {"asked": true}'
answer=$(only bob --um)
expect 0 orlmapi --profile Voicemail --json list bob --um --attachments
json '.[0].senderName == "Alice Archer" and (.[0].attachments | length == 2)'
number=$(jq -r '.[0].attachments | map(.number) | max' out.txt)
expect 0 orlmapi --profile Voicemail save bob "$answer" "$number" saved.wav
same answer.wav saved.wav
expect 0 localmapi --json list --user alice --folder sent
json 'length == 3'

# What goes wrong.
expect 1 orlmapi --profile Voicemail send nobody --subject S
err '^orlmapi: sending the message to nobody: 0x8004010f MAPI_E_NOT_FOUND$'
expect 1 orlmapi --profile Voicemail send "alice; bob" --subject S --from nobody
err '^orlmapi: opening the mailbox nobody: 0x8004010f MAPI_E_NOT_FOUND$'
expect 1 orlmapi --profile Voicemail send alice --subject S --attach no-such.wav
err '^orlmapi: no-such.wav: '
expect 1 orlmapi --profile Voicemail send alice --subject S --attach .
err '^orlmapi: \.: '
expect 1 orlmapi --profile Voicemail send alice --subject S --body-file no-such.txt
err '^orlmapi: no-such.txt: '
printf 'caf\351\n' >latin.txt
expect 1 orlmapi --profile Voicemail send alice --subject S --body-file latin.txt
err '^orlmapi: latin.txt: this is not text in UTF-8$'
printf 'one\000two\n' >zero.txt
expect 1 orlmapi --profile Voicemail send alice --subject S --body-file zero.txt
err '^orlmapi: zero.txt: this is not text in UTF-8$'
expect 1 orlmapi --profile Voicemail send-voicemail alice --wav no-such.wav --seconds 1
err '^orlmapi: no-such.wav: '
expect 1 orlmapi --profile Voicemail forward alice 00112233 bob
err '^orlmapi: opening the message: 0x8004'
expect 1 orlmapi --profile Voicemail respond alice 00112233
err '^orlmapi: opening the message: 0x8004'
expect 1 orlmapi --profile Voicemail respond alice "$voice" --attach no-such.wav
err '^orlmapi: no-such.wav: '
expect 1 orlmapi --profile "No such" send alice --subject S
err '^orlmapi: logging on with the profile No such: 0x80040111 MAPI_E_LOGON_FAILED$'
expect 2 orlmapi send alice
expect 2 orlmapi send --subject S
expect 2 orlmapi send "" --subject S
expect 2 orlmapi send ";" --subject S
err '^orlmapi: ";" names no recipient$'
expect 2 orlmapi send alice --subject S --body B --body-file body.txt
expect 2 orlmapi send alice --subject S --attach-name name.wav
expect 2 orlmapi send-voicemail alice --wav hello.wav
expect 2 orlmapi send-voicemail alice --wav hello.wav --seconds -1
expect 2 orlmapi send-voicemail alice --wav hello.wav --seconds many
expect 2 orlmapi send-voicemail alice --seconds 1
expect 2 orlmapi forward alice
expect 2 orlmapi forward alice xyz bob
err 'is not an entry ID'
expect 2 orlmapi forward alice "$voice" ";"
expect 2 orlmapi respond alice
expect 0 localmapi --json list --user bob
json 'length == 1'

# An empty file is an attachment.
: >empty.wav
expect 0 orlmapi --profile Voicemail send bob --subject "Empty" --attach empty.wav
expect 0 orlmapi --profile Voicemail --json list bob --attachments
json '.[0].attachments | length == 1'
finish
