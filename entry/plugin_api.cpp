#include "plugin/plugin_api.h"

#include "plugin/static_text.h"
#include "units/units.h"

#include <iterator>

namespace talvora {

namespace {

constexpr auto VENDOR = get_text<"Orvane Solution inc.">;
constexpr auto CATEGORY = get_text<"Signal Processing">;
constexpr auto UNIT_VERSION = get_text<"0.1.0">;
constexpr auto LEGACY_DATE = get_text<"2024-10-15">;

// Hosts address rows by position, so the order is part of the interface: first the rows
// under a legacy identifier, of which there will be no more, then those under the current
// ones, where new units are appended.
constexpr const UnitDescription* LEGACY_ROWS[] = {
    &units::DOWNSAMPLE,      &units::FILL_GAP, &units::BUTTERWORTH,
    &units::BASELINE_OFFSET, &units::OPPOSITE, &units::RECTIFY,
};
constexpr const UnitDescription* CURRENT_ROWS[] = {
    &units::MAXIMUM_EXTREMA, &units::DOWNSAMPLE,      &units::FILL_GAP,
    &units::BUTTERWORTH,     &units::BASELINE_OFFSET, &units::OPPOSITE,
    &units::RECTIFY,         &units::AVERAGE_SET,     &units::AVERAGE_SET_2,
};

// Zero-initialised; only the fields that have a value are ever written.
plugin_descriptor plugin_storage;
unit_descriptor unit_storage[std::size(LEGACY_ROWS) + std::size(CURRENT_ROWS)];

const plugin_descriptor* fill_plugin_descriptor() {
    // Hosts compare this name: its spelling stays.
    plugin_storage.name = get_text<"kpl-talvra.signal">;
    plugin_storage.vendor = VENDOR;
    plugin_storage.version = get_text<"0.7.0">;
    plugin_storage.description = get_text<"Callable units to do signal processing on data">;
    plugin_storage.web_address = get_text<"https://www.orvane.example/">;
    return &plugin_storage;
}

// What both kinds of row have in common.
void fill_row(unit_descriptor& row, text_getter name, const UnitDescription& unit) {
    row.name = name;
    row.vendor = VENDOR;
    row.category = CATEGORY;
    row.declare = unit.declare;
    row.run = unit.run;
}

const unit_descriptor* fill_unit_table() {
    unit_descriptor* row = unit_storage;
    for (const UnitDescription* const unit : LEGACY_ROWS) {
        fill_row(*row, unit->legacy_identifier, *unit);
        row->date = LEGACY_DATE;
        ++row;
    }
    for (const UnitDescription* const unit : CURRENT_ROWS) {
        fill_row(*row, unit->identifier, *unit);
        row->version = UNIT_VERSION;
        row->description = unit->description;
        ++row;
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
        *count_out = std::size(talvora::unit_storage);
        return talvora::fill_unit_table();
    default:
        return nullptr;
    }
}
