# A site that is replaced under a running process: the watch ends with an error, others work with the file that is there.
# Windows refuses to replace a file that is open.
. "$(dirname "$0")/lib.sh" "$@"
site
run orlmapi --profile Voicemail watch alice --for 120 >watched.txt 2>watch-errors.txt </dev/null &
for _ in $(seq 300); do
    [ -s watched.txt ] && break
    sleep 0.1
done
mkdir old
mv site.db* old
site
wait $!
equal "$?" 1
equal "$(cat watch-errors.txt)" "orlmapi: watching the mailbox alice: 0x80040109 MAPI_E_OBJECT_CHANGED"
expect 0 localmapi deliver mail --to alice --from bob --subject "In the new one"
expect 0 orlmapi --profile Voicemail --json list alice
json 'length == 1'
for file in site.db old/site.db; do
    expect 0 localmapi --file $file check
done
finish
