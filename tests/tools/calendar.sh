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
day
json 'type == "array"'

expect 0 orlmapi --profile Voicemail calendar alice 2026-11-23
out '^2026-11-23 09:00 - 09:30  Standup \(Room 1\)$'
out '^    Bring figures$'
out '^8 appointments$'
TZ=EST5 expect 0 orlmapi --profile Voicemail calendar alice 2026-11-23
out '^2026-11-23 04:00 - 04:30  Standup \(Room 1\)$'

expect 1 orlmapi --profile Voicemail calendar alice "some day"
err '^orlmapi: reading the calendar of alice on "some day": 0x80020005$'
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
expect 1 localmapi appointment add --user nobody --subject S "${when[@]}"
expect 0 localmapi --json list --user alice --folder calendar
json 'length == 10'
finish
