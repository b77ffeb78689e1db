#include "host/interface/plugin_library.h"

#include "host/system/work_state.h"
#include "host/text/nearest_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <new>
#include <utility>

namespace talvora::host {

namespace {

// Protects from a count that was never written: no library has that many units.
constexpr std::uint32_t MAX_UNIT_COUNT = 10'000;

[[noreturn]] void refuse(const std::filesystem::path& file, std::string_view reason) {
    throw PluginError(fmt::format("{}: {}", file.string(), reason));
}

SharedLibrary load(const std::filesystem::path& file) {
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(file, ignored)) {
        refuse(file, "no such plug-in library");
    }
    const InPlugin here; // what a library does when it is loaded
    try {
        return SharedLibrary(file);
    } catch (const std::runtime_error& error) {
        refuse(file, fmt::format("cannot be loaded: {}", error.what()));
    }
}

plugin_entry look_up_entry(const std::filesystem::path& file, const SharedLibrary& library) {
    void* entry = library.find(PLUGIN_ENTRY_NAME);
    if (entry == nullptr) {
        refuse(file, fmt::format("is no plug-in: it has no function '{}'", PLUGIN_ENTRY_NAME));
    }
    return reinterpret_cast<plugin_entry>(entry);
}

struct Table {
    const void* rows = nullptr;
    std::uint32_t count = 0;
};

Table ask(const std::filesystem::path& file, plugin_entry entry, std::int32_t kind,
          std::uint32_t max_count) {
    Table table;
    table.rows = entry(&table.count, kind);
    if (table.rows == nullptr) {
        refuse(file, fmt::format("gives no table for kind {}", kind));
    }
    if (table.count == 0 || table.count > max_count) {
        refuse(file, fmt::format("counts {} rows for kind {} (allowed: 1 to {})", table.count, kind,
                                 max_count));
    }
    return table;
}

// Reads the texts of one record; `owner` says whose, for the error.
class TextReader {
  public:
    TextReader(const std::filesystem::path& file, std::string owner)
        : file_(file), owner_(std::move(owner)) {}

    std::string read(text_getter getter, std::string_view what) const {
        const char* text = getter == nullptr ? nullptr : getter();
        if (text == nullptr) {
            refuse(file_, fmt::format("{} has no {}", owner_, what));
        }
        return text;
    }
    std::optional<std::string> read_optional(text_getter getter, std::string_view what) const {
        return getter == nullptr ? std::nullopt : std::optional(read(getter, what));
    }

  private:
    const std::filesystem::path& file_;
    std::string owner_;
};

PluginInfo read_info(const std::filesystem::path& file, plugin_entry entry) {
    const Table table = ask(file, entry, PLUGIN_DESCRIPTOR_KIND, 1);
    const auto& record = *static_cast<const plugin_descriptor*>(table.rows);
    const TextReader texts(file, "the plug-in descriptor");
    return {.name = texts.read(record.name, "name"),
            .vendor = texts.read(record.vendor, "vendor"),
            .version = texts.read(record.version, "version"),
            .description = texts.read(record.description, "description"),
            .web_address = texts.read(record.web_address, "web address")};
}

Unit read_unit(const std::filesystem::path& file, const unit_descriptor& record,
               std::size_t index) {
    const TextReader texts(file, fmt::format("unit {}", index));
    Unit unit{.name = texts.read(record.name, "name"),
              .vendor = texts.read(record.vendor, "vendor"),
              .category = texts.read(record.category, "category"),
              .version = texts.read_optional(record.version, "version"),
              .description = texts.read_optional(record.description, "description"),
              .date = texts.read_optional(record.date, "date"),
              .declare = record.declare,
              .run = record.run};
    if (unit.name.empty()) {
        refuse(file, fmt::format("unit {} has the empty name", index));
    }
    if (unit.declare == nullptr || unit.run == nullptr) {
        refuse(file, fmt::format("unit {} '{}' has no operation '{}'", index, unit.name,
                                 unit.declare == nullptr ? "declare" : "run"));
    }
    return unit;
}

std::vector<Unit> read_units(const std::filesystem::path& file, plugin_entry entry) {
    const Table table = ask(file, entry, UNIT_TABLE_KIND, MAX_UNIT_COUNT);
    const std::span records(static_cast<const unit_descriptor*>(table.rows), table.count);
    std::vector<Unit> units;
    for (const unit_descriptor& record : records) {
        units.push_back(read_unit(file, record, units.size()));
        const auto same_name = [&](const Unit& unit) { return unit.name == units.back().name; };
        if (std::find_if(units.begin(), units.end() - 1, same_name) != units.end() - 1) {
            refuse(file, fmt::format("has two units '{}'", units.back().name));
        }
    }
    return units;
}

std::string_view last_part(std::string_view name) {
    return name.substr(name.rfind('.') + 1);
}

} // namespace

PluginLibrary::PluginLibrary(const std::filesystem::path& file)
    : file_(file), library_(load(file)) {
    const plugin_entry entry = look_up_entry(file_, library_);
    const InPlugin here;
    try {
        info_ = read_info(file_, entry);
        units_ = read_units(file_, entry);
    } catch (const PluginError&) {
        throw;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (...) {
        refuse(file_, "threw an exception while its tables were read");
    }
}

const Unit* PluginLibrary::find_unit(std::string_view name) const {
    const Unit* found = nullptr;
    for (const Unit& unit : units_) {
        if (unit.name == name) {
            return &unit;
        }
        if (last_part(unit.name) == name) {
            if (found != nullptr) {
                return nullptr;
            }
            found = &unit;
        }
    }
    return found;
}

std::string short_name(const Unit& unit) {
    return std::string(last_part(unit.name));
}

bool has_same_operations(const Unit& unit, const Unit& other) {
    return unit.declare == other.declare && unit.run == other.run;
}

const Unit* find_current_unit(const PluginLibrary& library, const Unit& unit) {
    const auto is_current = [&](const Unit& other) {
        return !other.date && has_same_operations(unit, other);
    };
    const auto current = std::ranges::find_if(library.units(), is_current);
    return unit.date && current != library.units().end() ? &*current : nullptr;
}

std::vector<const Unit*> list_current_first(const PluginLibrary& library) {
    std::vector<const Unit*> units;
    for (const Unit& unit : library.units()) {
        units.push_back(&unit);
    }
    std::stable_partition(units.begin(), units.end(), [](const Unit* unit) { return !unit->date; });
    return units;
}

std::optional<std::string> find_nearest_unit(const PluginLibrary& library, std::string_view name) {
    std::vector<std::string> known;
    for (const Unit* unit : list_current_first(library)) {
        known.push_back(short_name(*unit));
        known.push_back(unit->name);
    }
    return find_nearest(name, known);
}

} // namespace talvora::host
