# Who may use a site: its owner alone, or a group that init names; and what check says of one that is open to all.
. "$(dirname "$0")/lib.sh" "$@"
umask 000
expect 0 localmapi --file private/deep/site.db init --server NORVIK1 --organization Norvik
expect 0 localmapi --file private/deep/site.db --json check
json '.warnings == []'
expect 1 localmapi --file other/site.db init --server NORVIK1 --organization Norvik --group "no such group, I hope"
err 'There is no .*group no such group, I hope\.$'
[ ! -e other ] && good || bad "a folder was made for nobody"
if [ -z "$suffix" ]; then
    equal "$(stat -c %a private private/deep private/deep/site.db | xargs)" "700 700 600"
    group=$(id -gn)
    expect 0 localmapi --file shared/site.db --json init --server NORVIK1 --organization Norvik --group "$group"
    json --arg group "$group" '.group == $group'
    equal "$(stat -c '%a %G' shared shared/site.db | xargs)" "2770 $group 660 $group"
    expect 0 localmapi --file shared/site.db user add alice --name Alice
    expect 0 localmapi --file shared/site.db check
    out '^checked by localmapi [0-9.]+ with SQLite [0-9.]+$'
out '^nothing is damaged$'
    equal "$(grep -c warning out.txt)" 0
    mkdir -m 700 closed
    expect 1 localmapi --file closed/site.db init --server NORVIK1 --organization Norvik --group "$group"
    err "^localmapi: the group $group may not write in .*/closed, which using a site asks for$"
    [ ! -e closed/site.db ] && good || bad "a site was made that the group can't use"
    # What is there keeps its mode, and check says what that means.
    chmod 644 shared/site.db
    expect 0 localmapi --file shared/site.db check
    out '^warning: Every user of this system may read .*/shared/site\.db, and with it every mailbox: a logon needs no password\.$'
    expect 0 localmapi --file shared/site.db --json check
    json '.ok and (.warnings | length == 1)'
    equal "$(stat -c %a shared/site.db)" 644
    # Logons share a lock that whoever may use the site may use.
    expect 0 localmapi --file private/deep/site.db user add alice --name Alice
    LOCALMAPI_FILE=private/deep/site.db expect 0 orlmapi --server NORVIK1 --mailbox alice list alice
    equal "$(stat -c %a private/deep/site.db-OrlMapi32.MAPIImpl)" 600
fi
finish
