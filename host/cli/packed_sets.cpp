#include "host/cli/packed_sets.h"

#include "host/tree/packed_samples.h"

#include <fmt/format.h>

namespace talvora::host {

void warn_of_packing(const Console& console, DataTree& tree, const std::string& path,
                     const std::string& source) {
    const std::string packing = describe_packing(tree, tree.find(tree.root(), path).value());
    if (!packing.empty()) {
        console.warning(fmt::format("{}: {}: {}", source, path, packing));
    }
}

} // namespace talvora::host
