// Steps run on a tree, in a file or in memory: each planned, guarded, run by its unit and guarded
// once more.
#pragma once

#include "host/filters/step_aims.h"
#include "host/guards/guard_finding.h"
#include "host/guards/guarded_step.h"
#include "host/guards/guards.h"
#include "host/recipes/recipe.h"
#include "host/recipes/run_history.h"
#include "host/runs/job_result.h"
#include "host/tree/line_roundings.h"
#include "host/tree/observed_tree.h"

#include <functional>
#include <span>
#include <string>
#include <vector>

namespace talvora::host {

// Where steps are run, borrowed.
struct RunPlace {
    DataTree& tree;            // that guards look at
    ObservedTree& observed;    // in front of it, for units
    const std::string& source; // the file's name, for what is to be typed; empty: none
    const TellMessage& tell;
};

// What the keeper of the tree adds to a step.
struct RunHooks {
    // What guards found and was not known yet; what is not accepted ends the step behind it.
    std::function<void(std::span<const GuardFinding>)> tell_findings;
    // The unit is called next: the step, with names in the place of patterns.
    std::function<void(const Step&)> begin_unit = [](const Step&) {};
    // What the tree does not tell, filled in behind the unit: the members `rounded`, `scales` and
    // `scaled_sets`.
    std::function<void(GuardedStep&)> look_up = [](GuardedStep&) {};
};

// What was done. Of a step that failed it holds what guards found, alone.
struct RunAccount {
    std::vector<StepResult> steps;
    std::vector<StepObservations> observations;      // of each of these, without gaps
    std::vector<std::vector<FoundParameters>> found; // of each of these
    std::vector<GuardFinding> guards;                // all that spoke, accepted ones too
};

class GuardedRun {
  public:
    // All but the hooks is borrowed.
    GuardedRun(const RunPlace& place, RunHooks hooks, RunAccount& account);

    // Throws StepFailed when all was told that there is to say, a Failure, a TreeError, a
    // PluginError or std::bad_alloc; the tree may be changed then.
    void run(const Step& step);

  private:
    std::vector<StepCall> plan(const Step& step) const;
    std::vector<std::string> run_unit_of(const Step& step);
    void look(const GuardedStep& guarded, GuardTime time);
    void heed(std::vector<GuardFinding> findings);
    bool is_known(const GuardFinding& finding) const;

    RunPlace place_;
    RunHooks hooks_;
    RunAccount& account_;
    TellMessage tell_typed_; // with hints that are commands, where these can be typed
};

// The records of the steps that were run, which are those of the recipe.
std::vector<HistoryRecord> make_records(const RunAccount& account, const RunOrigin& origin,
                                        const Recipe& recipe);

// Of a set of these extents, before a step, that was of another type than 32-bit floats.
RoundedSamples make_rounded_samples(SampleType type, const SetRounding& rounding,
                                    const Extents& extents);

} // namespace talvora::host
