#include "host/interface/unit_run.h"
#include "host/tree/memory_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

namespace talvora::host {

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::ThrowsMessage;

const context_api& context_of(get_interface_function get) {
    return *static_cast<context_api*>(get(CONTEXT_API_ID));
}

std::uint64_t declare_two(call_context* ctx, get_interface_function get) {
    context_of(get).declare_parameter(ctx, "SourceGroup: string", 1);
    return context_of(get).declare_parameter(ctx, "Axis: integer = -1", 0);
}

std::uint64_t declare_nothing(call_context*, get_interface_function) {
    return 0;
}
bool succeed(call_context*, get_interface_function) {
    return true;
}

Unit make_unit(declare_operation declare, run_operation run) {
    Unit unit;
    unit.name = "maker.sample";
    unit.declare = declare;
    unit.run = run;
    return unit;
}

UnitOutcome run(run_operation operation, std::vector<std::string>* messages = nullptr) {
    MemoryTree tree;
    const Unit unit = make_unit(declare_two, operation);
    const ParameterValues values(declare_unit(unit), {{"Axis", std::int64_t{3}}});
    return run_unit(unit, tree, values, [&](const Message& message) {
        if (messages != nullptr) {
            messages->push_back(message.text);
        }
    });
}

void expect_declaration_refused(declare_operation declare, const std::string& reason) {
    EXPECT_THAT([&] { declare_unit(make_unit(declare, succeed)); },
                ThrowsMessage<PluginError>(AllOf(HasSubstr("maker.sample"), HasSubstr(reason))));
}

TEST(UnitRuns, GivesTheDeclaredParametersInOrder) {
    const auto signatures = declare_unit(make_unit(declare_two, succeed));
    ASSERT_EQ(signatures.size(), 2U);
    EXPECT_EQ(signatures[0].key, "SourceGroup");
    EXPECT_TRUE(signatures[0].required);
    EXPECT_EQ(signatures[1].key, "Axis");
    EXPECT_FALSE(signatures[1].required);
}

TEST(UnitRuns, AllowsAUnitWithoutParameters) {
    EXPECT_THAT(declare_unit(make_unit(declare_nothing, succeed)), IsEmpty());
}

TEST(UnitRuns, RefusesFaultyDeclarations) {
    expect_declaration_refused(
        [](call_context* ctx, get_interface_function get) {
            return context_of(get).declare_parameter(ctx, "Axis: whole", 0);
        },
        "the signature 'Axis: whole' has an unknown type (known: string, boolean, integer, number, "
        "list(string), list(integer))");
    expect_declaration_refused(
        [](call_context* ctx, get_interface_function get) {
            context_of(get).declare_parameter(ctx, "Axis: integer", 0);
            return context_of(get).declare_parameter(ctx, "Axis: number", 0);
        },
        "declares the parameter 'Axis' twice");
    expect_declaration_refused(
        [](call_context* ctx, get_interface_function get) {
            return context_of(get).declare_parameter(ctx, nullptr, 0);
        },
        "null text");
    expect_declaration_refused(
        [](call_context*, get_interface_function) -> std::uint64_t {
            throw std::runtime_error("odd");
        },
        "'declare' broke off: odd");
}

TEST(UnitRuns, NoticesANarrowedAnswer) {
    expect_declaration_refused(
        [](call_context* ctx, get_interface_function get) -> std::uint64_t {
            return static_cast<std::uint32_t>(
                context_of(get).declare_parameter(ctx, "Axis: integer", 0));
        },
        "'declare' returns");
}

TEST(UnitRuns, ReportsWhatTheUnitReturned) {
    EXPECT_TRUE(run(succeed).is_good());
    const UnitOutcome failed = run([](call_context*, get_interface_function) { return false; });
    EXPECT_FALSE(failed.succeeded);
    EXPECT_FALSE(failed.is_good());
}

TEST(UnitRuns, HandsValuesInAndMessagesOut) {
    std::vector<std::string> messages;
    run(
        [](call_context* ctx, get_interface_function get) {
            const context_api& context = context_of(get);
            context.log_error(ctx, "axis %li", context.read_integer(ctx, "Axis"));
            return true;
        },
        &messages);
    EXPECT_THAT(messages, ElementsAre("axis 3"));
}

TEST(UnitRuns, TakesARefusedRequestAsNotGood) {
    const UnitOutcome outcome = run([](call_context*, get_interface_function get) {
        float sample = 0;
        const std::uint64_t selection[] = {0, 1};
        static_cast<dataset_api*>(get(DATASET_API_ID))
            ->read_samples(dataset_handle{77}, &sample, selection, 2);
        return true;
    });
    EXPECT_TRUE(outcome.succeeded);
    EXPECT_FALSE(outcome.is_good());
    EXPECT_THAT(outcome.problems.refused_requests, ElementsAre(HasSubstr("read_samples")));
}

// A tree whose file takes no more samples.
class FullTree final : public MemoryTree {
  public:
    void write(ObjectId, const Hyperslab&, std::span<const float>) override {
        throw StorageError(StorageError::Access::Writing, "no space left");
    }
};

// A tree that takes no more samples in.
class TreeWithoutMemory final : public MemoryTree {
  public:
    void write(ObjectId, const Hyperslab&, std::span<const float>) override {
        throw std::bad_alloc();
    }
};

UnitOutcome write_to(DataTree& tree) {
    tree.create_dataset(tree.root(), "X", {1});
    const Unit unit = make_unit(declare_nothing, [](call_context* ctx, get_interface_function get) {
        const auto* datasets = static_cast<dataset_api*>(get(DATASET_API_ID));
        group_handle root{};
        context_of(get).root_group(&root, ctx);
        dataset_handle set{};
        datasets->open_dataset(&set, root, "X");
        const float sample = 1;
        const std::uint64_t selection[] = {0, 1};
        datasets->write_samples(set, &sample, selection, std::size(selection));
        return true;
    });
    return run_unit(unit, tree, {}, [](const Message&) {});
}

TEST(UnitRuns, TellsAFileThatCannotBeWrittenFromARefusedRequest) {
    FullTree tree;
    const UnitOutcome outcome = write_to(tree);
    ASSERT_TRUE(outcome.problems.storage_error.has_value());
    EXPECT_STREQ(outcome.problems.storage_error->what(), "no space left");
    EXPECT_THAT(outcome.problems.refused_requests, IsEmpty());
    EXPECT_FALSE(outcome.is_good());
}

TEST(UnitRuns, TakesABrokenInterfaceAsNotGood) {
    const UnitOutcome outcome = run([](call_context*, get_interface_function get) {
        get(5);
        return true;
    });
    EXPECT_FALSE(outcome.is_good());
    EXPECT_THAT(outcome.problems.interface_breaks, ElementsAre(HasSubstr("no table 5")));
}

TEST(UnitRuns, ReportsWhatLeavesTheUnit) {
    EXPECT_THAT(
        [] {
            run([](call_context*, get_interface_function) -> bool {
                throw std::runtime_error("odd");
            });
        },
        ThrowsMessage<PluginError>(HasSubstr("'run' broke off: odd")));
    EXPECT_THROW(run([](call_context*, get_interface_function) -> bool { throw 1; }), PluginError);
}

TEST(UnitRuns, TellsThatMemoryHasRunOutFromFaults) {
    EXPECT_THROW(
        declare_unit(make_unit(
            [](call_context*, get_interface_function) -> std::uint64_t { throw std::bad_alloc(); },
            succeed)),
        std::bad_alloc);
    EXPECT_THROW(run([](call_context*, get_interface_function) -> bool { throw std::bad_alloc(); }),
                 std::bad_alloc);
    TreeWithoutMemory tree;
    const UnitOutcome outcome = write_to(tree);
    EXPECT_TRUE(outcome.problems.out_of_memory);
    EXPECT_THAT(outcome.problems.refused_requests, IsEmpty());
    EXPECT_FALSE(outcome.is_good());
}

TEST(UnitRuns, RectifiesThroughTheLibrary) {
    const PluginLibrary library(SIGNAL_PLUGIN);
    const Unit* unit = library.find_unit("apply-set-rectify");
    ASSERT_NE(unit, nullptr);
    MemoryTree tree;
    const ObjectId set = tree.create_dataset(tree.root(), "Imu/acc", {2, 3});
    const Extents starts{0, 0};
    const Extents counts{2, 3};
    tree.write(set, {starts, counts}, std::vector<float>{-1, 2, -3, 4, -5, 6});
    tree.write_attribute(set, "SampleRate", 100.0F);
    const std::vector<std::string> words{"SourceGroup=Imu"};
    const ParameterValues values = read_parameters(declare_unit(*unit), words);
    EXPECT_TRUE(run_unit(*unit, tree, values, [](const Message&) {}).is_good());
    std::vector<float> samples(6);
    tree.read(set, {starts, counts}, samples);
    EXPECT_EQ(samples, (std::vector<float>{1, 2, 3, 4, 5, 6}));
}

TEST(UnitRuns, ReadsTheParametersOfEveryUnitOfTheLibrary) {
    const PluginLibrary library(SIGNAL_PLUGIN);
    for (const Unit& unit : library.units()) {
        EXPECT_THAT(declare_unit(unit), testing::Not(IsEmpty())) << unit.name;
    }
}

} // namespace

} // namespace talvora::host
