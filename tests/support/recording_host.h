// A host in memory for the tests of the built library. It offers the four tables,
// writes down every call, and watches that the plug-in keeps to the interface.
//
//   TEST(Rectify, TakesTheAbsoluteValueOfEachSample) {
//       RecordingHost host;
//       host.dataset("Imu/Rate", {1, 1, 3}, {-1.5F, 0.0F, 2.0F})
//           .attribute_float("SampleRate", 100);
//       host.set_parameter("SourceSets", Texts{"Imu/Rate"});
//       EXPECT_TRUE(host.run("orvane.signal.apply-set-rectify"));
//       EXPECT_EQ(host.samples("Imu/Rate"), (std::vector{1.5F, 0.0F, 2.0F}));
//       EXPECT_THAT(host.message_texts(), IsEmpty());
//   }
//
// After each operation, on whatever path it ended, the host looks for violations and
// fails the test with each of them when it is destroyed:
//   - a record's buffer not freed, freed twice, written outside its bounds or later;
//   - memory of the plug-in's own that it did not give back;
//   - a slot that the plug-in has no business with, another call context, a null
//     text, a table or a handle of an earlier operation, a handle of nothing;
//   - a parameter read that was not declared, or as another type;
//   - a selection of other than two words per dimension, or beyond the set's
//     extents; samples asked for or given without an array;
//   - a result of run that is neither 0 nor 1.
//
// What is made hard on purpose: handles differ in their upper halves only; flags are
// 0 in the lowest eight bits or anything else, with noise above; word 1 of every
// record is noise, and so is the count of a list without items; every operation gets
// other handles and other tables. `habits` sets what hosts may do either way.
//
// Parameters without a value get the default that the unit declared.
//
// Lines of calls(), in order: the slot and what it was called with. A group's path
// ends in "/", "" being the root; a message stands as it reads.
//   root_group                        read_string SourceGroup
//   open_dataset / Imu/Rate           dataset_is_valid Imu/Rate
//   list_datasets Imu/                read_float_attribute Imu/Rate SampleRate
//   read_samples Imu/Rate [0,0,0|1,1,3]
//   write_float_attribute Imu/ SampleRate 50
//   context error: No data set 'Imu/x' found
//
// A host is in use from its making to its end: one at a time.
#pragma once

#include "tests/support/host_state.h"

#include <cstdint>
#include <string>
#include <vector>

namespace talvora::test_support {

using GetInterface = void* (*)(std::int32_t table_id);
using RunFunction = std::uint8_t (*)(void* ctx, GetInterface get_interface);

struct DeclareOutcome {
    std::vector<Declaration> declarations;
    std::uint64_t result; // at full register width
};

class RecordingHost {
  public:
    RecordingHost() = default;
    ~RecordingHost(); // fails the test with every violation that is left
    RecordingHost(const RecordingHost&) = delete;
    RecordingHost& operator=(const RecordingHost&) = delete;

    Habits& habits() { return state_.habits; }

    // --- the tree. Groups on the way are made; the row-major samples are copied.
    DataSet& dataset(const std::string& path, std::vector<std::uint64_t> extents,
                     std::vector<float> samples);
    // An existing set; throws std::runtime_error when there is none.
    DataSet& dataset(const std::string& path);
    Group& group(const std::string& path) { return state_.tree.group(path); }
    const std::vector<float>& samples(const std::string& path);
    bool has_dataset(const std::string& path) const;
    bool has_group(const std::string& path) const;
    const RecordedTree& tree() const { return state_.tree; }
    // Creating the object with this path is refused.
    void refuse_creation(const std::string& path) { state_.refused_creations.insert(path); }

    // --- parameters. A parameter that is not set is absent.
    void set_parameter(const std::string& key, ParameterValue value);
    void set_parameter(const std::string& key, const char* text);

    // --- operations
    bool run(const std::string& identifier);
    // The first call of declare_parameter answers `first_result`, each later one 1 more.
    DeclareOutcome declare(const std::string& identifier, std::uint64_t first_result = 0);
    // A function of the test's own in place of a unit; nothing is declared then.
    bool run(RunFunction function);
    // The n-th allocation (from 1) of the next run fails; see can_refuse_allocations.
    void refuse_allocation(std::uint64_t n) { refused_allocation_ = n; }
    // Of the run before: allocations of the plug-in's own.
    std::uint64_t allocation_count() const { return allocation_count_; }

    // --- what happened in the operations so far
    const std::vector<std::string>& calls() const { return state_.calls; }
    // The lines that begin with one of the slots' names, in order.
    std::vector<std::string> calls_of(const std::vector<std::string>& slots) const;
    // The tables asked for in the latest operation.
    const std::vector<std::int32_t>& interface_requests() const {
        return state_.interface_requests;
    }
    const std::vector<Message>& messages() const { return state_.messages; }
    std::vector<std::string> message_texts() const; // "warning: ...", see Message::text
    void forget_calls();                            // and messages

    // The violations so far, which then no longer fail the test.
    std::vector<std::string> take_violations();

  private:
    std::uint64_t perform_declare(const std::string& identifier);
    bool perform_run(RunFunction function);
    void finish_operation(std::int64_t most_left);

    HostState state_;
    std::uint64_t refused_allocation_ = 0;
    std::uint64_t allocation_count_ = 0;
};

} // namespace talvora::test_support
