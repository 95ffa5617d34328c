#!/bin/sh
# Usage: guard.sh SERVER ARGUMENT...   Runs busybox httpd or mini_httpd, which start a process for each connection and
# wait for its client for a minute or more. Ends the connections that have lasted for more than two periods, and the
# oldest of the others when there are more than `most`. The kernel lists children from the oldest to the newest.
most=50
period=5

"$@" &
server=$!
trap 'kill "$server"; exit 0' TERM INT HUP
earlier=' '
while sleep "$period" & wait $! && [ -r "/proc/$server/task/$server/children" ]; do
    children=
    read -r children <"/proc/$server/task/$server/children" || :
    # shellcheck disable=SC2086 # a list of numbers
    set -- $children
    kept=' '
    for child; do
        case $earlier in *" $child "*) spare=false ;; *) [ $# -le "$most" ] && spare=true || spare=false ;; esac
        if $spare; then kept="$kept$child "; else kill "$child"; fi
        shift
    done
    earlier=$kept
done
wait "$server"
