#include "host/validate/tried_values.h"

#include "host/validate/sample_trees.h"

#include <limits>

namespace talvora::host {

namespace {

using Texts = std::vector<std::string>;
using Integers = std::vector<std::int64_t>;
using Limits = std::numeric_limits<std::int64_t>;

// ---------------------------------------------------------------------------
// Usual values, guessed from what the key is called

struct Guess {
    const char* part;
    const char* value;
};

// The first whose part is in the key.
constexpr Guess GUESSES[] = {{"DestinationSet", "Result/all"},
                             {"Destination", "Result"},
                             {"Output", "Result"},
                             {"Group", SAMPLE_GROUP},
                             {"Set", SAMPLE_SET}};

std::optional<ParameterValue> guess_text(const std::string& key) {
    for (const Guess& guess : GUESSES) {
        if (key.find(guess.part) != std::string::npos) {
            return guess.value;
        }
    }
    return std::nullopt;
}

// ---------------------------------------------------------------------------
// Values to put together

const std::vector<ParameterValue>& ordinary_values_at(std::size_t type) {
    using Values = std::vector<ParameterValue>;
    // In the order of ParameterType.
    static const Values VALUES[] = {
        {std::string(SAMPLE_GROUP), std::string(SAMPLE_SET), std::string("Result"),
         std::string("acceleration"), std::string("highpass"), std::string("bandpass")},
        {true, false},
        {std::int64_t{-1}, std::int64_t{0}, std::int64_t{1}, std::int64_t{2}, std::int64_t{5},
         std::int64_t{12}},
        {0.1, 0.5, 1.0, 2.5, 10.0, 20.0},
        {Texts{SAMPLE_SET}, Texts{SAMPLE_SET, "Imu/gyr"}, Texts{"acc", "gyr"}, Texts{"a", "acc"}},
        {Integers{0}, Integers{0, 2}, Integers{2, 1}, Integers{1, 1}}};
    return VALUES[type];
}

// ---------------------------------------------------------------------------
// Values to try one by one

const std::vector<ParameterValue>& wrong_texts() {
    static const std::vector<ParameterValue> VALUES{std::string(),
                                                    std::string("nowhere"),
                                                    std::string(SAMPLE_GROUP),
                                                    std::string(SAMPLE_SET),
                                                    std::string("/"),
                                                    std::string("../.."),
                                                    std::string("%s%n%5000d{}"),
                                                    std::string("\xff\xfe\x80"),
                                                    std::string(5000, 'x')};
    return VALUES;
}

const std::vector<ParameterValue>& wrong_text_lists() {
    static const std::vector<ParameterValue> VALUES{Texts{},
                                                    Texts{"nowhere"},
                                                    Texts{SAMPLE_SET},
                                                    Texts{""},
                                                    Texts{SAMPLE_SET, SAMPLE_SET},
                                                    Texts{SAMPLE_GROUP},
                                                    Texts{"%n", "=:"},
                                                    Texts(300, "acc"),
                                                    Texts{SAMPLE_SET, "nowhere", "Imu/gyr"}};
    return VALUES;
}

const std::vector<ParameterValue>& extreme_integers() {
    static const std::vector<ParameterValue> VALUES = [] {
        std::vector<ParameterValue> values;
        for (const std::int64_t value :
             {Limits::min(), Limits::min() + 1, -(std::int64_t{1} << 32), std::int64_t{-2},
              std::int64_t{-1}, std::int64_t{0}, std::int64_t{1}, std::int64_t{2}, std::int64_t{3},
              std::int64_t{1} << 31, std::int64_t{1} << 32, (std::int64_t{1} << 32) + 1,
              (std::int64_t{1} << 53) + 1, Limits::max()}) {
            values.emplace_back(value);
        }
        return values;
    }();
    return VALUES;
}

const std::vector<ParameterValue>& extreme_numbers() {
    static const std::vector<ParameterValue> VALUES{0.0,
                                                    -0.0,
                                                    -1.0,
                                                    5e-324,
                                                    1e-12,
                                                    49.999999999,
                                                    50.0,
                                                    1e9,
                                                    1e300,
                                                    std::numeric_limits<double>::max(),
                                                    std::numeric_limits<double>::infinity(),
                                                    -std::numeric_limits<double>::infinity(),
                                                    std::numeric_limits<double>::quiet_NaN()};
    return VALUES;
}

const std::vector<ParameterValue>& extreme_integer_lists() {
    static const std::vector<ParameterValue> VALUES{Integers{},
                                                    Integers{0},
                                                    Integers{-1},
                                                    Integers{0, 0, 2},
                                                    Integers{Limits::min(), Limits::max()},
                                                    Integers(2000, 1)};
    return VALUES;
}

const std::vector<ParameterValue>& no_values() {
    static const std::vector<ParameterValue> NONE;
    return NONE;
}

} // namespace

std::optional<ParameterValue> guess_value(const ParameterSignature& signature) {
    if (signature.default_value) {
        return std::nullopt;
    }
    switch (signature.type) {
    case ParameterType::String:
        return guess_text(signature.key);
    case ParameterType::Boolean:
        return false;
    case ParameterType::Integer:
        return std::int64_t{4};
    case ParameterType::Number:
        return 5.0;
    default:
        return std::nullopt;
    }
}

const std::vector<ParameterValue>& ordinary_values_of(ParameterType type) {
    return ordinary_values_at(static_cast<std::size_t>(type));
}

const std::vector<ParameterValue>& wrong_texts_of(ParameterType type) {
    switch (type) {
    case ParameterType::String:
        return wrong_texts();
    case ParameterType::StringList:
        return wrong_text_lists();
    default:
        return no_values();
    }
}

const std::vector<ParameterValue>& extreme_numbers_of(ParameterType type) {
    switch (type) {
    case ParameterType::Integer:
        return extreme_integers();
    case ParameterType::Number:
        return extreme_numbers();
    case ParameterType::IntegerList:
        return extreme_integer_lists();
    default:
        return no_values();
    }
}

} // namespace talvora::host
