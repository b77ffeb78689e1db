#include "host/validate/check_settings.h"

#include "host/text/failure.h"
#include "host/text/parse_number.h"

#include <fmt/format.h>

#include <random>

namespace talvora::host {

namespace {

constexpr Level LEVELS[] = {Level::Quick, Level::Deep};

} // namespace

const char* name_of(Level level) {
    return level == Level::Quick ? "quick" : "deep";
}

Level read_level(std::string_view option, std::string_view word) {
    for (const Level level : LEVELS) {
        if (word == name_of(level)) {
            return level;
        }
    }
    throw Failure(ExitCode::Usage,
                  fmt::format("{}: '{}' is no level (allowed: quick, deep)", option, word));
}

std::uint64_t read_seed(std::string_view option, std::string_view word) {
    const auto seed = parse_number<std::uint64_t>(word);
    if (!seed) {
        throw Failure(ExitCode::Usage, fmt::format("{}: '{}' is no seed (allowed: a whole number "
                                                   "from 0 to 18446744073709551615)",
                                                   option, word));
    }
    return *seed;
}

// Few digits, for people copy them.
std::uint64_t make_seed() {
    return std::random_device()();
}

std::vector<std::string> list_words(const CheckSettings& settings) {
    return {LEVEL_OPTION, name_of(settings.level), SEED_OPTION, std::to_string(settings.seed)};
}

} // namespace talvora::host
