#ifndef ZUAP_H
#define ZUAP_H
/* The application's side of its settings, for C; zuap_Application.h is the same for C++. Link with the
   library zu and the C++ library (pkg-config --static zu).

   No function throws. Those that return int return -1 on failure, and zuap_error() has the reason. Text is
   UTF-8, and a null pointer counts as empty text. Texts that are passed in are copied; texts that are
   returned belong to the application object. */

#ifdef __cplusplus
extern "C" {
#endif

/* An application with its settings. */
typedef struct zuap_application zuap_application;

/* The types of settings. */
enum zuap_type { ZUAP_TEXT, ZUAP_NUMBER, ZUAP_CHOICE, ZUAP_SWITCH };

/* What zuap_next found. */
enum zuap_event { ZUAP_NONE, ZUAP_CHANGED, ZUAP_ENDED };

/* One option of a choice. */
struct zuap_option {
    const char* value; /* in the settings file */
    const char* label; /* for people */
};

/* A setting. Members that are left out of an initializer have no effect. */
struct zuap_setting {
    enum zuap_type type; /* which of the members below have an effect */
    const char* name;    /* of the field in the form */
    const char* label;   /* for people */
    const char* help;    /* a sentence below the field */
    const char* initial; /* value without a settings file; null: "", "0", the first option, or "off" */

    unsigned int minimum_length; /* text: characters */
    unsigned int maximum_length; /* text: characters; 0: 255 */
    const char* pattern;         /* text: regular expression for the whole text */

    const char* minimum; /* number: decimal text; null: no limit */
    const char* maximum; /* number: decimal text; null: no limit */
    const char* step;    /* number: distance of values from the minimum; null: any */
    const char* unit;    /* number: shown after the value */

    const struct zuap_option* options; /* choice: array that ends with a null value */
};

/* Returns a new application, or null if memory runs out. `folder` is the directory of its web page: a
   directory named "html" inside one with the name of the application's process. */
zuap_application* zuap_create(const char* folder);

/* Removes the marker and the published state, and frees the application. Does nothing for null. */
void zuap_free(zuap_application* application);

/* Adds a setting. Fails if the description has a fault or the name is taken. Call it before zuap_start. */
int zuap_add(zuap_application* application, const struct zuap_setting* setting);

/* Blocks SIGUSR1, SIGTERM and SIGINT, tells the gateway that the application runs, reads the settings, and
   publishes the state. Call it before starting threads. Returns 0, or -1. */
int zuap_start(zuap_application* application);

/* Returns a descriptor for poll, epoll or an event loop; it is readable while zuap_next has something to do.
   -1 before zuap_start. */
int zuap_descriptor(const zuap_application* application);

/* Takes over changed settings if the gateway has signalled, without waiting. Returns a zuap_event, or -1. */
int zuap_next(zuap_application* application);

/* Waits for an event. Returns ZUAP_CHANGED, ZUAP_ENDED, or -1. */
int zuap_wait(zuap_application* application);

/* Returns the value in use, or null if there is no such setting. Valid until the next call of zuap_next or
 * zuap_wait. */
const char* zuap_value(const zuap_application* application, const char* name);

/* Returns 1 if the value in use is "on", 0 if not, -1 if there is no such setting. */
int zuap_is_on(const zuap_application* application, const char* name);

/* Stores the number in use as a count of 10^-decimals, rounded towards zero: with 1 decimal, 20.5 is 205.
   Returns 0, or -1 if there is no such setting. At most 7 decimals. */
int zuap_scaled(const zuap_application* application, const char* name, unsigned int decimals,
                long long* number);

/* Returns how many values the last reading of the settings file did not take. */
unsigned int zuap_refusal_count(const zuap_application* application);

/* Returns why, such as "target: 99 is above 30"; null if there is no refusal `number`, counted from 0. Valid
   until the next call of zuap_next or zuap_wait. */
const char* zuap_refusal(const zuap_application* application, unsigned int number);

/* Returns how often the settings have been read since zuap_start. */
unsigned int zuap_revision(const zuap_application* application);

/* Returns the reason of the last failure, or why the settings file could not be read or the state not be
   published, which is no failure; an empty text if there was none. Valid until the next call for the
   application. */
const char* zuap_error(const zuap_application* application);

/* Reads a settings file without an application: calls `take` for each setting, in ascending order of names.
   Returns 0, or -1 with errno set: EAGAIN if the file is being rewritten or was cut short, ENOENT if there is
   none. */
int zuap_read_file(const char* path, void (*take)(void* context, const char* name, const char* value),
                   void* context);

#ifdef __cplusplus
}
#endif

#endif
