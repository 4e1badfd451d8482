#!/usr/bin/env bash
# What scripts/files refuses, one fault at a time, and what it accepts: files.sh SCRIPT FOLDER.
set -euo pipefail
script=$1 house=$2
passed=0
fail() { echo "$*"; exit 1; }

# put FILE LINES [FIRST LINE...]: a file of so many lines with these at its beginning.
put() {
    local file=$house/$1 lines=$2
    shift 2
    mkdir -p "${file%/*}"
    { for line; do printf '%s\n' "$line"; done; yes 'text' | head -n $((lines - $#)) || true; } >"$file"
}
# accepted FILE ...: as put; alone with a file in order.
accepted() {
    local said
    rm -rf "$house"
    put src/Good.cpp 1
    put "$@"
    said=$("$script" "$house" 2>&1) || fail "$1 is refused: $said"
    [ -z "$said" ] || fail "$1: $said"
    passed=$((passed + 1))
}
# refused WHY FILE ...: with exactly this line.
refused() {
    local why=$1 said status=0
    shift
    rm -rf "$house"
    put src/Good.cpp 1
    put "$@"
    said=$("$script" "$house" 2>&1) || status=$?
    [ "$status" = 1 ] || fail "$1: status $status instead of: $why"
    [ "$said" = "$1: $why" ] || fail "$1: $said"
    passed=$((passed + 1))
}

name='not named as CONTRIBUTING.md says'
for file in src/lower.cpp src/room/Two_Words.h localmapi/storage/camelCase.cpp tools/common/Text_macos.cpp tests/some_test.cpp \
    tests/Host.c bench/sending.cpp fuzz/entry_id.cpp examples/Host.c platform/com/com_ptr.h platform/linux/Events.cpp \
    src/tstring/other_name.cpp tests/tstring.h; do
    refused "$name" "$file" 1
done
for file in src/room/Two.h src/room/tstring_dates.cpp src/api/abi_check.cpp localmapi/storage/Signal_linux.cpp tests/abi/plain_c.c \
    bench/Sending.cpp fuzz/EntryId.cpp examples/host.c platform/linux/include/windows.h platform/mapi/guids.cpp; do
    accepted "$file" 1
done

refused 'has tests, and a name that does not end in Test' tests/room/Reading.cpp 3 'TEST(Reading, IsDone)'
accepted tests/room/ReadingTest_linux.cpp 3 'TEST(Reading, IsDone)'

head='more than 100 lines, and no comment first that says what it holds'
for first in '#include "Long.h"' '#pragma once' '' 'int x; // comment'; do
    refused "$head" src/Long.cpp 101 "$first"
done
refused "$head" scripts/long 101 '#!/usr/bin/env bash' 'set -eu'
refused "$head" tests/tools/long.sh 101 'set -eu' '# late'
refused "$head" cmake/Long.cmake 101 'project(x)'
refused "$head" tests/room/CMakeLists.txt 101 'project(x)'
accepted src/Short.cpp 100 '#include "Short.h"'
for first in '// What it holds.' '/*'; do
    accepted src/Long.h 101 "$first" '#pragma once'
done
accepted scripts/long 101 '#!/usr/bin/env bash' '# What it does.'
accepted cmake/Long.cmake 101 '# What it does.'
for place in tests/data/recurrence/long.h build/src/lower.cpp docs/long.cpp; do
    accepted "$place" 101 'data'
done
for test in 'TEST(Table, is_read)' 'TEST_F(Table, isRead)' 'TEST_P(Table, Is_Read)' 'TEST(Table, T1_is_read)'; do
    rm -rf "$house"
    put tests/RoomTest.cpp 3 '' "$test"
    said=$("$script" "$house" 2>&1) && fail "not refused: $test"
    [ "$said" = "tests/RoomTest.cpp:2: a test that is not named as CONTRIBUTING.md says: $test" ] || fail "$test: $said"
    passed=$((passed + 1))
done
for test in 'TEST(Table, IsRead)' 'TEST_F(Table, T01_IsReadFrom2Ends)' 'TEST_P(Table, A)'; do
    accepted tests/RoomTest.cpp 3 "$test"
done
rm -rf "$house"
echo "[  PASSED  ] $passed tests."
