# Making a site: users, contacts, profiles, and what can be wrong about them.
. "$(dirname "$0")/lib.sh" "$@"

expect 1 localmapi user list
err '^localmapi: .*site\.db'
expect 0 localmapi init --server NORVIK1 --organization Norvik
silent
out 'NORVIK1'
expect 1 localmapi init --server NORVIK1 --organization Norvik
err '^localmapi: .+'
expect 2 localmapi init --server NORVIK1
err '^localmapi: .*--organization'
expect 2 localmapi
expect 2 localmapi frobnicate
err '^localmapi: "frobnicate" is not known here$'
expect 2 localmapi user --frobnicate
err '^localmapi: "--frobnicate" is not known here$'
expect 2 localmapi --file other.db init --server NORVIK1 --organization "Norvik A/S"
err "^localmapi: 'Norvik A/S' can't name a server or an organization"
expect 2 localmapi --file other.db init --server "" --organization Norvik
[ ! -e other.db ] && good || bad "other.db was made"
expect 0 localmapi --help
out 'deliver'
expect 0 localmapi --version
out '^localmapi [0-9]+\.[0-9]+\.[0-9]+ \(SQLite 3\.[0-9.]+\)$'
expect 0 orlmapi --version
out '^orlmapi [0-9]+\.[0-9]+\.[0-9]+$'

expect 0 localmapi user add alice --name "Alice Archer"
expect 0 localmapi --json user add jiri --name "Jiří Čáp" --smtp jiri@norvik.example
json '.alias == "jiri" and .name == "Jiří Čáp" and .smtp == "jiri@norvik.example" and .service == false'
json '.dn == "/o=Norvik/ou=First Administrative Group/cn=Recipients/cn=jiri"'
expect 0 localmapi user add vm --name "Voicemail Service" --service
expect 1 localmapi user add alice --name "Another Alice"
err '^localmapi: .+'
expect 2 localmapi user add
expect 2 localmapi user add "a b" --name "A B"
err "^localmapi: 'a b' can't be an alias"
expect 2 localmapi user add carl --name "Carl" --smtp nowhere
err "^localmapi: 'nowhere' is no mail address"
expect 0 localmapi --json user list
json 'map(.alias) == ["alice", "jiri", "vm"] and .[2].service and .[0].smtp == "alice@norvik.example"'
expect 0 localmapi user list
out '^jiri +Jiří Čáp +jiri@norvik.example$'
expect 0 localmapi contact add "Dora Doe" --smtp dora@elsewhere.example
expect 2 localmapi contact add "Dora Doe"
expect 2 localmapi contact add "Ed Eel" --smtp "ed eel@elsewhere.example"
expect 2 localmapi contact add "" --smtp ed@elsewhere.example

expect 0 localmapi profile add Voicemail --user vm --default
expect 0 localmapi profile add Other --user alice
expect 1 localmapi profile add Voicemail --user vm
err 'Voicemail'
expect 2 localmapi profile add " " --user vm
expect 2 localmapi profile add "$(printf '%065d' 0)" --user vm
err 'at most 64 characters'
expect 0 localmapi profile add "$(printf '%064d' 0)" --user vm
expect 0 localmapi profile remove "$(printf '%064d' 0)"
expect 1 localmapi profile add Third --user nobody
err 'nobody'
expect 0 localmapi --json profile list
json '. == [{"name": "Other", "default": false}, {"name": "Voicemail", "default": true}]'
expect 0 orlmapi --json profiles
json 'map(.name) | sort == ["Other", "Voicemail"]'
expect 0 localmapi profile remove Other
expect 1 localmapi profile remove Other
expect 0 localmapi --json profile list
json 'length == 1'

expect 0 orlmapi --json server-name Voicemail
json '.matched and (.server | ascii_upcase | contains("NORVIK1")) and (.user | length > 0)'
expect 0 orlmapi --profile Voicemail server-name
out '^matched +yes$'
expect 1 orlmapi server-name "No such profile"
err '^orlmapi: reading the server of the profile No such profile: 0x8'

for how in "" --repair; do
    expect 0 localmapi check $how
    out 'nothing is damaged'
    silent
    expect 0 localmapi --json check $how
    json '.ok and .findings == []'
    silent
done

# A message that a program saved and did not submit.
mkdir -p temporary
expect 0 localmapi user add bob --name "Bob Baker"
expect 0 localmapi_killed_test --client site.db . left
expect 0 localmapi --json check
json '.ok and (.unsent | length == 1) and .unsent[0].user == "alice" and .unsent[0].subject == "saved"'
left=$(jq -r '.unsent[0].entryId' out.txt)
expect 0 localmapi check
out '^unsent: alice, saved 20.*: saved$'
out "^  $left\$"
out "orlmapi delete USER ENTRYID"
expect 0 orlmapi --profile Voicemail delete alice "$left"
expect 0 localmapi --json check
json '.unsent == []'

# A copy, and back, with what came in between gone.
expect 0 localmapi backup copy.db
out '^made copy.db from .*site.db$'
expect 1 localmapi backup copy.db
err "^localmapi: 'copy.db' is there already\.$"
expect 0 localmapi user add late --name "Late Comer"
expect 0 localmapi --json restore copy.db
json '.from == "copy.db" and (.to | endswith("site.db")) and .bytes > 0'
expect 0 localmapi --json user list
json 'map(.alias) | index("late") == null'
expect 0 localmapi check
expect 0 localmapi --file elsewhere.db restore copy.db
expect 0 localmapi --file elsewhere.db check
expect 1 localmapi restore missing.db
err 'missing.db'
expect 2 localmapi restore

expect 0 localmapi upgrade
out 'site.db is of this version already$'
expect 0 localmapi --json upgrade --no-copy
json '.upgraded == false and .copy == null'

# Another file, by option, beside the one in the environment.
expect 0 localmapi --file other.db init --server NORVIK2 --organization Other
expect 0 localmapi --file other.db --json user list
json '. == []'
printf 'this is no site' >text.db
expect 1 localmapi --file text.db user list
err 'text.db'
equal "$(cat text.db)" 'this is no site'
finish
