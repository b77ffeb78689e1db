// What is wrong with a recipe: collected while it is read, told all at once.
#pragma once

#include "host/interface/parameters.h"
#include "host/recipes/yaml_document.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
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

class RecipeProblems {
  public:
    // `file` as the texts are to name it.
    explicit RecipeProblems(std::string_view file) : file_(file) {}

    void add(YamlPlace place, std::string_view text, std::string_view hint = "");
    void add_to_setting(std::string_view setting, std::string_view text,
                        std::string_view hint = "");
    std::size_t count() const { return of_settings_.size() + of_file_.size(); }
    void throw_if_any() const;

  private:
    std::string file_;
    std::vector<ParameterProblem> of_settings_;
    std::vector<YamlProblem> of_file_;
};

} // namespace talvora::host
