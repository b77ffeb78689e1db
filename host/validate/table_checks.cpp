#include "host/validate/table_checks.h"

#include "host/validate/examined_plugin.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <set>
#include <span>

namespace talvora::host {

namespace {

constexpr std::uint32_t UNTOUCHED = 0xDEADBEEF;
constexpr std::uint32_t MAX_ROWS = 10'000;
constexpr std::size_t MAX_TEXT = std::size_t{64} * 1024;

struct Answer {
    const void* rows = nullptr;
    std::uint32_t count = UNTOUCHED;
};

Answer ask(const ExaminedLibrary& plugin, std::int32_t kind) {
    Answer answer;
    answer.rows = plugin.entry(&answer.count, kind);
    return answer;
}

// The unit table, empty when it cannot be walked.
std::span<const unit_descriptor> ask_units(Examination& examination,
                                           const ExaminedLibrary& plugin) {
    examination.at("kind 3");
    const Answer answer = ask(plugin, UNIT_TABLE_KIND);
    if (answer.rows != nullptr && answer.count > 0 && answer.count <= MAX_ROWS) {
        return {static_cast<const unit_descriptor*>(answer.rows), answer.count};
    }
    examination.skip("there is no unit table to walk");
    return {};
}

struct NamedGetter {
    const char* name;
    text_getter getter;
    bool is_required;
};

std::vector<NamedGetter> getters_of(const plugin_descriptor& row) {
    return {{"name", row.name, true},
            {"vendor", row.vendor, true},
            {"version", row.version, true},
            {"description", row.description, true},
            {"web address", row.web_address, true}};
}

std::vector<NamedGetter> getters_of(const unit_descriptor& row) {
    return {{"name", row.name, true},
            {"vendor", row.vendor, true},
            {"category", row.category, true},
            {"version", row.version, false},
            {"description", row.description, false},
            {"date", row.date, false}};
}

// Visits the getters of every row, saying at each which row it is.
template <typename Visit>
void visit_getters(Examination& examination, const ExaminedLibrary& plugin, Visit visit) {
    const Answer descriptor = ask(plugin, PLUGIN_DESCRIPTOR_KIND);
    examination.at("the plug-in descriptor");
    if (descriptor.rows != nullptr) {
        for (const NamedGetter& getter :
             getters_of(*static_cast<const plugin_descriptor*>(descriptor.rows))) {
            visit(getter);
        }
    }
    std::size_t index = 0;
    for (const unit_descriptor& row : ask_units(examination, plugin)) {
        examination.at(fmt::format("unit {}", index++));
        for (const NamedGetter& getter : getters_of(row)) {
            visit(getter);
        }
    }
}

void expect_present(Examination& examination, const NamedGetter& getter) {
    if (getter.is_required) {
        examination.expect(getter.getter != nullptr && getter.getter() != nullptr,
                           fmt::format("has no {}", getter.name));
    }
}

std::string read_name(const unit_descriptor& row) {
    const char* name = row.name == nullptr ? nullptr : row.name();
    return name == nullptr ? "" : name;
}

void expect_own_name(Examination& examination, const unit_descriptor& row,
                     std::set<std::string>& names) {
    const std::string name = read_name(row);
    examination.expect(!name.empty(), "has the empty name");
    examination.expect(names.insert(name).second, fmt::format("has the name '{}' too", name));
    const auto is_usual = [](char letter) {
        return (letter >= 'a' && letter <= 'z') || (letter >= '0' && letter <= '9') ||
               letter == '.' || letter == '-';
    };
    if (!std::ranges::all_of(name, is_usual)) {
        examination.warn(
            fmt::format("the name '{}' is not in lower case, parted by '.' and '-'", name));
    }
}

bool is_operation_of_current(std::span<const unit_descriptor> rows, const unit_descriptor& legacy) {
    return std::ranges::any_of(rows, [&](const unit_descriptor& row) {
        return row.date == nullptr && row.declare == legacy.declare && row.run == legacy.run;
    });
}

void expect_legacy(Examination& examination, std::span<const unit_descriptor> rows,
                   const unit_descriptor& row) {
    examination.expect(row.version == nullptr, "has both a date and a version");
    examination.expect(row.description == nullptr, "has both a date and a description");
    examination.expect(is_operation_of_current(rows, row),
                       "is a legacy identifier whose operations no current one has");
}

void expect_current(Examination& examination, const unit_descriptor& row) {
    examination.expect(row.version != nullptr, "has neither a date nor a version");
    examination.expect(row.description != nullptr, "has neither a date nor a description");
}

// The same getter twice: the same text in the same place, ended, and fit to be shown.
void expect_stable(Examination& examination, const NamedGetter& getter) {
    const char* text = getter.getter == nullptr ? nullptr : getter.getter();
    if (text == nullptr) {
        return;
    }
    const auto size = static_cast<std::size_t>(std::find(text, text + MAX_TEXT, '\0') - text);
    if (size == MAX_TEXT) {
        return examination.fail(fmt::format("the {} has no end", getter.name));
    }
    const std::string copy(text, size);
    const char* again = getter.getter();
    examination.expect(again == text && copy == again,
                       fmt::format("the {} is another at the second call", getter.name));
    const auto is_control = [](char letter) { return static_cast<unsigned char>(letter) < ' '; };
    if (std::ranges::any_of(copy, is_control)) {
        examination.warn(fmt::format("the {} holds control characters", getter.name));
    }
}

std::string copy_rows(const Answer& answer, std::size_t row_size) {
    return answer.rows == nullptr || answer.count > MAX_ROWS
               ? std::string()
               : std::string(static_cast<const char*>(answer.rows), answer.count * row_size);
}

void expect_same_again(Examination& examination, const ExaminedLibrary& plugin, std::int32_t kind,
                       std::size_t row_size) {
    examination.at(fmt::format("kind {}", kind));
    const Answer first = ask(plugin, kind);
    const std::string bytes = copy_rows(first, row_size);
    for (int i = 0; i < 3; ++i) {
        const Answer again = ask(plugin, kind);
        examination.expect(again.count == first.count, "counts differently at the second call");
        examination.expect(again.rows == first.rows, "is at another address at the second call");
        examination.expect(copy_rows(again, row_size) == bytes,
                           "holds other bytes at the second call");
    }
}

} // namespace

void check_descriptor(Examination& examination) {
    const auto plugin = load_library(examination);
    if (!plugin) {
        return;
    }
    examination.at("kind 0");
    const Answer answer = ask(*plugin, PLUGIN_DESCRIPTOR_KIND);
    examination.expect(answer.count == 1, fmt::format("counts {} rows", answer.count));
    if (answer.rows == nullptr) {
        return examination.fail("gives no descriptor");
    }
    for (const NamedGetter& getter :
         getters_of(*static_cast<const plugin_descriptor*>(answer.rows))) {
        expect_present(examination, getter);
    }
}

void check_unit_rows(Examination& examination) {
    const auto plugin = load_library(examination);
    if (!plugin) {
        return;
    }
    examination.at("kind 3");
    const Answer answer = ask(*plugin, UNIT_TABLE_KIND);
    if (answer.rows == nullptr) {
        return examination.fail("gives no table");
    }
    if (answer.count == UNTOUCHED) {
        return examination.fail("does not write the count");
    }
    if (answer.count == 0 || answer.count > MAX_ROWS) {
        return examination.fail(
            fmt::format("counts {} rows (allowed: 1 to {})", answer.count, MAX_ROWS));
    }
    std::set<std::string> names;
    for (std::size_t i = 0; i < answer.count; ++i) {
        examination.at(fmt::format("unit {} of {}", i, answer.count));
        const auto& row = static_cast<const unit_descriptor*>(answer.rows)[i];
        for (const NamedGetter& getter : getters_of(row)) {
            expect_present(examination, getter);
        }
        expect_own_name(examination, row, names);
        examination.expect(row.declare != nullptr, "has no operation 'declare'");
        examination.expect(row.run != nullptr, "has no operation 'run'");
    }
}

void check_null_rules(Examination& examination) {
    const auto plugin = load_library(examination);
    if (!plugin) {
        return;
    }
    const auto rows = ask_units(examination, *plugin);
    for (const unit_descriptor& row : rows) {
        examination.at(fmt::format("unit {} '{}'", &row - rows.data(), read_name(row)));
        if (row.date != nullptr) {
            expect_legacy(examination, rows, row);
        } else {
            expect_current(examination, row);
        }
    }
}

void check_texts(Examination& examination) {
    const auto plugin = load_library(examination);
    if (plugin) {
        visit_getters(examination, *plugin,
                      [&](const NamedGetter& getter) { expect_stable(examination, getter); });
    }
}

void check_reserved_bytes(Examination& examination) {
    const auto plugin = load_library(examination);
    if (!plugin) {
        return;
    }
    const auto rows = ask_units(examination, *plugin);
    for (const unit_descriptor& row : rows) {
        examination.at(fmt::format("unit {}", &row - rows.data()));
        for (std::size_t i = 0; i < std::size(row.reserved); ++i) {
            if (row.reserved[i] != 0) {
                examination.fail(
                    fmt::format("the reserved byte {} is {:#x}, not 0", 64 + i, row.reserved[i]));
                break;
            }
        }
    }
}

void check_repeated_entry(Examination& examination) {
    const auto plugin = load_library(examination);
    if (!plugin) {
        return;
    }
    expect_same_again(examination, *plugin, PLUGIN_DESCRIPTOR_KIND, 5 * sizeof(text_getter));
    expect_same_again(examination, *plugin, UNIT_TABLE_KIND, sizeof(unit_descriptor));
}

void check_unknown_kinds(Examination& examination) {
    const auto plugin = load_library(examination);
    if (!plugin) {
        return;
    }
    using Limits = std::numeric_limits<std::int32_t>;
    for (const std::int32_t kind : {1, 2, 4, 5, 7, 8, 100, -1, -3, Limits::min(), Limits::max()}) {
        examination.at(fmt::format("kind {}", kind));
        const Answer answer = ask(*plugin, kind);
        examination.expect(answer.rows == nullptr, "is answered by a table (allowed: null)");
        examination.expect(answer.count == UNTOUCHED, "writes the count, which has to stay");
    }
}

} // namespace talvora::host
