#!/bin/sh
# Reads CHANGELOG.md and prints its released versions as a Debian changelog: changelog.sh RELEASE CONTACT <CHANGELOG.md
exec awk -v release="$1" -v contact="$2" '
    function finish(stamp) {
        if (date == "")
            return
        ("date -Ru -d " date) | getline stamp
        printf "\n -- %s  %s\n\n", contact, stamp
        date = ""
    }
    /^## / { finish() }
    /^## \[[0-9]/ {
        date = $4
        printf "savesettings (%s-%s) unstable; urgency=medium\n\n", substr($2, 2, length($2) - 2), release
    }
    date == "" { next }
    /^- / { print "  * " substr($0, 3) }
    /^  [^ ]/ { print "    " substr($0, 3) }
    END { finish() }'
