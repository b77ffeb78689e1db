// What is wrong with a recipe, or another document with variables: collected while it is read, told
// all at once.
#pragma once

#include "host/interface/parameters.h"
#include "host/recipes/yaml_document.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace talvora::host {

// Every problem of a recipe, in the order of the file, those of the settings first; each
// text begins with its place: "clean.yaml:12:7: " or "--set rate: ". what() is the first.
class RecipeError : public std::runtime_error {
  public:
    explicit RecipeError(std::vector<ParameterProblem> problems);
    const std::vector<ParameterProblem>& problems() const { return problems_; }

  private:
    std::vector<ParameterProblem> problems_;
};

// More than anybody mends at once; what is beyond is counted.
constexpr std::size_t MAX_RECIPE_PROBLEMS = 100;

// What messages call a document with variables, and the option that sets these.
struct DocumentNames {
    std::string document = "recipe";
    std::string setting_option = "--set";
};

class RecipeProblems {
  public:
    // `file` as the texts are to name it.
    explicit RecipeProblems(std::string_view file, DocumentNames names = {})
        : file_(file), names_(std::move(names)) {}

    void add(YamlPlace place, std::string_view text, std::string_view hint = "");
    // Whether the node is of the kind; adds what it is to be otherwise, unless it is broken, which
    // was told.
    bool expect_kind(const YamlNode& node, YamlNode::Kind kind, std::string_view otherwise);
    void add_to_setting(std::string_view setting, std::string_view text,
                        std::string_view hint = "");
    std::size_t count() const { return of_settings_.size() + of_file_.size(); }
    const DocumentNames& names() const { return names_; }
    void throw_if_any() const;

  private:
    std::string file_;
    DocumentNames names_;
    std::vector<ParameterProblem> of_settings_;
    std::vector<YamlProblem> of_file_;
};

} // namespace talvora::host
