#!/bin/sh
# Stands in the public folder of busybox httpd or mini_httpd as cgi-bin/saveSettings and runs the program, which stands
# with the settings in a folder that these servers do not show. Put your value in place of the word between "@" signs.
refuse() {
    printf 'Status: %s\r\nContent-Type: text/plain\r\n\r\n%s\n' "$1" "$1"
    exit
}

# POST only: an address alone shall save nothing. To take forms by GET, too, delete the next line.
[ "$REQUEST_METHOD" = POST ] || refuse '403 Forbidden'

# busybox httpd sends 200 with whatever does not begin with a status.
answer=$(cd '@ROOT@/html' && ./saveSettings)
case $answer in
    Location:*) printf 'Status: 302 Found\r\n' ;;
    '') refuse '500 Internal Server Error' ;;
esac
printf '%s\n' "$answer" # with the last line feed, which the shell has taken away
