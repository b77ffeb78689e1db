#include "tests/host/cli/cli_test.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <sys/file.h>
#include <unistd.h>
#include <utility>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

// Ten copies of a recording; the sixth is marked for "crash-if-marked" and "wait-if-marked".
class ManyFiles : public CommandLine {
  protected:
    void SetUp() override {
        setenv("SOURCE_DATE_EPOCH", "1700000000", 1);
        import_walk("0.h5");
        for (int i = 1; i < 10; ++i) {
            fs::copy_file(folder_ / "0.h5", folder_ / name(i));
        }
        run({"import", "walk.csv", "-o", "5.h5", "--append", "--group", "Marked"});
        fs::create_directory(folder_ / "out");
    }

    static std::string name(int i) { return std::to_string(i) + ".h5"; }

    Program::Words rectify(const Program::Words& more, int count = 10) const {
        Program::Words words = {"run", "apply-set-rectify", "SourceGroup=Signals"};
        for (int i = 0; i < count; ++i) {
            words.push_back(name(i));
        }
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }

    std::map<std::string, std::string> contents(const std::string& sub_folder) const {
        std::map<std::string, std::string> found;
        for (const auto& entry : fs::directory_iterator(folder_ / sub_folder)) {
            if (!entry.is_regular_file()) {
                continue;
            }
            found[entry.path().filename().string()] = read_file(entry.path());
        }
        return found;
    }
};

TEST_F(ManyFiles, GivesTheSameBytesAndLinesForAnyNumberOfJobs) {
    const auto one = run(rectify({"--out-dir", "out"}));
    const auto first = contents("out");
    EXPECT_EQ(one.exit_code, 0) << one.errors;
    EXPECT_EQ(first.size(), 10U);
    for (const char* jobs : {"4", "32"}) {
        const auto several = run(rectify({"--out-dir", "out", "--force", "--jobs", jobs}));
        EXPECT_EQ(several.exit_code, 0) << several.errors;
        EXPECT_EQ(several.output, one.output) << jobs;
        EXPECT_EQ(contents("out"), first) << jobs;
    }
}

TEST_F(ManyFiles, LosesThatFileAloneWhoseWorkerCrashes) {
#if defined(TALVORA_ADDRESS_SANITIZER)
    GTEST_SKIP() << "the sanitizer takes the signal";
#endif
    for (const char* jobs : {"1", "3"}) {
        // Quiet, for a busy machine would have progress to tell of first.
        const auto result =
            run_trouble("crash-if-marked", {"4.h5", "5.h5", "6.h5", "--out-dir", "out", "--force",
                                            "--quiet", "--jobs", jobs});
        EXPECT_EQ(result.exit_code, 4);
        EXPECT_THAT(result.errors, AllOf(StartsWith("error: 5.h5: its worker crashed (SIGSEGV); "),
                                         HasSubstr("error: 1 of 3 files failed\n")));
        EXPECT_THAT(contents("out"), ElementsAre(testing::Key("4.h5"), testing::Key("6.h5")));
    }
}

TEST_F(ManyFiles, EndsWithATableOfFailuresAndAListToTryAgain) {
    write_file(folder_ / "3.h5", "damaged");
    fs::remove(folder_ / "7.h5");
    const auto result =
        run(rectify({"--out-dir", "out", "--jobs", "2", "--failed-to", "failed.txt"}));
    EXPECT_EQ(result.exit_code, 3);
    EXPECT_THAT(result.errors,
                testing::EndsWith("error: 2 of 10 files failed\n"
                                  "  file  exit code  first error\n"
                                  "  3.h5          3  cannot open the file '3.h5': it is "
                                  "not an HDF5 file: it begins with 'damaged'\n"
                                  "  7.h5          3  cannot open the file '7.h5': there is "
                                  "no such file\n"));
    EXPECT_EQ(read_file(folder_ / "failed.txt"), "3.h5\n7.h5\n");

    fs::copy_file(folder_ / "0.h5", folder_ / "7.h5");
    fs::copy_file(folder_ / "0.h5", folder_ / "3.h5", fs::copy_options::overwrite_existing);
    const auto again = run({"run", "apply-set-rectify", "SourceGroup=Signals", "--files-from",
                            "failed.txt", "--out-dir", "out", "--failed-to", "failed.txt"});
    EXPECT_EQ(again.exit_code, 0) << again.errors;
    EXPECT_EQ(contents("out").size(), 10U);
    EXPECT_EQ(read_file(folder_ / "failed.txt"), "");
}

TEST_F(ManyFiles, ListsWhatIsYetToBeDoneWhenItIsInterrupted) {
    const auto before = contents(".");
    for (const auto& [signal_number, exit_code] : {std::pair{SIGINT, 130}, {SIGTERM, 143}}) {
        fs::remove_all(folder_ / "out");
        Program program(folder_.path(), {"run", "wait-if-marked", "0.h5", "1.h5", "5.h5", "7.h5",
                                         "8.h5", "--out-dir", "out", "--failed-to", "failed.txt",
                                         "--plugin", TROUBLE_PLUGIN});
        ASSERT_TRUE(program.waits_for("waiting"));
        program.send(signal_number);
        const auto result = program.finish();
        EXPECT_EQ(result.exit_code, exit_code);
        EXPECT_THAT(result.errors,
                    testing::EndsWith("waiting\n"
                                      "error: interrupted; each file is as it was, or written "
                                      "and complete\n"));
        EXPECT_EQ(read_file(folder_ / "failed.txt"), "5.h5\n7.h5\n8.h5\n");
        EXPECT_THAT(contents("out"), ElementsAre(testing::Key("0.h5"), testing::Key("1.h5")));
        fs::remove(folder_ / "failed.txt");
        EXPECT_TRUE(contents(".") == before);
    }
}

TEST_F(ManyFiles, LetsNoListTakeThePlaceOfWhatIsReadOrWritten) {
    const auto before = contents(".");
    for (const char* list : {"0.h5", "new.h5"}) {
        const auto result = run({"run", "apply-set-rectify", "SourceGroup=Signals", "0.h5", "-o",
                                 "new.h5", "--failed-to", list});
        EXPECT_EQ(result.exit_code, 2) << list;
        EXPECT_TRUE(contents(".") == before) << list;
    }
    EXPECT_EQ(run(rectify({"--out-dir", "out", "-n", "--failed-to", "failed.txt"})).exit_code, 0);
    EXPECT_FALSE(fs::exists(folder_ / "failed.txt"));
}

TEST_F(ManyFiles, ReplacesNoFileByTheListButAnotherList) {
    write_file(folder_ / "kept.txt", "0.h5\nsomething else\n");
    const auto before = contents(".");
    const Program::Words words = {
        "run",         "apply-set-rectify", "SourceGroup=Signals", "0.h5", "-o", "new.h5",
        "--failed-to", "kept.txt"};
    const auto result = run(words);
    EXPECT_EQ(result.exit_code, 5);
    EXPECT_THAT(result.errors, StartsWith("error: kept.txt: exists"));
    EXPECT_TRUE(contents(".") == before);
    Program::Words forced = words;
    forced.emplace_back("--force");
    EXPECT_EQ(run(forced).exit_code, 0);
    EXPECT_EQ(read_file(folder_ / "kept.txt"), "");
}

TEST_F(ManyFiles, RefusesNamesThatNoListCanHold) {
    for (const char* name : {"odd.h5\r", "odd\n.h5", "\xEF\xBB\xBFodd.h5"}) {
        fs::copy_file(folder_ / "0.h5", folder_ / name);
        const auto result = run({"run", "apply-set-rectify", "SourceGroup=Signals", name, "-o",
                                 "new.h5", "--failed-to", "failed.txt"});
        EXPECT_EQ(result.exit_code, 2);
        EXPECT_THAT(result.errors,
                    HasSubstr("': a name with a line end, or a byte order mark in front, "
                              "cannot stand in the list --failed-to "
                              "'failed.txt'\n"));
        EXPECT_FALSE(fs::exists(folder_ / "new.h5"));
    }
}

TEST_F(ManyFiles, WritesNoListInThePlaceOfABackup) {
    const auto before = contents(".");
    const auto result = run({"run", "apply-set-rectify", "SourceGroup=Signals", "0.h5",
                             "--in-place", "--backup", "--failed-to", "0.h5.bak"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_TRUE(contents(".") == before);
}

// What is made of one input would be lost, or the other input.
TEST_F(ManyFiles, PutsNothingInThePlaceOfAnotherInput) {
    fs::copy_file(folder_ / "1.h5", folder_ / "0.h5.bak");
    fs::create_directory(folder_ / "out");
    fs::create_symlink("../1.h5", folder_ / "out/0.h5");
    fs::create_directory_symlink(".", folder_ / "same");
    write_file(folder_ / "list", "0.h5\n");
    fs::create_hard_link(folder_ / "0.h5", folder_ / "second_name.h5");
    fs::create_hard_link(folder_ / "1.h5", folder_ / "2.h5.bak");
    const auto before = contents(".");
    const Program::Words choices[] = {
        {"0.h5", "0.h5.bak", "--in-place", "--backup", "--force"},
        {"0.h5.bak", "0.h5", "--in-place", "--backup", "--force"},
        {"0.h5", "1.h5", "--out-dir", "out", "--force"},
        {"0.h5", "same/0.h5", "--in-place"},
        {"--files-from", "list", "-o", "list", "--force"},
        {"0.h5", "second_name.h5", "--in-place"},
        {"2.h5", "1.h5", "--in-place", "--backup", "--force"},
    };
    for (const Program::Words& choice : choices) {
        Program::Words words = {"run", "apply-set-rectify", "SourceGroup=Signals"};
        words.insert(words.end(), choice.begin(), choice.end());
        const auto result = run(words);
        EXPECT_EQ(result.exit_code, 2) << testing::PrintToString(choice) << result.errors;
        EXPECT_TRUE(contents(".") == before) << testing::PrintToString(choice);
    }
}

TEST_F(ManyFiles, LeavesNoFolderWithoutResults) {
    EXPECT_NE(run({"run", "apply-set-rectify", "SourceGroup=Nothing", "0.h5", "1.h5", "--out-dir",
                   "new/deep"})
                  .exit_code,
              0);
    EXPECT_FALSE(fs::exists(folder_ / "new"));
    EXPECT_EQ(
        run({"run", "apply-set-rectify", "SourceGroup=Signals", "0.h5", "--out-dir", "new/deep"})
            .exit_code,
        0);
    EXPECT_TRUE(fs::exists(folder_ / "new/deep/0.h5"));
}

TEST_F(ManyFiles, ReplacesNoFileThatAnotherProgramWrites) {
    fs::copy_file(folder_ / "0.h5", folder_ / "new.h5");
    const auto before = contents(".");
    const int file = open((folder_ / "new.h5").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(flock(file, LOCK_EX), 0); // as the HDF5 library does
    const Program::Words words = {
        "run", "apply-set-rectify", "SourceGroup=Signals", "0.h5", "-o", "new.h5", "--force"};
    const auto result = run(words);
    EXPECT_EQ(result.exit_code, 5);
    EXPECT_EQ(result.errors, "error: new.h5: is open for writing in another program\n");
    EXPECT_TRUE(contents(".") == before);
    close(file);
    EXPECT_EQ(run(words).exit_code, 0);
}

TEST_F(ManyFiles, PutsNoBackupWhereALinkLeads) {
    fs::create_symlink("1.h5", folder_ / "0.h5.bak");
    const auto before = contents(".");
    const auto result = run({"run", "apply-set-rectify", "SourceGroup=Signals", "0.h5",
                             "--in-place", "--backup", "--force"});
    EXPECT_EQ(result.exit_code, 5);
    EXPECT_THAT(result.errors, HasSubstr("0.h5.bak: is a link, which no backup follows"));
    EXPECT_TRUE(contents(".") == before);
}

TEST_F(ManyFiles, TakesNoListWithZeroBytes) {
    write_file(folder_ / "list", std::string("0.h5\n1.h5\0002.h5\n", 16));
    const auto result = run({"run", "apply-set-rectify", "SourceGroup=Signals", "--files-from",
                             "list", "--out-dir", "new"});
    EXPECT_EQ(result.exit_code, 3);
    EXPECT_EQ(result.errors, "error: list: line 2 holds a zero byte (allowed: one name a line)\n");
    EXPECT_FALSE(fs::exists(folder_ / "new"));
}

TEST_F(ManyFiles, ReplacesADamagedOutputWhenItIsForcedToResume) {
    write_file(folder_ / "out/0.h5", "damaged");
    EXPECT_EQ(run(rectify({"--out-dir", "out", "--resume"}, 1)).exit_code, 5);
    EXPECT_EQ(run(rectify({"--out-dir", "out", "--resume", "--force"}, 1)).exit_code, 0);
    EXPECT_EQ(run(rectify({"--out-dir", "out", "--resume"}, 1)).exit_code, 0);
}

TEST_F(ManyFiles, TakesFilesFromAList) {
    write_file(folder_ / "list.txt", "\xEF\xBB\xBF" // as some editors begin
                                     "2.h5\r\n\n3.h5\n");
    const auto result = run({"run", "apply-set-rectify", "SourceGroup=Signals", "1.h5",
                             "--files-from", "list.txt", "--out-dir", "out"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_THAT(contents("out"),
                ElementsAre(testing::Key("1.h5"), testing::Key("2.h5"), testing::Key("3.h5")));
    EXPECT_EQ(run({"run", "apply-set-rectify", "SourceGroup=Signals", "--files-from", "missing.txt",
                   "--out-dir", "out"})
                  .exit_code,
              3);
    // The memory of a process opens like a file, and its first byte cannot be read.
    const auto broken = run({"run", "apply-set-rectify", "SourceGroup=Signals", "--files-from",
                             "/proc/self/mem", "--out-dir", "out"});
    EXPECT_EQ(broken.exit_code, 3);
    EXPECT_THAT(broken.errors, HasSubstr("cannot read the list '/proc/self/mem' to its end"));
}

TEST_F(ManyFiles, SayWhatIsWrongWithAFolderThatCannotBeLookedAt) {
    const auto result = run({"run", "apply-set-rectify", "SourceGroup=Signals", "1.h5", "2.h5",
                             "--out-dir", std::string(300, 'n')});
    EXPECT_EQ(result.exit_code, 5);
    EXPECT_THAT(result.errors,
                AllOf(HasSubstr("File name too long"), Not(HasSubstr("two inputs"))));
}

TEST_F(ManyFiles, ShardsTakeEachFileOnce) {
    for (const char* shard : {"1/3", "2/3", "3/3"}) {
        const auto result = run(rectify({"--out-dir", "out", "--shard", shard}));
        EXPECT_EQ(result.exit_code, 0) << result.errors; // a second time would find it there
    }
    EXPECT_EQ(contents("out").size(), 10U);
    for (const char* wrong : {"0/3", "4/3", "1", "a/3", "1/0", "1/3x", "-1/3"}) {
        EXPECT_EQ(run(rectify({"--out-dir", "out", "--shard", wrong})).exit_code, 2) << wrong;
    }
}

TEST_F(ManyFiles, AShardBeyondTheFilesHasNothingToDo) {
    const auto result = run(rectify({"--out-dir", "out", "--shard", "5/8"}, 2));
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_THAT(result.output, IsEmpty());
}

TEST_F(ManyFiles, ResumesWithWhatIsMissing) {
    run(rectify({"--out-dir", "out"}, 2));
    const auto before = fs::last_write_time(folder_ / "out" / "1.h5");
    const auto result = run(rectify({"--out-dir", "out", "--resume"}, 3));
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_THAT(result.output,
                AllOf(HasSubstr("0.h5: out/0.h5 had been written by apply-set-rectify\n"),
                      HasSubstr("2.h5: out/2.h5 written by apply-set-rectify\n")));
    EXPECT_EQ(fs::last_write_time(folder_ / "out" / "1.h5"), before);
}

TEST_F(ManyFiles, ResumesNothingThatWasMadeOtherwise) {
    run(rectify({"--out-dir", "out"}, 1));
    const auto with = [&](Program::Words words) {
        words.insert(words.end(), {"0.h5", "--out-dir", "out", "--resume"});
        return run(words);
    };
    EXPECT_EQ(with({"run", "apply-set-rectify", "SourceGroup=Signals"}).exit_code, 0);
    const auto other_value = with({"run", "apply-set-rectify", "SourceSets=Signals/X"});
    EXPECT_EQ(other_value.exit_code, 5);
    EXPECT_THAT(other_value.errors, HasSubstr("was not made by the same steps"));
    EXPECT_EQ(with({"run", "apply-set-opposite", "SourceGroup=Signals"}).exit_code, 5);
    EXPECT_EQ(with({"run", "apply-set-opposite", "SourceGroup=Signals", "--force"}).exit_code, 0);

    fs::copy_file(folder_ / "5.h5", folder_ / "0.h5", fs::copy_options::overwrite_existing);
    EXPECT_EQ(with({"run", "apply-set-opposite", "SourceGroup=Signals"}).exit_code, 5);
    write_file(folder_ / "out" / "0.h5", "something else");
    EXPECT_NE(with({"run", "apply-set-opposite", "SourceGroup=Signals"}).exit_code, 0);
    EXPECT_EQ(read_file(folder_ / "out" / "0.h5"), "something else");
}

TEST_F(ManyFiles, DoesNotResumeInPlace) {
    EXPECT_EQ(run(rectify({"--in-place", "--resume"})).exit_code, 2);
}

TEST_F(ManyFiles, WritesAJsonLinePerFileInTheirOrder) {
    const auto result = run(rectify({"--out-dir", "out", "--jobs", "4", "--json"}));
    std::istringstream lines(result.output);
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        const auto json = nlohmann::json::parse(line);
        EXPECT_EQ(json["file"], name(count));
        EXPECT_EQ(json["written"], true);
        EXPECT_EQ(json["steps"][0]["sets"][0]["before"]["missing"], 1);
    }
    EXPECT_EQ(count, 10);
}

TEST_F(ManyFiles, WritesNoCarriageReturnIntoALog) {
    // Each takes the second after which there is something to tell.
    const auto result =
        run_trouble("stop", {name(0), name(1), "--out-dir", "out", "--idle-time", "1"});
    EXPECT_THAT(result.errors, AllOf(HasSubstr("progress: 1 of 2 files, "), Not(HasSubstr("\r"))));
}

TEST_F(ManyFiles, AsksForASensibleNumberOfJobs) {
    for (const char* jobs : {"0", "-1", "many", "100000"}) {
        EXPECT_EQ(run(rectify({"--out-dir", "out", "--jobs", jobs})).exit_code, 2) << jobs;
    }
}

} // namespace
} // namespace talvora::host
