// A unit has a version, as a current one, and a date, as a legacy one.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

constexpr unit_descriptor make_dated() {
    unit_descriptor unit =
        make_unit(text<"maker.samples.negate-group">, declare_group, negate_group);
    unit.date = text<"2020-02-29">;
    return unit;
}

constexpr unit_descriptor UNITS[] = {make_dated()};

} // namespace

extern "C" TALVORA_EXPORT const void* talvora_plugin_api(std::uint32_t* count_out,
                                                         std::int32_t kind) {
    return answer(count_out, kind, UNITS);
}
