// The function tables, called as a plug-in calls them. Every case runs over both trees.
#include "host/hdf5/hdf5_files.h"
#include "host/hdf5/hdf5_links.h"
#include "host/hdf5/hdf5_tree.h"
#include "host/hdf5/hdf5_types.h"
#include "host/interface/host_call.h"
#include "host/interface/interface_tables.h"
#include "host/tree/memory_tree.h"
#include "tests/host/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <thread>

namespace talvora::host {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using Texts = std::vector<std::string>;
using Words = std::vector<std::uint64_t>;

// Takes a record over, as a plug-in has to: reads it and frees it.
Texts take_texts(host_list list) {
    Texts texts;
    auto** items = static_cast<char**>(list.items);
    for (std::uint64_t i = 0; items != nullptr && i < list.count; ++i) {
        texts.emplace_back(items[i]);
        std::free(items[i]);
    }
    std::free(list.items);
    std::free(list.aux);
    return texts;
}

std::optional<std::string> take_text(host_string record) {
    std::optional<std::string> text;
    if (record.text != nullptr) {
        text = record.text;
    }
    std::free(record.text);
    std::free(record.aux);
    return text;
}

Words take_shape(host_shape record) {
    Words dims(record.dims, record.dims + record.rank);
    std::free(record.dims);
    std::free(record.aux);
    return dims;
}

struct Places {
    TemporaryFolder folder;
    MemoryTree in_memory;
    Hdf5Tree in_file{folder / "tree.h5", Hdf5Access::Create};
};

const std::vector<ParameterSignature> SIGNATURES{
    parse_signature("Sets: list(string)", false),   parse_signature("Group: string", false),
    parse_signature("Scan: boolean = true", false), parse_signature("Axis: integer = -1", false),
    parse_signature("Rate: number = 0.5", false),   parse_signature("Parts: list(integer)", false),
    parse_signature("Length: integer", false)};

class InterfaceTables : public testing::TestWithParam<const char*> {
  protected:
    InterfaceTables() {
        set_ = tree_.create_dataset(tree_.root(), "walk/acc", {2, 3});
        const std::vector<float> samples{0, 1, 2, 3, 4, 5};
        tree_.write(set_, {Extents{0, 0}, Extents{2, 3}}, samples);
    }

    void give(ParameterValues::Given given) { values_ = {SIGNATURES, std::move(given)}; }

    group_handle root() {
        group_handle root{};
        context_->root_group(&root, call_.context());
        return root;
    }
    group_handle open_group(group_handle parent, const char* path) {
        group_handle group{99};
        groups_->open_group(&group, parent, path);
        return group;
    }
    dataset_handle open_set(const char* path) {
        dataset_handle set{99};
        sets_->open_dataset(&set, root(), path);
        return set;
    }
    std::vector<float> read_all(dataset_handle set, std::size_t count, Words selection) {
        std::vector<float> samples(count, -1.0F);
        sets_->read_samples(set, samples.data(), selection.data(), selection.size());
        return samples;
    }
    const Texts& refused() const { return call_.problems().refused_requests; }
    const Texts& breaks() const { return call_.problems().interface_breaks; }

    Places places_;
    DataTree& tree_ = GetParam() == std::string("Memory")
                          ? static_cast<DataTree&>(places_.in_memory)
                          : static_cast<DataTree&>(places_.in_file);
    ObjectId set_{};
    ParameterValues values_{SIGNATURES, {}};
    std::vector<Message> messages_;
    MessageSink sink_ = [this](const Message& message) { messages_.push_back(message); };
    HostCall call_{Operation::Run, tree_, values_, sink_};
    const context_api* context_ = static_cast<context_api*>(get_interface(CONTEXT_API_ID));
    const group_api* groups_ = static_cast<group_api*>(get_interface(GROUP_API_ID));
    const dataset_api* sets_ = static_cast<dataset_api*>(get_interface(DATASET_API_ID));
    const log_api* log_ = static_cast<log_api*>(get_interface(LOG_API_ID));
};

INSTANTIATE_TEST_SUITE_P(Trees, InterfaceTables, testing::Values("Memory", "Hdf5"),
                         [](const auto& tree) { return std::string(tree.param); });

// ---------------------------------------------------------------------------
// Parameters

TEST_P(InterfaceTables, GivesDefaultsAndZeroWithoutOne) {
    call_context* ctx = call_.context();
    EXPECT_EQ(context_->read_boolean(ctx, "Scan"), 1);
    EXPECT_EQ(context_->read_integer(ctx, "Axis"), -1);
    EXPECT_EQ(context_->read_number(ctx, "Rate"), 0.5);
    EXPECT_EQ(context_->read_integer(ctx, "Length"), 0);
    EXPECT_THAT(breaks(), IsEmpty());
}

TEST_P(InterfaceTables, GivesNullRecordsForWhatHasNoValue) {
    host_string text{7, 7, &text, nullptr};
    context_->read_string(&text, call_.context(), "Group");
    EXPECT_EQ(text.text, nullptr);
    EXPECT_EQ(text.unread_count, 0U);
    EXPECT_EQ(text.aux, nullptr);
    host_list list{7, 7, &list, &list};
    context_->read_string_list(&list, call_.context(), "Sets");
    EXPECT_EQ(list.items, nullptr);
    EXPECT_EQ(list.count, 0U);
    context_->read_integer_list(&list, call_.context(), "Parts");
    EXPECT_EQ(list.items, nullptr);
}

TEST_P(InterfaceTables, GivesTheValuesThatWereGiven) {
    give({{"Sets", Texts{"a", "b/c"}},
          {"Group", std::string("Imu")},
          {"Parts", std::vector<std::int64_t>{3, -1}}});
    host_list list{};
    context_->read_string_list(&list, call_.context(), "Sets");
    EXPECT_EQ(take_texts(list), (Texts{"a", "b/c"}));
    context_->read_integer_list(&list, call_.context(), "Parts");
    ASSERT_EQ(list.count, 2U);
    EXPECT_EQ(static_cast<std::int64_t*>(list.items)[1], -1);
    std::free(list.items);
    host_string text{};
    context_->read_string(&text, call_.context(), "Group");
    EXPECT_EQ(text.unread_count, 4U);
    EXPECT_EQ(take_text(text), "Imu");
}

TEST_P(InterfaceTables, GivesAnEmptyTextAndAnEmptyListAsPresent) {
    give({{"Sets", Texts{}}, {"Group", std::string()}});
    host_list list{};
    context_->read_string_list(&list, call_.context(), "Sets");
    EXPECT_NE(list.items, nullptr);
    EXPECT_EQ(list.count, 0U);
    take_texts(list);
    host_string text{};
    context_->read_string(&text, call_.context(), "Group");
    EXPECT_EQ(text.unread_count, 0U);
    EXPECT_EQ(take_text(text), "");
}

TEST_P(InterfaceTables, NotesReadsOfUndeclaredAndOtherwiseDeclaredKeys) {
    EXPECT_EQ(context_->read_integer(call_.context(), "Nothing"), 0);
    EXPECT_EQ(context_->read_integer(call_.context(), "Rate"), 0);
    EXPECT_EQ(context_->read_integer(nullptr, "Axis"), -1);
    EXPECT_EQ(context_->read_integer(call_.context(), nullptr), 0);
    EXPECT_THAT(breaks(),
                ElementsAre("read_integer: the parameter 'Nothing' was not declared",
                            "read_integer: the parameter 'Rate' was declared as number",
                            HasSubstr("not the call's"), "read_integer: called with a null text"));
}

TEST_P(InterfaceTables, NotesDeclarationsOutsideDeclare) {
    EXPECT_EQ(context_->declare_parameter(call_.context(), "A: string", 0), 0U);
    EXPECT_EQ(breaks().size(), 1U);
}

// ---------------------------------------------------------------------------
// Groups

TEST_P(InterfaceTables, GivesOneHandlePerObject) {
    const group_handle walk = open_group(root(), "walk");
    EXPECT_EQ(groups_->group_is_valid(walk), 1);
    EXPECT_EQ(walk, open_group(root(), "/walk/"));
    EXPECT_EQ(open_set("walk/acc"), open_set("walk//acc"));
    EXPECT_EQ(sets_->dataset_is_valid(open_set("walk/acc")), 1);
    EXPECT_THAT(refused(), IsEmpty());
}

TEST_P(InterfaceTables, GivesInvalidHandlesForWhatIsNotThere) {
    for (const char* path : {"nothing", "walk/acc", "walk/nothing/below"}) {
        EXPECT_EQ(groups_->group_is_valid(open_group(root(), path)), 0) << path;
        EXPECT_EQ(groups_->group_exists(root(), path), 0) << path;
    }
    for (const char* path : {"nothing", "walk", ""}) {
        EXPECT_EQ(sets_->dataset_is_valid(open_set(path)), 0) << path;
        EXPECT_EQ(sets_->dataset_exists(root(), path), 0) << path;
    }
    EXPECT_THAT(refused(), IsEmpty());
}

TEST_P(InterfaceTables, SaysNoToEveryStrangeHandle) {
    for (const std::uint64_t handle : {0UL, 77UL, ~0UL}) {
        EXPECT_EQ(groups_->group_is_valid(group_handle{handle}), 0);
        EXPECT_EQ(sets_->dataset_is_valid(dataset_handle{handle}), 0);
    }
    EXPECT_EQ(groups_->group_is_valid(group_handle{std::uint64_t(set_)}), 0);
    EXPECT_THAT(refused(), IsEmpty());
}

TEST_P(InterfaceTables, CreatesGroupsAndGivesNullForTakenNames) {
    group_handle made{};
    groups_->create_group(&made, root(), "new/inner");
    EXPECT_EQ(groups_->group_is_valid(made), 1);
    EXPECT_EQ(made, open_group(root(), "new/inner"));
    for (const char* taken : {"walk", "walk/acc", "new/inner"}) {
        groups_->create_group(&made, root(), taken);
        EXPECT_EQ(made, NULL_GROUP) << taken;
    }
    EXPECT_THAT(refused(), IsEmpty());
    groups_->create_group(&made, root(), "walk/acc/below");
    EXPECT_EQ(made, NULL_GROUP);
    EXPECT_EQ(refused().size(), 1U);
}

TEST_P(InterfaceTables, ListsNames) {
    tree_.create_group(tree_.root(), "walk/inner");
    host_list list{};
    groups_->list_groups(&list, root());
    EXPECT_EQ(take_texts(list), Texts{"walk"});
    groups_->list_groups(&list, open_group(root(), "walk"));
    EXPECT_EQ(take_texts(list), Texts{"inner"});
    groups_->list_datasets(&list, open_group(root(), "walk"));
    EXPECT_EQ(take_texts(list), Texts{"acc"});
    groups_->list_datasets(&list, root());
    EXPECT_NE(list.items, nullptr);
    EXPECT_EQ(take_texts(list), Texts{});
}

struct Visit {
    std::vector<group_handle> seen;
    std::size_t stop_after = 100;
};

std::int32_t visit(group_handle group, void* user, get_interface_function) {
    auto& record = *static_cast<Visit*>(user);
    record.seen.push_back(group);
    return record.seen.size() == record.stop_after ? -1 : 0;
}

TEST_P(InterfaceTables, VisitsTheGroupsBelowDepthFirst) {
    for (const char* path : {"walk/b/x", "walk/a", "zone"}) {
        tree_.create_group(tree_.root(), path);
    }
    Visit all;
    EXPECT_EQ(groups_->visit_groups(root(), visit, &all, get_interface), 1);
    EXPECT_EQ(all.seen, (std::vector{open_group(root(), "walk"), open_group(root(), "walk/a"),
                                     open_group(root(), "walk/b"), open_group(root(), "walk/b/x"),
                                     open_group(root(), "zone")}));
    Visit two{{}, 2};
    EXPECT_EQ(groups_->visit_groups(root(), visit, &two, get_interface), 0);
    EXPECT_EQ(two.seen.size(), 2U);
}

TEST_P(InterfaceTables, RefusesToVisitWhatIsNoGroup) {
    Visit none;
    EXPECT_EQ(groups_->visit_groups(group_handle{77}, visit, &none, get_interface), 0);
    EXPECT_EQ(groups_->visit_groups(root(), nullptr, &none, get_interface), 0);
    EXPECT_TRUE(none.seen.empty());
    EXPECT_EQ(refused().size(), 1U);
    EXPECT_EQ(breaks().size(), 1U);
}

TEST_P(InterfaceTables, LetsAnExceptionOfTheCallbackThrough) {
    const auto callback = [](group_handle, void*, get_interface_function) -> std::int32_t {
        throw std::bad_alloc();
    };
    EXPECT_THROW(groups_->visit_groups(root(), callback, nullptr, get_interface), std::bad_alloc);
}

TEST_P(InterfaceTables, KeepsAttributesOfGroups) {
    const group_handle walk = open_group(root(), "walk");
    EXPECT_EQ(groups_->has_attribute(walk, "NumSamples"), 0);
    EXPECT_EQ(groups_->read_float_attribute(walk, "NumSamples"), 0.0F);
    EXPECT_EQ(groups_->read_integer_attribute(walk, "NumSamples"), 0);
    groups_->write_float_attribute(walk, "NumSamples", 250.75F);
    EXPECT_EQ(groups_->has_attribute(walk, "NumSamples"), 1);
    EXPECT_EQ(groups_->read_float_attribute(walk, "NumSamples"), 250.75F);
    EXPECT_EQ(groups_->read_integer_attribute(walk, "NumSamples"), 250);
    EXPECT_THAT(refused(), IsEmpty());
}

TEST_P(InterfaceTables, RefusesIntegersThatDoNotFit) {
    const group_handle walk = open_group(root(), "walk");
    for (const float value : {std::numeric_limits<float>::quiet_NaN(), 0x1p63F, -0x1p80F}) {
        groups_->write_float_attribute(walk, "NumSamples", value);
        EXPECT_EQ(groups_->read_integer_attribute(walk, "NumSamples"), 0);
    }
    EXPECT_EQ(refused().size(), 1U); // the same sentence is kept once
    groups_->write_float_attribute(walk, "NumSamples", -0x1p63F);
    EXPECT_EQ(groups_->read_integer_attribute(walk, "NumSamples"),
              std::numeric_limits<std::int64_t>::min());
}

// ---------------------------------------------------------------------------
// Data sets

TEST_P(InterfaceTables, ReadsWritesAndResizesSamples) {
    const dataset_handle set = open_set("walk/acc");
    host_shape shape{};
    sets_->dataset_shape(&shape, set);
    EXPECT_EQ(take_shape(shape), (Words{2, 3}));
    EXPECT_EQ(read_all(set, 3, {1, 0, 1, 3}), (std::vector<float>{3, 4, 5}));
    const float line[] = {8, 9};
    sets_->write_samples(set, line, Words{0, 2, 2, 1}.data(), 4);
    EXPECT_EQ(read_all(set, 6, {0, 0, 2, 3}), (std::vector<float>{0, 1, 8, 3, 4, 9}));
    sets_->resize_dataset(set, Words{2, 1}.data(), 2);
    EXPECT_EQ(read_all(set, 2, {0, 0, 2, 1}), (std::vector<float>{0, 3}));
    EXPECT_THAT(refused(), IsEmpty());
}

TEST_P(InterfaceTables, RefusesAndNotesWhatDoesNotFit) {
    const dataset_handle set = open_set("walk/acc");
    const std::vector<float> nines(6, 9.0F);
    EXPECT_EQ(read_all(set, 6, {0, 1, 2, 3}), std::vector<float>(6, -1.0F));
    sets_->write_samples(set, nines.data(), Words{0, 1, 2, 3}.data(), 4);
    sets_->write_samples(set, nines.data(), Words{0, 6}.data(), 2);
    sets_->write_samples(set, nines.data(), Words{0, 0, 1}.data(), 3);
    sets_->write_samples(set, nines.data(), Words{0, 0, 1ULL << 40, 1ULL << 40}.data(), 4);
    sets_->write_samples(set, nullptr, Words{0, 0, 1, 1}.data(), 4);
    sets_->write_samples(set, nines.data(), nullptr, 4);
    sets_->resize_dataset(set, Words{6}.data(), 1);
    sets_->resize_dataset(set, Words{6}.data(), 1'000'000);
    EXPECT_EQ(refused().size(), 7U);
    EXPECT_EQ(breaks().size(), 2U);
    EXPECT_THAT(refused()[0], HasSubstr("read_samples: 'walk/acc' has the extents [2, 3]"));
    EXPECT_EQ(read_all(set, 6, {0, 0, 2, 3}), (std::vector<float>{0, 1, 2, 3, 4, 5}));
}

TEST_P(InterfaceTables, RefusesStrangeHandles) {
    const dataset_handle none{};
    float sample = 5;
    host_shape shape{1, 1, &shape, nullptr};
    sets_->read_samples(none, &sample, Words{0, 1}.data(), 2);
    sets_->dataset_shape(&shape, none);
    EXPECT_EQ(shape.rank, 0U);
    EXPECT_EQ(shape.dims, nullptr);
    EXPECT_EQ(sets_->read_float_attribute(none, "SampleRate"), 0.0F);
    sets_->copy_attribute(none, open_set("walk/acc"), "SampleRate");
    EXPECT_EQ(sample, 5.0F);
    EXPECT_EQ(refused().size(), 4U);
    EXPECT_EQ(refused()[0], "read_samples: the handle 0 names no data set");
}

TEST_P(InterfaceTables, CreatesSetsAndGivesNullForTakenNames) {
    dataset_handle made{99};
    sets_->create_dataset(&made, open_group(root(), "walk"), "mean", Words{2, 1}.data(), 2);
    EXPECT_EQ(made, open_set("walk/mean"));
    EXPECT_EQ(read_all(made, 2, {0, 0, 2, 1}), (std::vector<float>{0, 0}));
    sets_->create_dataset(&made, root(), "walk/acc", Words{1}.data(), 1);
    EXPECT_EQ(sets_->dataset_is_valid(made), 0);
    EXPECT_THAT(refused(), IsEmpty());
    sets_->create_dataset(&made, root(), "huge", Words{1}.data(), 33);
    EXPECT_EQ(sets_->dataset_is_valid(made), 0);
    EXPECT_EQ(refused().size(), 1U);
}

TEST_P(InterfaceTables, KeepsEveryTypeOfAttribute) {
    const dataset_handle set = open_set("walk/acc");
    const char* labels[] = {"x", "y"};
    sets_->write_integer_attribute(set, "Integer", -5);
    sets_->write_float_attribute(set, "Float", 0.1F);
    sets_->write_number_attribute(set, "Number", 0.1);
    sets_->write_string_attribute(set, "Text", "");
    sets_->write_integer_array_attribute(set, "Array", std::vector<std::int64_t>{1, 2}.data(),
                                         Words{2}.data(), 1);
    sets_->write_string_list_attribute(set, "Labels", labels, Words{2}.data(), 1);
    EXPECT_EQ(tree_.read_attribute(set_, "Integer"), AttributeValue(std::int64_t{-5}));
    EXPECT_EQ(tree_.read_attribute(set_, "Float"), AttributeValue(0.1F));
    EXPECT_EQ(tree_.read_attribute(set_, "Number"), AttributeValue(0.1));
    EXPECT_EQ(tree_.read_attribute(set_, "Text"), AttributeValue(""));
    EXPECT_EQ(tree_.read_attribute(set_, "Array"), AttributeValue(IntegerArray{{1, 2}, {2}}));
    EXPECT_EQ(tree_.read_attribute(set_, "Labels"), AttributeValue(TextArray{{"x", "y"}, {2}}));
    host_list names{};
    sets_->list_attributes(&names, set);
    EXPECT_EQ(take_texts(names), (Texts{"Array", "Float", "Integer", "Labels", "Number", "Text"}));
    EXPECT_THAT(refused(), IsEmpty());
}

TEST_P(InterfaceTables, ReadsNumbersOfAnyTypeAsFloat) {
    const dataset_handle set = open_set("walk/acc");
    tree_.write_attribute(set_, "integer", std::int64_t{100});
    tree_.write_attribute(set_, "number", 0.1);
    tree_.write_attribute(set_, "large", 1e300);
    tree_.write_attribute(set_, "array", NumberArray{{50}, {1, 1}});
    EXPECT_EQ(sets_->read_float_attribute(set, "integer"), 100.0F);
    EXPECT_EQ(sets_->read_float_attribute(set, "number"), 0.1F);
    EXPECT_EQ(sets_->read_float_attribute(set, "large"), std::numeric_limits<float>::infinity());
    EXPECT_EQ(sets_->read_float_attribute(set, "array"), 50.0F);
    EXPECT_EQ(sets_->read_float_attribute(set, "absent"), 0.0F);
    EXPECT_THAT(refused(), IsEmpty());
    tree_.write_attribute(set_, "text", std::string("100 Hz"));
    EXPECT_EQ(sets_->read_float_attribute(set, "text"), 0.0F);
    EXPECT_THAT(refused(), ElementsAre("read_float_attribute: the attribute 'text' of 'walk/acc' "
                                       "is a text, not a number"));
}

TEST_P(InterfaceTables, ReadsTexts) {
    const dataset_handle set = open_set("walk/acc");
    tree_.write_attribute(set_, "MetricType", std::string("mean"));
    tree_.write_attribute(set_, "one", TextArray{{"only"}, {1}});
    host_string text{};
    sets_->read_string_attribute(&text, set, "MetricType");
    EXPECT_EQ(text.unread_count, 5U);
    EXPECT_EQ(take_text(text), "mean");
    sets_->read_string_attribute(&text, set, "one");
    EXPECT_EQ(take_text(text), "only");
    sets_->read_string_attribute(&text, set, "absent");
    EXPECT_EQ(take_text(text), std::nullopt);
    EXPECT_EQ(sets_->has_attribute(set, "MetricType"), 1);
    EXPECT_EQ(sets_->has_attribute(set, "absent"), 0);
    EXPECT_THAT(refused(), IsEmpty());
}

TEST_P(InterfaceTables, CopiesAttributesWithTheirType) {
    const dataset_handle source = open_set("walk/acc");
    dataset_handle copy{};
    sets_->create_dataset(&copy, root(), "copy", Words{1}.data(), 1);
    tree_.write_attribute(set_, "Labels", TextArray{{"x", "y"}, {2}});
    sets_->copy_attribute(copy, source, "Labels");
    EXPECT_EQ(tree_.read_attribute(*tree_.find(tree_.root(), "copy"), "Labels"),
              AttributeValue(TextArray{{"x", "y"}, {2}}));
    EXPECT_THAT(refused(), IsEmpty());
    sets_->copy_attribute(copy, source, "absent");
    EXPECT_EQ(refused().size(), 1U);
}

// ---------------------------------------------------------------------------
// Messages and misuse

TEST_P(InterfaceTables, SendsMessagesAsTheyCome) {
    context_->log_error(call_.context(), "No data set '%s' found", "x");
    log_->log_info("%lu of %f", std::uint64_t{1} << 40, 0.5);
    log_->log_warning("Component {} is out of range", std::uint64_t{7});
    log_->log_error("plain");
    ASSERT_EQ(messages_.size(), 4U);
    EXPECT_EQ(messages_[0].text, "No data set 'x' found");
    EXPECT_EQ(messages_[0].level, Message::Error);
    EXPECT_EQ(messages_[1].text, "1099511627776 of 0.500000");
    EXPECT_EQ(messages_[1].level, Message::Info);
    EXPECT_EQ(messages_[2].text, "Component 7 is out of range");
    EXPECT_EQ(messages_[2].level, Message::Warning);
    EXPECT_EQ(messages_[3].level, Message::Error);
}

TEST_P(InterfaceTables, NotesCallsOfUnusedSlotsAndUnknownTables) {
    const auto call_slot = [](std::int32_t table, std::size_t slot) {
        static_cast<unused_slot*>(get_interface(table))[slot]();
    };
    call_slot(CONTEXT_API_ID, 6);
    call_slot(GROUP_API_ID, 45);
    call_slot(DATASET_API_ID, 127);
    call_slot(LOG_API_ID, 1);
    call_slot(11, 0);
    EXPECT_THAT(breaks(),
                ElementsAre(HasSubstr("table 4: slot 6 "), HasSubstr("table 7: slot 45 "),
                            HasSubstr("table 8: slot 127 "), HasSubstr("table 9: slot 1 "),
                            HasSubstr("no table 11"), HasSubstr("slot 0 ")));
}

TEST_P(InterfaceTables, PlacesEverySlotAtItsNumber) {
    const auto* raw = static_cast<const unused_slot*>(get_interface(DATASET_API_ID));
    const auto is_valid = std::bit_cast<host_flag (*)(dataset_handle)>(raw[4]);
    EXPECT_EQ(is_valid(open_set("walk/acc")), 1);
    const auto has = std::bit_cast<host_flag (*)(dataset_handle, const char*)>(raw[47]);
    EXPECT_EQ(has(open_set("walk/acc"), "absent"), 0);
    EXPECT_THAT(breaks(), IsEmpty());
}

TEST_P(InterfaceTables, KeepsAHundredProblemsAtMost) {
    for (int i = 0; i < 1000; ++i) {
        groups_->group_exists(group_handle{1000U + static_cast<unsigned>(i)}, "a");
    }
    EXPECT_EQ(refused().size(), 100U);
}

TEST_P(InterfaceTables, AnswersWithZerosOnAThreadWithoutACall) {
    std::thread([this] {
        group_handle root{99};
        context_->root_group(&root, call_.context());
        EXPECT_EQ(root, NULL_GROUP);
        EXPECT_EQ(context_->read_integer(call_.context(), "Axis"), 0);
        log_->log_error("nobody hears");
    }).join();
    EXPECT_TRUE(messages_.empty());
}

TEST_P(InterfaceTables, GoesBackToTheOuterCall) {
    {
        MemoryTree other;
        const ParameterValues values(SIGNATURES, {{"Axis", std::int64_t{5}}});
        HostCall inner(Operation::Run, other, values, sink_);
        EXPECT_EQ(context_->read_integer(inner.context(), "Axis"), 5);
    }
    EXPECT_EQ(context_->read_integer(call_.context(), "Axis"), -1);
}

TEST(InterfaceTablesOnFiles, TellsWhatCannotBeUsedAndWhatIsNotCopied) {
    const TemporaryFolder folder;
    Hdf5Tree tree(folder / "tree.h5", Hdf5Access::Create);
    tree.create_dataset(tree.root(), "Imu/acc", {2});
    tree.close();
    {
        const hdf5::Id file = hdf5::open_file(folder / "tree.h5", true);
        const hdf5::Id group = hdf5::open_object(file, "/Imu");
        const hdf5::Id space = hdf5::make_scalar_space();
        const hdf5::Id raw(
            H5Dcreate2(group, "raw", H5T_IEEE_F64LE, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
        const hdf5::Id acc = hdf5::open_object(file, "/Imu/acc");
        const hdf5::Id odd(H5Acreate2(acc, "Odd", H5T_STD_B8LE, space, H5P_DEFAULT, H5P_DEFAULT));
    }
    Hdf5Tree reopened(folder / "tree.h5", Hdf5Access::ReadWrite);
    Texts messages;
    const MessageSink sink = [&](const Message& message) { messages.push_back(message.text); };
    const ParameterValues none;
    HostCall call(Operation::Run, reopened, none, sink);
    const auto* sets = static_cast<dataset_api*>(get_interface(DATASET_API_ID));
    const auto root = group_handle{std::uint64_t(reopened.root())};
    dataset_handle opened{};
    sets->open_dataset(&opened, root, "Imu/raw");
    EXPECT_EQ(sets->dataset_is_valid(opened), 0);
    dataset_handle copy{};
    sets->create_dataset(&copy, root, "copy", Words{1}.data(), 1);
    sets->open_dataset(&opened, root, "Imu/acc");
    sets->copy_attribute(copy, opened, "Odd");
    EXPECT_THAT(messages,
                ElementsAre("'Imu/raw' cannot be used (data set of 64-bit floats []): convert it "
                            "to a data set of real numbers, of rank 1 or more, first",
                            HasSubstr("not copied: the attribute 'Odd' of 'Imu/acc' holds 8-bit "
                                      "fields")));
    EXPECT_THAT(call.problems().refused_requests, IsEmpty());
}

} // namespace

} // namespace talvora::host
