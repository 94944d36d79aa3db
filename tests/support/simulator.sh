# shellcheck shell=bash
# For tests that are scripts: a folder of their own, servers in it, and the end of both.
# The variables are used by the scripts that source this file.
# shellcheck disable=SC2034

work=$(mktemp -d)
servers=()
trap 'kill "${servers[@]}" 2>/dev/null || true; rm -rf "$work"' EXIT
admin=cn=admin,dc=example,dc=com
(umask 077 && printf 'secret' >"$work/password")

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

# serve PROGRAM ADDRESS OPTION...: starts strata-sim there, at any free port for port 0. Its process is
# in $server then, and its URI in $uri.
serve() {
    rm -f "$work/uri"
    "$1" --listen "$2" --ready-file "$work/uri" "${@:3}" >"$work/server.log" 2>&1 &
    server=$!
    servers+=("$server")
    soon test -s "$work/uri" -o ! -e "/proc/$server"
    uri=$(cat "$work/uri") || fail "strata-sim does not start: $(cat "$work/server.log")"
}

# expect STATUS COMMAND...: runs it, with its output in $out and $err.
expect() {
    local status=0
    "${@:2}" >"$work/out" 2>"$work/err" || status=$?
    out=$(cat "$work/out") err=$(cat "$work/err")
    [ "$status" -eq "$1" ] || fail "${*:2}: $status instead of $1: $out $err"
}

# same EXPECTED FOUND
same() { [ "$1" = "$2" ] || fail "expected: $1; found: $2"; }

# like TEXT PATTERN: an extended regular expression for all of it.
like() {
    [[ $1 =~ ^$2$ ]] || fail "not like $2: $1"
}

# change LDIF: at the server of $uri, as its administrator.
change() {
    ldapmodify -x -H "$uri" -D "$admin" -y "$work/password" <<<"$1" >"$work/change" 2>&1 ||
        fail "ldapmodify: $(cat "$work/change")"
}

# stop PROCESS: a server's.
stop() {
    kill "$1"
    wait "$1"
}
