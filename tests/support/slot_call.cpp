#include "tests/support/slot_call.h"

#include "tests/support/tracked_heap.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <optional>
#include <sstream>
#include <type_traits>

namespace talvora::test_support {

namespace {

constexpr std::uint64_t NOISE = 0x0BAD'5EED'0BAD'5EED;

void* new_text(const std::string& text, const std::string& what) {
    void* copy = allocate_tracked(text.size() + 1, what);
    std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

void fill_record(Words* out, std::uint64_t first, const void* items, const std::string& what) {
    const bool aux = HostState::active().habits.aux_buffers;
    out[0] = first;
    out[1] = NOISE;
    out[2] =
        reinterpret_cast<std::uintptr_t>(aux ? allocate_tracked(24, "aux of " + what) : nullptr);
    out[3] = reinterpret_cast<std::uintptr_t>(items);
}

template <typename Number>
void fill_numbers(Words* out, const std::vector<Number>& numbers, const std::string& what) {
    void* items = allocate_tracked(std::max<std::size_t>(numbers.size(), 1) * sizeof(Number),
                                   "items of " + what);
    std::copy(numbers.begin(), numbers.end(), static_cast<Number*>(items));
    fill_record(out, numbers.size(), items, what);
}

// The attribute as a number, or null when there is none that is one.
std::optional<double> number_of(const Attributes& attributes, const std::string& name) {
    const auto found = attributes.find(name);
    if (found == attributes.end()) {
        return std::nullopt;
    }
    return std::visit(
        [](const auto& value) -> std::optional<double> {
            if constexpr (std::is_arithmetic_v<std::decay_t<decltype(value)>>) {
                return static_cast<double>(value);
            }
            return std::nullopt;
        },
        found->second.value);
}

} // namespace

Call::Call() {
    if (!host.is_running) {
        host.add_violation("a slot was called while no operation runs");
    }
}

void Call::check_context(const void* ctx) {
    if (ctx != host.context()) {
        host.add_violation("a slot received another call context");
    }
}

std::string Call::text(const char* given) {
    if (given != nullptr) {
        return given;
    }
    host.add_violation("a slot received a null text");
    return "";
}

std::string Call::path_below(Handle parent, const std::string& path) {
    const Group* group = host.group_of(parent);
    return join_path(group == nullptr ? "" : group->path(), path);
}

float Call::float_of(const Attributes& attributes, const std::string& name) const {
    const auto number = number_of(attributes, name);
    return number ? static_cast<float>(*number) : host.habits.absent_float;
}

// Only the lowest eight bits of a flag count; the others are noise, and any value
// but zero is true.
std::uint64_t flag(bool value) {
    static constexpr std::array<std::uint64_t, 3> TRUE_BYTES{1, 0x80, 2};
    static std::size_t next = 0;
    constexpr std::uint64_t UPPER_BITS = 0xDEAD'BEEF'5A5A'5A00;
    return UPPER_BITS | (value ? TRUE_BYTES[next++ % TRUE_BYTES.size()] : 0);
}

void fill_absent_list(Words* out, const std::string& what) {
    fill_record(out, HostState::active().habits.noise_in_absent_counts ? NOISE : 0, nullptr, what);
}

void fill_text(Words* out, const std::string* text, const std::string& what) {
    const std::uint64_t length = text == nullptr ? 0 : text->size() + 1;
    fill_record(out, HostState::active().habits.noise_in_text_counts ? NOISE : length,
                text == nullptr ? nullptr : new_text(*text, "text of " + what), what);
}

void fill_texts(Words* out, const Texts& texts, const std::string& what) {
    // The array of an empty list holds one pointer that leads nowhere.
    const std::size_t slots = std::max<std::size_t>(texts.size(), 1);
    auto* items = static_cast<void**>(allocate_tracked(slots * sizeof(void*), "items of " + what));
    for (std::size_t i = 0; i < texts.size(); ++i) {
        items[i] = new_text(texts[i], "text of " + what);
    }
    fill_record(out, texts.size(), items, what);
}

void fill_integers(Words* out, const Integers& integers, const std::string& what) {
    fill_numbers(out, integers, what);
}

void fill_shape(Words* out, const std::vector<std::uint64_t>& extents, const std::string& what) {
    if (extents.empty() && !HostState::active().habits.aux_buffers) {
        fill_record(out, 0, nullptr, what);
    } else {
        fill_numbers(out, extents, what);
    }
}

std::int64_t integer_of(const Attributes& attributes, const std::string& name) {
    if (const auto found = attributes.find(name); found != attributes.end()) {
        if (const auto* integer = std::get_if<std::int64_t>(&found->second.value)) {
            return *integer;
        }
    }
    return static_cast<std::int64_t>(number_of(attributes, name).value_or(0.0));
}

// The sign of a NaN is shown on every system.
std::string number_text(double value) {
    if (std::isnan(value)) {
        return std::signbit(value) ? "-nan" : "nan";
    }
    std::ostringstream text;
    text << value;
    return text.str();
}

std::string extents_text(const std::vector<std::uint64_t>& extents) {
    std::string text = "[";
    text += join_numbers(extents);
    return text + ']';
}

} // namespace talvora::test_support
