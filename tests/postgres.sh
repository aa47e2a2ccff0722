#!/usr/bin/env bash
# A throw-away PostgreSQL server for the tests.
#
#   postgres.sh start DIR   makes a new cluster, starts its server and writes its connection string to DIR/connection
#   postgres.sh stop DIR    stops that server and removes all that it left
#   postgres.sh find        prints the folder of the server's programs; fails where there is none
#
# The server listens on a unix socket only, in a folder of its own below $TMPDIR, and trusts every user of this machine
# that reaches the socket. It refuses to run as root; started by root, it runs as a user without rights.
set -euo pipefail

readonly PORT=5432 # only part of the socket's name

fail() {
    printf 'postgres.sh: %s\n' "$*" >&2
    exit 1
}

programs() {
    local newest
    newest=$(printf '%s\n' /usr/lib/postgresql/*/bin/pg_ctl | sort -V | tail -n 1)
    [[ -x $newest ]] || newest=$(command -v pg_ctl) || return 1
    [[ -x $(dirname "$newest")/initdb ]] || return 1
    dirname "$newest"
}

# Runs a command as the server's user, with nothing of ours open: a server that keeps our output open keeps its reader waiting.
as_server() {
    if [[ $(id -u) -ne 0 ]]; then
        "$@" </dev/null
    else
        (cd / && exec setpriv --reuid "$SERVER_USER" --regid "$(id -g "$SERVER_USER")" --clear-groups \
            env HOME=/ "$@" </dev/null)
    fi
}

server_user() {
    local user
    [[ $(id -u) -eq 0 ]] || { id -un && return; }
    for user in postgres nobody; do
        id -u "$user" >/dev/null 2>&1 && printf '%s\n' "$user" && return
    done
    return 1
}

# A socket's path ends at 107 bytes, the connection string is cut at ':' and ';', and the server's user must get there.
make_cluster_folder() {
    local base=${TMPDIR:-/tmp}
    if [[ ${#base} -gt 70 || $base == *[:\;]* ]] || ! as_server test -x "$base"; then
        base=/tmp
    fi
    mktemp -d "$base/tolm-postgres.XXXXXX"
}

start() {
    local dir=$1 bin cluster
    stop "$dir"
    bin=$(programs) || fail "found no PostgreSQL server (initdb, pg_ctl)"
    mkdir -p "$dir"
    cluster=$(make_cluster_folder)
    printf '%s\n' "$cluster" >"$dir/cluster"
    mkdir "$cluster/data"
    chmod 755 "$cluster" # the socket lies in it; the data folder is the server's alone
    [[ $(id -u) -ne 0 ]] || chown -R "$SERVER_USER" "$cluster"

    # A collation that sorts as people do, so that a statement which leaves the order of names to the database shows it.
    local locale=(--locale=C.UTF-8)
    if "$bin/initdb" --help | grep -q -- --icu-locale; then
        locale+=(--locale-provider=icu --icu-locale=en)
    fi
    as_server "$bin/initdb" -D "$cluster/data" -U tolm --auth=trust --encoding=UTF8 "${locale[@]}" --no-sync \
        >"$dir/initdb.log" 2>&1 || fail "initdb failed: $(cat "$dir/initdb.log")"
    # The data lives for minutes: nothing is synchronized to the disk. Shared memory goes to files below the data
    # folder, as the small /dev/shm of a container would not do.
    cat >>"$cluster/data/postgresql.conf" <<CONF
listen_addresses = ''
unix_socket_directories = '$cluster'
port = $PORT
max_connections = 200
shared_buffers = 32MB
dynamic_shared_memory_type = mmap
fsync = off
synchronous_commit = off
full_page_writes = off
CONF
    as_server "$bin/pg_ctl" start -D "$cluster/data" -l "$cluster/server.log" -w -t 60 >/dev/null 2>&1 ||
        fail "the server did not start: $(cat "$cluster/server.log")"
    printf 'PGSQL;host:%s;port:%s;user:tolm;password:;database:postgres\n' "$cluster" "$PORT" >"$dir/connection"
    printf 'PostgreSQL %s runs in %s\n' "$(cat "$cluster/data/PG_VERSION")" "$cluster"
}

# The process that the cluster's pid file names, if it still is this cluster's server: a pid may have been given anew.
server_pid() {
    local data=$1 pid
    pid=$(head -n 1 "$data/postmaster.pid" 2>/dev/null) || return 1
    [[ $(as_server readlink "/proc/$pid/cwd") == "$data" ]] && printf '%s\n' "$pid"
}

stop() {
    local dir=$1 cluster pid
    [[ -f $dir/cluster ]] || return 0
    cluster=$(cat "$dir/cluster")
    [[ $cluster == */tolm-postgres.* ]] || fail "\"$cluster\" in $dir/cluster is no cluster of ours"
    if pid=$(server_pid "$cluster/data"); then
        kill -QUIT "$pid" # an immediate shutdown: nothing is kept
        for _ in $(seq 100); do
            server_pid "$cluster/data" >/dev/null || break
            sleep 0.1
        done
        ! server_pid "$cluster/data" >/dev/null || fail "the server, process $pid, does not stop"
    fi
    rm -rf "$cluster" "$dir/cluster" "$dir/connection"
}

case ${1-} in
    start | stop)
        [[ $# -eq 2 ]] || fail "usage: postgres.sh start|stop DIR"
        SERVER_USER=$(server_user) || fail "found no user to run the server"
        "$1" "$2"
        ;;
    find) programs ;;
    *) fail "usage: postgres.sh start DIR | stop DIR | find" ;;
esac
