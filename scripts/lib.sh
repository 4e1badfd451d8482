# Shared by the scripts of this folder. They may be called from any folder.
set -euo pipefail
TOP=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
ALL_PRESETS=(linux linux-asan linux-tsan windows-x86)

say() { printf '%s\n' "$*" >&2; }
die() {
    say "$(basename "$0"): $*"
    exit 1
}

# Compilations are kept in ccache where it is installed; nothing depends on it.
if command -v ccache >/dev/null 2>&1; then
    export CMAKE_C_COMPILER_LAUNCHER=${CMAKE_C_COMPILER_LAUNCHER:-ccache}
    export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER:-ccache}
    # What one clone has compiled serves the next one.
    export CCACHE_BASEDIR=${CCACHE_BASEDIR:-$TOP} CCACHE_NOHASHDIR=${CCACHE_NOHASHDIR:-1}
fi

# build_preset PRESET [TARGET...]: configures where needed and builds; the log is shown only on failure.
build_preset() {
    local preset=$1 log
    shift
    mkdir -p "$TOP/build"
    log=$TOP/build/$preset.log
    if ! (cd "$TOP" && cmake --preset "$preset" && cmake --build --preset "$preset" --parallel "$(nproc)" \
        ${1:+--target "$@"}) >"$log" 2>&1; then
        tail -n 80 "$log" >&2
        die "the build of $preset failed; the whole log is build/$preset.log"
    fi
}
