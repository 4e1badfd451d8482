#!/usr/bin/env bash
# What scripts/includes refuses: each kind of wrong include in a house of its own, one fault at a time, and none in a house
# that is in order: includes.sh SCRIPT FOLDER.
set -euo pipefail
script=$1 house=$2
passed=0

# A house in order: a cellar, a ground floor on it, a loft on both, and the platform's own names.
build() {
    rm -rf "$house"
    mkdir -p "$house"/{cmake,include,platform/linux/include,src/{cellar,ground,loft}}
    cat >"$house/cmake/rooms.txt" <<'TABLE'
# comment
platform:
include: platform
src/cellar:
src/ground: src/cellar platform
src/loft: src/ground src/cellar include
TABLE
    echo >"$house/platform/linux/include/windows.h"
    echo '#include <windows.h>' >"$house/include/Public.h"
    echo '#include <string>' >"$house/src/cellar/Cellar.h"
    printf '#include "cellar/Cellar.h"\n#include <windows.h>\n' >"$house/src/ground/Ground.h"
    printf '#include "Public.h"\n#include "ground/Ground.h"\n#include "Loft.h"\n' >"$house/src/loft/Loft.cpp"
    echo '#include "cellar/Cellar.h"' >"$house/src/loft/Loft.h"
}
fail() { echo "$*"; exit 1; }
accepted() {
    local said
    said=$("$script" "$house" 2>&1) || fail "refused: $said"
    [ -z "$said" ] || fail "said: $said"
    passed=$((passed + 1))
}
# refused EXPECTED: with exactly this line.
refused() {
    local said status=0
    said=$("$script" "$house" 2>&1) || status=$?
    [ "$status" = 1 ] || fail "status $status instead of: $1"
    [ "$said" = "$1" ] || fail "said: $said
instead of: $1"
    passed=$((passed + 1))
    build
}

build
accepted
echo '#include "loft/Loft.h"' >>"$house/src/cellar/Cellar.h"
refused 'src/cellar/Cellar.h:2: src/cellar may not include from src/loft (loft/Loft.h)'
echo '  #  include "../loft/Loft.h" // a way round' >>"$house/src/ground/Ground.h"
refused 'src/ground/Ground.h:3: src/ground may not include from src/loft (../loft/Loft.h)'
echo '#include <loft/Loft.h>' >>"$house/src/cellar/Cellar.h"
refused 'src/cellar/Cellar.h:2: src/cellar may not include from src/loft (loft/Loft.h)'
for hidden in '#define LOFT "loft/Loft.h"
#include LOFT' '/* */ #include "loft/Loft.h"' '#/**/include "loft/Loft.h"' '#import "loft/Loft.h"' '%:include "loft/Loft.h"'; do
    echo "$hidden" >"$house/src/cellar/Cellar.h"
    refused "src/cellar/Cellar.h:$(wc -l <"$house/src/cellar/Cellar.h"): an include that is not written plainly"
done
echo '#include <windows.h>' >>"$house/src/cellar/Cellar.h"
refused 'src/cellar/Cellar.h:2: src/cellar may not include from platform (windows.h)'
echo '#include "Nowhere.h"' >>"$house/src/loft/Loft.h"
refused 'src/loft/Loft.h:2: "Nowhere.h" is not found'
echo '#include "loft/Loft.cpp"' >>"$house/src/loft/Loft.h"
refused 'src/loft/Loft.h:2: src/loft/Loft.cpp is no header'
mkdir "$house/src/shed"
echo >"$house/src/shed/Shed.cpp"
refused 'src/shed/Shed.cpp: its folder is no room of cmake/rooms.txt'
echo 'src/attic: src/loft' >>"$house/cmake/rooms.txt"
refused 'cmake/rooms.txt:7: src/attic holds no source file'
sed -i 's/^src\/cellar:/& src\/loft/' "$house/cmake/rooms.txt"
refused 'cmake/rooms.txt:4: src/cellar uses src/loft, which does not stand below it'
# A file of one system's own may use that system.
echo '#include <windows.h>' >"$house/src/cellar/Cellar_windows.cpp"
accepted
rm -rf "$house"
echo "[  PASSED  ] $passed tests."
