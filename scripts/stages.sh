# stages.sh - sourced by ./run and ./test and others: steps that stay quiet while they go well.
#
#  - Several scripts or parts of one may run at a time: each names a folder of its own in `logs`, and `part` for what
#    stands in front of its lines. CMAKE_BUILD_PARALLEL_LEVEL bounds how much each does at a time.

cd "$(dirname "${BASH_SOURCE[0]}")/.."
logs=build/logs
part=
jobs=${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}

# stage COMMAND...: runs the command with its output in a log, tells what ran and how long it took.
# When it fails, the log follows and the script ends.
stage()
{
    local log=$logs/${stage_number:=1}.log start=$SECONDS status=0
    ((stage_number += 1))
    mkdir -p "$logs"
    [[ $part ]] || printf '%s ... ' "$*"
    "$@" >"$log" 2>&1 </dev/null || status=$?
    local head=${part:+$part: $* ... } # a part's line comes in one go, since other parts write too
    if ((status == 0)); then
        printf '%s%d s\n' "$head" $((SECONDS - start))
        return
    fi
    printf '%sFAILED after %d s (exit code %d)\n' "$head" $((SECONDS - start)) "$status"
    cat "$log"
    exit 1
}

# The lines of the last stage's log that match a pattern, without the test runner's number in front.
from_log()
{
    sed -nE "/$1/ { s/^[0-9]+: //; p }" "$logs/$((stage_number - 1)).log"
}

# What the test runner said at the end of the last stage: its closing line, how many tests it ran, and how many of them
# carry a label.
closing_line() { from_log 'tests passed,'; }
tests_run() { closing_line | sed -E 's/.* out of //'; }
labelled() { from_log "^$1 .*sec.proc" | sed -E 's/.*\(([0-9]+) tests?\)/\1/'; }

# How many tests the programs themselves counted, where the test runner took each program for one.
programs_tests_run()
{
    from_log ' tests? from .* ran\.' | sed -E 's/.* ([0-9]+) tests? from .*/\1/' | awk '{ sum += $1 } END { print sum + 0 }'
}
