# Shared by the scripts of this folder; to be sourced.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

say() { printf '\n== %s\n' "$*"; }

die() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# Runs a command quietly; its output is shown only when it fails.
quietly() {
    local log
    log=$(mktemp)
    if "$@" >"$log" 2>&1; then
        rm -f "$log"
    else
        local status=$?
        cat "$log" >&2
        rm -f "$log"
        return "$status"
    fi
}

configure_and_build() {
    local preset=$1
    shift
    cd "$root" || exit 1
    quietly cmake --preset "$preset" || die "configuring '$preset' failed"
    quietly cmake --build --preset "$preset" "$@" || die "building '$preset' failed"
}
