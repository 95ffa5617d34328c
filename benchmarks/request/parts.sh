# The pieces of the job for the shell; sourced by the two scripts beside it.
# shellcheck shell=sh

file=settings_xml.txt

# save: makes the lines NAME<tab>VALUE that it reads, sorted, the content of the settings file.
save() {
    for sibling in "$file".*; do
        case ${sibling##*.} in
            '' | *[!0-9]*) continue ;;
        esac
        kill -0 "${sibling##*.}" 2>/dev/null || rm -f "$sibling"
    done
    awk -F '\t' 'BEGIN { print "<Settings>" } { print "  <" $1 ">" $2 "</" $1 ">" } END { print "</Settings>" }' \
        >"$file.$$"
    sync "$file.$$"
    mv "$file.$$" "$file"
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
    page=${HTTP_REFERER%%\?*}
    query=$(printf '%s' "${HTTP_REFERER#*\?}" | tr '&' '\n' | grep -v '^success=')
    query=$(printf '%s\nsuccess=%s\n' "$query" "$1" | LC_ALL=C sort | tr '\n' '&')
    printf 'Location: %s?%s\r\n\r\n' "$page" "${query%&}"
}
