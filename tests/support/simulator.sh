# shellcheck shell=bash
# For tests that are scripts: a folder of their own, servers in it, and the end of both.
# The variables are used by the scripts that source this file.
# shellcheck disable=SC2034

work=$(mktemp -d)
servers=()
trap 'kill "${servers[@]}" 2>/dev/null || true; rm -rf "$work"' EXIT
admin=cn=admin,dc=example,dc=com
(umask 077 && printf 'secret\n' >"$work/password")

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

# soon COMMAND...: waits until it succeeds, and fails when it never does.
soon() {
    for _ in $(seq 600); do
        ! "$@" || return 0
        sleep 0.05
    done
    fail "never so: $*"
}

# serve NAME PROGRAM OPTION...: starts strata-sim, whose address is in the file $work/NAME then, and
# its process in $server. A free port, unless the options say another.
serve() {
    rm -f "$work/$1"
    "$2" --listen 127.0.0.1:0 --ready-file "$work/$1" "${@:3}" >"$work/$1.log" 2>&1 &
    server=$!
    servers+=("$server")
    soon test -s "$work/$1" -o ! -e "/proc/$server"
    [ -s "$work/$1" ] || fail "strata-sim does not start: $(cat "$work/$1.log")"
}

# stop PROCESS: a server's.
stop() {
    kill "$1"
    wait "$1"
}
