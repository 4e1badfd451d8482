# Eight writers at one site, half of whose commands are killed. What each tried stands in tried.LANE, a line a message:
#   message TRY ACKNOWLEDGED SUBJECT RECORDING USER,USER,...      done to one: deleted|read|unread TRY ACKNOWLEDGED SUBJECT USER
# Upkeep is killed at this site and, where the outcome is to be known exactly, at a copy of a small one (kills_upkeep).
. "$TOP/scripts/soak.d/kills_upkeep.sh"

recordings=24
kills_begin() {
    people w0 w1 w2 w3 w4 w5 w6 w7
    local i
    for ((i = 0; i < recordings; ++i)); do
        random 15000
        [ $((i % 6)) -gt 0 ] || random 300000
        recording recording.$i $((picked * 2 + 2))
    done
    upkeep_begin
}

# struck KIND COMMAND...: runs it, in half of the cases killed within the time that its kind takes. status is what it ended
# with, and lives is 0 where it was killed; any end but these and success is a failure.
declare -A takes
struck() {
    local kind=$1 limit=120 began=${EPOCHREALTIME/./}
    shift
    random 2
    if [ $picked = 1 ]; then
        random $((${takes[$kind]:-20000} * 5 / 4 + 1))
        printf -v limit '%d.%06d' $((picked / 1000000)) $((picked % 1000000 + 1))
    fi
    status=0 lives=1
    timeout --foreground --signal=KILL "$limit" "$@" >"out.$lane" 2>&1 </dev/null || status=$?
    if [ $status = 0 ]; then
        count "commands that were done"
        [ $limit != 120 ] || takes[$kind]=$(((${takes[$kind]:-20000} * 3 + ${EPOCHREALTIME/./} - began) / 4))
    elif [[ $status = 137 || $status = 124 ]] && [ $limit != 120 ]; then # 124: just done when it was to be killed
        count "commands that were killed"
        lives=0
    else
        failed "status $status: $*" $'\n'"$(cat "out.$lane")"
    fi
}
body_of() { # SUBJECT: a text that is long for one in eight
    local number=${1//[!0-9]/} line="what $1 says, "
    body=$line
    [ $((number % 8)) -gt 0 ] || for ((number = 0; number < 10; ++number)); do body+=$body; done
}
# told COMMAND...: a message to be, whose sender, kind and people are set.
message() {
    local subject=$1 file=$2 people=$3
    shift 3
    struck "$1 $2 $4" "$@"
    echo "message $try $((status == 0)) $subject $file $people" >>"tried.$lane"
}
# one_of_mine: entry and subject of some message of the lane's own mailbox
one_of_mine() {
    if [ ${#mine[@]} = 0 ]; then
        mapfile -t mine < <(localmapi --json list --user w$lane | jq -r '.[] | "\(.entryId) \(.subject)"' | tail -n 30)
        [ ${#mine[@]} -gt 0 ] || return 1
    fi
    random ${#mine[@]}
    entry=${mine[picked]% *} subject=${mine[picked]#* }
    mine=("${mine[@]:0:picked}" "${mine[@]:picked+1}")
}
mine=()
kills_try() {
    local kind entry subject file people=w$lane user body
    random 18
    kind=$picked
    random $recordings
    file=recording.$picked
    if [ $kind -ge 5 ] && [ $kind -le 8 ]; then
        for user in w0 w1 w2 w3 w4 w5 w6 w7; do
            random 2
            [ $picked = 0 ] || [ $user = w$lane ] || people+=,$user
        done
    fi
    subject=m$try
    body_of "$subject"
    case $kind in
        [0-2]) message v$try $file $people localmapi deliver voicemail --to $people --wav $file --from-number 4$try --subject v$try ;;
        3 | 4) message $subject $file $people localmapi deliver mail --to $people --from w1 --subject $subject --body "$body" --attach $file ;;
        [5-6]) message $subject $file $people "${as_vm[@]}" send "${people//,/;}" --from w$lane --subject $subject --body "$body" --attach $file ;;
        [7-8]) message $subject $file $people "${as_vm[@]}" send-voicemail "${people//,/;}" --from w$lane --wav $file --seconds 1 \
            --number 4$try --subject $subject --body "$body" ;;
        9 | 10)
            one_of_mine || return 0
            struck delete "${as_vm[@]}" delete w$lane $entry
            echo "deleted $try $((status == 0)) $subject w$lane" >>"tried.$lane"
            ;;
        11 | 12)
            one_of_mine || return 0
            random 2
            local how=unread
            [ $picked = 0 ] || how=read
            struck mark "${as_vm[@]}" mark w$lane $entry --$how
            echo "$how $try $((status == 0)) $subject w$lane" >>"tried.$lane"
            ;;
        13) upkeep_among_writers ;;
        *) upkeep_alone ;;
    esac
}

# What is there, a line a message: there USER FOLDER SUBJECT READ ENTRYID
kills_there() {
    local user folder
    for user in w0 w1 w2 w3 w4 w5 w6 w7; do
        for folder in inbox deleted; do
            localmapi --json list --user $user --folder $folder |
                jq -r --arg place "$user $folder" '.[] | "there \($place) \(.subject) \(.read) \(.entryId)"'
        done
    done
}
# Against what was tried: a line for each message that is missing, or there twice, or for some alone, or not in its state
kills_compare() { # TRIED... THERE
    awk '
    function wrong(try, text) { printf "try %d (seed %d): %s\n", try, seed + try, text }
    $1 == "message" { try[$4] = $2; acknowledged[$4] = $3; people[$4] = $6; next }
    $1 == "deleted" { at = $5 " " $4; if ($3) gone[at] = 1; else perhaps[at] = 1; next }
    $1 == "read" || $1 == "unread" { at = $5 " " $4; state[at] = $3 ? ($1 == "read" ? "true" : "false") : ""; next }
    $1 == "there" {
        at = $2 " " $4
        if (!($4 in try)) { wrong(0, $4 " is in the mailbox of " $2 " and nobody sent it"); next }
        if (++times[at] > 1) wrong(try[$4], $4 " is there twice for " $2)
        number[$4]++
        if ($3 == "deleted" && !gone[at] && !perhaps[at]) wrong(try[$4], $4 " of " $2 " was deleted by nobody")
        if ($3 == "inbox" && gone[at]) wrong(try[$4], $4 " of " $2 " was deleted, and is in the Inbox")
        if (state[at] != "" && $5 != state[at]) wrong(try[$4], $4 " of " $2 " is read: " $5)
    }
    END {
        for (subject in try) {
            wanted = split(people[subject], who, ",")
            for (i = 1; i <= wanted; i++)
                if (acknowledged[subject] && !times[who[i] " " subject]) wrong(try[subject], subject " is missing for " who[i])
            if (number[subject] && number[subject] != wanted) wrong(try[subject], subject " came to " number[subject] " of " wanted)
            acknowledged[subject] ? were++ : (number[subject] ? came++ : never++)
        }
        printf "counted %d messages that were acknowledged\n", were
        printf "counted %d others that are there\n", came
        printf "counted %d others that are not\n", never
    }' seed=$seed "$@"
}
# Every WHICH-th message of what is there, read as clients read it
kills_read() {
    local user subject entry file body got
    while read -r _ user _ subject _ entry; do
        try=${subject#?}
        file=$(awk -v subject="$subject" '$1 == "message" && $4 == subject { print $5 }' tried.all)
        body_of "$subject"
        case $subject in
            v*) body="from 4$try." ;;
        esac
        got=$("${as_vm[@]}" text $user $entry 2>&1) || failed "the text of $subject can't be read: $got"
        case $got in
            "Subject: $subject"*"$body"*) ;;
            *) failed "the text of $subject is another: $got" ;;
        esac
        rm -f "saved.$lane"
        got=$("${as_vm[@]}" save $user $entry 0 "saved.$lane" 2>&1) || failed "the recording of $subject can't be saved: $got"
        cmp -s "saved.$lane" "$file" || failed "the recording of $subject is not $file"
        count "messages that were read and compared"
    done < <(awk -v lane=$lane -v lanes=$lanes 'NR % lanes == lane' there)
    print_counts
}
kills_end() {
    local got
    try=0
    got=$(localmapi check 2>&1) || failed "the site is not sound: $got"
    cat tried.[0-9]* >tried.all
    kills_there >there
    kills_compare tried.all there
    for ((lane = 0; lane < lanes; ++lane)); do
        (counts=() && kills_read) >"read.$lane" 2>&1 &
    done
    wait
    cat read.*
    # And it goes on.
    got=$(localmapi deliver mail --to w0 --from w1 --subject on --body on 2>&1) || failed "nothing can be delivered any more: $got"
}
