# Copies of a site with ten recordings of alice, damaged at random; site.1 has a log beside it, site.0 none. The damaged files
# of a try that failed stay in failed.TRY.
damaged_begin() {
    local i sizes=(600 5000 9000 30000 70000 262000 262144 300000 900000 20000)
    people alice bob
    for ((i = 0; i < 10; ++i)); do
        recording recording.$i "${sizes[i]}"
        localmapi deliver voicemail --to alice --wav recording.$i --from-number 1 --subject "$i"
        localmapi deliver mail --to bob --from alice --subject "$i" --body "$i"
        if [ $i = 7 ]; then
            localmapi compact # leaves no log
            [ ! -s site.db-wal ] || die "there is a log"
            mkdir site.0
            cp site.db site.0
        fi
    done
    mkdir site.1
    cp site.db site.db-wal site.1
    [ -s site.1/site.db-wal ] || die "there is no log"
    localmapi --json list --user alice | jq -r '.[] | "\(.entryId) recording.\(.subject)"' >recordings.1
    head -n 8 recordings.1 >recordings.0
    [ "$(wc -l <recordings.1)" = 10 ] || die "not all is there"
    export LOCALMAPI_FILE=$work/foreign.db
    people carol
    localmapi deliver voicemail --to carol --wav recording.3 --from-number 1
    [ -s foreign.db-wal ] || die "there is no foreign log"
}

# one_damage FILE: described in damage
one_damage() {
    local file=$1 pages size at other
    size=$(stat -c %s "$file")
    pages=$((size / 8192))
    [ $pages -gt 1 ] || return 0
    # What is not a recording lies at the beginning, and some between them.
    random 3
    [ $picked -gt 0 ] || [ $pages -le 48 ] || pages=48
    random $pages
    at=$picked
    random 16
    case $picked in
        0)
            damage+=" zero page $at"
            dd if=/dev/zero of="$file" bs=8192 seek=$at count=1 conv=notrunc status=none
            ;;
        1)
            damage+=" noise in page $at"
            dd if=recording.8 of="$file" bs=8192 seek=$at skip=$((at % 100)) count=1 conv=notrunc status=none
            ;;
        2 | 3)
            random $pages
            other=$picked
            damage+=" pages $at and $other exchanged"
            dd if="$file" of="page.$lane" bs=8192 skip=$at count=1 status=none
            dd if="$file" of="$file" bs=8192 skip=$other seek=$at count=1 conv=notrunc status=none
            dd if="page.$lane" of="$file" bs=8192 seek=$other count=1 conv=notrunc status=none
            ;;
        4)
            random $((size / 8))
            damage+=" cut short by $picked"
            truncate -s $((size - picked)) "$file"
            ;;
        *)
            random 8192
            at=$((at * 8192 + picked))
            random 256
            damage+=" byte $at=$picked"
            printf "\\x$(printf %02x $picked)" | dd of="$file" bs=1 seek=$at conv=notrunc status=none
            ;;
    esac
}
# tried COMMAND...: with any status, so long as it ends by itself
tried() {
    status=0
    timeout --kill-after=1 60 "$@" >"out.$lane" 2>&1 </dev/null || status=$?
    [ $status -lt 124 ] || wrong "status $status: $* (124: it hung, more: a signal)"
}
wrong() {
    failed "$* - after$damage"
    [ -e "failed.$try" ] || cp -r "at.$lane" "failed.$try"
}
# Every recording, before or after a repair
saved() { # WHEN
    local entry file
    while read -r entry file; do
        rm -f "saved.$lane"
        tried "${as_vm[@]}" save alice "$entry" 0 "saved.$lane"
        if [ $status != 0 ]; then
            count "recordings that were refused $1 a repair"
        elif cmp -s "saved.$lane" "$file"; then
            count "recordings that were saved right $1 a repair"
        else
            wrong "$file was saved as another $1 a repair"
        fi
    done <recordings.$which
}
damaged_try() {
    local which=0 damage="" folder=at.$lane files=(site.db) times i
    local -x LOCALMAPI_FILE=$work/now.$lane/site.db ORLMAPI_SETTINGS=$work/now.$lane/settings.json
    rm -rf "$folder" "now.$lane"
    random 8
    case $picked in
        [0-3]) cp -r site.0 "$folder" ;;
        [4-6])
            which=1
            cp -r site.1 "$folder"
            files+=(site.db-wal)
            ;;
        7)
            cp -r site.0 "$folder"
            cp foreign.db-wal "$folder/site.db-wal"
            damage=" a log of another site"
            ;;
    esac
    random 12 # one in half of the cases; none where the log is damage enough
    times=$((picked < 6 ? ${#damage} == 0 : picked - 4))
    for ((i = 0; i < times; ++i)); do
        random ${#files[@]}
        damage+=", ${files[picked]}:"
        one_damage "$folder/${files[picked]}"
    done
    cp -r "$folder" "now.$lane"

    tried localmapi check
    [ $status != 0 ] || count "checks that found nothing"
    [ $status = 0 ] || count "checks that found or refused something"
    tried localmapi --json list --user alice
    tried "${as_vm[@]}" list alice --um --attachments
    saved before
    tried localmapi check --repair
    [ $status != 0 ] || count "repairs after which nothing is damaged"
    [ $status = 0 ] || count "repairs that could not mend all"
    tried localmapi --json list --user alice
    tried "${as_vm[@]}" list alice --um --attachments
    saved after
    rm -rf "now.$lane"
}
