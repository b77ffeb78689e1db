// How much the checks try, and what their made-up inputs begin with.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

// Quick tries a part of what Deep does, spread over all of it.
enum class Level { Quick, Deep };
const char* name_of(Level level); // "quick", "deep"

struct CheckSettings {
    Level level = Level::Deep;
    // The same seed makes up the same inputs.
    std::uint64_t seed = 0;
};

// As a user writes them. Both throw a Failure of usage that names `option`.
Level read_level(std::string_view option, std::string_view word);
std::uint64_t read_seed(std::string_view option, std::string_view word);
// Another one each time.
std::uint64_t make_seed();

// As options on the command line of a check's own process.
constexpr char LEVEL_OPTION[] = "--level";
constexpr char SEED_OPTION[] = "--seed";
std::vector<std::string> list_words(const CheckSettings& settings);

} // namespace talvora::host
