# stages.sh - sourced by ./run and ./test: steps that stay quiet while they go well.

cd "$(dirname "${BASH_SOURCE[0]}")/.."
logs=build/logs
jobs=$(nproc)

# stage COMMAND...: runs the command with its output in a log, tells what ran and how long it took.
# When it fails, the log follows and the script ends.
stage()
{
    local log=$logs/${stage_number:=1}.log start=$SECONDS status=0
    ((stage_number += 1))
    mkdir -p "$logs"
    printf '%s ... ' "$*"
    "$@" >"$log" 2>&1 </dev/null || status=$?
    if ((status == 0)); then
        printf '%d s\n' $((SECONDS - start))
        return
    fi
    printf 'FAILED after %d s (exit code %d)\n' $((SECONDS - start)) "$status"
    cat "$log"
    exit 1
}

# The test runner's own closing line of the stage before.
closing_line()
{
    grep -h 'tests passed,' "$logs/$((stage_number - 1)).log"
}
