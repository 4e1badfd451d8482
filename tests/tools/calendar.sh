# Appointments put into a calendar, and its days read.
. "$(dirname "$0")/lib.sh" "$@"
export TZ=UTC0
site
day() { expect 0 orlmapi --profile Voicemail --json calendar alice "$@"; }
add() { expect 0 localmapi --json appointment add --user alice "$@"; }

day 2026-11-23
json '. == []'
expect 0 orlmapi --profile Voicemail calendar alice 2026-11-23
out '^0 appointments$'

add --start "2026-11-23 09:00" --end "2026-11-23 09:30" --subject Standup --location "Room 1" --body "Bring figures"
json '. == {user: "alice", subject: "Standup", start: "2026-11-23T09:00:00Z", end: "2026-11-23T09:30:00Z", recurrence: ""}'
add --start 2026-11-23T08:00 --end "2026-11-23 08:15" --subject Free --busy free
add --start "2026-11-23 07:00" --end "2026-11-23 07:15" --subject Maybe --busy tentative
add --start "2026-11-23 23:00" --end "2026-11-24 00:30" --subject Night
add --start "2026-11-01 14:00" --end "2026-11-01 15:00" --subject Weekly --recur weekly --on mon
json '.start == "2026-11-02T14:00:00Z" and .recurrence == "Every week on Monday"'
add --start "2026-01-23 16:00" --end "2026-01-23 17:00" --subject Monthly --recur monthly
json '.recurrence == "Every month on day 23"'
add --start "2026-01-01 11:00" --end "2026-01-01 11:30" --subject "Fourth Monday" --recur monthly --week fourth --on mon --until 2026-12-31
json '.start == "2026-01-26T11:00:00Z" and .recurrence == "Every month on the fourth Monday until 2026-12-31"'
add --start "2020-11-23 12:00" --end "2020-11-23 12:30" --subject Yearly --recur yearly --times 10
json '.recurrence == "Every year on November 23, 10 times"'
add --start "2026-01-01 06:00" --end "2026-01-01 06:10" --subject Workday --recur daily --on weekday
json '.recurrence == "Every weekday"'
add --start "2026-11-23 05:00" --end "2026-11-23 05:10" --subject "Every third day" --recur daily --every 3
json '.recurrence == "Every 3 days"'

day 2026-11-23
silent
json 'map(.subject) == ["Every third day", "Workday", "Maybe", "Standup", "Fourth Monday", "Yearly", "Weekly", "Monthly"]'
json '.[3] == {start: "2026-11-23T09:00:00Z", end: "2026-11-23T09:30:00Z", minutes: 30, subject: "Standup", location: "Room 1", body: "Bring figures"}'
cp out.txt first.txt
day 11/23/2026
same first.txt out.txt
day "November 23, 2026"
same first.txt out.txt
day 2026-11-30
json 'map(.subject) == ["Workday", "Weekly"]'
day 2026-12-23
json 'map(.subject) == ["Workday", "Monthly"]'
expect 0 orlmapi --profile Voicemail calendar alice 2026-11-23
out '^2026-11-23 09:00 - 09:30  Standup \(Room 1\)$'
out '^    Bring figures$'
out '^8 appointments$'
TZ=EST5 expect 0 orlmapi --profile Voicemail calendar alice 2026-11-23
out '^2026-11-23 04:00 - 04:30  Standup \(Room 1\)$'

# Without a date it is today where the caller is: these zones never have the same date, and one of them not that of UTC.
for zone in LINT-14 AOE12; do
    export TZ=$zone
    while
        today=$(date +%F)
        run localmapi appointment add --user bob --start "$today 12:00" --end "$today 12:15" --subject "$zone" >/dev/null
        expect 0 orlmapi --profile Voicemail --json calendar bob
        [ "$today" != "$(date +%F)" ]
    do :; done
    json --arg zone "$zone" 'map(.subject) | index($zone) != null'
done

# Days on which summer time begins and ends are as long as any other; times are shown with the offset of their date.
export TZ=CET-1CEST,M3.5.0,M10.5.0/3
expect 0 localmapi appointment add --user bob --start "2026-03-29 12:00" --end "2026-03-29 12:30" --subject "Summer begins"
expect 0 localmapi appointment add --user bob --start "2026-10-25 12:00" --end "2026-10-25 12:30" --subject "Winter begins"
expect 0 orlmapi --profile Voicemail calendar bob 2026-03-29
out '^2026-03-29 12:00 - 12:30  Summer begins$'
expect 0 orlmapi --profile Voicemail --json calendar bob 2026-03-29
json 'map(.start) == ["2026-03-29T10:00:00Z"]'
expect 0 orlmapi --profile Voicemail --json calendar bob 2026-10-25
json 'map(.start) == ["2026-10-25T11:00:00Z"]'
export TZ=UTC0

# The first and the last days that there are.
expect 0 localmapi appointment add --user bob --start "1601-01-01 00:00" --end "1601-01-01 00:30" --subject First
expect 0 localmapi appointment add --user bob --start "4499-12-31 23:00" --end "4499-12-31 23:30" --subject Last --recur monthly
for year in 1601 1960 2040 4499; do # what is printed does not depend on how the system counts seconds
    expect 0 localmapi --json appointment add --user bob --start "$year-06-01 12:00" --end "$year-06-01 12:30" --subject "$year"
    json --arg year "$year" '.start == $year + "-06-01T12:00:00Z" and .end == $year + "-06-01T12:30:00Z"'
done
expect 0 orlmapi --profile Voicemail --json calendar bob 1601-01-01
json 'map(.subject) == ["First"]'
expect 0 orlmapi --profile Voicemail --json calendar bob 4499-12-31
json 'map(.subject) == ["Last"]'
for date in 4501-01-01 9999-12-31; do
    expect 0 orlmapi --profile Voicemail --json calendar bob $date
    json '. == []'
done
expect 1 orlmapi --profile Voicemail calendar bob 1600-12-31
err '^orlmapi: reading the calendar of bob on "1600-12-31": 0x80070057'
expect 1 orlmapi --profile Voicemail calendar bob 10000-01-01
err '^orlmapi: "10000-01-01" is no date that this locale knows: 0x80020005$'

expect 1 orlmapi --profile Voicemail calendar alice "some day"
err '^orlmapi: "some day" is no date that this locale knows: 0x80020005$'
expect 1 orlmapi --profile Voicemail calendar nobody 2026-11-23
err '^orlmapi: opening the mailbox nobody: 0x8004010f MAPI_E_NOT_FOUND$'
expect 2 orlmapi calendar

expect 0 localmapi --json list --user alice --folder calendar
json 'length == 10 and all(.[]; .class == "IPM.Appointment")'

wrong() { # PATTERN OPTIONS...
    local pattern=$1
    shift
    expect 2 localmapi appointment add --user alice --subject S "$@"
    err "$pattern"
}
when=(--start "2026-11-23 09:00" --end "2026-11-23 09:30")
wrong 'end' --start "2026-11-23 09:00"
wrong '^localmapi: --start: "23.11.2026" is not a date and time \(2026-11-23 09:00\)$' --start 23.11.2026 --end "2026-11-23 09:30"
wrong 'is not a date and time' --start "2026-02-30 09:00" --end "2026-11-23 09:30"
wrong 'is not a date and time' --start "2026-11-23 24:00" --end "2026-11-23 09:30"
wrong 'is not a date and time' --start "2026-11-23 09:00 am" --end "2026-11-23 09:30"
wrong '^localmapi: the appointment ends before it starts$' --start "2026-11-23 09:00" --end "2026-11-23 08:59"
wrong '^localmapi: what says how an appointment recurs needs --recur$' "${when[@]}" --every 2
wrong 'hourly' "${when[@]}" --recur hourly
wrong '^localmapi: the interval must be 1 to 99$' "${when[@]}" --recur weekly --every 100
wrong '^localmapi: --day says nothing with --recur weekly$' "${when[@]}" --recur weekly --day 3
wrong '^localmapi: --week says nothing with --recur daily$' "${when[@]}" --recur daily --week last
wrong '^localmapi: --month says nothing with --recur monthly$' "${when[@]}" --recur monthly --month 3
wrong '^localmapi: --on needs --week with --recur monthly$' "${when[@]}" --recur monthly --on mon
wrong 'not by both' "${when[@]}" --recur monthly --on mon --week last --day 3
wrong 'every weekday' "${when[@]}" --recur daily --on mon
wrong '^localmapi: the series has no such occurrences$' "${when[@]}" --recur weekly --until 2026-11-20
wrong 'until' "${when[@]}" --recur weekly --until 2026-12-20 --times 3
wrong '^localmapi: --until: "tomorrow" is not a date \(2026-11-23\)$' "${when[@]}" --recur weekly --until tomorrow
wrong '^localmapi: --until: "" is not a date' "${when[@]}" --recur weekly --until ""
wrong 'times' "${when[@]}" --recur weekly --times 0
wrong 'every' "${when[@]}" --recur weekly --every 0
wrong '^localmapi: what says how an appointment recurs needs --recur$' "${when[@]}" --until 2026-12-20
wrong '^localmapi: the series has no such occurrences$' "${when[@]}" --recur yearly --every 8 --times 999
wrong 'is not a date and time' --start "1600-12-31 09:00" --end "2026-11-23 09:30"
wrong 'is not a date and time' --start "4500-01-01 09:00" --end "4500-01-01 09:30"
expect 1 localmapi appointment add --user nobody --subject S "${when[@]}"
expect 0 localmapi --json list --user alice --folder calendar
json 'length == 10'

# What is not given is the start's; a day that a month lacks is its last one, and the library lists it where there is one.
add --start "2027-01-04 10:00" --end "2027-01-04 10:30" --subject "By week" --recur monthly --week last
json '.start == "2027-01-25T10:00:00Z" and .recurrence == "Every month on the last Monday"'
add --start "2027-04-10 10:00" --end "2027-04-10 10:30" --subject "31st" --recur monthly --day 31
json '.start == "2027-04-30T10:00:00Z" and .recurrence == "Every month on day 31"'
add --start "2027-02-01 10:00" --end "2027-02-01 10:30" --subject "Leap day" --recur yearly --day 29
json '.start == "2027-02-28T10:00:00Z" and .recurrence == "Every year on February 29"'
day 2027-05-31
json 'map(.subject) | index("31st") != null and index("By week") != null'
day 2028-02-29
json 'map(.subject) | index("Leap day") != null'
for date in 2027-02-28 2027-04-30 2027-06-30; do
    day $date
    json 'map(.subject) | index("31st") == null and index("Leap day") == null'
done
finish
