/* The limit: the job of the program written by hand in C, with the same system calls and nothing else. */

#include "parts.h"

#include <signal.h>
#include <stdlib.h>
#include <string.h>

int main(void) {
    signal(SIGPIPE, SIG_IGN);
    const char* const method = getenv("REQUEST_METHOD");
    const char* const type = getenv("CONTENT_TYPE");
    if (method == NULL || type == NULL || strcmp(method, "POST") != 0 ||
        strcmp(type, "application/x-www-form-urlencoded") != 0)
        return 1;
    struct fields fields = {0};
    parse_form(read_body(), &fields);
    redirect(save_settings(&fields) ? restart_application() : "false");
    return 0;
}
