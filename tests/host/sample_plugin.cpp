// A small plug-in library with one fault, chosen when it is compiled (FAULT), or none.
#include "plugin/plugin_api.h"

#include <stdexcept>

namespace {

using namespace talvora;

enum Fault {
    NONE,
    NO_DESCRIPTOR,
    NO_UNITS,
    COUNT_NOT_WRITTEN,
    TOO_MANY_UNITS,
    NO_PLUGIN_NAME,
    NULL_UNIT_NAME,
    EMPTY_UNIT_NAME,
    NO_DECLARE,
    NO_RUN,
    SAME_NAME_TWICE,
    THROWS
};

constexpr Fault CHOSEN = FAULT;

const char* some_text() {
    return "sample";
}
const char* first_name() {
    return "maker.area.first-unit";
}
const char* second_name() {
    return "maker.area.second-unit";
}
const char* legacy_name() {
    return "area.second-unit";
}
const char* empty_text() {
    return "";
}
const char* null_text() {
    return nullptr;
}

std::uint64_t declare_nothing(call_context*, get_interface_function) {
    return 0;
}
bool do_nothing(call_context*, get_interface_function) {
    return true;
}

constexpr std::uint32_t COUNT = 3;

unit_descriptor make_unit(text_getter name) {
    return {.name = name,
            .vendor = some_text,
            .category = some_text,
            .declare = CHOSEN == NO_DECLARE ? nullptr : declare_nothing,
            .run = CHOSEN == NO_RUN ? nullptr : do_nothing,
            .version = some_text,
            .description = nullptr,
            .date = nullptr,
            .reserved = {}};
}

text_getter choose_second_name() {
    switch (CHOSEN) {
    case NULL_UNIT_NAME:
        return null_text;
    case EMPTY_UNIT_NAME:
        return empty_text;
    case SAME_NAME_TWICE:
        return first_name;
    default:
        return second_name;
    }
}

const plugin_descriptor DESCRIPTOR{.name = CHOSEN == NO_PLUGIN_NAME ? nullptr : some_text,
                                   .vendor = some_text,
                                   .version = some_text,
                                   .description = some_text,
                                   .web_address = some_text,
                                   .reserved = {}};

const unit_descriptor UNITS[COUNT]{make_unit(first_name), make_unit(choose_second_name()),
                                   make_unit(legacy_name)};

} // namespace

extern "C" TALVORA_EXPORT const void* ENTRY(std::uint32_t* count_out, std::int32_t kind) {
    if (CHOSEN == THROWS)
        throw std::runtime_error("not today");
    if (kind == PLUGIN_DESCRIPTOR_KIND) {
        *count_out = 1;
        return CHOSEN == NO_DESCRIPTOR ? nullptr : &DESCRIPTOR;
    }
    if (CHOSEN != COUNT_NOT_WRITTEN)
        *count_out = CHOSEN == TOO_MANY_UNITS ? 0xFFFF'FFFF : COUNT;
    return CHOSEN == NO_UNITS ? nullptr : UNITS;
}
