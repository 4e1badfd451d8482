# Listing: pages, directions, filters, columns.
. "$(dirname "$0")/lib.sh" "$@"
site
run localmapi fill --user alice --count 400 --mix voicemail >/dev/null
run localmapi fill --user alice --count 30 --mix mail,fax >/dev/null

expect 0 localmapi --json list --user alice
want=$(jq '[.[] | select(.class == "IPM.Note.Microsoft.Voicemail.UM" and .urgent and (.read | not))] | length' out.txt)
jq -c '[.[] | select(.class == "IPM.Note.Microsoft.Voicemail.UM" and .urgent and (.read | not)) | .entryId]' out.txt >wanted.txt

expect 0 orlmapi --profile Voicemail --json list alice --um --priority --all --count 7
silent
equal "$(jq -c 'map(.entryId)' out.txt)" "$(cat wanted.txt)"
expect 0 orlmapi --profile Voicemail --json list alice --um --priority --all --count "$want"
equal "$(jq length out.txt)" "$want"
expect 0 orlmapi --profile Voicemail --json list alice --um --priority --reverse --count 5
equal "$(jq -c 'map(.entryId)' out.txt)" "$(jq -c '.[-5:]' wanted.txt)"
expect 0 orlmapi --profile Voicemail --json list alice --um --priority --reverse --all --count 6
equal "$(jq -c 'map(.entryId) | sort' out.txt)" "$(jq -c sort wanted.txt)"
# Over a provider that gives fewer rows at once than a page has.
for most in 1 4; do
    export LOCALMAPI_BEHAVIOUR=rows=$most
    expect 0 orlmapi --profile Voicemail --json list alice --um --priority --all --count 7
    equal "$(jq -c 'map(.entryId)' out.txt)" "$(cat wanted.txt)"
    expect 0 orlmapi --profile Voicemail --json list alice --um --priority --reverse --all --count 7
    equal "$(jq -c 'map(.entryId) | sort' out.txt)" "$(jq -c sort wanted.txt)"
    expect 0 orlmapi --profile Voicemail --json list alice --um --priority --reverse --count 5
    equal "$(jq -c 'map(.entryId) | sort' out.txt)" "$(jq -c '.[-5:] | sort' wanted.txt)"
    expect 0 orlmapi --profile Voicemail --json list alice --um --priority --count 5
    equal "$(jq -c 'map(.entryId)' out.txt)" "$(jq -c '.[:5]' wanted.txt)"
done
unset LOCALMAPI_BEHAVIOUR
expect 0 orlmapi --profile Voicemail --json list alice --um --priority --count 3
equal "$(jq -c 'map(.entryId)' out.txt)" "$(jq -c '.[:3]' wanted.txt)"
json 'all(.[]; .highPriority and (.read | not))'
expect 0 orlmapi --profile Voicemail --json list alice --um --read
json 'length == 25 and all(.[]; .read and (.highPriority | not))'
expect 0 orlmapi list alice --um --json
json 'length == 25'

expect 0 orlmapi --profile Voicemail list alice --um --priority --count 4
out "^4 of $want messages$"
out '^SUBMITTED \(UTC\) +R!P +SECS +BYTES +ATT +FROM$'
out '^20[0-9-]{8} [0-9:]{8} -![-P] +[0-9]+ +[0-9]+ '
equal "$(awk '!/^  / && length($0) > 80' out.txt)" ''
expect 0 orlmapi --server NORVIK1 --mailbox vm --json list alice --um --count 1
json 'length == 1'
expect 0 orlmapi --json profiles
json 'map(.name) == ["Voicemail"]'

# A fax server's name is one word, wherever the mailbox stands.
expect 0 orlmapi --profile Voicemail --json list --fax-server One --fax-server Two alice --fax --count 2
json 'length <= 2'

expect 2 orlmapi list alice $(printf -- '--fax-server S%d ' 1 2 3 4 5 6 7 8 9 10 11)
err '^orlmapi: --fax-server can be given 10 times only$'
expect 0 orlmapi --json list alice --fax --count 1 $(printf -- '--fax-server S%d ' 1 2 3 4 5 6 7 8 9 10)

# On a terminal the progress of --all is gone before the next line is written.
if [ -z "$suffix" ] && command -v script >/dev/null; then
    script -qec "'$bin/orlmapi' --profile Voicemail list alice --um --priority --all --count 3" /dev/null >out.txt </dev/null
    out "of $want messages"
    sed 's/\r$//; s/[0-9]* of [0-9]* messages\r\x1b\[K//g; s/^\r//' out.txt >shown.txt
    equal "$(grep -cE '^20[0-9-]{8} [0-9:]{8} ' shown.txt)" "$want"
    [ "$(wc -c <shown.txt)" -lt "$(wc -c <out.txt)" ] && good || bad "no progress was shown"
    script -qec "'$bin/orlmapi' --profile Voicemail --json list alice --um --priority --all --count 3" /dev/null >out.txt </dev/null
    sed 's/^.*\r\x1b\[K//' out.txt >shown.txt
    equal "$(jq length shown.txt)" "$want"
fi

# Beside somebody who deletes from what is listed.
run localmapi fill --user bob --count 600 --mix voicemail >/dev/null
expect 0 orlmapi --profile Voicemail --json list bob --um --all --count 600
jq -r '.[].entryId' out.txt >bobs.txt
# Backward too, a list beside deletions leaves out nothing that stays: some of the page that has been shown go, while the
# pipe is full and the next page is still to be asked for.
if [ -z "$suffix" ]; then
    rm -f pipe && mkfifo pipe
    tail -n 10 bobs.txt >gone.txt
    head -n -10 bobs.txt | sort >kept.txt
    "$bin/orlmapi" --profile Voicemail --json list bob --um --all --count 150 --reverse >pipe 2>err.txt &
    lister=$!
    {
        head -c 1000
        while read -r id; do run orlmapi --profile Voicemail delete bob "$id"; done <gone.txt >deleted.txt 2>&1
        cat
    } <pipe >out.txt
    wait $lister
    equal "$(grep -c '^moved' deleted.txt)" 10
    jq -r '.[].entryId' out.txt | sort >listed.txt
    equal "$(uniq -d listed.txt | wc -l)" 0
    equal "$(comm -13 listed.txt kept.txt | wc -l)" 0
    head -n -10 bobs.txt >left.txt && mv left.txt bobs.txt
fi

tail -n 40 bobs.txt >gone.txt
for how in "" --reverse; do
    head -n -40 bobs.txt | sort >kept.txt
    tac gone.txt | while read -r id; do run orlmapi --profile Voicemail delete bob "$id"; done >deleted.txt 2>&1 &
    deleter=$!
    while kill -0 $deleter 2>/dev/null; do
        expect 0 orlmapi --profile Voicemail --json list bob --um --attachments --all --count 600 $how
        jq -r '.[].entryId' out.txt | sort >listed.txt
        equal "$(uniq -d listed.txt | wc -l)" 0
        equal "$(comm -13 listed.txt kept.txt | wc -l)" 0
    done
    wait $deleter
    equal "$(grep -vc '^moved' deleted.txt)" 0
    expect 0 orlmapi --profile Voicemail --json list bob --um --all --count 7 $how
    equal "$(jq -r '.[].entryId' out.txt | sort)" "$(cat kept.txt)"
    head -n -40 bobs.txt >left.txt && mv left.txt bobs.txt
    tail -n 40 bobs.txt >gone.txt
done

# However long a list is, it is not gathered: what a program has held when the last of it is still to be written. In a
# sanitizer's build that would be the sanitizer's own memory.
if [ -z "$suffix" ] && ! grep -qE '__(asan|tsan)_init' "$bin/localmapi"; then
    run localmapi user add carl --name "Carl Carter" >/dev/null
    run localmapi fill --user carl --count 2000 --mix voicemail >/dev/null
    held() { # PROGRAM ARGS...: the most memory, in KiB
        run "$@" >out.txt 2>err.txt
        rm -f pipe && mkfifo pipe
        "$bin/$1" "${@:2}" >pipe 2>err.txt &
        local program=$!
        {
            head -c $(($(wc -c <out.txt) - 150000)) >/dev/null
            sed -n 's/^VmHWM:[[:space:]]*\([0-9]*\) kB$/\1/p' /proc/$program/status
            cat >/dev/null
        } <pipe
        wait $program
    }
    tool_list="--profile Voicemail --json list carl --um --all --count 500"
    few=$(held localmapi --json list --user carl) fewHeaders=$(held orlmapi $tool_list)
    run localmapi fill --user carl --count 20000 --mix voicemail >/dev/null
    many=$(held localmapi --json list --user carl) manyHeaders=$(held orlmapi $tool_list)
    # The site's own cache is 16 MB.
    [ "$few" -gt 0 ] && [ $((many - few)) -lt 17000 ] && good || bad "localmapi held $few kB and $many kB"
    [ "$fewHeaders" -gt 0 ] && [ $((manyHeaders - fewHeaders)) -lt 17000 ] && good || bad "orlmapi held $fewHeaders kB and $manyHeaders kB"
fi

expect 2 orlmapi list
expect 2 orlmapi list alice --count 0
expect 2 orlmapi list alice --count many
expect 2 orlmapi --profile Voicemail --server NORVIK1 --mailbox vm list alice
expect 2 orlmapi --server NORVIK1 list alice
expect 1 orlmapi --profile Voicemail list nobody
err '^orlmapi: opening the mailbox nobody: 0x8004010f MAPI_E_NOT_FOUND$'
expect 1 orlmapi --profile "No such" list alice
err '^orlmapi: logging on with the profile No such: 0x80040111 MAPI_E_LOGON_FAILED$'
expect 0 orlmapi --profile Voicemail --json list bob
json '. == []'
finish
