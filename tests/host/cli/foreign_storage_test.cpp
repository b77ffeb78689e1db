// A file may name other files as the place of its samples. No command opens, shows or changes
// them, whoever made the file.
#include "tests/host/cli/cli_test.h"

#include <hdf5.h>

#include <array>
#include <cerrno>
#include <functional>
#include <map>
#include <string>
#include <sys/inotify.h>
#include <system_error>
#include <unistd.h>

namespace talvora::host {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr std::array<hsize_t, 3> EXTENTS = {1, 1, 6};
constexpr std::array<float, 6> SAMPLES = {-1, -2, -3, -4, -5, -6};

void write_set(hid_t group, const char* name, hid_t properties) {
    const hid_t space = H5Screate_simple(3, EXTENTS.data(), nullptr);
    const hid_t set =
        H5Dcreate2(group, name, H5T_IEEE_F32LE, space, H5P_DEFAULT, properties, H5P_DEFAULT);
    ASSERT_GE(H5Dwrite(set, H5T_NATIVE_FLOAT, H5S_ALL, H5S_ALL, H5P_DEFAULT, SAMPLES.data()), 0);
    const hid_t scalar = H5Screate(H5S_SCALAR);
    const hid_t rate =
        H5Acreate2(set, "SampleRate", H5T_IEEE_F32LE, scalar, H5P_DEFAULT, H5P_DEFAULT);
    const float hertz = 10;
    H5Awrite(rate, H5T_NATIVE_FLOAT, &hertz);
    H5Aclose(rate);
    H5Sclose(scalar);
    H5Dclose(set);
    H5Sclose(space);
}

void write_virtual_set(hid_t group, const char* name, const std::string& source) {
    const hid_t space = H5Screate_simple(3, EXTENTS.data(), nullptr);
    const hid_t mapped = H5Pcreate(H5P_DATASET_CREATE);
    H5Pset_virtual(mapped, space, source.c_str(), "/Samples", space);
    write_set(group, name, mapped);
    H5Pclose(mapped);
    H5Sclose(space);
}

// With Imu/Own, and what `add` puts beside it.
void make_recording(const std::filesystem::path& name,
                    const std::function<void(hid_t file, hid_t group)>& add) {
    const hid_t file = H5Fcreate(name.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
    const hid_t group = H5Gcreate2(file, "Imu", H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
    write_set(group, "Own", H5P_DEFAULT);
    add(file, group);
    H5Gclose(group);
    H5Fclose(file);
}

// Tells whether anybody opens, reads or writes a file from now on.
class Watch {
  public:
    explicit Watch(const std::filesystem::path& file) {
        if (inotify_add_watch(events_, file.c_str(), IN_OPEN | IN_ACCESS | IN_MODIFY) < 0) {
            throw std::system_error(errno, std::generic_category(), file.string());
        }
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch() { close(events_); }

    bool has_seen_something() const {
        std::array<char, 4096> event{};
        return read(events_, event.data(), event.size()) > 0;
    }

  private:
    int events_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
};

// rec.h5 with Imu/Own, and with Imu/External and Imu/Virtual, whose samples lie elsewhere.
class ForeignStorage : public CommandLine {
  protected:
    void SetUp() override {
        const std::string victim = (folder_ / "victim.h5").string();
        const hid_t source = H5Fcreate(victim.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
        write_set(source, "Samples", H5P_DEFAULT);
        H5Fclose(source);
        write_file(folder_ / "victim.raw", std::string(24, 'v'));

        make_recording(folder_ / "rec.h5", [&](hid_t, hid_t group) {
            const hid_t external = H5Pcreate(H5P_DATASET_CREATE);
            H5Pset_external(external, (folder_ / "victim.raw").c_str(), 0, 24);
            write_set(group, "External", external);
            H5Pclose(external);
            write_virtual_set(group, "Virtual", victim);
        });
        for (const char* name : {"victim.raw", "victim.h5"}) {
            content_[name] = read_file(folder_ / name);
        }
    }

    // The command ends with the exit code, and nobody has looked at the victims.
    ProgramResult run_beside_victims(const Program::Words& words, int exit_code) const {
        const Watch raw(folder_ / "victim.raw");
        const Watch mapped(folder_ / "victim.h5");
        ProgramResult result = run(words);
        EXPECT_EQ(result.exit_code, exit_code) << words[0] << ": " << result.errors;
        EXPECT_FALSE(raw.has_seen_something()) << words[0];
        EXPECT_FALSE(mapped.has_seen_something()) << words[0];
        for (const auto& [name, content] : content_) {
            EXPECT_EQ(read_file(folder_ / name), content) << words[0] << " changed " << name;
        }
        return result;
    }

    std::map<std::string, std::string> content_;
};

TEST_F(ForeignStorage, IsListedWithWhatItIs) {
    const auto result = run_beside_victims({"tree", "rec.h5", "--statistics"}, 0);
    EXPECT_THAT(result.output, HasSubstr("data set of 32-bit floats, its samples in the file '" +
                                         (folder_ / "victim.raw").string() + "'"));
    EXPECT_THAT(result.output,
                HasSubstr("data set of 32-bit floats, virtual, of samples in the file '" +
                          (folder_ / "victim.h5").string() + "'"));
}

TEST_F(ForeignStorage, IsNotRectified) {
    const Program::Words rectify = {"run",      "apply-set-rectify", "SourceGroup=Imu",
                                    "--accept", "passed-over",       "rec.h5"};
    const auto with = [&](const Program::Words& more) {
        Program::Words words = rectify;
        words.insert(words.end(), more.begin(), more.end());
        return words;
    };
    run_beside_victims(with({"--dry-run", "-o", "trial.h5"}), 0);
    run_beside_victims(with({"-o", "out.h5"}), 0);
    const auto tree = run_beside_victims({"tree", "out.h5", "--statistics"}, 0);
    EXPECT_THAT(tree.output, HasSubstr("Imu/Own"));
    EXPECT_THAT(tree.output, HasSubstr("victim.raw"));
    run_beside_victims(with({"--in-place"}), 0);
}

TEST_F(ForeignStorage, IsMissedInAnotherFolder) {
    make_recording(folder_ / "linked.h5", [](hid_t file, hid_t) {
        H5Lcreate_external("victim.h5", "/Samples", file, "Beside", H5P_DEFAULT, H5P_DEFAULT);
        H5Lcreate_external("gone.h5", "/Samples", file, "Gone", H5P_DEFAULT, H5P_DEFAULT);
        write_virtual_set(file, "Mapped", "victim.h5");
        H5Lcreate_hard(file, "Mapped", file, "SecondName", H5P_DEFAULT, H5P_DEFAULT); // told once
    });
    content_["victim.h5"] = read_file(folder_ / "victim.h5");
    const Program::Words rectify = {"run", "apply-set-rectify", "SourceGroup=Imu", "linked.h5"};
    const auto run_to = [&](const std::string& output) {
        Program::Words words = rectify;
        words.insert(words.end(), {"-o", output});
        return run_beside_victims(words, 0).errors;
    };
    std::filesystem::create_directory(folder_ / "other");
    std::filesystem::create_directory_symlink(".", folder_ / "same");
    EXPECT_EQ(run_to("out.h5"), "");
    EXPECT_EQ(run_to("same/again.h5"), "");
    EXPECT_EQ(run_to("other/out.h5"),
              "warning: other/out.h5: 'Beside' leads to the file 'victim.h5', which is not found "
              "from there\n"
              "warning: other/out.h5: 'Mapped' leads to the file 'victim.h5', which is not found "
              "from there\n");
    const auto named = run_beside_victims(
        {"attributes", "linked.h5::Imu/Own", "Unit=N", "-o", "other/named.h5"}, 0);
    EXPECT_THAT(named.errors, HasSubstr("other/named.h5: 'Mapped' leads to the file 'victim.h5', "
                                        "which is not found from there\n"));
}

TEST_F(ForeignStorage, IsNotReplacedByAResult) {
    make_recording(folder_ / "beside.h5", [](hid_t file, hid_t) {
        write_virtual_set(file, "Mapped", "victim.h5"); // by its name alone
    });
    const std::pair<std::string, std::string> leads[] = {
        {"rec.h5", "victim.raw"}, {"rec.h5", "victim.h5"}, {"beside.h5", "victim.h5"}};
    for (const auto& [input, victim] : leads) {
        for (Program::Words words :
             {Program::Words{"run", "apply-set-rectify", "SourceSets=Imu/Own", input},
              Program::Words{"attributes", input + "::Imu/Own", "Unit=N"}}) {
            words.insert(words.end(), {"-o", victim, "--force"});
            EXPECT_THAT(run_beside_victims(words, 2).errors,
                        HasSubstr("of " + input +
                                  " leads to this file, which the result would "
                                  "replace\nhint: give another output"));
        }
    }
}

TEST_F(ForeignStorage, IsRefusedWhereALinkInTheSourceGroupLeadsToIt) {
    make_recording(folder_ / "linked.h5", [](hid_t, hid_t group) {
        H5Lcreate_external("victim.h5", "/Samples", group, "Beside", H5P_DEFAULT, H5P_DEFAULT);
    });
    const Program::Words words = {
        "run", "apply-set-rectify", "SourceGroup=Imu", "linked.h5", "-o", "out.h5"};
    EXPECT_EQ(run_beside_victims(words, 1).errors,
              "error: linked.h5: apply-set-rectify: passed-over: Imu/Beside: is in the source "
              "group, and units cannot take it: link to '/Samples' in the file 'victim.h5'\n"
              "hint: if the others are meant: SourceSets=Imu/Own; --accept passed-over keeps it\n");
    EXPECT_FALSE(std::filesystem::exists(folder_ / "out.h5"));
}

TEST_F(ForeignStorage, IsNotTouchedByAJobThatFails) {
    write_file(folder_ / "steps.yaml",
               "steps:\n"
               "  - unit: apply-set-rectify\n"
               "    parameters: {SourceGroup: Imu}\n"
               "  - unit: apply-set-butterworth\n"
               "    parameters: {SourceGroup: Imu, CutoffFrequency: -1.0, Order: 2}\n");
    run_beside_victims({"recipe", "run", "steps.yaml", "rec.h5", "-o", "out.h5"}, 1);
    EXPECT_FALSE(std::filesystem::exists(folder_ / "out.h5"));
}

TEST_F(ForeignStorage, CannotBeNamed) {
    for (const char* set : {"Imu/External", "Imu/Virtual"}) {
        run_beside_victims({"run", "apply-set-rectify", "SourceSets=" + std::string(set), "rec.h5",
                            "-o", "out.h5"},
                           3);
        EXPECT_FALSE(std::filesystem::exists(folder_ / "out.h5"));
    }
}

TEST_F(ForeignStorage, IsNeitherExportedNorDrawn) {
    const auto table = run_beside_victims({"export", "rec.h5", "-o", "-"}, 0);
    EXPECT_THAT(table.output, HasSubstr("Own"));
    EXPECT_THAT(table.output, Not(HasSubstr("External")));
    run_beside_victims({"export", "rec.h5::Imu/External", "-o", "-"}, 3);
    run_beside_victims({"plot", "rec.h5", "-o", "plot.html"}, 0);
    EXPECT_THAT(read_file(folder_ / "plot.html"), Not(HasSubstr("Imu/Virtual")));
}

} // namespace
} // namespace talvora::host
