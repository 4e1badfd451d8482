# For kills: init, check --repair, compact, purge, backup, restore and upgrade, killed at any moment. model.db has 40 messages
# of alice, half of them in Deleted Items; other.db is a copy of it with five more; older.db is it in format 3, wrong.db with
# faults that can be repaired.
upkeep_begin() {
    local i entry
    (
        export LOCALMAPI_FILE=$work/model.db ORLMAPI_SETTINGS=$work/model.json
        people alice bob
        for ((i = 0; i < 40; ++i)); do
            localmapi deliver voicemail --to alice --wav recording.$((i % recordings)) --from-number 1 --subject "model$i"
        done
        localmapi --json list --user alice | jq -r '.[0:20][].entryId' >entries
        while read -r entry; do "${as_vm[@]}" delete alice "$entry"; done <entries
        localmapi backup older.db
        localmapi backup wrong.db
        localmapi backup early.db
        for ((i = 0; i < 5; ++i)); do
            localmapi deliver voicemail --to alice --wav recording.$i --from-number 1 --subject "other$i"
        done
        localmapi backup other.db
    )
    rm -f model.db*
    mv early.db model.db
    # What has made each version out of the one before it, undone.
    [ "$(sqlite3 older.db 'PRAGMA user_version')" = 6 ] || die "kills_upkeep.sh does not know this version of the format"
    sqlite3 older.db 'DROP INDEX mailbox_quota; ALTER TABLE mailbox DROP COLUMN quota; ALTER TABLE facet DROP COLUMN bytes;
        ALTER TABLE object DROP COLUMN arrived; DROP TABLE person_word; DROP TRIGGER list_left; DROP TRIGGER list_changed;
        DROP TRIGGER data_left; DROP INDEX object_list; DROP INDEX stream_data; ALTER TABLE object DROP COLUMN list;
        ALTER TABLE stream DROP COLUMN data; ALTER TABLE chunk DROP COLUMN checksum; PRAGMA user_version = 3'
    sqlite3 wrong.db 'UPDATE facet SET count = count + 1, bytes = bytes + 7; UPDATE object SET size = size + 3 WHERE kind = 3;
        DELETE FROM person_word'
    ! localmapi --file wrong.db check || die "wrong.db has no faults"
    localmapi --file other.db check
    contents model.db >model.contents
    contents other.db >other.contents
}
contents() { # FILE
    local folder
    for folder in inbox deleted; do
        localmapi --file "$1" --json list --user alice --folder $folder | jq -r --arg folder $folder '.[] | "\($folder) \(.subject) \(.size)"'
    done | sort
}
# sound FILE KIND: whole, whatever happened to it
sound() {
    local got
    got=$(timeout 120 localmapi --file "$1" check 2>&1) || failed "$2 was killed, and the site is not sound: $got"
}
# holds FILE KIND CONTENTS...: one of these
holds() {
    local file=$1 kind=$2 contents
    shift 2
    contents "$file" >"contents.$lane" 2>&1 || true
    for contents; do
        ! cmp -s "$contents" "contents.$lane" || return 0
    done
    failed "$kind was killed, and the site holds something else:" $'\n'"$(diff "$1" "contents.$lane")"
}
again() { # COMMAND...: what was cut off can be done after all
    local got
    got=$(timeout 120 "$@" 2>&1) || failed "after it was killed, $*: $got"
}

upkeep_alone() {
    local at=own.$lane kind
    random 7
    kind=$picked
    rm -rf "$at"
    mkdir "$at"
    local site=$at/site.db
    cp model.db "$site"
    case $kind in
        0)
            struck init localmapi --file $at/new.db init --server NORVIK1 --organization Norvik
            [ -e $at/new.db ] || again localmapi --file $at/new.db init --server NORVIK1 --organization Norvik
            again localmapi --file $at/new.db user add dora --name Dora
            sound $at/new.db init
            ;;
        1)
            cp wrong.db "$site"
            struck repair localmapi --file "$site" check --repair
            again localmapi --file "$site" check --repair
            sound "$site" repair
            holds "$site" repair model.contents
            ;;
        2)
            struck compact localmapi --file "$site" compact
            sound "$site" compact
            holds "$site" compact model.contents
            ;;
        3)
            struck purge localmapi --file "$site" purge --deleted --older-than 0
            sound "$site" purge
            contents "$site" >"contents.$lane" 2>&1 || true
            cmp -s <(grep ^inbox model.contents) <(grep ^inbox "contents.$lane") || failed "a purge of Deleted Items changed the Inbox"
            [ -z "$(comm -13 model.contents "contents.$lane")" ] || failed "a purge left what was not there"
            [ $lives = 0 ] || ! grep -q ^deleted "contents.$lane" || failed "a purge left messages"
            ;;
        4)
            struck backup localmapi --file "$site" backup $at/copy.db
            sound "$site" backup
            holds "$site" backup model.contents
            [ ! -e $at/copy.db ] || { sound $at/copy.db backup && holds $at/copy.db backup model.contents; }
            [ $lives = 0 ] || [ -e $at/copy.db ] || failed "a backup made no copy"
            ;;
        5)
            struck restore localmapi --file "$site" restore other.db
            sound "$site" restore
            if [ $lives = 1 ]; then holds "$site" restore other.contents; else holds "$site" restore model.contents other.contents; fi
            ;;
        6)
            cp older.db "$site"
            struck upgrade localmapi --file "$site" upgrade
            again localmapi --file "$site" upgrade
            sound "$site" upgrade
            holds "$site" upgrade model.contents
            ;;
    esac
    rm -rf "$at"
}
# At the site that all write to; what it must hold then is looked at in the end.
upkeep_among_writers() {
    random 4
    case $picked in
        0) struck check localmapi check ;;
        1) struck repair localmapi check --repair ;;
        2) struck compact localmapi compact ;;
        3)
            rm -f copy.$lane*
            struck backup localmapi backup copy.$lane
            [ ! -e copy.$lane ] || sound copy.$lane backup
            ;;
    esac
}
