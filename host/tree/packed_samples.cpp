#include "host/tree/packed_samples.h"

#include "host/text/join_texts.h"
#include "host/text/plural.h"
#include "host/tree/gaps.h"
#include "host/tree/number_attribute.h"

#include <fmt/format.h>

#include <cmath>
#include <limits>
#include <vector>

namespace talvora::host {
namespace {

struct PackingAttribute {
    const char* name;
    double changes_nothing;
};
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr PackingAttribute PACKING[] = {
    {"scale_factor", 1}, {"add_offset", 0}, {"_FillValue", NaN}, {"missing_value", NaN}};

bool changes_samples(const PackingAttribute& attribute, double value) {
    return !std::isnan(value) && value != attribute.changes_nothing;
}

} // namespace

std::string describe_packing(DataTree& tree, ObjectId set) {
    std::vector<std::string> found;
    for (const PackingAttribute& attribute : PACKING) {
        const auto value = read_number_attribute(tree, set, attribute.name);
        if (value && changes_samples(attribute, *value)) {
            found.push_back(fmt::format("{} = {:.7g}", attribute.name, *value));
        }
    }
    return found.empty() ? ""
                         : fmt::format("its samples are taken as they are stored, and its "
                                       "attributes say otherwise: {}",
                                       join_texts(found));
}

std::string describe_never_written(std::uint64_t count, std::uint64_t sample_count) {
    return fmt::format(
        "{} of {} are {:.6g}, by which netCDF marks what was never written; they are "
        "taken as they are",
        count, count_things(sample_count, "sample"), NEVER_WRITTEN);
}

} // namespace talvora::host
