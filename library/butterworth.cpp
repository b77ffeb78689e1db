#include "library/talvora/talvora.h"
