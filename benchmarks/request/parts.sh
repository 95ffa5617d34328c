# The pieces of the job for the shell; sourced by the two scripts beside it.
# shellcheck shell=sh

file=settings_xml.txt

# save: makes the lines NAME<tab>VALUE that it reads, sorted, the content of the settings file.
save() {
    IFS=- read -r a b c _ </proc/sys/kernel/random/uuid
    temporary=.$file.saving-$a$b$c
    umask 077
    set -C # fails if the file exists
    exec 9>"$temporary"
    flock -n 9
    awk -F '\t' 'BEGIN { print "<Settings>" } { print "  <" $1 ">" $2 "</" $1 ">" } END { print "</Settings>" }' >&9
    chmod "$(stat -c %a "$file")" "$temporary"
    sync "$temporary"
    mv "$temporary" "$file"
    sync .
}

is_running() {
    for process in /proc/[0-9]*; do
        read -r command 2>/dev/null <"$process/cmdline"
        # The shell drops the zero bytes between the arguments; the name must end the text.
        [ "${command##*/}" = "$1" ] && return 0
    done
    return 1
}

restart() {
    application=${PWD%/html}
    application=${application##*/}
    grep -q "$application" pid.cgi || { echo false && return; }
    is_running "$application" || { echo stopped && return; }
    if killall -SIGUSR1 "$application"; then echo restarted; else echo running; fi
}

redirect() {
    query=$(printf '%s' "${HTTP_REFERER#*\?}" | tr '&' '\n' | grep -v '^success=' | tr '\n' '&')
    printf 'Location: %s?%s&success=%s\r\n\r\n' "${HTTP_REFERER%%\?*}" "${query%&}" "$1"
}
