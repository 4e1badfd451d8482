# Shared by the scripts of this folder. They may be called from any folder.
set -euo pipefail
TOP=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
ALL_PRESETS=(linux linux-asan linux-tsan windows-x86 windows-x64) # those that are tested

say() { printf '%s\n' "$*" >&2; }
die() {
    say "$(basename "$0"): $*"
    exit 1
}
# What a script was asked is nothing that it knows.
misused() {
    say "$(basename "$0"): $* (see scripts/$(basename "$0") --help)"
    exit 2
}
# no_more_than N ARGUMENTS...
no_more_than() {
    local most=$1
    shift
    [ $# -le "$most" ] || misused "\"${!#}\" is one argument too many"
}

# The comment that a script begins with is its help.
case ${1:-} in
    --help | -h)
        sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0"
        exit 0
        ;;
esac

# Compilations are kept in ccache where it is installed; nothing depends on it.
if command -v ccache >/dev/null 2>&1; then
    export CMAKE_C_COMPILER_LAUNCHER=${CMAKE_C_COMPILER_LAUNCHER:-ccache}
    export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER:-ccache}
    # What one clone has compiled serves the next one, with precompiled headers too.
    export CCACHE_BASEDIR=${CCACHE_BASEDIR:-$TOP} CCACHE_NOHASHDIR=${CCACHE_NOHASHDIR:-1}
    export CCACHE_IGNOREOPTIONS=${CCACHE_IGNOREOPTIONS:--ffile-prefix-map=*} # which only take the folder out again
    export CCACHE_SLOPPINESS=${CCACHE_SLOPPINESS:-pch_defines,time_macros,include_file_mtime,include_file_ctime}
fi

# build_preset PRESET [TARGET...]: configures where needed, with the options in the array configure_options, and builds; the log
# is shown only on failure.
configure_options=()
build_preset() {
    local preset=$1 log
    shift
    mkdir -p "$TOP/build"
    log=$TOP/build/$preset.log
    if ! (cd "$TOP" && cmake --preset "$preset" "${configure_options[@]}" &&
        cmake --build --preset "$preset" --parallel "$(nproc)" ${1:+--target "$@"}) >"$log" 2>&1; then
        tail -n 80 "$log" >&2
        die "the build of $preset failed; the whole log is build/$preset.log"
    fi
}
