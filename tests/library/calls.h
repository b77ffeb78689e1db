// Calls of the library from tests: arrays that keep their extents, and what a call came to.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <talvora/talvora.h>
#include <type_traits>
#include <utility>
#include <vector>

namespace talvora::library_test {

using Extents = std::vector<std::int64_t>;

// An array in somebody's memory. Without strides it is row-major.
class Array {
  public:
    template <class Sample>
    Array(const Sample* samples, Extents extents, Extents strides = {})
        : extents_(std::move(extents)), strides_(std::move(strides)) {
        fields_.struct_size = sizeof fields_;
        fields_.samples = const_cast<Sample*>(samples);
        fields_.extents = extents_.data();
        fields_.strides = strides_.empty() ? nullptr : strides_.data();
        fields_.rank = static_cast<std::int32_t>(extents_.size());
        fields_.type = std::is_same_v<Sample, float> ? TALVORA_FLOAT32 : TALVORA_FLOAT64;
    }
    Array(const Array&) = delete;
    Array& operator=(const Array&) = delete;

    const talvora_array* get() const { return &fields_; }
    talvora_array& fields() { return fields_; }

  private:
    Extents extents_;
    Extents strides_;
    talvora_array fields_{};
};

struct Outcome {
    talvora_status status = TALVORA_OK;
    std::string text;

    friend bool operator==(const Outcome&, const Outcome&) = default;
    friend void PrintTo(const Outcome& outcome, std::ostream* stream) {
        *stream << outcome.status << ": " << outcome.text;
    }
};

inline const Outcome DONE{TALVORA_OK, ""};

// call(error, error_size)
template <class Call>
Outcome outcome_of(Call call) {
    char error[512] = "";
    const talvora_status status = call(error, sizeof error);
    return {status, error};
}

inline talvora_filter_options default_options() {
    talvora_filter_options options{};
    options.struct_size = sizeof options;
    options.axis = -1;
    return options;
}

struct Filter {
    std::vector<double> b;
    std::vector<double> a;
};

// scipy.signal.butter(2, 0.2)
inline const Filter LOW_PASS = {{0.06745527388907191, 0.13491054777814382, 0.06745527388907191},
                                {1.0, -1.1429805025399011, 0.41280159809618866}};

inline Outcome filtfilt(const Filter& filter, const Array& in, const Array& out,
                        const talvora_filter_options& options = default_options()) {
    return outcome_of([&](char* error, std::size_t size) {
        return talvora_filtfilt(filter.b.data(), filter.b.size(), filter.a.data(), filter.a.size(),
                                in.get(), out.get(), &options, error, size);
    });
}

// The filtered samples of lines that follow each other.
template <class Sample>
std::vector<Sample> filtered(const Filter& filter, const std::vector<Sample>& samples,
                             std::size_t line_length,
                             const talvora_filter_options& options = default_options()) {
    std::vector<Sample> out(samples.size());
    const Extents extents = {static_cast<std::int64_t>(samples.size() / line_length),
                             static_cast<std::int64_t>(line_length)};
    const Outcome outcome =
        filtfilt(filter, Array(samples.data(), extents), Array(out.data(), extents), options);
    return outcome == DONE ? out : std::vector<Sample>();
}

// A signal that every filter here changes.
template <class Sample>
std::vector<Sample> zigzag(std::size_t length) {
    std::vector<Sample> samples(length);
    for (std::size_t i = 0; i < length; ++i) {
        samples[i] = static_cast<Sample>(i % 7) * Sample{1.5} - static_cast<Sample>(i * i % 11);
    }
    return samples;
}

// Whether both hold the same bytes: a NaN is like itself.
template <class Sample>
bool same_bytes(const std::vector<Sample>& left, const std::vector<Sample>& right) {
    const auto* const one = reinterpret_cast<const unsigned char*>(left.data());
    const auto* const other = reinterpret_cast<const unsigned char*>(right.data());
    return std::equal(one, one + left.size() * sizeof(Sample), other,
                      other + right.size() * sizeof(Sample));
}

} // namespace talvora::library_test
