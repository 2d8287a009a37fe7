# Shared by the two ways to run the demo: the web service, the directory, the agent, and the end.
out=$1
hurry=$2
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$top/build/release
log=$out/root/tmp/zevrikselfservice.log
children=()

end() {
    local child
    for child in "${children[@]}"; do
        kill "$child" 2>/dev/null || true
    done
    wait 2>/dev/null || true
}
trap end EXIT
trap 'exit 130' INT TERM

# wait_until SECONDS WHAT COMMAND…: polls until the command succeeds.
wait_until() {
    local deadline=$((SECONDS + $1)) what=$2
    shift 2
    until "$@" > /dev/null 2>&1; do
        if [ $SECONDS -ge $deadline ]; then
            echo "demo: gave up waiting for $what" >&2
            exit 1
        fi
        sleep 0.1
    done
}

start_services() {
    python3 "$top/demo/web_service.py" > "$out/web.log" 2>&1 &
    children+=($!)
    wait_until 20 "the web service" grep -q '^listening on' "$out/web.log"
    url=$(sed -n 's/^listening on //p' "$out/web.log")
    sed -e "s|@USER@|$(id -un)|g" -e "s|@URL@|$url|g" "$top/demo/directory.ldif.in" > "$out/directory.ldif"
}

cache=$out/root/Library/Caches/ZevrikSelfService/com.zevrik.selfservice.plist

start_agent() {
    # As an installation makes it.
    mkdir -p "$(dirname "$cache")"
    : > "$cache"
    "$build/demo/zevrikselfservice-demo" --ldif "$out/directory.ldif" --defaults "$top/demo/defaults.plist" \
        --root "$out/root" --hurry "$hurry" --enrollMenuExtra > "$out/agent.out" 2>&1 &
    agent=$!
    children+=("$agent")
}

agent_has_ended() { ! kill -0 "$agent" 2>/dev/null; }
