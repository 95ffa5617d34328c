# The same job for the shell of busybox.
# shellcheck shell=sh
# shellcheck source=benchmarks/request/parts.sh
. "$PARTS"

head -c "$CONTENT_LENGTH" | tr '&' '\n' | awk -F = '
    function decode(text,   result, at) {
        while ((at = index(text, "%")) > 0) {
            result = result substr(text, 1, at - 1) sprintf("%c", ("0x" substr(text, at + 1, 2)) + 0)
            text = substr(text, at + 3)
        }
        return result text
    }
    { name = decode(tolower($1)) }
    !(name in seen) { seen[name] = 1; print name "\t" decode(substr($0, length($1) + 2)) }' | LC_ALL=C sort | save
redirect "$(restart)"
