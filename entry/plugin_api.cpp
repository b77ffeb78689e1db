#include "plugin/plugin_api.h"

#include "units/units.h"

#include <algorithm>
#include <iterator>

namespace talvora {

namespace {

// A text of static lifetime, usable as a template argument.
template <std::size_t SIZE>
struct StaticText {
    // cppcheck-suppress noExplicitConstructor; a literal becomes one as a template argument
    constexpr StaticText(const char (&text)[SIZE]) { std::copy_n(text, SIZE, characters); }
    char characters[SIZE]{};
};

// One getter exists per distinct text: every descriptor with that text shares it.
template <StaticText TEXT>
const char* get_text() {
    return TEXT.characters;
}

constexpr auto VENDOR = get_text<"Orvane Solution inc.">;
constexpr auto CATEGORY = get_text<"Signal Processing">;
constexpr auto UNIT_VERSION = get_text<"0.1.0">;
constexpr auto LEGACY_DATE = get_text<"2024-10-15">;
constexpr auto WEB_ADDRESS = get_text<"https://www.orvane.example/">;

// What tells one row of the unit table from another. A row without a description is
// a legacy identifier.
struct unit_row {
    text_getter name;
    declare_operation declare;
    run_operation run;
    text_getter description;
};

// Hosts address rows by position: the order is part of the interface.
constexpr unit_row UNIT_ROWS[] = {
    {get_text<"signal.set-downsample">, units::declare_downsample, units::run_downsample, nullptr},
    {get_text<"signal.set-fill-gap">, units::declare_fill_gap, units::run_fill_gap, nullptr},
    {get_text<"signal.set-butterworth">, units::declare_butterworth, units::run_butterworth,
     nullptr},
    {get_text<"signal.set-baseline-offset">, units::declare_baseline_offset,
     units::run_baseline_offset, nullptr},
    {get_text<"signal.set-opposite">, units::declare_opposite, units::run_opposite, nullptr},
    {get_text<"signal.set-rectify">, units::declare_rectify, units::run_rectify, nullptr},
    {get_text<"orvane.signal.extract-set-maximum-extrema">, units::declare_maximum_extrema,
     units::run_maximum_extrema, get_text<"Extract the maximum on each component">},
    {get_text<"orvane.signal.apply-set-downsample">, units::declare_downsample,
     units::run_downsample, get_text<"Downsample the signal in place">},
    {get_text<"orvane.signal.apply-set-fill-gap">, units::declare_fill_gap, units::run_fill_gap,
     get_text<"Fill gap the signal in place">},
    {get_text<"orvane.signal.apply-set-butterworth">, units::declare_butterworth,
     units::run_butterworth, get_text<"Apply a Butterworth filter in place on the signal">},
    {get_text<"orvane.signal.apply-set-baseline-offset">, units::declare_baseline_offset,
     units::run_baseline_offset,
     get_text<"Compute a baseline offset from the signal and remove it in place">},
    {get_text<"orvane.signal.apply-set-opposite">, units::declare_opposite, units::run_opposite,
     get_text<"Opposite the signal in place">},
    {get_text<"orvane.signal.apply-set-rectify">, units::declare_rectify, units::run_rectify,
     get_text<"Rectify the signal in place">},
    {get_text<"orvane.signal.average-set">, units::declare_average_set, units::run_average_set,
     get_text<"Average all samples of the signal">},
    {get_text<"orvane.signal.average-set-2">, units::declare_average_set_2,
     units::run_average_set_2,
     get_text<"Average all samples of the signal and output to a single data set">},
};
static_assert(std::size(UNIT_ROWS) == UNIT_COUNT);

// Zero-initialised; only the fields that have a value are ever written.
plugin_descriptor plugin_storage;
unit_descriptor unit_storage[UNIT_COUNT];

const plugin_descriptor* fill_plugin_descriptor() {
    plugin_storage.name = get_text<"kpl-talvra.signal">;
    plugin_storage.vendor = VENDOR;
    plugin_storage.version = get_text<"0.7.0">;
    plugin_storage.description = get_text<"Callable units to do signal processing on data">;
    plugin_storage.web_address = WEB_ADDRESS;
    return &plugin_storage;
}

void fill_unit_descriptor(unit_descriptor& unit, const unit_row& row) {
    unit.name = row.name;
    unit.vendor = VENDOR;
    unit.category = CATEGORY;
    unit.declare = row.declare;
    unit.run = row.run;
    if (row.description != nullptr) {
        unit.version = UNIT_VERSION;
        unit.description = row.description;
    } else {
        unit.date = LEGACY_DATE;
    }
}

const unit_descriptor* fill_unit_table() {
    for (std::size_t i = 0; i < std::size(UNIT_ROWS); ++i) {
        fill_unit_descriptor(unit_storage[i], UNIT_ROWS[i]);
    }
    return unit_storage;
}

} // namespace

} // namespace talvora

const void* talvora_plugin_api(std::uint32_t* count_out, std::int32_t kind) {
    switch (kind) {
    case talvora::PLUGIN_DESCRIPTOR_KIND:
        *count_out = 1;
        return talvora::fill_plugin_descriptor();
    case talvora::UNIT_TABLE_KIND:
        *count_out = talvora::UNIT_COUNT;
        return talvora::fill_unit_table();
    default:
        return nullptr;
    }
}
