#!/bin/sh
# Runs the program for servers that cannot refuse all that should not reach it: busybox httpd, mini_httpd and Apache.
# Replace the word between "@" signs: docs/deploy.md says how.
LC_ALL=C

# The largest body in bytes.
largest=65536
# Host names of the device, separated by blanks: 'thermostat.local 192.0.2.7'. A "*" alone allows any.
hosts='*'

refuse() {
    printf 'Status: %s\r\nContent-Type: text/plain\r\n\r\n%s\n' "$1" "$1"
    exit
}

# POST only: an address alone must not save anything. To take forms by GET, too, delete the next line.
[ "$REQUEST_METHOD" = POST ] || refuse '403 Forbidden'

case " $hosts " in
    ' * ' | *" ${HTTP_HOST%:*} "*) ;;
    *) refuse '403 Forbidden' ;;
esac

# A request from another site: its origin is not this host. Old browsers and other programs send none. mini_httpd does
# not pass it on; there the referer must be a page of this host.
case ${SERVER_SOFTWARE%%/*} in
    mini_httpd) sender=$HTTP_REFERER/ ;;
    *) sender=${HTTP_ORIGIN+$HTTP_ORIGIN/} ;;
esac
case $sender in
    '' | "http://$HTTP_HOST/"* | "https://$HTTP_HOST/"*) ;;
    *) refuse '403 Forbidden' ;;
esac

# The program takes a body that ends early for the whole form. Only a complete body reaches it.
body=
if [ "$REQUEST_METHOD" = POST ]; then
    case $CONTENT_LENGTH in
        '' | *[!0-9]*) refuse '411 Length Required' ;;
        ???????*) refuse '413 Payload Too Large' ;;
    esac
    [ "$CONTENT_LENGTH" -le "$largest" ] || refuse '413 Payload Too Large'
    body=$(head -c "$CONTENT_LENGTH" && echo .)
    body=${body%.}
    [ "${#body}" -eq "$CONTENT_LENGTH" ] || refuse '400 Bad Request'
fi

# busybox httpd sends 200 with whatever does not begin with a status.
answer=$(cd '@ROOT@/html' && printf %s "$body" | ./saveSettings)
case $answer in
    Location:*) printf 'Status: 302 Found\r\n' ;;
    '') refuse '500 Internal Server Error' ;;
esac
printf '%s\n' "$answer" # with the line feed that the shell has removed
