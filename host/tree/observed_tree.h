// A tree that passes every request on to another one and notes what a step did to it:
// sets read, written, made and resized, their rates and missing samples before and after,
// attributes changed.
//
// Samples are counted as they pass where a request takes in the whole set; a set that is
// worked on in parts is read once more before its first change and after its last.
//
// The history that the host keeps in the file is no business of units, nor are the numbers that
// netCDF gives to the dimensions of a set, which a copy of its attributes must not have: they are
// neither listed nor read, and writing to them is refused.
#pragma once

#include "host/tree/forwarding_tree.h"
#include "host/tree/gaps.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace talvora::host {

struct SetState {
    Extents extents;
    std::optional<double> sample_rate; // Hz
    std::uint64_t missing_count = 0;
    std::uint64_t gap_count = 0;
};

// What a step did to one data set of which it read or changed samples.
struct SetObservation {
    std::string path;
    bool read = false;
    bool written = false;
    std::optional<SetState> before; // nothing for a set that the step made
    SetState after;
    // Gaps of before without a missing sample after; nothing when the extents changed.
    std::optional<std::uint64_t> filled_gap_count;
};

// Where samples of a set are missing, for who looks closer than at their counts.
struct SetGaps {
    std::shared_ptr<const GapList> before; // null for a set that the step made
    std::shared_ptr<const GapList> after;
};

struct StepObservations {
    std::vector<SetObservation> sets; // by path
    std::vector<SetGaps> gaps;        // of each of these
    // Names of the attributes written, by the path of their object.
    std::map<std::string, std::set<std::string>> attributes;
};

// A request for samples that was answered.
struct SampleRequest {
    ObjectId set{};
    bool writes = false;
    std::uint64_t count = 0;
    std::uint64_t set_count = 0; // that the whole set has
};

class ObservedTree final : public ForwardingTree {
  public:
    // The tree is borrowed. It is changed through this one alone.
    explicit ObservedTree(DataTree& tree) : ForwardingTree(tree) {}

    void on_samples(std::function<void(const SampleRequest& request)> call) {
        on_samples_ = std::move(call);
    }

    // Nothing before the first request to read samples.
    std::optional<ObjectId> last_read() const { return last_read_; }

    // What was done since the last call, or since the beginning.
    StepObservations finish_step();

    ObjectId create_dataset(ObjectId group, std::string_view path, const Extents& extents) override;
    void resize(ObjectId set, const Extents& extents) override;
    void read(ObjectId set, const Hyperslab& slab, std::span<float> samples) override;
    void write(ObjectId set, const Hyperslab& slab, std::span<const float> samples) override;

    std::vector<std::string> list_attributes(ObjectId object) override;
    std::optional<AttributeValue> read_attribute(ObjectId object, const std::string& name) override;
    void write_attribute(ObjectId object, const std::string& name,
                         const AttributeValue& value) override;

  private:
    using Gaps = std::shared_ptr<const GapList>;
    using Rate = std::optional<double>;

    struct Content {
        Extents extents;
        Gaps gaps; // null: not counted since the last change
    };
    struct Watched {
        bool read = false;
        bool written = false;
        bool made = false;
        std::optional<Content> before = {}; // from the first request of the step on
        Gaps gaps = {};                     // as it is now; null: not counted since the last change
        std::optional<Rate> rate_before = {};
        std::optional<Rate> rate = {}; // as it is now, once known
    };

    bool is_withheld(ObjectId object, std::string_view name) const;
    bool makes_a_scale(ObjectId object, std::string_view name) const;
    Gaps count_gaps(ObjectId set) const;
    Gaps known_gaps(ObjectId set, Watched& watched);
    Watched& watch_samples(ObjectId set);
    SetObservation conclude(ObjectId set, Watched& watched);

    std::function<void(const SampleRequest&)> on_samples_ = [](const SampleRequest&) {};
    std::optional<ObjectId> last_read_;
    std::map<ObjectId, Watched> watched_;
    std::map<std::string, std::set<std::string>> attributes_;
};

} // namespace talvora::host
