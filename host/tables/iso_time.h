// Times of day as ISO 8601 writes them.
#pragma once

#include <optional>
#include <string_view>

namespace talvora::host {

struct IsoTime {
    double seconds = 0; // since 1970 in UTC, without leap seconds
    bool has_zone = false;
};

// "2026-11-21T09:30:00.125Z", "2026-11-21 09:30:00,5+01:00", "2026-11-21T09:30": a date, a 'T' or a
// blank, a time of day, and perhaps a zone; without one it is taken as UTC. Nothing for any other
// text, a date alone included, and for a day or a time of day that there is not.
std::optional<IsoTime> parse_iso_time(std::string_view text);

} // namespace talvora::host
