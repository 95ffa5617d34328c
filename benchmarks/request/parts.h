#pragma once
/* The pieces of the job, in C and by hand: what the limit is made of, and what the programs that bring a form
   decoder of their own share with it. */

#include <stdbool.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

struct text {
    char* bytes;
    size_t length;
};

/* Names and values, sorted by name. */
struct fields {
    struct field {
        struct text name;
        struct text value;
    } * all;
    size_t count;
    size_t capacity;
};

/* Puts the field where it belongs. One whose name is there is replaced, or stays. */
void put_field(struct fields* fields, struct text name, struct text value, bool replace);

/* Decodes the form in place: names lower-cased. */
void parse_form(char* form, struct fields* fields);

/* The announced body of the request, ended by a zero byte. */
char* read_body(void);

/* Replaces the settings file atomically and durably, as the program does; writes nothing in place. */
bool save_settings(const struct fields* fields);

/* What became of the application: "restarted", "running", "stopped" or "false". */
const char* restart_application(void);

/* Sends the browser back to the page it came from. */
void redirect(const char* status);

#ifdef __cplusplus
}
#endif
