/* A fan whose main loop waits for its settings beside other events. Usage: fan HTML-FOLDER */

#include "zuap.h"

#include <poll.h>
#include <stdio.h>

static const struct zuap_option modes[] = {{"auto", "Automatic"}, {"night", "Night"}, {NULL, NULL}};

static const struct zuap_setting settings[] = {
    {.type = ZUAP_NUMBER,
     .name = "speed",
     .label = "Speed",
     .initial = "40",
     .minimum = "0",
     .maximum = "100",
     .step = "5",
     .unit = "%"},
    {.type = ZUAP_CHOICE, .name = "mode", .label = "Mode", .options = modes},
    {.type = ZUAP_SWITCH, .name = "light", .label = "Light", .help = "Lights the room around the fan."},
};

static void use(const zuap_application* fan) {
    long long speed = 0;
    zuap_scaled(fan, "speed", 0, &speed);
    printf("%lld %%, %s, light %s\n", speed, zuap_value(fan, "mode"),
           zuap_is_on(fan, "light") == 1 ? "on" : "off");
    for (unsigned int number = 0; number < zuap_refusal_count(fan); ++number)
        printf("refused %s\n", zuap_refusal(fan, number));
    fflush(stdout);
}

static int run(zuap_application* fan) {
    for (size_t number = 0; number < sizeof settings / sizeof settings[0]; ++number)
        if (zuap_add(fan, &settings[number]) != 0)
            return -1;
    if (zuap_start(fan) != 0)
        return -1;
    struct pollfd events = {zuap_descriptor(fan), POLLIN, 0}; /* and the descriptors of sensors and motors */
    int event = ZUAP_CHANGED;
    while (event != ZUAP_ENDED && event != -1) {
        if (event == ZUAP_CHANGED)
            use(fan);
        poll(&events, 1, -1);
        event = zuap_next(fan);
    }
    return event == ZUAP_ENDED ? 0 : -1;
}

int main(int argc, char* argv[]) {
    zuap_application* const fan = zuap_create(argc == 2 ? argv[1] : ".");
    if (fan == NULL)
        return 1;
    const int result = run(fan);
    if (result != 0)
        fprintf(stderr, "fan: %s\n", zuap_error(fan));
    zuap_free(fan);
    return result == 0 ? 0 : 1;
}
