#include "host/recipes/yaml_file.h"

#include "host/system/input_kind.h"
#include "host/text/failure.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstddef>
#include <fstream>
#include <system_error>
#include <vector>

namespace talvora::host {

// One byte more than is read at most tells a file that is too long.
std::string read_yaml_file(const std::filesystem::path& file, std::string_view what) {
    refuse_endless_file(file);
    std::error_code error;
    if (std::filesystem::is_directory(file, error)) {
        throw Failure(ExitCode::Input, fmt::format("{}: a folder, no {}", file.string(), what));
    }
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: {}", file.string(), std::generic_category().message(errno)));
    }
    std::string text(MAX_YAML_BYTES + 1, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (stream.bad()) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: cannot be read to its end: {}", file.string(),
                                  std::generic_category().message(errno)));
    }
    text.resize(static_cast<std::size_t>(stream.gcount()));
    return text;
}

std::optional<YamlNode> read_document(std::string_view text, RecipeProblems& problems) {
    std::vector<YamlProblem> yaml_problems;
    auto root = parse_yaml(text, yaml_problems);
    for (const auto& [place, what, hint] : yaml_problems) {
        problems.add(place, what, hint);
    }
    if (root && root->kind != YamlNode::Kind::Null) {
        return root;
    }
    if (yaml_problems.empty()) {
        problems.add({}, fmt::format("the {} is empty", problems.names().document));
    }
    return std::nullopt;
}

} // namespace talvora::host
