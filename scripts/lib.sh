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

# start_scanner FOLDER PORT [OPTION...]: starts the simulated scanner of a folder of programs on a
# virtual port and returns when it is ready. The caller ends it with stop_scanner.
start_scanner() {
    local folder=$1 port=$2 line
    shift 2
    coproc scanner {
        exec "$root/scripts/wine" "$folder/ridge-launch.exe" "$folder/ridge-scanner.exe" \
            --virtual "$port" --commands "$@" 2>&1
    }
    scanner_input=${scanner[1]}
    scanner_process=$scanner_PID
    while IFS= read -r -u "${scanner[0]}" line; do
        line=${line%$'\r'}
        printf '%s\n' "$line"
        if [[ $line == ready* ]]; then
            return
        fi
    done
    die "the simulated scanner did not start"
}

# The scanner ends when its standard input does.
stop_scanner() {
    if [ -n "${scanner_process-}" ]; then
        exec {scanner_input}>&-
        wait "$scanner_process" 2>/dev/null || true
    fi
}
