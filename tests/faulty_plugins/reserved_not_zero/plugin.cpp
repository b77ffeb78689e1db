// A reserved byte of a unit is not zero.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

constexpr unit_descriptor make_marked() {
    unit_descriptor unit =
        make_unit(text<"maker.samples.negate-group">, declare_group, negate_group);
    unit.reserved[100] = 1;
    return unit;
}

constexpr unit_descriptor UNITS[] = {make_marked()};

} // namespace

extern "C" TALVORA_EXPORT const void* talvora_plugin_api(std::uint32_t* count_out,
                                                         std::int32_t kind) {
    return answer(count_out, kind, UNITS);
}
