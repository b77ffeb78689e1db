// A filter for data sets as other makers give them for the HDF5 library to load. It passes bytes
// on; with the value 1 it rounds 32-bit floats down to halves when they are written.
#include <H5PLextern.h>
#include <cmath>
#include <cstring>

namespace {

constexpr H5Z_filter_t HALVING = 305; // of those that are kept for tests

void round_to_halves(char* bytes, std::size_t count) {
    for (std::size_t i = 0; i + sizeof(float) <= count; i += sizeof(float)) {
        float value = 0;
        std::memcpy(&value, bytes + i, sizeof value);
        value = std::floor(value * 2) / 2;
        std::memcpy(bytes + i, &value, sizeof value);
    }
}

std::size_t filter_chunk(unsigned flags, std::size_t value_count, const unsigned* values,
                         std::size_t byte_count, std::size_t*, void** buffer) {
    const bool rounds = value_count > 0 && values[0] == 1;
    if (rounds && (flags & H5Z_FLAG_REVERSE) == 0) {
        round_to_halves(static_cast<char*>(*buffer), byte_count);
    }
    return byte_count;
}

const H5Z_class2_t FILTER = {H5Z_CLASS_T_VERS, HALVING, 1,       1,
                             "halving",        nullptr, nullptr, filter_chunk};

} // namespace

H5PL_type_t H5PLget_plugin_type() {
    return H5PL_TYPE_FILTER;
}

const void* H5PLget_plugin_info() {
    return &FILTER;
}
