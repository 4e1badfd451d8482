logons_begin() {
    people
    local user
    for user in alice bob; do
        localmapi user add $user --name "$user"
        localmapi deliver mail --to $user --from "for-$user@elsewhere.example" --subject Post
    done
}
logons_try() {
    local own=alice other=bob wanted got status=0
    [ $((try / 3 % 2)) -eq 0 ] || own=bob other=alice
    case $((try % 3)) in
        0)
            wanted="0 for-$other@elsewhere.example"
            got=$(orlmapi --profile Voicemail list "$other" 2>&1) || status=$?
            ;;
        1)
            wanted="0 for-$own@elsewhere.example"
            got=$(orlmapi --server NORVIK1 --mailbox $own list $own 2>&1) || status=$?
            ;;
        2)
            wanted="1 orlmapi: opening the mailbox $other: 0x80070005 MAPI_E_NO_ACCESS"
            got=$(orlmapi --server NORVIK1 --mailbox $own list $other 2>&1) || status=$?
            ;;
    esac
    case "$status $got" in
        *"${wanted#* }"*) [ "${wanted%% *}" != $status ] || return 0 ;;
    esac
    failed "$status, not $wanted:" $'\n'"$got"
}
