#!/usr/bin/env bash
# A throwaway PostgreSQL cluster for the tests and benchmarks of the database store.
#   scripts/postgres-local.sh start DIR   initdb in DIR/data (when absent), starts the server
#                                         with its Unix socket in DIR (no TCP), creates the
#                                         database "vesk", and prints its connection URI as its
#                                         last line
#   scripts/postgres-local.sh stop DIR    stops it (DIR is kept; remove it to start afresh)
# initdb and pg_ctl refuse to run as root: run as root, they run as the user "postgres" and DIR
# is given to it. The cluster is made for speed (fsync off), since it is thrown away; set
# VESK_PG_FSYNC=on for one whose commits reach the disk (the benchmarks of durable commits).
# The extension pgstattuple is created in "vesk" when the server has it.
set -eu
BIN=${VESK_PG_BIN:-/usr/lib/postgresql/15/bin}

# The server outlives this script: it must not inherit the descriptors of whoever started it
# (the CPU lock of `flock ... scripts/test.sh`, held for as long as any process keeps it open).
for fd in /proc/$$/fd/*; do
  fd=${fd##*/}
  [ "$fd" -gt 2 ] && eval "exec $fd>&-" 2>/dev/null
done

usage() {
  echo "usage : $0 start DOSSIER | stop DOSSIER" >&2
  exit 2
}

[ $# -eq 2 ] || usage
action=$1
dir=$(mkdir -p "$2" && cd "$2" && pwd)

# as_owner CMD...: runs CMD as the owner of the cluster.
as_owner() {
  if [ "$(id -u)" -eq 0 ]; then
    runuser -u postgres -- "$@"
  else
    "$@"
  fi
}

case "$action" in
  start)
    [ -x "$BIN/initdb" ] || {
      echo "PostgreSQL absent de $BIN (paquet postgresql)" >&2
      exit 1
    }
    if [ "$(id -u)" -eq 0 ]; then
      chown postgres: "$dir"
      chmod 0700 "$dir"
    fi
    if [ ! -f "$dir/data/PG_VERSION" ]; then
      as_owner "$BIN/initdb" -D "$dir/data" -A trust -U postgres -E UTF8 --locale=C \
        --no-sync >"$dir/initdb.log" 2>&1 || {
        cat "$dir/initdb.log" >&2
        exit 1
      }
    fi
    fsync=${VESK_PG_FSYNC:-off}
    opts="-c listen_addresses='' -c unix_socket_directories='$dir' -c unix_socket_permissions=0777"
    opts="$opts -c fsync=$fsync -c full_page_writes=$fsync -c max_connections=60"
    opts="$opts -c shared_buffers=128MB"
    as_owner "$BIN/pg_ctl" -D "$dir/data" -l "$dir/server.log" -o "$opts" -w -t 60 start \
      >/dev/null || {
      tail -20 "$dir/server.log" >&2
      exit 1
    }
    # The directory holds the socket: others (root, the tests) must reach into it.
    chmod 0711 "$dir"
    psql=("$BIN/psql" -X -q -v ON_ERROR_STOP=1 -h "$dir" -U postgres)
    if [ -z "$("${psql[@]}" -d postgres -tAc "SELECT 1 FROM pg_database WHERE datname = 'vesk'")" ]
    then
      "${psql[@]}" -d postgres -c "CREATE DATABASE vesk"
      if [ -f /usr/share/postgresql/15/extension/pgstattuple.control ]; then
        "${psql[@]}" -d vesk -c "CREATE EXTENSION IF NOT EXISTS pgstattuple"
      fi
    fi
    echo "postgresql:///vesk?host=$dir&user=postgres"
    ;;
  stop)
    if [ -f "$dir/data/postmaster.pid" ]; then
      as_owner "$BIN/pg_ctl" -D "$dir/data" -m fast -w -t 60 stop >/dev/null
    fi
    ;;
  *) usage ;;
esac
