#include "fuzz/boundary_world.h"

#include "fuzz/choices.h"
#include "fuzz/signals.h"

#include <algorithm>
#include <limits>

namespace talvora::fuzz {

namespace {

using test_support::AttributeValue;
using test_support::Declaration;
using test_support::ParameterValue;

constexpr std::uint64_t MOST_SAMPLES = 1024;
constexpr float NO_FLOAT = std::numeric_limits<float>::quiet_NaN();
constexpr float INFINITE_FLOAT = std::numeric_limits<float>::infinity();
constexpr std::int64_t LEAST = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t GREATEST = std::numeric_limits<std::int64_t>::max();

constexpr const char* GROUP_PATHS[] = {"Imu", "Imu/Left", "Imu/Left/Foot", "Gps", "Out"};
constexpr const char* SET_PATHS[] = {"Imu/Rate",           "Imu/Force", "Imu/Left/Rate",
                                     "Imu/Left/Foot/Rate", "Gps/Rate",  "Gps/Heading",
                                     "Out/Rate",           "Top"};
constexpr const char* TEXTS[] = {
    "Imu",      "Imu/Rate",  "Rate",    "Force",   "Imu/Force",  "Imu/Left", "Imu/Left/Rate",
    "Gps",      "Gps/Rate",  "Heading", "Top",     "Out",        "Out/Rate", "Out/New",
    "New/Deep", "",          "/",       "/Imu/",   "Left/Rate",  "Nowhere",  "Mean",
    "Feature",  "Imu//Rate", "%s%n",    "{} {:9}", "Left Ankle", "..",       "Foot"};
constexpr const char* METRICS[] = {"Mean", "Feature", "", "Raw"};
constexpr const char* BANDFORMS[] = {"ZeroLagLowPass", "ZeroLagHighPass", "ZeroLagBandPass",
                                     "ZeroLagBandStop"};
constexpr float RATES[] = {100.0F, 50.0F,  200.0F,         25.0F, 1000.0F, 33.3F,
                           0.0F,   -1.0F,  NO_FLOAT,       1.0F,  0.5F,    1e-30F,
                           1e30F,  1e-45F, INFINITE_FLOAT, 99.0F, 30.0F,   -INFINITE_FLOAT};
constexpr std::uint64_t EXTENTS[] = {1, 3, 100, 2, 0, 5, 17, 64, 300, 4};
constexpr std::int64_t INTEGERS[] = {0, 1, 2, -1, 3, 5, -2, LEAST, GREATEST, 4294967296, 1000, 7};
constexpr std::int64_t ORDERS[] = {2, 1, 4, 3, 5, 8, 0, -1, 12, LEAST, 4294967298, 24};
constexpr double NUMBERS[] = {0.0,
                              5.0,
                              10.0,
                              0.1,
                              0.5,
                              1.0,
                              -1.0,
                              25.0,
                              50.0,
                              99.99,
                              1e-300,
                              1e300,
                              0.001,
                              12.5,
                              std::numeric_limits<double>::quiet_NaN(),
                              std::numeric_limits<double>::infinity()};

// --- the tree

std::vector<std::uint64_t> make_extents(Choices& choices) {
    static constexpr std::size_t RANKS[] = {3, 3, 3, 1, 2, 4, 0, 5};
    return pick_extents(choices, pick(choices, RANKS), EXTENTS, MOST_SAMPLES);
}

AttributeValue make_rate(Choices& choices) {
    const float rate = pick(choices, RATES);
    switch (choices.ConsumeIntegralInRange<int>(0, 7)) {
    case 0:
        return static_cast<double>(rate);
    case 1:
        return std::int64_t{choices.ConsumeIntegral<std::uint16_t>()};
    case 2:
        return std::string("100");
    default:
        return rate;
    }
}

NamedAttributes make_attributes(Choices& choices) {
    NamedAttributes attributes;
    if (!one_in(choices, 8)) {
        attributes.emplace_back("SampleRate", make_rate(choices));
    }
    if (choices.ConsumeBool()) {
        attributes.emplace_back("MetricType", std::string(pick(choices, METRICS)));
    }
    if (choices.ConsumeBool()) {
        attributes.emplace_back("NumSamples", pick(choices, INTEGERS));
    }
    if (one_in(choices, 4)) {
        attributes.emplace_back("StartTime", make_float(choices));
    }
    return attributes;
}

std::vector<GroupPlan> make_groups(Choices& choices) {
    std::vector<GroupPlan> groups;
    for (const char* path : GROUP_PATHS) {
        if (choices.ConsumeBool()) {
            groups.push_back({path, make_attributes(choices), one_in(choices, 16)});
        }
    }
    return groups;
}

SetPlan make_set(Choices& choices, const char* path) {
    SetPlan set{path, make_extents(choices), {}, make_attributes(choices), one_in(choices, 16)};
    std::uint64_t count = set.extents.empty() ? 0 : 1;
    for (const std::uint64_t extent : set.extents) {
        count *= extent;
    }
    set.samples = make_samples(choices, count);
    return set;
}

std::vector<SetPlan> make_sets(Choices& choices) {
    std::vector<SetPlan> sets;
    for (const char* path : SET_PATHS) {
        if (choices.ConsumeBool()) {
            sets.push_back(make_set(choices, path));
            // Sets of one shape are what several units ask for.
            if (sets.size() > 1 && choices.ConsumeBool()) {
                sets.back().extents = sets.front().extents;
                sets.back().samples = sets.front().samples;
            }
        }
    }
    return sets;
}

// --- parameters

std::string make_text(Choices& choices) {
    return one_in(choices, 16) ? choices.ConsumeRandomLengthString(12)
                               : std::string(pick(choices, TEXTS));
}

// A text ends at its first NUL, as it does for the plug-in.
std::string cut_at_nul(std::string text) {
    text.resize(std::min(text.size(), text.find('\0')));
    return text;
}

ParameterValue make_text_value(Choices& choices, const std::string& key) {
    if (key == "Bandform" && !one_in(choices, 8)) {
        return std::string(pick(choices, BANDFORMS));
    }
    if (key == "MetricFilter") {
        return std::string(pick(choices, METRICS));
    }
    return cut_at_nul(make_text(choices));
}

ParameterValue make_text_list(Choices& choices) {
    test_support::Texts texts(choices.ConsumeIntegralInRange<std::size_t>(0, 4));
    std::ranges::generate(texts, [&] { return cut_at_nul(make_text(choices)); });
    return texts;
}

ParameterValue make_integer_list(Choices& choices) {
    test_support::Integers integers(choices.ConsumeIntegralInRange<std::size_t>(0, 5));
    std::ranges::generate(integers, [&] { return pick(choices, INTEGERS); });
    return integers;
}

ParameterValue make_value(Choices& choices, const Declaration& parameter) {
    const std::string type = parameter.type();
    if (type == "boolean") {
        return choices.ConsumeBool();
    }
    if (type == "integer") {
        return parameter.key() == "Order" ? pick(choices, ORDERS) : pick(choices, INTEGERS);
    }
    if (type == "number") {
        return choices.ConsumeBool() ? pick(choices, NUMBERS)
                                     : choices.ConsumeFloatingPointInRange(0.0, 60.0);
    }
    if (type == "string") {
        return make_text_value(choices, parameter.key());
    }
    return type == "list(string)" ? make_text_list(choices) : make_integer_list(choices);
}

// --- what hosts may do either way

// Reducing a set along another axis than its last asks for more than the set holds.
bool asks_beyond_sets(const World& world) {
    const auto axis = world.parameters.find("Axis");
    return world.unit->identifier.ends_with("set-downsample") && axis != world.parameters.end() &&
           std::get<std::int64_t>(axis->second) >= 0;
}

test_support::Habits make_habits(Choices& choices) {
    test_support::Habits habits;
    habits.aux_buffers = choices.ConsumeBool();
    habits.noise_in_text_counts = choices.ConsumeBool();
    habits.noise_in_absent_counts = choices.ConsumeBool();
    habits.visits_starting_group = choices.ConsumeBool();
    habits.creation_opens_existing = choices.ConsumeBool();
    habits.refuses_with_handle = choices.ConsumeBool();
    habits.ignores_reads = one_in(choices, 32);
    habits.ignores_writes = one_in(choices, 32);
    if (one_in(choices, 8)) {
        habits.failing_visit = choices.ConsumeIntegralInRange<int>(0, 3);
    }
    if (one_in(choices, 8)) {
        habits.absent_float = pick(choices, RATES);
    }
    return habits;
}

std::vector<std::string> make_refusals(Choices& choices) {
    static constexpr const char* CREATIONS[] = {"Out",     "New",      "New/Deep",
                                                "Out/New", "Out/Rate", "Out/Force"};
    std::vector<std::string> refusals;
    while (refusals.size() < 3 && one_in(choices, 8)) {
        refusals.emplace_back(pick(choices, CREATIONS));
    }
    return refusals;
}

template <typename Object>
void set_attributes(Object& object, const NamedAttributes& attributes) {
    for (const auto& [name, value] : attributes) {
        object.attributes()[name] = {value};
    }
}

} // namespace

World make_world(std::span<const std::uint8_t> input, std::span<const DeclaredUnit> units) {
    Choices choices(input.data(), input.size());
    World world;
    world.unit = &units[choices.ConsumeIntegralInRange<std::size_t>(0, units.size() - 1)];
    for (const Declaration& parameter : world.unit->parameters) {
        if (!one_in(choices, 4)) {
            world.parameters[parameter.key()] = make_value(choices, parameter);
        }
    }
    world.habits = make_habits(choices);
    world.habits.clips_requests = asks_beyond_sets(world);
    world.groups = make_groups(choices);
    world.sets = make_sets(choices);
    world.refused_creations = make_refusals(choices);
    return world;
}

void furnish(test_support::RecordingHost& host, const World& world) {
    for (const GroupPlan& plan : world.groups) {
        test_support::Group& group = host.group(plan.path);
        set_attributes(group, plan.attributes);
        if (plan.is_invalid) {
            group.invalid();
        }
    }
    for (const SetPlan& plan : world.sets) {
        test_support::DataSet& set = host.dataset(plan.path, plan.extents, plan.samples);
        set_attributes(set, plan.attributes);
        if (plan.is_invalid) {
            set.invalid();
        }
    }
    for (const auto& [key, value] : world.parameters) {
        host.set_parameter(key, value);
    }
    for (const std::string& path : world.refused_creations) {
        host.refuse_creation(path);
    }
    host.habits() = world.habits;
}

} // namespace talvora::fuzz
