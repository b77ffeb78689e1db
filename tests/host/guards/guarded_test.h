// What the tests of guards share: a step of a unit that there is not, on a tree in memory.
#pragma once

#include "host/guards/guarded_step.h"
#include "host/tree/memory_tree.h"
#include "host/tree/observed_tree.h"
#include "host/tree/tree_rules.h"
#include "tests/support/special_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace talvora::host {

using Texts = std::vector<std::string>;

class GuardedTest : public testing::Test {
  protected:
    GuardedTest() { step_.unit = &unit_; }

    // The unit's name, the signatures of its parameters, and their values.
    void make_step(const std::string& unit, const std::vector<std::string>& signatures,
                   ParameterValues::Given given = {}) {
        unit_.name = unit;
        std::vector<ParameterSignature> parsed;
        for (const std::string& signature : signatures) {
            parsed.push_back(parse_signature(signature, false));
        }
        step_ = {"step", &unit_, ParameterValues(parsed, std::move(given))};
    }

    ObjectId add_set(const std::string& path, const Extents& extents,
                     const std::vector<float>& samples, const AttributeValue& rate = 100.0F) {
        const ObjectId set = tree_.create_dataset(tree_.root(), path, extents);
        const Extents starts(extents.size(), 0);
        tree_.write(set, {starts, extents}, samples);
        tree_.write_attribute(set, "SampleRate", rate);
        return set;
    }

    std::vector<float> read(ObjectId set) {
        const Extents extents = observed_.extents(set);
        const Extents starts(extents.size(), 0);
        std::vector<float> samples(count_samples(extents));
        observed_.read(set, {starts, extents}, samples);
        return samples;
    }

    void write(ObjectId set, const std::vector<float>& samples) {
        const Extents extents = observed_.extents(set);
        const Extents starts(extents.size(), 0);
        observed_.write(set, {starts, extents}, samples);
    }

    GuardedStep before() { return {step_, tree_, filters_, source_, nullptr}; }

    // What was done to the observed tree since the last call.
    GuardedStep after() {
        done_ = observed_.finish_step();
        return {step_, tree_, filters_, source_, &done_};
    }

    MemoryTree tree_;
    ObservedTree observed_{tree_};
    Unit unit_;
    Step step_;
    std::vector<FilterFacts> filters_;
    StepObservations done_;
    std::string source_ = "walk.h5";
};

} // namespace talvora::host
