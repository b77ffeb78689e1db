/* Prints the version of the library, and what it makes of a gap. */
#include <math.h>
#include <stdio.h>
#include <talvora/talvora.h>

int main(void) {
    double samples[3] = {1.0, NAN, 3.0};
    const int64_t extent = 3;
    talvora_array array = {.struct_size = sizeof array, .samples = samples, .extents = &extent,
                           .rank = 1, .type = TALVORA_FLOAT64};
    char error[256];
    if (talvora_fill_gaps(&array, &array, 0, NULL, error, sizeof error) != TALVORA_OK) {
        puts(error);
        return 1;
    }
    printf("%s: %g %g %g\n", talvora_version(), samples[0], samples[1], samples[2]);
    return 0;
}
