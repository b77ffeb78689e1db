#include "library/talvora/talvora.h"

const char* talvora_version(void) {
    return TALVORA_VERSION;
}
