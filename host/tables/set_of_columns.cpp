#include "host/tables/set_of_columns.h"

#include "host/tables/csv_reader.h"
#include "host/text/failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <utility>

namespace talvora::host {

SetOfColumns parse_set_of_columns(std::string_view text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos || equals == 0 || equals + 1 == text.size()) {
        throw Failure(ExitCode::Usage,
                      fmt::format("--set '{}': not of the form NAME=COLUMN,...", text));
    }
    SetOfColumns set{std::string(text.substr(0, equals)),
                     split_csv_row(text.substr(equals + 1), ',')};
    if (make_safe_name(set.name) != set.name) {
        throw Failure(ExitCode::Usage,
                      fmt::format("--set '{}': a set's name holds no '/'", set.name),
                      {"the group is given with --group"});
    }
    return set;
}

std::string make_safe_name(std::string name) {
    std::ranges::replace(name, '/', '_');
    return name == "." || name == ".." ? "_" : name;
}

} // namespace talvora::host
