#include "host/tables/iso_time.h"

#include "host/text/ascii.h"
#include "host/text/parse_number.h"

#include <algorithm>
#include <chrono>
#include <string>

namespace talvora::host {
namespace {

constexpr std::string_view SHORTEST_TIME = "2026-11-21T09:30";

// Takes what it reads off the front of a text.
class Reader {
  public:
    explicit Reader(std::string_view text) : rest_(text) {}

    bool failed() const { return failed_; }
    bool at_end() const { return rest_.empty(); }

    int take_number(std::size_t digit_count) {
        const std::string_view digits = rest_.substr(0, digit_count);
        failed_ |= digits.size() != digit_count || !std::ranges::all_of(digits, is_digit);
        const int number = failed_ ? 0 : parse_number<int>(digits).value_or(0);
        rest_.remove_prefix(digits.size());
        return number;
    }

    // True where one of the letters was there.
    bool take(std::string_view letters) {
        const bool found = !rest_.empty() && letters.find(rest_.front()) != std::string_view::npos;
        rest_.remove_prefix(found ? 1 : 0);
        return found;
    }

    void expect(std::string_view letters) { failed_ |= !take(letters); }

    double take_fraction() {
        const auto end = std::ranges::find_if_not(rest_, is_digit);
        const std::string digits(rest_.begin(), end);
        failed_ |= digits.empty();
        rest_.remove_prefix(digits.size());
        return parse_number<double>("0." + digits).value_or(0);
    }

  private:
    std::string_view rest_;
    bool failed_ = false;
};

struct Clock {
    int hour = 0;
    int minute = 0;
    int second = 0;
    double fraction = 0;
};

int seconds_of(const Clock& clock) {
    return (clock.hour * 60 + clock.minute) * 60 + clock.second;
}

bool is_time_of_day(const Clock& clock) {
    return clock.hour < 24 && clock.minute < 60 && clock.second < 60;
}

Clock take_clock(Reader& reader) {
    Clock clock;
    clock.hour = reader.take_number(2);
    reader.expect(":");
    clock.minute = reader.take_number(2);
    if (reader.take(":")) {
        clock.second = reader.take_number(2);
        clock.fraction = reader.take(".,") ? reader.take_fraction() : 0;
    }
    return clock;
}

std::chrono::year_month_day take_date(Reader& reader) {
    const std::chrono::year year{reader.take_number(4)};
    reader.expect("-");
    const auto month = static_cast<unsigned>(reader.take_number(2));
    reader.expect("-");
    const auto day = static_cast<unsigned>(reader.take_number(2));
    return {year, std::chrono::month{month}, std::chrono::day{day}};
}

// How far the zone is ahead of UTC; nothing where none is told.
std::optional<Clock> take_zone(Reader& reader, int& sign) {
    if (reader.take("Zz")) {
        return Clock{};
    }
    sign = reader.take("+") ? 1 : reader.take("-") ? -1 : 0;
    if (sign == 0) {
        return std::nullopt;
    }
    Clock zone;
    zone.hour = reader.take_number(2);
    reader.take(":");
    zone.minute = reader.at_end() ? 0 : reader.take_number(2);
    return zone;
}

} // namespace

std::optional<IsoTime> parse_iso_time(std::string_view text) {
    if (text.size() < SHORTEST_TIME.size() || text[4] != '-') { // most texts that are no numbers
        return std::nullopt;
    }
    Reader reader(text);
    const std::chrono::year_month_day date = take_date(reader);
    reader.expect("T ");
    const Clock clock = take_clock(reader);
    int sign = 0;
    const std::optional<Clock> zone = take_zone(reader, sign);
    if (reader.failed() || !reader.at_end() || !date.ok() || !is_time_of_day(clock) ||
        !is_time_of_day(zone.value_or(Clock{}))) {
        return std::nullopt;
    }
    const auto days = std::chrono::sys_days(date).time_since_epoch().count();
    const double whole = static_cast<double>(days) * 86400.0 +
                         (seconds_of(clock) - sign * seconds_of(zone.value_or(Clock{})));
    return IsoTime{whole + clock.fraction, zone.has_value()};
}

} // namespace talvora::host
