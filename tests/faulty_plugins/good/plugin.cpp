// Without a fault: two units, one of them under a legacy identifier too.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

constexpr unit_descriptor make_legacy(text_getter name) {
    unit_descriptor unit = make_unit(name, declare_group, negate_group);
    unit.version = nullptr;
    unit.description = nullptr;
    unit.date = text<"2020-02-29">;
    return unit;
}

std::uint64_t declare_nothing(call_context*, get_interface_function) {
    return 0;
}
bool do_nothing(call_context*, get_interface_function) {
    return true;
}

constexpr unit_descriptor UNITS[] = {
    make_unit(text<"maker.area.first-unit">, declare_nothing, do_nothing),
    make_unit(text<"maker.area.second-unit">, declare_group, negate_group),
    make_legacy(text<"area.second-unit">)};

} // namespace

extern "C" TALVORA_EXPORT const void* talvora_plugin_api(std::uint32_t* count_out,
                                                         std::int32_t kind) {
    return answer(count_out, kind, UNITS);
}
