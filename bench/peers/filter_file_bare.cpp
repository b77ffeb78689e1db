// Low-passes every data set in the group Signals of HDF5 files where it lies, and nothing else: the
// least that a program of its own would do, and what it takes is the bound of whole jobs.
//
//     filter_file_bare FILE ...
//
// Order 4 at 10 Hz, forward and backward, along the last dimension, for sets of 32-bit floats
// without missing samples. A plain loop, one line after the other; no copy of the file, no look at
// what was written, no sync.
#include "dsp/butterworth_design.h"
#include "dsp/zero_phase_filter.h"

#include <hdf5.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <vector>

namespace {

using namespace talvora;

constexpr std::size_t STATE_COUNT = 2; // an order of 4 over both passes

// Kept from set to set.
struct Room {
    std::vector<float> samples;
    std::vector<double> extended; // a line with its padding
};

template <typename Answer>
Answer checked(Answer answer) {
    if (answer < 0) {
        std::fputs("filter_file_bare: the HDF5 library refused a call\n", stderr);
        std::exit(1);
    }
    return answer;
}

dsp::PreparedFilter design(float rate) {
    const dsp::ButterworthParameters parameters{.cutoff = 10, .order = 4};
    return dsp::prepare_filter(dsp::build_design_cache(std::span(&rate, 1), parameters).at(rate));
}

// One pass in direct form II transposed, in the steady state of its first sample.
template <typename Iterator>
void filter_pass(const dsp::PreparedFilter& filter, Iterator begin, Iterator end) {
    const auto &b = filter.b, &a = filter.a;
    const double first = *begin;
    std::array<double, STATE_COUNT> z = {filter.steady_state[0] * first,
                                         filter.steady_state[1] * first};
    for (; begin != end; ++begin) {
        const double x = *begin;
        const double y = b[0] * x + z[0];
        z = {b[1] * x - a[1] * y + z[1], b[2] * x - a[2] * y};
        *begin = y;
    }
}

// Extended at either end by what is mirrored about the end point.
void extend(std::span<const float> line, std::size_t pad, std::vector<double>& extended) {
    extended.resize(line.size() + 2 * pad);
    const std::size_t first = pad;
    const std::size_t last = pad + line.size() - 1;
    std::ranges::copy(line, extended.begin() + static_cast<std::ptrdiff_t>(pad));
    for (std::size_t i = 1; i <= pad; ++i) {
        extended[first - i] = 2.0 * extended[first] - extended[first + i];
        extended[last + i] = 2.0 * extended[last] - extended[last - i];
    }
}

void filter_line(const dsp::PreparedFilter& filter, std::span<float> line,
                 std::vector<double>& extended) {
    const std::size_t pad = filter.pad_count();
    extend(line, pad, extended);
    filter_pass(filter, extended.begin(), extended.end());
    filter_pass(filter, extended.rbegin(), extended.rend());
    for (std::size_t i = 0; i < line.size(); ++i) {
        line[i] = static_cast<float>(extended[pad + i]);
    }
}

float read_rate(hid_t set) {
    float rate = 0;
    const hid_t attribute = checked(H5Aopen(set, "SampleRate", H5P_DEFAULT));
    checked(H5Aread(attribute, H5T_NATIVE_FLOAT, &rate));
    checked(H5Aclose(attribute));
    return rate;
}

std::size_t read_line_length(hid_t space) {
    std::array<hsize_t, H5S_MAX_RANK> extents{};
    const int rank = checked(H5Sget_simple_extent_dims(space, extents.data(), nullptr));
    return extents[static_cast<std::size_t>(rank) - 1];
}

herr_t filter_set(hid_t group, const char* name, const H5L_info_t* /*link*/, void* room) {
    const hid_t set = checked(H5Dopen2(group, name, H5P_DEFAULT));
    const hid_t space = checked(H5Dget_space(set));
    auto& [samples, extended] = *static_cast<Room*>(room);
    samples.resize(static_cast<std::size_t>(checked(H5Sget_simple_extent_npoints(space))));
    checked(H5Dread(set, H5T_NATIVE_FLOAT, H5S_ALL, H5S_ALL, H5P_DEFAULT, samples.data()));
    const dsp::PreparedFilter filter = design(read_rate(set));
    const std::size_t length = read_line_length(space);
    for (std::size_t start = 0; start < samples.size(); start += length) {
        filter_line(filter, std::span(samples).subspan(start, length), extended);
    }
    checked(H5Dwrite(set, H5T_NATIVE_FLOAT, H5S_ALL, H5S_ALL, H5P_DEFAULT, samples.data()));
    checked(H5Sclose(space));
    checked(H5Dclose(set));
    return 0;
}

void filter_file(const char* name) {
    const hid_t file = checked(H5Fopen(name, H5F_ACC_RDWR, H5P_DEFAULT));
    Room room;
    checked(H5Literate_by_name(file, "Signals", H5_INDEX_NAME, H5_ITER_NATIVE, nullptr, filter_set,
                               &room, H5P_DEFAULT));
    checked(H5Fclose(file));
}

} // namespace

int main(int count, char** words) {
    for (const char* const name : std::span(words, static_cast<std::size_t>(count)).subspan(1)) {
        filter_file(name);
    }
}
