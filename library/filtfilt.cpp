#include "library/given_filter.h"
#include "library/guarded_call.h"
#include "library/zero_phase.h"

talvora_status talvora_filtfilt(const double* b, size_t b_count, const double* a, size_t a_count,
                                const talvora_array* in, const talvora_array* out,
                                const talvora_filter_options* options, char* error,
                                size_t error_size) {
    using namespace talvora::library;
    return guard_call(error, error_size,
                      [&] { filter_array(read_filter(b, b_count, a, a_count), in, out, options); });
}
