// What stands behind a recording host's slots: its tree, its parameters, its habits,
// and the record of what the plug-in asked for. Tests use RecordingHost.
#pragma once

#include "tests/support/message_arguments.h"
#include "tests/support/recorded_tree.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <variant>
#include <vector>

namespace talvora::test_support {

using Texts = std::vector<std::string>;
using Integers = std::vector<std::int64_t>;
using ParameterValue = std::variant<bool, std::int64_t, double, std::string, Texts, Integers>;

// One call of declare_parameter. "Axis: integer = -1" has the key Axis, the type
// integer and the default -1.
struct Declaration {
    std::string signature;
    std::uint8_t required;

    std::string key() const;
    std::string type() const;
    std::string default_text() const;
    bool operator==(const Declaration&) const = default;
};

// What hosts may do one way or another. A test sets what it is about.
struct Habits {
    // Records carry an aux buffer, and a shape of rank 0 an array of no extents.
    bool aux_buffers = true;
    // Word 0 of a text record is noise instead of the length with its final zero.
    bool noise_in_text_counts = false;
    // Word 0 of a list without items is noise instead of 0.
    bool noise_in_absent_counts = true;
    // A parameter that is not set has the default that the unit declared.
    bool gives_defaults = true;
    // visit_groups calls back for the group it starts from, too.
    bool visits_starting_group = false;
    // visit_groups reports failure after this many groups; negative: never.
    int failing_visit = -1;
    // dataset_shape gives this many shapes, and rank 0 from then on; negative: all.
    int shapes_left = -1;
    // read_samples leaves the destination as it is.
    bool ignores_reads = false;
    // write_samples is recorded, its samples are neither looked at nor stored.
    bool ignores_writes = false;
    // A slab beyond the set's extents is no mistake: the samples that it names, as many
    // as the set holds, are taken from the caller's array and those inside it are stored.
    bool clips_requests = false;
    // create_dataset hands out the set that exists instead of refusing.
    bool creation_opens_existing = false;
    // create_group answers a handle that is not null but not valid when it refuses.
    bool refuses_with_handle = false;
    float absent_float = 0.0F;
};

// A sample of a set that the plug-in created and has not written.
constexpr float UNWRITTEN_SAMPLE = -12345.0F;

enum class HandleKind : std::uint64_t { GROUP = 1, DATASET, NO_GROUP, NO_DATASET };

class HostState {
  public:
    HostState();
    ~HostState();
    HostState(const HostState&) = delete;
    HostState& operator=(const HostState&) = delete;

    // The host whose operation runs; the slots have no other way to it.
    static HostState& active();

    void start_operation();
    void end_operation();
    void add_violation(const std::string& sentence);

    // Handles of one operation. All are equal in their lower half, and none of one
    // operation is good in the next. The names of an object are for the record.
    std::uint64_t group_handle(const std::string& path);
    std::uint64_t dataset_handle(const std::string& path);
    std::uint64_t no_group_handle(const std::string& path);
    std::uint64_t no_dataset_handle(const std::string& path);
    bool is_group(std::uint64_t handle);
    bool is_dataset(std::uint64_t handle);
    // A handle that names nothing is a violation and gives null.
    Group* group_of(std::uint64_t handle);
    DataSet* dataset_of(std::uint64_t handle);
    std::string name_of(std::uint64_t handle); // "/", "Imu/", "Imu/x"

    RecordedTree tree;
    std::map<std::string, ParameterValue> parameters;
    std::map<std::string, ParameterValue> defaults;
    std::set<std::string> refused_creations;
    Habits habits;

    std::vector<Declaration> declarations;
    std::vector<std::string> calls;
    std::vector<std::int32_t> interface_requests;
    std::vector<Message> messages;
    std::vector<std::string> violations;
    std::uint64_t first_declare_result = 0;
    bool is_running = false;

    void* context() { return &context_mark_; }

  private:
    std::uint64_t make_handle(HandleKind kind, std::size_t index) const;
    std::size_t index_of(std::uint64_t handle, HandleKind kind) const;
    std::size_t absent_index(const std::string& path);

    std::vector<std::string> absent_paths_;
    std::uint64_t generation_ = 0;
    char context_mark_ = 0;
};

} // namespace talvora::test_support
