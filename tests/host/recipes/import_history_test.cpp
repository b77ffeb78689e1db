#include "host/recipes/import_history.h"
#include "host/text/failure.h"
#include "host/tree/memory_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvora::host {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::ThrowsMessage;
using Texts = std::vector<std::string>;

HistoryRecord make_record(const std::string& name) {
    return make_import_record("1.2.3", {.name = name, .size = 60, .sha256 = "abc"},
                              Texts{"--group", "Imu", "--set", "A=X (g),Y"});
}

TEST(ImportHistory, ComesBackInItsOrder) {
    MemoryTree tree;
    EXPECT_THAT(read_imports(tree), IsEmpty());
    append_import(tree, make_record("one.csv"));
    append_import(tree, make_record("two.csv"));
    const auto records = read_imports(tree);
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0], make_record("one.csv"));
    EXPECT_EQ(records[1]["input"]["name"], "two.csv");
    EXPECT_EQ(records[1]["host"]["version"], "1.2.3");
    EXPECT_THAT(read_history(tree), IsEmpty());
}

TEST(ImportHistory, TellsTheTableAndTheCommand) {
    EXPECT_EQ(describe_import_input(make_record("one.csv")), "one.csv, 60 bytes, sha256 abc");
    EXPECT_EQ(describe_import_command(make_record("one.csv")),
              "talvora-host import one.csv -o FILE.h5 --group Imu --set 'A=X (g),Y'");
    EXPECT_EQ(describe_import_input(make_record("two\nlines")), "two lines, 60 bytes, sha256 abc");
    EXPECT_THAT(describe_import_command(make_record("two\nlines")), testing::Not(HasSubstr("\n")));
}

TEST(ImportHistory, KnowsTheFileOfAMap) {
    const InputIdentity map{.name = "m.yaml", .size = 7, .sha256 = "def"};
    const auto record = make_import_record("1.2.3", {.name = "a.h5", .size = 60, .sha256 = "abc"},
                                           Texts{"--map", "m.yaml"}, map);
    EXPECT_EQ(record["map"], HistoryRecord({{"name", "m.yaml"}, {"size", 7}, {"sha256", "def"}}));
    EXPECT_FALSE(make_record("one.csv").contains("map"));
}

TEST(ImportHistory, MayHaveBeenWrittenByAnything) {
    MemoryTree tree;
    const auto read = [&](const AttributeValue& value) {
        tree.write_attribute(tree.root(), "talvora_imports", value);
        return [&tree] { read_imports(tree, "walk.h5"); };
    };
    const auto says_so = HasSubstr("walk.h5: the imports of the file cannot be read: ");
    EXPECT_THAT(read(1.0F), ThrowsMessage<Failure>(says_so));
    EXPECT_THAT(read(TextArray{{"{}"}, {1}}), ThrowsMessage<Failure>(says_so));
    EXPECT_THAT(read(TextArray{{R"({"input":{"name":1},"arguments":[]})"}, {1}}),
                ThrowsMessage<Failure>(says_so));
    EXPECT_THAT(read(TextArray{{"["}, {1}}), ThrowsMessage<Failure>(HasSubstr("walk.h5: ")));
}

} // namespace
} // namespace talvora::host
