#include "zu_Functions.h"

int compareInC(void) {
    return zu_stricmp("Host", "hOST");
}
