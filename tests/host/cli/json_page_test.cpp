// docs/json.md against what the commands print: every field printed is described there, and every
// field described there is printed by a command.
#include "tests/host/cli/cli_test.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>
#include <set>
#include <sstream>

namespace talvora::host {
namespace {

using Json = nlohmann::json;
using Fields = std::set<std::string>;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// The fields in the tables of the page, by the heading above them.
std::map<std::string, Fields> read_page() {
    std::map<std::string, Fields> sections;
    std::string heading;
    std::istringstream page(read_file(TALVORA_JSON_PAGE));
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("## ")) {
            heading = line.substr(3);
        } else if (line.starts_with("| `")) {
            sections[heading].insert(line.substr(3, line.find('`', 3) - 3));
        }
    }
    return sections;
}

// The fields of a document: "sets[].path". Where the page has "attributes.*" the names below it are
// free; a null and an empty list may stand for what the page describes below them.
class Collector {
  public:
    explicit Collector(const Fields& described) : described_(described) {}

    void collect(const Json& json, const std::string& path = "") {
        if (json.is_object() && described_.contains(path + ".*")) {
            found_.insert(path + ".*");
        } else if (json.is_object()) {
            for (const auto& [key, value] : json.items()) {
                collect(value, path.empty() ? key : path + "." + key);
            }
        } else if (json.is_array() && !json.empty() && json[0].is_object()) {
            for (const Json& item : json) {
                collect(item, path + "[]");
            }
        } else if (!is_empty(json) || !has_more_below(path)) {
            found_.insert(path);
        }
    }

    const Fields& found() const { return found_; }

  private:
    static bool is_empty(const Json& json) { return json.is_null() || json.empty(); }

    bool has_more_below(const std::string& path) const {
        return std::ranges::any_of(described_, [&](const std::string& field) {
            return field.starts_with(path + ".") || field.starts_with(path + "[]");
        });
    }

    const Fields& described_;
    Fields found_;
};

class JsonPage : public CommandLine {
  protected:
    void SetUp() override {
        std::string table = "t,X,Y\n";
        for (int row = 0; row < 60; ++row) {
            table += std::to_string(row / 10.0) + (row == 30 ? ",," : ",1,2") + "\n";
        }
        write_file(folder_ / "walk.csv", table);
        ASSERT_EQ(run({"import", "walk.csv", "-o", "walk.h5"}).exit_code, 0);
        ASSERT_EQ(run({"run", "apply-set-butterworth", "SourceGroup=Signals", "CutoffFrequency=1",
                       "Order=4", "walk.h5", "-o", "smooth.h5"})
                      .exit_code,
                  0);
        ASSERT_EQ(run({"run", "apply-set-opposite", "SourceGroup=Signals", "Axis=0", "smooth.h5",
                       "-o", "same.h5", "--accept", "nothing-done"})
                      .exit_code,
                  0);
    }

    // Each line that is printed is a document, or all of them are one.
    static std::vector<Json> parse(const std::string& output) {
        if (Json::accept(output)) {
            return {Json::parse(output)};
        }
        std::vector<Json> documents;
        std::istringstream lines(output);
        for (std::string line; std::getline(lines, line);) {
            documents.push_back(Json::parse(line));
        }
        return documents;
    }

    void expect_described(const std::string& heading,
                          const std::vector<Program::Words>& commands) const {
        const Fields described = read_page()[heading];
        ASSERT_FALSE(described.empty()) << heading;
        Collector collector(described);
        for (Program::Words words : commands) {
            words.emplace_back("--json");
            for (const Json& document : parse(run(words).output)) {
                collector.collect(document);
            }
        }
        EXPECT_EQ(collector.found(), described) << heading;
    }
};

TEST_F(JsonPage, DescribesWhatIsToldOfUnits) {
    expect_described("Units", {{"units"}});
    expect_described("A unit", {{"describe", "apply-set-butterworth"}});
}

TEST_F(JsonPage, DescribesWhatIsToldOfFiles) {
    write_file(folder_ / "rate.csv", "time,Gyr X (deg/s)\n0,1\n0.1,2\n");
    ASSERT_EQ(run({"import", "rate.csv", "-o", "rate.h5"}).exit_code, 0);
    expect_described("A file", {{"tree", "walk.h5", "--attributes", "--statistics"},
                                {"tree", "rate.h5", "--attributes", "--statistics"}});
    write_file(folder_ / "ours.yaml", "sets: [{data: Signals/*, time: last, rate: 10}]\n");
    ASSERT_EQ(run({"import", "walk.h5", "-o", "same.h5", "--map", "ours.yaml", "--append",
                   "--group", "Mapped"})
                  .exit_code,
              0);
    expect_described("Attributes",
                     {{"attributes", "rate.h5"},
                      {"attributes", "rate.h5::Signals/*", "SampleRate=20", "-o", "faster.h5"}});
    std::string rows = "X\n";
    for (int i = 0; i < 40; ++i) {
        rows += std::to_string(i % 7) + "\n";
    }
    write_file(folder_ / "long.csv", rows);
    ASSERT_EQ(run({"import", "long.csv", "-o", "long.h5", "--rate", "100"}).exit_code, 0);
    ASSERT_EQ(run({"run", "apply-set-butterworth", "SourceGroup=Signals", "Order=2", "--edge", "5",
                   "--set-by-set", "long.h5", "-o", "edged.h5"})
                  .exit_code,
              0);
    ASSERT_EQ(run({"run", "apply-set-downsample", "SourceGroup=Signals", "--to-rate", "50",
                   "edged.h5", "-o", "aimed.h5"})
                  .exit_code,
              0);
    expect_described("The history of a file", {{"history", "same.h5"}, {"history", "aimed.h5"}});
}

TEST_F(JsonPage, DescribesWhatComesOfARun) {
    expect_described("A run", {{"run", "apply-set-butterworth", "SourceGroup=Signals",
                                "CutoffFrequency=1", "Order=6", "walk.h5", "-o", "out.h5"},
                               {"run", "average-set", "SourceGroup=Signals",
                                "DestinationGroup=Means", "walk.h5", "-o", "means.h5"},
                               {"run", "apply-set-opposite", "SourceGroup=Signals", "Axis=0",
                                "walk.h5", "-o", "nothing.h5"}});
}

TEST_F(JsonPage, DescribesFilters) {
    expect_described("A filter", {{"design", "ZeroLagHighPass", "CutoffFrequency=50", "Order=4",
                                   "--rate", "1000"}});
}

TEST_F(JsonPage, DescribesWhatIsToldOfALibrary) {
    expect_described("A library",
                     {{"validate", TALVORA_PLUGIN, "--only", "library.loads", "--level", "quick"}});
    expect_described("The checks", {{"validate", "--list"}});
}

TEST_F(JsonPage, DescribesErrors) {
    expect_described("Errors", {{"tree", "missing.h5"}});
}

TEST_F(JsonPage, NamesEverySection) {
    EXPECT_EQ(read_page().size(), 10U);
}

// ---------------------------------------------------------------------------
// Errors

class JsonErrors : public CommandLine {
  protected:
    void expect_error(const Program::Words& words, int exit_code, const std::string& text) const {
        const auto result = run(words);
        EXPECT_EQ(result.exit_code, exit_code);
        EXPECT_THAT(result.errors, StartsWith("error: "));
        const Json json = Json::parse(result.output);
        EXPECT_EQ(json["exit_code"], exit_code);
        EXPECT_THAT(json["error"].get<std::string>(), HasSubstr(text));
        EXPECT_TRUE(json["hints"].is_array());
    }
};

TEST_F(JsonErrors, AreOneObjectBesideTheLineForPeople) {
    import_walk();
    expect_error({"tree", "missing.h5", "--json"}, 3, "missing.h5");
    expect_error({"tree", "--json"}, 2, "FILE.h5");
    expect_error({"tree", "walk.h5", "--jsn", "--json"}, 2, "--jsn");
    expect_error({"describe", "apply-set-rectfy", "--json"}, 2, "no unit 'apply-set-rectfy'");
    expect_error({"units", "--plugin", "missing.so", "--json"}, 4, "missing.so");
    expect_error({"run", "apply-set-rectify", "walk.h5", "-o", "out.h5", "--json"}, 2,
                 "neither 'SourceSets' nor 'SourceGroup' is given");
    expect_error(
        {"design", "ZeroLagLowPass", "--rate", "100", "--edge", "60", "--order", "4", "--json"}, 2,
        "60 Hz");
}

TEST_F(JsonErrors, AreOfEveryWordThatIsWrong) {
    const auto result = run({"run", "apply-set-rectify", "SourceGrop=A", "ScanRecursive=yes",
                             "walk.h5", "-o", "out.h5", "--json"});
    const Json json = Json::parse(result.output);
    EXPECT_THAT(json["error"].get<std::string>(), HasSubstr("'SourceGrop'"));
    EXPECT_THAT(json["error"].get<std::string>(), HasSubstr("'ScanRecursive'"));
}

TEST_F(JsonErrors, AreForThoseWhoAskForThem) {
    EXPECT_THAT(run({"tree", "missing.h5"}).output, IsEmpty());
}

} // namespace
} // namespace talvora::host
