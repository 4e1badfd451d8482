# The example hosts: in C and in C++ they do the same, and say the same.
. "$(dirname "$0")/lib.sh" "$@"
site
wave one.wav 1
wave two.wav 2
for host in voicemail_host voicemail_host_cpp; do
    mkdir "$host"
    for file in one two; do
        expect 0 localmapi deliver voicemail --to bob --from-name "Carol Clark" --from-number +15550100 --wav "$file.wav" --urgent
    done
    expect 0 "$host" Voicemail bob "$host"
    silent
    sed "s/$host/FOLDER/; /^page/d" out.txt | tr -d '\r' >"$host.txt"
    out '^2 recordings saved'
    same "$host/1.wav" one.wav
    same "$host/2.wav" two.wav
    expect 0 "$host" Voicemail bob "$host"
    out '^0 recordings saved'
    expect 1 "$host" "No such profile" bob "$host"
    err 'MAPI_E_LOGON_FAILED'
    expect 2 "$host" Voicemail
    err '^usage'
done
same voicemail_host.txt voicemail_host_cpp.txt
finish
