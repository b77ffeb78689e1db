// What is particular to trees in HDF5 files: files from elsewhere, files that are no
// HDF5 files, layouts, links, and the bytes of a file.
#include "host/hdf5/hdf5_calls.h"
#include "host/hdf5/hdf5_tree.h"
#include "tests/host/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <map>
#include <numeric>
#include <optional>
#include <sys/file.h>
#include <sys/resource.h>
#include <thread>
#include <tuple>
#include <unistd.h>

#ifdef TALVORA_ADDRESS_SANITIZER
#include <sanitizer/lsan_interface.h>
#endif

namespace talvora::host {

namespace {

using hdf5::Id;
using testing::HasSubstr;
using testing::ThrowsMessage;

// The HDF5 library loses memory of its own over some damaged files.
class WithoutLeakCheck {
  public:
#ifdef TALVORA_ADDRESS_SANITIZER
    WithoutLeakCheck() { __lsan_disable(); }
    ~WithoutLeakCheck() { __lsan_enable(); }
#else
    WithoutLeakCheck() = default;
    ~WithoutLeakCheck() = default;
#endif
    WithoutLeakCheck(const WithoutLeakCheck&) = delete;
    WithoutLeakCheck& operator=(const WithoutLeakCheck&) = delete;
};

// Closing it closes what the test has still open in it.
Id create_foreign_file(const std::filesystem::path& file) {
    const Id access(H5Pcreate(H5P_FILE_ACCESS));
    H5Pset_fclose_degree(access, H5F_CLOSE_STRONG);
    return Id(H5Fcreate(file.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, access));
}

// A file as another program would have written it, made with the HDF5 library alone.
class ForeignFile : public testing::Test {
  protected:
    void make_set(const char* name, hid_t type, const std::vector<hsize_t>& extents,
                  hid_t properties = H5P_DEFAULT) {
        const Id space(extents.empty() ? H5Screate(H5S_SCALAR)
                                       : H5Screate_simple(static_cast<int>(extents.size()),
                                                          extents.data(), nullptr));
        const Id set(H5Dcreate2(writer_, name, type, space, H5P_DEFAULT, properties, H5P_DEFAULT));
        ASSERT_GE(set, 0);
    }
    void make_counting_set(const char* name, const std::vector<hsize_t>& extents,
                           hid_t properties = H5P_DEFAULT) {
        make_set(name, H5T_IEEE_F32BE, extents, properties);
        const Id set(H5Dopen2(writer_, name, H5P_DEFAULT));
        std::vector<float> samples(24);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            samples[i] = static_cast<float>(i);
        }
        ASSERT_GE(H5Dwrite(set, H5T_NATIVE_FLOAT, H5S_ALL, H5S_ALL, H5P_DEFAULT, samples.data()),
                  0);
    }
    void make_attribute(const char* name, hid_t file_type, const std::vector<hsize_t>& extents,
                        hid_t memory_type, const void* values, const char* object = "/") {
        const Id space(extents.empty() ? H5Screate(H5S_SCALAR)
                                       : H5Screate_simple(static_cast<int>(extents.size()),
                                                          extents.data(), nullptr));
        const Id owner(H5Oopen(writer_, object, H5P_DEFAULT));
        const Id attribute(H5Acreate2(owner, name, file_type, space, H5P_DEFAULT, H5P_DEFAULT));
        ASSERT_GE(H5Awrite(attribute, memory_type, values), 0);
    }
    Hdf5Tree& open(Hdf5Access access = Hdf5Access::ReadOnly) {
        writer_ = Id{};
        return tree_.emplace(file_, access);
    }
    static std::vector<float> read_all(Hdf5Tree& tree, ObjectId set) {
        const Extents extents = tree.extents(set);
        std::vector<float> samples(
            std::accumulate(extents.begin(), extents.end(), std::size_t{1}, std::multiplies()));
        tree.read(set, {Extents(extents.size(), 0), extents}, samples);
        return samples;
    }

    TemporaryFolder folder_;
    std::filesystem::path file_ = folder_ / "foreign.h5";
    Id writer_ = create_foreign_file(file_);
    std::optional<Hdf5Tree> tree_;
};

Id fixed_text(std::size_t size, H5T_str_t padding) {
    Id type(H5Tcopy(H5T_C_S1));
    H5Tset_size(type, size);
    H5Tset_strpad(type, padding);
    return type;
}

// ---------------------------------------------------------------------------
// Kinds of objects

TEST_F(ForeignFile, OffersFloatsOfEitherByteOrder) {
    make_counting_set("big", {4, 6});
    make_set("little", H5T_IEEE_F32LE, {2});
    Hdf5Tree& tree = open();
    EXPECT_EQ(tree.list_datasets(tree.root()), (std::vector<std::string>{"big", "little"}));
    EXPECT_EQ(read_all(tree, *tree.find(tree.root(), "big"))[23], 23.0F);
}

TEST_F(ForeignFile, OffersRealNumbersOfEveryType) {
    const std::vector<std::tuple<const char*, hid_t, SampleType>> TYPES = {
        {"f32", H5T_IEEE_F32BE, SampleType::Float32},
        {"f64", H5T_IEEE_F64LE, SampleType::Float64},
        {"f64be", H5T_IEEE_F64BE, SampleType::Float64},
        {"i16", H5T_STD_I16BE, SampleType::Int16},
        {"i64", H5T_STD_I64LE, SampleType::Int64},
        {"i8", H5T_STD_I8LE, SampleType::Int8},
        {"u32", H5T_STD_U32LE, SampleType::UInt32},
        {"u64", H5T_STD_U64BE, SampleType::UInt64}};
    for (const auto& [name, type, _] : TYPES) {
        make_set(name, type, {3, 2});
    }
    Hdf5Tree& tree = open();
    for (const auto& [name, _, type] : TYPES) {
        const auto set = tree.find(tree.root(), name);
        ASSERT_TRUE(set.has_value());
        EXPECT_EQ(tree.kind(*set), ObjectKind::DataSet) << name;
        EXPECT_EQ(tree.sample_type(*set), type) << name;
    }
}

TEST_F(ForeignFile, DescribesWhatItDoesNotOffer) {
    make_set("bits", H5T_STD_B16LE, {3, 100});
    make_set("long", H5T_NATIVE_LDOUBLE, {5});
    make_set("scalar", H5T_IEEE_F32LE, {});
    H5Lcreate_soft("/nowhere", writer_, "soft", H5P_DEFAULT, H5P_DEFAULT);
    H5Lcreate_external("other.h5", "/set", writer_, "external", H5P_DEFAULT, H5P_DEFAULT);
    Hdf5Tree& tree = open();
    std::vector<std::string> lines;
    for (const OtherObject& other : tree.list_others(tree.root())) {
        lines.push_back(other.name + ": " + other.description);
    }
    EXPECT_EQ(lines,
              (std::vector<std::string>{
                  "bits: data set of 16-bit fields [3, 100]",
                  "external: link to '/set' in the file 'other.h5'",
                  "long: data set of 128-bit floats [5]", "scalar: data set of 32-bit floats []",
                  "soft: link to '/nowhere', where no object can be opened"}));
    EXPECT_TRUE(tree.list_datasets(tree.root()).empty());
    EXPECT_EQ(tree.kind(*tree.find(tree.root(), "external")), ObjectKind::Other);
    EXPECT_FALSE(tree.find(tree.root(), "external/below").has_value());
}

// Of floats.
Id make_pair_type(const char* first, const char* second) {
    Id type(H5Tcreate(H5T_COMPOUND, 8));
    H5Tinsert(type, first, 0, H5T_IEEE_F32LE);
    H5Tinsert(type, second, 4, H5T_IEEE_F32LE);
    return type;
}

TEST_F(ForeignFile, TellsOfWhichKindIsWhatItDoesNotOffer) {
    make_set("bits", H5T_STD_B16LE, {3});
    make_set("long", H5T_NATIVE_LDOUBLE, {5});
    make_set("scalar", H5T_IEEE_F32LE, {});
    make_set("text", H5T_C_S1, {2});
    make_set("reference", H5T_STD_REF_OBJ, {2});
    const Id flag(H5Tenum_create(H5T_STD_I8LE));
    const std::int8_t set = 1;
    ASSERT_GE(H5Tenum_insert(flag, "SET", &set), 0);
    make_set("flag", flag, {2});
    ASSERT_GE(H5Tcommit2(writer_, "type", flag, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT), 0);
    make_set("complex", make_pair_type("r", "i"), {2});
    make_set("pair", make_pair_type("x", "y"), {2});
    H5Lcreate_soft("/nowhere", writer_, "soft", H5P_DEFAULT, H5P_DEFAULT);
    H5Lcreate_external("other.h5", "/set", writer_, "external", H5P_DEFAULT, H5P_DEFAULT);
    Hdf5Tree& tree = open();
    std::map<std::string, OtherKind> kinds;
    std::vector<std::string> singles;
    for (const OtherObject& other : tree.list_others(tree.root())) {
        kinds.emplace(other.name, other.kind);
        if (other.is_single) {
            singles.push_back(other.name);
        }
    }
    EXPECT_EQ(kinds, (std::map<std::string, OtherKind>{{"bits", OtherKind::NumberSet},
                                                       {"complex", OtherKind::NumberSet},
                                                       {"external", OtherKind::LinkToFile},
                                                       {"flag", OtherKind::EnumerationSet},
                                                       {"long", OtherKind::NumberSet},
                                                       {"pair", OtherKind::OtherSet},
                                                       {"reference", OtherKind::ReferenceSet},
                                                       {"scalar", OtherKind::NumberSet},
                                                       {"soft", OtherKind::BlindLink},
                                                       {"text", OtherKind::TextSet},
                                                       {"type", OtherKind::NamedType}}));
    EXPECT_EQ(singles, std::vector<std::string>{"scalar"});
}

TEST_F(ForeignFile, GivesAnObjectWithTwoNamesOneId) {
    make_counting_set("set", {24});
    H5Lcreate_hard(writer_, "set", writer_, "hard", H5P_DEFAULT, H5P_DEFAULT);
    H5Lcreate_soft("/set", writer_, "soft", H5P_DEFAULT, H5P_DEFAULT);
    Hdf5Tree& tree = open();
    EXPECT_EQ(tree.find(tree.root(), "hard"), tree.find(tree.root(), "set"));
    EXPECT_EQ(tree.find(tree.root(), "soft"), tree.find(tree.root(), "set"));
}

TEST_F(ForeignFile, SurvivesGroupsAndLinksThatLeadToThemselves) {
    const Id group(H5Gcreate2(writer_, "group", H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
    H5Lcreate_hard(writer_, "/", group, "up", H5P_DEFAULT, H5P_DEFAULT);
    H5Lcreate_soft("/loop", writer_, "loop", H5P_DEFAULT, H5P_DEFAULT);
    Hdf5Tree& tree = open();
    EXPECT_EQ(tree.find(tree.root(), "group/up"), tree.root());
    EXPECT_EQ(tree.kind(*tree.find(tree.root(), "loop")), ObjectKind::Other);
}

TEST_F(ForeignFile, FollowsSoftLinksAsFarAsTheFileGoes) {
    const Id group(H5Gcreate2(writer_, "group", H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
    make_counting_set("group/set", {24});
    H5Lcreate_soft("set", group, "beside", H5P_DEFAULT, H5P_DEFAULT);
    H5Lcreate_soft("/group/./beside", writer_, "chain", H5P_DEFAULT, H5P_DEFAULT);
    H5Lcreate_soft("/group/set/below", writer_, "through-a-set", H5P_DEFAULT, H5P_DEFAULT);
    H5Lcreate_external("other.h5", "/", writer_, "out", H5P_DEFAULT, H5P_DEFAULT);
    H5Lcreate_soft("/out/set", writer_, "through-the-door", H5P_DEFAULT, H5P_DEFAULT);
    Hdf5Tree& tree = open();
    EXPECT_EQ(tree.find(tree.root(), "chain"), tree.find(tree.root(), "group/set"));
    for (const char* name : {"through-a-set", "out", "through-the-door"}) {
        EXPECT_EQ(tree.kind(*tree.find(tree.root(), name)), ObjectKind::Other) << name;
    }
}

// The byte of a file at which the header of an object begins.
std::uint64_t header_address(const std::filesystem::path& file, const char* object) {
    const Id opened(H5Fopen(file.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT));
    const Id found(H5Oopen(opened, object, H5P_DEFAULT));
    H5O_info_t info{};
    EXPECT_GE(H5Oget_info2(found, &info, H5O_INFO_BASIC), 0);
    return info.addr;
}

TEST_F(ForeignFile, SaysWhatItListsAndCannotRead) {
    [[maybe_unused]] const WithoutLeakCheck library_leaks;
    for (const char* object : {"group", "group/set"}) {
        std::filesystem::remove(file_);
        writer_ = create_foreign_file(file_);
        const Id group(H5Gcreate2(writer_, "group", H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
        make_counting_set("group/set", {24});
        make_counting_set("group/whole", {24});
        open();
        tree_.reset();
        const std::uint64_t at = header_address(file_, object);
        std::string bytes = read_file(file_);
        bytes[at] = static_cast<char>(bytes[at] ^ 0x55); // the version of the header
        write_file(file_, bytes);
        tree_.emplace(file_, Hdf5Access::ReadOnly);
        const auto list_all = [&] {
            for (const std::string& name : tree_->list_groups(tree_->root())) {
                tree_->list_datasets(*tree_->find(tree_->root(), name));
            }
        };
        EXPECT_THAT(list_all, ThrowsMessage<StorageError>(HasSubstr(object))) << object;
        tree_.reset();
    }
}

// ---------------------------------------------------------------------------
// Samples of other types

// Twelve doubles, the first of which lies between two floats.
class Doubles : public ForeignFile {
  protected:
    void SetUp() override {
        make_set("X", H5T_IEEE_F64BE, {3, 4});
        const Id set(H5Dopen2(writer_, "X", H5P_DEFAULT));
        ASSERT_GE(H5Dwrite(set, H5T_NATIVE_DOUBLE, H5S_ALL, H5S_ALL, H5P_DEFAULT, samples_.data()),
                  0);
    }
    // What is in the file once the tree is closed.
    std::vector<float> read_file_again() {
        tree_->close();
        const Id file(H5Fopen(file_.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT));
        const Id set(H5Dopen2(file, "X", H5P_DEFAULT));
        const Id type(H5Dget_type(set));
        EXPECT_GT(H5Tequal(type, H5T_IEEE_F32LE), 0);
        std::vector<float> samples(12);
        EXPECT_GE(H5Dread(set, H5T_NATIVE_FLOAT, H5S_ALL, H5S_ALL, H5P_DEFAULT, samples.data()), 0);
        return samples;
    }

    std::vector<double> samples_ = {1 + 0x1p-24, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, -16};
    std::vector<float> rounded_ = {1, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, -16};
};

TEST_F(Doubles, AreReadAsFloatsAndAsTheyAre) {
    Hdf5Tree& tree = open();
    const ObjectId set = *tree.find(tree.root(), "X");
    EXPECT_EQ(read_all(tree, set), rounded_);
    EXPECT_EQ(tree.read_stored(set, {Extents{0, 0}, Extents{3, 4}}), StoredSamples(samples_));
    EXPECT_EQ(tree.read_stored(set, {Extents{1, 1}, Extents{2, 1}}),
              StoredSamples(std::vector<double>{5, 9}));
    EXPECT_TRUE(tree.narrowed_sets().empty());
}

TEST_F(Doubles, BecomeFloatsWhenAPartIsWritten) {
    Hdf5Tree& tree = open(Hdf5Access::ReadWrite);
    const ObjectId set = *tree.find(tree.root(), "X");
    tree.write(set, {Extents{2, 3}, Extents{1, 1}}, std::vector<float>{0.5F});
    ASSERT_EQ(tree.narrowed_sets().size(), 1U);
    EXPECT_EQ(tree.narrowed_sets()[0].path, "X");
    EXPECT_EQ(tree.narrowed_sets()[0].type, SampleType::Float64);
    EXPECT_EQ(tree.narrowed_sets()[0].rounding.change.largest_change, 0x1p-24);
    EXPECT_EQ(tree.narrowed_sets()[0].rounding.change.largest_sample, 16);
    EXPECT_EQ(tree.sample_type(set), SampleType::Float32);
    rounded_.back() = 0.5F;
    EXPECT_EQ(read_file_again(), rounded_);
}

TEST_F(Doubles, BecomeFloatsWhenAllIsWritten) {
    Hdf5Tree& tree = open(Hdf5Access::ReadWrite);
    const ObjectId set = *tree.find(tree.root(), "X");
    const std::vector<float> written(12, 7);
    tree.write(set, {Extents{0, 0}, Extents{3, 4}}, written);
    EXPECT_EQ(tree.narrowed_sets()[0].rounding.change.largest_sample, 16);
    EXPECT_EQ(tree.find(tree.root(), "X"), set);
    EXPECT_EQ(read_file_again(), written);
}

TEST_F(Doubles, BecomeFloatsWhenTheyAreResized) {
    Hdf5Tree& tree = open(Hdf5Access::ReadWrite);
    const ObjectId set = *tree.find(tree.root(), "X");
    tree.resize(set, {1, 12});
    EXPECT_EQ(tree.narrowed_sets()[0].rounding.change.largest_change, 0x1p-24);
    EXPECT_EQ(read_file_again(), (std::vector<float>{1, 1, 2, 3, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(Doubles, LeadToTheNewSetByAllLinks) {
    const Id group(H5Gcreate2(writer_, "group", H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
    H5Lcreate_hard(writer_, "X", group, "hard", H5P_DEFAULT, H5P_DEFAULT);
    H5Lcreate_soft("/group/hard", writer_, "A", H5P_DEFAULT, H5P_DEFAULT);
    Hdf5Tree& tree = open(Hdf5Access::ReadWrite);
    const ObjectId set = *tree.find(tree.root(), "A");
    EXPECT_EQ(tree.path(set), "A");
    tree.write(set, {Extents{0, 0}, Extents{3, 4}}, rounded_);
    EXPECT_EQ(tree.find(tree.root(), "group/hard"), set);
    EXPECT_EQ(read_file_again(), rounded_);
    Hdf5Tree again(file_, Hdf5Access::ReadOnly);
    EXPECT_EQ(again.find(again.root(), "A"), again.find(again.root(), "X"));
    EXPECT_EQ(again.find(again.root(), "group/hard"), again.find(again.root(), "X"));
}

// Room for three references, none of which was ever written.
class FillValues : public Doubles {
  protected:
    static hobj_ref_t refer_to_set(hid_t file) {
        hobj_ref_t reference{};
        EXPECT_GE(H5Rcreate(&reference, file, "X", H5R_OBJECT, H5I_INVALID_HID), 0);
        return reference;
    }
    void make_filled(hid_t type, const void* fill_value) {
        const Id properties(H5Pcreate(H5P_DATASET_CREATE));
        ASSERT_GE(H5Pset_fill_value(properties, type, fill_value), 0);
        make_set("filled", type, {3}, properties);
    }
    void expect_refusal(const char* reason) {
        Hdf5Tree& tree = open(Hdf5Access::ReadWrite);
        const ObjectId set = *tree.find(tree.root(), "X");
        EXPECT_THAT(
            [&] {
                tree.write(set, {Extents{0, 0}, Extents{3, 4}}, rounded_);
            },
            ThrowsMessage<TreeError>(std::string("'X' cannot be made anew: ") + reason));
        EXPECT_TRUE(tree.narrowed_sets().empty());
    }
};

TEST_F(FillValues, ThatReferToASetKeepItFromBeingReplaced) {
    const hobj_ref_t reference = refer_to_set(writer_);
    make_filled(H5T_STD_REF_OBJ, &reference);
    expect_refusal("the fill value of '/filled' refers to it");
}

TEST_F(FillValues, ThatHoldAReferenceToASetKeepItFromBeingReplaced) {
    struct Row {
        int number;
        hobj_ref_t set;
    };
    const Row row = {1, refer_to_set(writer_)};
    const Id type(H5Tcreate(H5T_COMPOUND, sizeof row));
    H5Tinsert(type, "number", HOFFSET(Row, number), H5T_NATIVE_INT);
    H5Tinsert(type, "set", HOFFSET(Row, set), H5T_STD_REF_OBJ);
    make_filled(type, &row);
    expect_refusal("the fill value of '/filled' refers to it");
}

TEST_F(FillValues, ThatReferToAPartOfASetKeepItFromBeingReplaced) {
    const Id set(H5Dopen2(writer_, "X", H5P_DEFAULT));
    const Id space(H5Dget_space(set));
    hdset_reg_ref_t region{};
    ASSERT_GE(H5Rcreate(&region, writer_, "X", H5R_DATASET_REGION, space), 0);
    make_filled(H5T_STD_REF_DSETREG, &region);
    expect_refusal("the fill value of '/filled' refers to a part of it");
}

TEST_F(FillValues, ThatReferToAnotherSetAreNoHindrance) {
    make_counting_set("other", {24});
    hobj_ref_t reference{};
    ASSERT_GE(H5Rcreate(&reference, writer_, "other", H5R_OBJECT, H5I_INVALID_HID), 0);
    make_filled(H5T_STD_REF_OBJ, &reference);
    Hdf5Tree& tree = open(Hdf5Access::ReadWrite);
    tree.write(*tree.find(tree.root(), "X"), {Extents{0, 0}, Extents{3, 4}}, rounded_);
    EXPECT_EQ(read_file_again(), rounded_);
}

// Kept alive by its count of links alone.
TEST_F(FillValues, OfWhatNoLinkLeadsToAreSeen) {
    const hobj_ref_t reference = refer_to_set(writer_);
    make_filled(H5T_STD_REF_OBJ, &reference);
    hobj_ref_t filled{};
    ASSERT_GE(H5Rcreate(&filled, writer_, "filled", H5R_OBJECT, H5I_INVALID_HID), 0);
    make_attribute("filled", H5T_STD_REF_OBJ, {}, H5T_STD_REF_OBJ, &filled);
    {
        const Id set(H5Dopen2(writer_, "filled", H5P_DEFAULT));
        ASSERT_GE(H5Oincr_refcount(set), 0);
        ASSERT_GE(H5Ldelete(writer_, "filled", H5P_DEFAULT), 0);
    }
    expect_refusal("an object that no link leads to, only '/', refers to it (h5repack makes a copy "
                   "without such an object, which may have been deleted)");
}

TEST_F(Doubles, BeyondAllFloatsAreRefused) {
    samples_[6] = -1e39;
    {
        const Id set(H5Dopen2(writer_, "X", H5P_DEFAULT));
        H5Dwrite(set, H5T_NATIVE_DOUBLE, H5S_ALL, H5S_ALL, H5P_DEFAULT, samples_.data());
    }
    Hdf5Tree& tree = open(Hdf5Access::ReadWrite);
    const ObjectId set = *tree.find(tree.root(), "X");
    const auto message = HasSubstr("'X' holds -1e+39 at [1, 2]");
    EXPECT_THAT([&] { read_all(tree, set); }, ThrowsMessage<StorageError>(message));
    const std::vector<float> sample = {0};
    EXPECT_THAT(
        [&] {
            tree.write(set, {Extents{0, 0}, Extents{1, 1}}, sample);
        },
        ThrowsMessage<StorageError>(message));
    EXPECT_THAT(
        [&] {
            tree.write(set, {Extents{0, 0}, Extents{3, 4}}, rounded_);
        },
        ThrowsMessage<StorageError>(message));
    EXPECT_EQ(tree.sample_type(set), SampleType::Float64);
    EXPECT_EQ(tree.list_datasets(tree.root()), std::vector<std::string>{"X"});
}

// ---------------------------------------------------------------------------
// Attributes

TEST_F(ForeignFile, ReadsIntegersAndFloatsOfAnyWidth) {
    const std::int64_t minus_three = -3;
    const double half = 0.5;
    make_attribute("i8", H5T_STD_I8LE, {}, H5T_NATIVE_INT64, &minus_three);
    make_attribute("i32", H5T_STD_I32BE, {}, H5T_NATIVE_INT64, &minus_three);
    make_attribute("f32", H5T_IEEE_F32BE, {}, H5T_NATIVE_DOUBLE, &half);
    make_attribute("f64", H5T_IEEE_F64BE, {}, H5T_NATIVE_DOUBLE, &half);
    make_attribute("f128", H5T_NATIVE_LDOUBLE, {}, H5T_NATIVE_DOUBLE, &half);
    Hdf5Tree& tree = open();
    const ObjectId root = tree.root();
    EXPECT_EQ(tree.read_attribute(root, "i8"), AttributeValue(std::int64_t{-3}));
    EXPECT_EQ(tree.read_attribute(root, "i32"), AttributeValue(std::int64_t{-3}));
    EXPECT_EQ(tree.read_attribute(root, "f32"), AttributeValue(0.5F));
    EXPECT_EQ(tree.read_attribute(root, "f64"), AttributeValue(0.5));
    EXPECT_EQ(tree.read_attribute(root, "f128"), AttributeValue(0.5));
}

TEST_F(ForeignFile, RefusesUnsignedIntegersThatDoNotFit) {
    const std::uint64_t values[] = {1ULL << 63, (1ULL << 63) - 1};
    make_attribute("large", H5T_STD_U64LE, {}, H5T_NATIVE_UINT64, &values[0]);
    make_attribute("fits", H5T_STD_U64LE, {}, H5T_NATIVE_UINT64, &values[1]);
    Hdf5Tree& tree = open();
    EXPECT_THAT([&] { tree.read_attribute(tree.root(), "large"); },
                ThrowsMessage<TreeError>(HasSubstr("9223372036854775808")));
    EXPECT_EQ(tree.read_attribute(tree.root(), "fits"),
              AttributeValue(std::int64_t{0x7FFF'FFFF'FFFF'FFFF}));
}

TEST_F(ForeignFile, ReadsTextsOfFixedLength) {
    make_attribute("padded", fixed_text(6, H5T_STR_SPACEPAD), {}, fixed_text(6, H5T_STR_SPACEPAD),
                   "m/s   ");
    make_attribute("ended", fixed_text(4, H5T_STR_NULLTERM), {}, fixed_text(4, H5T_STR_NULLTERM),
                   "abc");
    make_attribute("list", fixed_text(2, H5T_STR_NULLPAD), {2}, fixed_text(2, H5T_STR_NULLPAD),
                   "xyz\0");
    Hdf5Tree& tree = open();
    EXPECT_EQ(tree.read_attribute(tree.root(), "padded"), AttributeValue("m/s"));
    EXPECT_EQ(tree.read_attribute(tree.root(), "ended"), AttributeValue("abc"));
    EXPECT_EQ(tree.read_attribute(tree.root(), "list"),
              AttributeValue(TextArray{{"xy", "z"}, {2}}));
}

TEST_F(ForeignFile, ReadsEnumerationsAsIntegers) {
    const Id type(H5Tenum_create(H5T_STD_I8LE));
    const std::int8_t values[] = {0, 1};
    H5Tenum_insert(type, "FALSE", &values[0]);
    H5Tenum_insert(type, "TRUE", &values[1]);
    make_attribute("flag", type, {}, type, &values[1]);
    Hdf5Tree& tree = open();
    EXPECT_EQ(tree.read_attribute(tree.root(), "flag"), AttributeValue(std::int64_t{1}));
}

TEST_F(ForeignFile, RefusesAttributesOfOtherTypes) {
    const Id type(H5Tcreate(H5T_COMPOUND, 8));
    H5Tinsert(type, "x", 0, H5T_NATIVE_INT64);
    const std::int64_t value = 1;
    make_attribute("compound", type, {}, type, &value);
    const Id nothing(H5Screate(H5S_NULL));
    const Id attribute(
        H5Acreate2(writer_, "null", H5T_STD_I8LE, nothing, H5P_DEFAULT, H5P_DEFAULT));
    Hdf5Tree& tree = open();
    EXPECT_EQ(tree.list_attributes(tree.root()), (std::vector<std::string>{"compound", "null"}));
    EXPECT_THAT([&] { tree.read_attribute(tree.root(), "compound"); },
                ThrowsMessage<TreeError>(HasSubstr("compound values")));
    EXPECT_THAT([&] { tree.read_attribute(tree.root(), "null"); },
                ThrowsMessage<TreeError>(HasSubstr("has no value")));
}

// What the HDF5 library says of an attribute of the root.
class StoredAttribute {
  public:
    StoredAttribute(const std::filesystem::path& file, const char* name)
        : file_(H5Fopen(file.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT)),
          attribute_(H5Aopen(file_, name, H5P_DEFAULT)), type_(H5Aget_type(attribute_)) {}

    bool is_of(hid_t type) const { return H5Tequal(type_, type) > 0; }
    std::string bytes() const {
        std::string content(H5Aget_storage_size(attribute_), '?');
        EXPECT_GE(H5Aread(attribute_, type_, content.data()), 0);
        return content;
    }

  private:
    Id file_;
    Id attribute_;
    Id type_;
};

TEST_F(ForeignFile, KeepsTheTypeOfAnAttributeThatIsSet) {
    const std::int64_t number = 3;
    make_attribute("i16", H5T_STD_I16BE, {}, H5T_NATIVE_INT64, &number);
    make_attribute("f32", H5T_IEEE_F32BE, {1}, H5T_NATIVE_INT64, &number);
    make_attribute("padded", fixed_text(6, H5T_STR_SPACEPAD), {}, fixed_text(6, H5T_STR_SPACEPAD),
                   "m/s   ");
    make_attribute("ended", fixed_text(4, H5T_STR_NULLTERM), {}, fixed_text(4, H5T_STR_NULLTERM),
                   "abc");
    Hdf5Tree& tree = open(Hdf5Access::ReadWrite);
    const ObjectId root = tree.root();
    EXPECT_EQ(tree.attribute_type(root, "i16")->name, "int16");
    EXPECT_EQ(tree.attribute_type(root, "f32")->extents, Extents{1});
    EXPECT_EQ(tree.attribute_type(root, "padded")->name, "ASCII text of at most 6 bytes");
    EXPECT_EQ(tree.attribute_type(root, "ended")->name, "ASCII text of at most 3 bytes");
    EXPECT_FALSE(tree.attribute_type(root, "none"));
    tree.rewrite_attribute(root, "i16", std::int64_t{-2});
    tree.rewrite_attribute(root, "f32", NumberArray{{0.5}, {1}});
    tree.rewrite_attribute(root, "padded", std::string("N"));
    tree.rewrite_attribute(root, "ended", std::string("wxyz"));
    tree.close();
    EXPECT_TRUE(StoredAttribute(file_, "i16").is_of(H5T_STD_I16BE));
    EXPECT_EQ(StoredAttribute(file_, "i16").bytes(), "\xff\xfe");
    EXPECT_TRUE(StoredAttribute(file_, "f32").is_of(H5T_IEEE_F32BE));
    EXPECT_EQ(StoredAttribute(file_, "f32").bytes(), std::string("\x3f\0\0\0", 4));
    EXPECT_EQ(StoredAttribute(file_, "padded").bytes(), "N     ");
    EXPECT_EQ(StoredAttribute(file_, "ended").bytes(), std::string("wxy\0", 4));
}

// More attributes than stand in the header of an object, in the order in which they were made.
class ManyAttributes : public ForeignFile {
  protected:
    void SetUp() override {
        const Id properties(H5Pcreate(H5P_DATASET_CREATE));
        H5Pset_attr_creation_order(properties, H5P_CRT_ORDER_TRACKED | H5P_CRT_ORDER_INDEXED);
        make_counting_set("set", {24}, properties);
        for (std::int64_t i = 0; i < 12; ++i) {
            make_attribute(("at" + std::to_string(i)).c_str(), H5T_STD_I64LE, {}, H5T_NATIVE_INT64,
                           &i, "set");
        }
    }
};

// As h5py sets an attribute: HDF5 1.10 leaves an entry of the old name.
TEST_F(ManyAttributes, AreTheFilesFaultWhereTheirIndexIsDamaged) {
    const std::int64_t one = 1;
    for (int time = 0; time < 2; ++time) {
        make_attribute("other", H5T_STD_I64LE, {}, H5T_NATIVE_INT64, &one, "set");
        const Id set(H5Dopen2(writer_, "set", H5P_DEFAULT));
        if (H5Adelete(set, "at3") < 0) {
            break; // the damage is done
        }
        ASSERT_GE(H5Arename(set, "other", "at3"), 0);
    }
    Hdf5Tree& tree = open(Hdf5Access::ReadWrite);
    const ObjectId set = tree.find(tree.root(), "set").value();
    try {
        tree.write_attribute(set, "at3", std::string("text"));
        FAIL() << "written";
    } catch (const StorageError& error) {
        EXPECT_EQ(error.access(), StorageError::Access::Reading);
        EXPECT_STREQ(error.what(),
                     "cannot delete the attribute 'at3': record is not in B-tree: the index of the "
                     "object's attributes is damaged, as setting one of many in h5py leaves it "
                     "(h5repack makes a file anew)");
    }
}

TEST_F(ManyAttributes, KeepTheirIndicesWhole) {
    Hdf5Tree& tree = open(Hdf5Access::ReadWrite);
    const ObjectId set = tree.find(tree.root(), "set").value();
    for (const char* text : {"one", "two"}) {
        tree.write_attribute(set, "at3", std::string(text));
        tree.write_attribute(set, "at3", TextArray{{text, "three"}, {2}});
    }
    tree.close();
    const Id file(H5Fopen(file_.c_str(), H5F_ACC_RDWR, H5P_DEFAULT));
    for (const char* name :
         {"at0", "at1", "at2", "at4", "at5", "at6", "at7", "at8", "at9", "at10", "at11", "at3"}) {
        const Id first(H5Aopen_by_idx(file, "set", H5_INDEX_CRT_ORDER, H5_ITER_INC, 0, H5P_DEFAULT,
                                      H5P_DEFAULT));
        ASSERT_GE(first, 0);
        char found[16] = "";
        H5Aget_name(first, sizeof found, found);
        EXPECT_STREQ(found, name);
        ASSERT_GE(H5Adelete_by_name(file, "set", name, H5P_DEFAULT), 0) << name;
    }
}

TEST_F(ForeignFile, WritesAnAttributeAsTheNumbersThatAreAskedFor) {
    Hdf5Tree& tree = open(Hdf5Access::ReadWrite);
    tree.write_attribute_as(tree.root(), "f32", NumberArray{{0.5, 1.0}, {2}}, SampleType::Float32);
    tree.write_attribute_as(tree.root(), "u8", std::int64_t{300}, SampleType::UInt8);
    EXPECT_EQ(tree.read_attribute(tree.root(), "u8"), AttributeValue(std::int64_t{255}));
    tree.write_attribute(tree.root(), "gone", 1.0F);
    tree.remove_attribute(tree.root(), "gone");
    EXPECT_EQ(tree.list_attributes(tree.root()), (std::vector<std::string>{"f32", "u8"}));
    tree.close();
    EXPECT_TRUE(StoredAttribute(file_, "f32").is_of(H5T_IEEE_F32LE));
    EXPECT_TRUE(StoredAttribute(file_, "u8").is_of(H5T_STD_U8LE));
}

// ---------------------------------------------------------------------------
// Small sets, read as attributes are

TEST_F(ForeignFile, ReadsTheValuesOfSmallSets) {
    make_counting_set("numbers", {2, 12});
    make_set("scalar", H5T_STD_I16BE, {});
    make_set("texts", fixed_text(4, H5T_STR_SPACEPAD), {2});
    make_set("fields", H5T_STD_B8LE, {2});
    Hdf5Tree& tree = open();
    const auto read = [&](const char* name, std::uint64_t max_count = 24) {
        return tree.read_values(tree.find(tree.root(), name).value(), max_count);
    };
    const auto numbers = std::get<NumberArray>(read("numbers"));
    EXPECT_EQ(numbers.extents, (Extents{2, 12}));
    EXPECT_EQ(numbers.values.at(23), 23);
    EXPECT_EQ(read("scalar"), AttributeValue(std::int64_t{0}));
    EXPECT_EQ(std::get<TextArray>(read("texts")).values.size(), 2U);
    EXPECT_THAT([&] { read("numbers", 23); },
                ThrowsMessage<TreeError>("'numbers' holds 24 values (allowed here: at most 23)"));
    EXPECT_THAT([&] { read("fields"); },
                ThrowsMessage<TreeError>(HasSubstr("'fields' holds 8-bit fields")));
    EXPECT_THAT([&] { read("/"); }, ThrowsMessage<TreeError>("'' is no data set"));
}

TEST_F(ForeignFile, FollowsReferencesToWhereTheyLead) {
    make_counting_set("a", {24});
    const Id group(H5Gcreate2(writer_, "g", H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
    make_set("references", H5T_STD_REF_OBJ, {3});
    std::vector<hobj_ref_t> references(3);
    ASSERT_GE(H5Rcreate(&references[0], writer_, "g", H5R_OBJECT, -1), 0);
    ASSERT_GE(H5Rcreate(&references[2], writer_, "a", H5R_OBJECT, -1), 0);
    const Id set(H5Dopen2(writer_, "references", H5P_DEFAULT));
    ASSERT_GE(H5Dwrite(set, H5T_STD_REF_OBJ, H5S_ALL, H5S_ALL, H5P_DEFAULT, references.data()), 0);
    Hdf5Tree& tree = open();
    const auto at = [&](const char* name) { return tree.find(tree.root(), name).value(); };
    EXPECT_TRUE(tree.holds_references(at("references")));
    EXPECT_FALSE(tree.holds_references(at("a")));
    EXPECT_EQ(tree.follow_references(at("references"), 3),
              (std::vector<std::optional<ObjectId>>{at("g"), std::nullopt, at("a")}));
    EXPECT_THROW(tree.follow_references(at("references"), 2), TreeError);
    EXPECT_THAT([&] { tree.follow_references(at("a"), 24); },
                ThrowsMessage<TreeError>("'a' holds no references to objects"));
}

// ---------------------------------------------------------------------------
// Resizing other layouts

TEST_F(ForeignFile, MakesAFixedSetAnewWithItsAttributes) {
    make_counting_set("group", {1, 24});
    H5Ldelete(writer_, "group", H5P_DEFAULT);
    const Id group(H5Gcreate2(writer_, "group", H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
    make_counting_set("group/set", {4, 6});
    const float rate = 100;
    make_attribute("SampleRate", H5T_IEEE_F32BE, {}, H5T_NATIVE_FLOAT, &rate, "group/set");
    const Id compound(H5Tcreate(H5T_COMPOUND, 16));
    const Id text(H5Tcopy(H5T_C_S1));
    H5Tset_size(text, H5T_VARIABLE);
    H5Tinsert(compound, "number", 0, H5T_NATIVE_INT64);
    H5Tinsert(compound, "text", 8, text);
    const struct {
        std::int64_t number;
        const char* text;
    } pair{7, "seven"};
    make_attribute("Pair", compound, {}, compound, &pair, "group/set");

    Hdf5Tree& tree = open(Hdf5Access::ReadWrite);
    const ObjectId set = *tree.find(tree.root(), "group/set");
    tree.resize(set, {3, 2});
    EXPECT_EQ(read_all(tree, set), (std::vector<float>{0, 1, 6, 7, 12, 13}));
    EXPECT_EQ(tree.find(tree.root(), "group/set"), set);
    EXPECT_EQ(tree.list_datasets(*tree.find(tree.root(), "group")),
              std::vector<std::string>{"set"});
    EXPECT_EQ(tree.read_attribute(set, "SampleRate"), AttributeValue(100.0F));
    tree.close();

    const Id file(H5Fopen(file_.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT));
    const Id kept(H5Aopen_by_name(file, "group/set", "Pair", H5P_DEFAULT, H5P_DEFAULT));
    struct {
        std::int64_t number;
        char* text;
    } back{};
    ASSERT_GE(H5Aread(kept, compound, &back), 0);
    EXPECT_EQ(back.number, 7);
    EXPECT_STREQ(back.text, "seven");
    H5free_memory(back.text);
}

TEST_F(ForeignFile, MakesASetAnewUnderAllItsNames) {
    make_counting_set("set", {24});
    H5Lcreate_hard(writer_, "set", writer_, "hard", H5P_DEFAULT, H5P_DEFAULT);
    Hdf5Tree& tree = open(Hdf5Access::ReadWrite);
    const ObjectId set = *tree.find(tree.root(), "set");
    tree.resize(set, {2});
    EXPECT_EQ(*tree.find(tree.root(), "hard"), set);
    EXPECT_EQ(tree.extents(set), Extents{2});
    EXPECT_THAT(read_all(tree, set), testing::ElementsAre(0.0F, 1.0F));
}

// A resizable set of 24 samples that nobody wrote.
void make_filled_set(hid_t file, float fill) {
    const Id properties(H5Pcreate(H5P_DATASET_CREATE));
    const hsize_t chunk = 24;
    H5Pset_chunk(properties, 1, &chunk);
    H5Pset_deflate(properties, 6);
    H5Pset_fill_value(properties, H5T_NATIVE_FLOAT, &fill);
    const hsize_t extent = 24;
    const hsize_t most = H5S_UNLIMITED;
    const Id space(H5Screate_simple(1, &extent, &most));
    const Id made(
        H5Dcreate2(file, "set", H5T_IEEE_F32LE, space, H5P_DEFAULT, properties, H5P_DEFAULT));
}

TEST_F(ForeignFile, FillsNewRoomWithZerosWhateverTheFillValueWas) {
    make_filled_set(writer_, -9);
    Hdf5Tree& tree = open(Hdf5Access::ReadWrite);
    const ObjectId set = *tree.find(tree.root(), "set");
    tree.resize(set, {26});
    const std::vector<float> samples = read_all(tree, set);
    EXPECT_EQ(samples[23], -9.0F);
    EXPECT_EQ(samples[24], 0.0F);
    EXPECT_EQ(samples[25], 0.0F);
}

TEST_F(ForeignFile, FillsNewRoomWithoutTheSignOfAFillValueOfMinusZero) {
    make_filled_set(writer_, -0.0F);
    Hdf5Tree& tree = open(Hdf5Access::ReadWrite);
    const ObjectId set = *tree.find(tree.root(), "set");
    tree.resize(set, {26});
    const std::vector<float> samples = read_all(tree, set);
    EXPECT_TRUE(std::signbit(samples[23]));
    EXPECT_FALSE(std::signbit(samples[24]));
    EXPECT_FALSE(std::signbit(samples[25]));
}

// ---------------------------------------------------------------------------
// Files

void fill(Hdf5Tree& tree) {
    const ObjectId set = tree.create_dataset(tree.root(), "Imu/acc", {3, 1000});
    tree.write(set, {Extents{0, 0}, Extents{3, 1000}}, std::vector<float>(3000, 1.5F));
    tree.write_attribute(set, "SampleRate", 100.0F);
    tree.write_attribute(set, "Unit", std::string("m/s2"));
    tree.write_attribute(set, "Unit", std::string("m/s²"));
    tree.write_attribute(tree.root(), "Labels", TextArray{{"a", "b"}, {2}});
    tree.resize(set, {3, 700});
}

TEST(Hdf5Trees, GivesTheSameBytesForTheSameRequests) {
    const TemporaryFolder folder;
    for (const char* name : {"first.h5", "second.h5"}) {
        Hdf5Tree tree(folder / name, Hdf5Access::Create);
        fill(tree);
        tree.close();
        // Times in objects have a resolution of a second.
        std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    }
    EXPECT_GT(read_file(folder / "first.h5").size(), 700U * 3 * 4);
    EXPECT_EQ(read_file(folder / "first.h5"), read_file(folder / "second.h5"));
}

TEST(Hdf5Trees, FindsWhatItWrote) {
    const TemporaryFolder folder;
    {
        Hdf5Tree tree(folder / "tree.h5", Hdf5Access::Create);
        fill(tree);
        tree.close();
    }
    Hdf5Tree tree(folder / "tree.h5", Hdf5Access::ReadOnly);
    const ObjectId set = *tree.find(tree.root(), "Imu/acc");
    EXPECT_EQ(tree.extents(set), (Extents{3, 700}));
    EXPECT_EQ(tree.list_attributes(set), (std::vector<std::string>{"SampleRate", "Unit"}));
    EXPECT_EQ(tree.read_attribute(set, "Unit"), AttributeValue("m/s²"));
    float last = 0;
    tree.read(set, {Extents{2, 699}, Extents{1, 1}}, {&last, 1});
    EXPECT_EQ(last, 1.5F);
}

TEST(Hdf5Trees, ChangesNothingInAFileOpenedForReading) {
    const TemporaryFolder folder;
    Hdf5Tree(folder / "tree.h5", Hdf5Access::Create).create_dataset(ObjectId{1}, "set", {2});
    const std::string before = read_file(folder / "tree.h5");
    Hdf5Tree tree(folder / "tree.h5", Hdf5Access::ReadOnly);
    const ObjectId set = *tree.find(tree.root(), "set");
    const float sample = 1;
    EXPECT_THROW(tree.create_group(tree.root(), "new"), TreeError);
    EXPECT_THROW(tree.create_dataset(tree.root(), "new", {1}), TreeError);
    EXPECT_THROW(tree.write(set, {Extents{0}, Extents{1}}, {&sample, 1}), TreeError);
    EXPECT_THROW(tree.resize(set, {1}), TreeError);
    EXPECT_THROW(tree.write_attribute(set, "a", 1.0F), TreeError);
    tree.close();
    EXPECT_EQ(read_file(folder / "tree.h5"), before);
}

TEST(Hdf5Trees, RefusesRequestsOnceItIsClosed) {
    const TemporaryFolder folder;
    Hdf5Tree tree(folder / "tree.h5", Hdf5Access::Create);
    tree.close();
    EXPECT_THROW(tree.list_groups(tree.root()), TreeError);
    EXPECT_THROW(tree.create_group(tree.root(), "a"), TreeError);
    EXPECT_THROW(tree.close(), TreeError);
}

void expect_refused(const std::filesystem::path& file, const std::string& reason) {
    EXPECT_THAT(
        [&] { Hdf5Tree(file, Hdf5Access::ReadOnly); },
        ThrowsMessage<TreeError>(testing::AllOf(HasSubstr(file.string()), HasSubstr(reason))));
}

TEST(Hdf5Trees, SaysWhatIsWrongWithAFile) {
    const TemporaryFolder folder;
    expect_refused(folder / "missing.h5", "there is no such file");
    expect_refused(folder / "", "it is a folder");
    write_file(folder / "empty.h5", "");
    expect_refused(folder / "empty.h5", "it is empty");
    write_file(folder / "text.h5", "Time,x,y\n0,1,2\n");
    expect_refused(folder / "text.h5", "it is not an HDF5 file");
}

TEST(Hdf5Trees, RefusesTruncatedFiles) {
    const TemporaryFolder folder;
    {
        Hdf5Tree tree(folder / "whole.h5", Hdf5Access::Create);
        fill(tree);
        tree.close();
    }
    const std::string bytes = read_file(folder / "whole.h5");
    for (const std::size_t size : {bytes.size() - 1, bytes.size() / 2, std::size_t{100}}) {
        write_file(folder / "cut.h5", bytes.substr(0, size));
        expect_refused(folder / "cut.h5", "truncated file");
    }
    write_file(folder / "cut.h5", bytes.substr(0, 9));
    EXPECT_THROW(Hdf5Tree(folder / "cut.h5", Hdf5Access::ReadOnly), TreeError);
}

// Whatever byte is wrong: an answer or a TreeError, and no other end.
TEST(Hdf5Trees, SurvivesOverwrittenMetadata) {
    [[maybe_unused]] const WithoutLeakCheck library_leaks;
    const TemporaryFolder folder;
    {
        Hdf5Tree tree(folder / "whole.h5", Hdf5Access::Create);
        fill(tree);
        tree.close();
    }
    const std::string bytes = read_file(folder / "whole.h5");
    int refused = 0;
    for (std::size_t at = 0; at < 600; at += 7) {
        std::string damaged = bytes;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x55);
        write_file(folder / "damaged.h5", damaged);
        try {
            Hdf5Tree tree(folder / "damaged.h5", Hdf5Access::ReadOnly);
            for (const std::string& group : tree.list_groups(tree.root())) {
                tree.list_others(*tree.find(tree.root(), group));
            }
        } catch (const TreeError&) {
            ++refused;
        }
    }
    EXPECT_GT(refused, 10);
}

TEST(Hdf5Trees, SaysThatAFileIsLocked) {
    const TemporaryFolder folder;
    Hdf5Tree(folder / "tree.h5", Hdf5Access::Create).close();
    const int lock_holder = open((folder / "tree.h5").c_str(), O_RDWR);
    ASSERT_EQ(flock(lock_holder, LOCK_EX | LOCK_NB), 0);
    expect_refused(folder / "tree.h5", "another program has it open");
    close(lock_holder);
}

TEST(Hdf5Trees, CreatesNoFileOverAnother) {
    const TemporaryFolder folder;
    write_file(folder / "taken.h5", "mine");
    EXPECT_THROW(Hdf5Tree(folder / "taken.h5", Hdf5Access::Create), TreeError);
    EXPECT_EQ(read_file(folder / "taken.h5"), "mine");
}

TEST_F(ForeignFile, NamesFiltersThatItDoesNotKnow) {
    const struct {
        const char* name;
        std::function<herr_t(hid_t)> set_filter;
        const char* unknown;
    } CASES[] = {
        {"none", [](hid_t) { return 0; }, ""},
        {"shuffled",
         [](hid_t list) {
             return H5Pset_shuffle(list) + H5Pset_fletcher32(list) + H5Pset_deflate(list, 1);
         },
         ""},
        {"rounded", [](hid_t list) { return H5Pset_scaleoffset(list, H5Z_SO_FLOAT_DSCALE, 1); },
         ""},
        {"foreign",
         [](hid_t list) {
             return H5Pset_shuffle(list) + H5Pset_filter(list, 305, H5Z_FLAG_OPTIONAL, 0, nullptr);
         },
         "the filter 305"}};
    for (const auto& filtered : CASES) {
        const Id properties(H5Pcreate(H5P_DATASET_CREATE));
        const hsize_t chunk = 8;
        H5Pset_chunk(properties, 1, &chunk);
        ASSERT_GE(filtered.set_filter(properties), 0);
        make_set(filtered.name, H5T_IEEE_F32LE, {24}, properties);
    }
    Hdf5Tree& tree = open();
    for (const auto& filtered : CASES) {
        EXPECT_EQ(tree.describe_unknown_filter(tree.find(tree.root(), filtered.name).value()),
                  filtered.unknown)
            << filtered.name;
    }
}

// A set that is long along its first axis, with lines that cross all of its chunks.
TEST(Hdf5Trees, ReadsLinesAcrossChunks) {
    const TemporaryFolder folder;
    Hdf5Tree tree(folder / "tree.h5", Hdf5Access::Create);
    const ObjectId set = tree.create_dataset(tree.root(), "set", {200, 1000});
    for (std::uint64_t row = 0; row < 200; ++row) {
        tree.write(set, {Extents{row, 0}, Extents{1, 1000}},
                   std::vector<float>(1000, static_cast<float>(row)));
    }
    std::vector<float> line(200);
    tree.read(set, {Extents{0, 999}, Extents{200, 1}}, line);
    for (std::size_t row = 0; row < 200; ++row) {
        ASSERT_EQ(line[row], static_cast<float>(row));
    }
}

// Ends as a program does that was told so, the library's own clean-up included.
[[noreturn]] void write_without_room(const std::filesystem::path& file) {
    signal(SIGXFSZ, SIG_IGN);
    Hdf5Tree tree(file, Hdf5Access::Create);
    const ObjectId set = tree.create_dataset(tree.root(), "set", {1'000'000});
    const rlimit limit{100'000, 100'000};
    setrlimit(RLIMIT_FSIZE, &limit);
    try {
        tree.write(set, {Extents{0}, Extents{1'000'000}}, std::vector<float>(1'000'000, 1.0F));
        tree.close();
    } catch (const TreeError&) {
        std::exit(5);
    }
    std::exit(0);
}

TEST(Hdf5TreesDeathTest, LeavesTheProcessInOrderWhenThereIsNoRoom) {
#ifdef TALVORA_ADDRESS_SANITIZER
    GTEST_SKIP() << "what the library could not write is not given back";
#endif
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // a process that has not used the library
    const TemporaryFolder folder;
    EXPECT_EXIT(write_without_room(folder / "tree.h5"), testing::ExitedWithCode(5), "");
}

} // namespace

} // namespace talvora::host
