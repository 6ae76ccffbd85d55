# Functions for tests that need a storage service in the lab, for scripts of bash:
#
#   set -euo pipefail
#   lab_node=<the lab-node of the SDK's lab>
#   source lab-service.sh
#
# $work is a folder of the test, which is removed at its end. A program whose process is added to
# the list "started" is ended with the test.
# shellcheck shell=bash
: "${lab_node:?is the script that runs a program in the lab}"
work=$(mktemp -d)
port=0 # a free one; the same again after a restart
started=()

# Ends what is left of the test.
finish() {
    kill -9 "${started[@]}" 2>/dev/null || true
    rm -rf "$work"
}
trap finish EXIT

# fail WORD...: ends the test; shows what the agent has printed to $work/agent.
fail() {
    echo "$0: $*" >&2
    [ ! -f "$work/agent" ] || cat "$work/agent" >&2
    exit 1
}

# wait_for WHAT COMMAND...: waits until the command succeeds, a minute at most.
wait_for() {
    local what=$1 i
    shift
    for ((i = 0; i < 600; ++i)); do
        ! "$@" || return 0
        sleep 0.1
    done
    fail "there was no $what within a minute"
}

# listens: whether the service, which was just started, takes connections within 20 s.
listens() {
    local i
    for ((i = 0; i < 200; ++i)); do
        [ ! -s "$work/port" ] || return 0
        sleep 0.1
    done
    return 1
}

# start_service SCENARIO [OPTION...]: starts a service with its driver; the options are those of
# ztsvc. What runs afterwards in the lab uses it. On a busy machine Wine sometimes starts a program
# that never begins to run: the service is then started again.
start_service() {
    local scenario=$1 tries
    shift
    for tries in 1 2 3; do
        rm -f "$work/port"
        "$lab_node" "$(dirname "$lab_node")/bin/ztsvc.exe" --quiet --driver --scenario "$scenario" \
            --port "$port" --port-file "$work/port" "$@" &
        service=$!
        started+=("$service")
        if listens; then
            port=$(<"$work/port")
            export ZTLAB_SERVICE=127.0.0.1:$port ZTLAB_STRICT=1
            return 0
        fi
        echo "$0: the service does not listen, try $tries of 3" >&2
        kill -9 "$service" 2>/dev/null || true
    done
    fail "there was no service within a minute"
}

# Ends the service as a crash would. lab-node becomes the program, so its process is the service.
kill_service() {
    kill -9 "$service"
    wait "$service" || true
}
