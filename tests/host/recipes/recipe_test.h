// What the tests of recipes share: the project's own units, and what is wrong with a text.
#pragma once

#include "host/recipes/recipe_reader.h"
#include "tests/host/comma_locale.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace talvora::host {

class RecipeTest : public testing::Test {
  protected:
    using Texts = std::vector<std::string>;

    static const PluginLibrary& library() {
        static const PluginLibrary loaded(SIGNAL_PLUGIN);
        return loaded;
    }

    static Recipe read(std::string_view text, const Texts& settings = {}) {
        return parse_recipe(text, "r.yaml", settings, library(),
                            {.guards = {"first-guard", "second-guard"}});
    }

    static std::vector<ParameterProblem> find_problems(std::string_view text,
                                                       const Texts& settings = {}) {
        try {
            read(text, settings);
            return {};
        } catch (const RecipeError& error) {
            return error.problems();
        }
    }

    static Texts problems_of(std::string_view text, const Texts& settings = {}) {
        Texts texts;
        for (const ParameterProblem& problem : find_problems(text, settings)) {
            texts.push_back(problem.text);
        }
        return texts;
    }

    static std::string hint_for(std::string_view text, const Texts& settings = {}) {
        const auto problems = find_problems(text, settings);
        return problems.empty() ? "" : problems.front().hint;
    }

    // One step that rectifies the group G, its parameters beginning in line 4.
    static std::string with_parameters(const std::string& lines,
                                       const std::string& unit = "apply-set-opposite") {
        return "steps:\n  - unit: " + unit + "\n    parameters:\n" + lines;
    }

    template <typename Value>
    static Value value_of(const Recipe& recipe, const char* key, std::size_t step = 0) {
        const ParameterValue* value = recipe.steps.at(step).values.find(key);
        EXPECT_NE(value, nullptr) << key;
        return value == nullptr ? Value{} : std::get<Value>(*value);
    }
};

} // namespace talvora::host
