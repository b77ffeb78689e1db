#include "fuzz/foreign_file.h"

#include "fuzz/finding.h"
#include "fuzz/signals.h"
#include "host/hdf5/hdf5_calls.h"

#include <algorithm>
#include <numeric>

namespace talvora::fuzz {

namespace {

using host::hdf5::Id;

constexpr const char* NAMES[] = {"Rate", "Imu", "a", "b", "Knöchel", " ", "x.y", "..", "Labels"};
constexpr std::uint64_t MOST_SAMPLES = 4096;
constexpr int DEEPEST = 3;

Id must(hid_t id) {
    if (id < 0) {
        H5Eprint2(H5E_DEFAULT, stderr);
        report_finding("the file for the test could not be written");
    }
    return Id(id);
}

// --- types

Id text_type(std::size_t size, H5T_str_t padding, H5T_cset_t set) {
    Id type = must(H5Tcopy(H5T_C_S1));
    H5Tset_size(type, size);
    H5Tset_strpad(type, padding);
    H5Tset_cset(type, set);
    return type;
}

Id half_type() {
    Id type = must(H5Tcopy(H5T_IEEE_F32LE));
    H5Tset_fields(type, 15, 10, 5, 0, 10);
    H5Tset_size(type, 2);
    H5Tset_ebias(type, 15);
    return type;
}

Id compound_type() {
    Id type = must(H5Tcreate(H5T_COMPOUND, 16));
    H5Tinsert(type, "t", 0, H5T_IEEE_F64LE);
    H5Tinsert(type, "n", 8, H5T_STD_I64LE);
    return type;
}

Id enum_type() {
    Id type = must(H5Tenum_create(H5T_STD_I8LE));
    for (signed char value = 0; value < 2; ++value) {
        H5Tenum_insert(type, value == 0 ? "FALSE" : "TRUE", &value);
    }
    return type;
}

Id array_type() {
    const hsize_t extents[] = {2, 3};
    return must(H5Tarray_create2(H5T_IEEE_F32LE, 2, extents));
}

// Any type; those of fixed size can be filled with bytes as they come.
Id make_type(Choices& choices) {
    switch (choices.ConsumeIntegralInRange<int>(0, 18)) {
    case 0:
        return must(H5Tcopy(H5T_STD_I8LE));
    case 1:
        return must(H5Tcopy(H5T_STD_U8BE));
    case 2:
        return must(H5Tcopy(H5T_STD_I16BE));
    case 3:
        return must(H5Tcopy(H5T_STD_U32LE));
    case 4:
        return must(H5Tcopy(H5T_STD_I64BE));
    case 5:
        return must(H5Tcopy(H5T_STD_U64LE));
    case 6:
        return must(H5Tcopy(H5T_IEEE_F32LE));
    case 7:
        return must(H5Tcopy(H5T_IEEE_F64BE));
    case 8:
        return half_type();
    case 9:
        return text_type(H5T_VARIABLE, H5T_STR_NULLTERM, H5T_CSET_UTF8);
    case 10:
        return text_type(1, H5T_STR_NULLTERM, H5T_CSET_ASCII);
    case 11:
        return text_type(7, H5T_STR_SPACEPAD, H5T_CSET_UTF8);
    case 12:
        return text_type(5, H5T_STR_NULLPAD, H5T_CSET_ASCII);
    case 13:
        return compound_type();
    case 14:
        return enum_type();
    case 15:
        return array_type();
    case 16:
        return must(H5Tvlen_create(H5T_STD_I32LE));
    case 17:
        return must(H5Tcopy(H5T_STD_REF_OBJ));
    default:
        return must(H5Tcreate(H5T_OPAQUE, 3));
    }
}

// --- spaces

std::vector<std::uint64_t> make_extents(Choices& choices) {
    static constexpr std::uint64_t EXTENTS[] = {3, 1, 2, 0, 7, 100, 1000};
    const auto rank = choices.ConsumeIntegralInRange<std::size_t>(0, 3);
    return pick_extents(choices, rank, EXTENTS, MOST_SAMPLES);
}

std::uint64_t count_of(const std::vector<std::uint64_t>& extents) {
    return std::accumulate(extents.begin(), extents.end(), std::uint64_t{1}, std::multiplies());
}

Id make_space(const std::vector<std::uint64_t>& extents, bool is_resizable) {
    if (extents.empty()) {
        return must(H5Screate(H5S_SCALAR));
    }
    const std::vector<hsize_t> dims(extents.begin(), extents.end());
    const std::vector<hsize_t> most(extents.size(), H5S_UNLIMITED);
    return must(H5Screate_simple(static_cast<int>(dims.size()), dims.data(),
                                 is_resizable ? most.data() : nullptr));
}

// --- the writer

class Writer {
  public:
    Writer(hid_t file, Choices& choices) : file_(file), choices_(choices) {}

    void fill_group(hid_t group, const std::string& path, int depth) {
        content_.links[path];
        const int link_count = choices_.ConsumeIntegralInRange<int>(0, 4);
        for (int i = 0; i < link_count; ++i) {
            const std::string name = pick(choices_, NAMES);
            auto& names = content_.links[path];
            if (std::ranges::find(names, name) == names.end()) {
                names.push_back(name);
                make_link(group, path, name, depth);
            }
        }
        std::ranges::sort(content_.links[path]);
        make_attributes(group, path);
    }

    ForeignContent take_content() { return std::move(content_); }

  private:
    void make_link(hid_t group, const std::string& path, const std::string& name, int depth) {
        const std::string child = path.empty() ? name : path + "/" + name;
        switch (choices_.ConsumeIntegralInRange<int>(0, 9)) {
        case 0:
        case 1:
            return make_group(group, child, name, depth);
        case 2:
        case 3:
        case 4:
            return make_float_set(group, child, name);
        case 5:
            return make_other_set(group, child, name);
        case 6:
            H5Lcreate_soft(pick(choices_, TARGETS), group, name.c_str(), H5P_DEFAULT, H5P_DEFAULT);
            return;
        case 7:
            H5Lcreate_external("nowhere.h5", "/x", group, name.c_str(), H5P_DEFAULT, H5P_DEFAULT);
            return;
        case 8:
            return make_hard_link(group, child, name);
        default:
            H5Tcommit2(group, name.c_str(), make_type(choices_), H5P_DEFAULT, H5P_DEFAULT,
                       H5P_DEFAULT);
        }
    }

    void make_group(hid_t parent, const std::string& path, const std::string& name, int depth) {
        const Id group =
            must(H5Gcreate2(parent, name.c_str(), H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
        objects_.push_back(path);
        if (depth < DEEPEST) {
            fill_group(group, path, depth + 1);
        }
    }

    // A second name of an object that stands there, groups above this one included.
    void make_hard_link(hid_t group, const std::string& path, const std::string& name) {
        if (objects_.empty()) {
            auto& names =
                content_
                    .links[path.substr(0, path.size() - std::min(path.size(), name.size() + 1))];
            std::erase(names, name);
            return;
        }
        const auto index = choices_.ConsumeIntegralInRange<std::size_t>(0, objects_.size() - 1);
        H5Lcreate_hard(file_, ("/" + objects_[index]).c_str(), group, name.c_str(), H5P_DEFAULT,
                       H5P_DEFAULT);
    }

    Id make_layout(const std::vector<std::uint64_t>& extents, bool is_resizable) {
        Id properties = must(H5Pcreate(H5P_DATASET_CREATE));
        if (is_resizable || (!extents.empty() && choices_.ConsumeBool())) {
            std::vector<hsize_t> chunk(extents.size());
            std::ranges::generate(
                chunk, [&] { return choices_.ConsumeIntegralInRange<hsize_t>(1, 3) * 4; });
            if (!is_resizable) {
                std::ranges::transform(
                    chunk, extents, chunk.begin(), [](hsize_t c, std::uint64_t e) {
                        return std::clamp<hsize_t>(c, 1, std::max<hsize_t>(e, 1));
                    });
            }
            H5Pset_chunk(properties, static_cast<int>(chunk.size()), chunk.data());
        } else if (count_of(extents) < 1000 && choices_.ConsumeBool()) {
            H5Pset_layout(properties, H5D_COMPACT);
        }
        if (one_in(choices_, 4)) {
            const float fill = make_float(choices_);
            H5Pset_fill_value(properties, H5T_NATIVE_FLOAT, &fill);
        }
        return properties;
    }

    void make_float_set(hid_t group, const std::string& path, const std::string& name) {
        FloatSet set{make_extents(choices_), {}};
        if (set.extents.empty()) {
            set.extents.push_back(1);
        }
        const bool is_resizable = choices_.ConsumeBool();
        const hid_t type = choices_.ConsumeBool() ? H5T_IEEE_F32LE : H5T_IEEE_F32BE;
        const Id made =
            must(H5Dcreate2(group, name.c_str(), type, make_space(set.extents, is_resizable),
                            H5P_DEFAULT, make_layout(set.extents, is_resizable), H5P_DEFAULT));
        set.samples = make_samples(choices_, count_of(set.extents));
        if (!set.samples.empty()) {
            H5Dwrite(made, H5T_NATIVE_FLOAT, H5S_ALL, H5S_ALL, H5P_DEFAULT, set.samples.data());
        }
        content_.float_sets.emplace(path, std::move(set));
        objects_.push_back(path);
        make_attributes(made, path);
    }

    // Of another type than a tree offers, or without dimensions.
    void make_other_set(hid_t group, const std::string& path, const std::string& name) {
        const Id type = make_type(choices_);
        const auto extents = H5Tequal(type, H5T_IEEE_F32LE) > 0 ? std::vector<std::uint64_t>{}
                                                                : make_extents(choices_);
        const Id set = must(H5Dcreate2(group, name.c_str(), type, make_space(extents, false),
                                       H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
        objects_.push_back(path);
        make_attributes(set, path);
    }

    // --- attributes

    void make_attributes(hid_t object, const std::string& path) {
        const int count = choices_.ConsumeIntegralInRange<int>(0, 3);
        for (int i = 0; i < count; ++i) {
            static constexpr const char* ATTRIBUTES[] = {"SampleRate", "StartTime", "Labels",
                                                         "unit", "größe"};
            const char* name = pick(choices_, ATTRIBUTES);
            if (H5Aexists(object, name) == 0) {
                make_attribute(object, name);
                content_.attributes[path].emplace_back(name);
            }
        }
        std::ranges::sort(content_.attributes[path]);
    }

    void make_attribute(hid_t object, const char* name) {
        const Id type = make_type(choices_);
        const bool has_value = !one_in(choices_, 8);
        std::vector<std::uint64_t> extents;
        if (one_in(choices_, 3)) {
            extents.push_back(choices_.ConsumeIntegralInRange<std::uint64_t>(0, 4));
        }
        const Id space = has_value ? make_space(extents, false) : must(H5Screate(H5S_NULL));
        const Id attribute = must(H5Acreate2(object, name, type, space, H5P_DEFAULT, H5P_DEFAULT));
        if (has_value && choices_.ConsumeBool()) {
            write_attribute(attribute, type, count_of(extents));
        }
    }

    void write_attribute(hid_t attribute, hid_t type, std::uint64_t count) {
        if (H5Tis_variable_str(type) > 0) {
            const std::string text = choices_.ConsumeRandomLengthString(8);
            std::vector<const char*> texts(count + 1, text.c_str());
            if (one_in(choices_, 4)) {
                texts[0] = nullptr;
            }
            H5Awrite(attribute, type, texts.data());
        } else if (H5Tget_class(type) != H5T_VLEN && H5Tget_class(type) != H5T_REFERENCE) {
            std::vector<std::uint8_t> bytes(count * H5Tget_size(type) + 1);
            choices_.ConsumeData(bytes.data(), bytes.size());
            H5Awrite(attribute, type, bytes.data());
        }
    }

    static constexpr const char* TARGETS[] = {"/",       "/Imu", "Rate", "/Imu/Rate",
                                              "nowhere", ".",    "..",   "/a/b"};

    hid_t file_;
    Choices& choices_;
    ForeignContent content_;
    std::vector<std::string> objects_; // that can get a second name
};

} // namespace

ForeignContent write_foreign_file(const std::filesystem::path& file, Choices& choices) {
    const Id access = must(H5Pcreate(H5P_FILE_ACCESS));
    H5Pset_fclose_degree(access, H5F_CLOSE_STRONG);
    if (choices.ConsumeBool()) {
        H5Pset_libver_bounds(access, H5F_LIBVER_LATEST, H5F_LIBVER_LATEST);
    }
    const Id written = must(H5Fcreate(file.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, access));
    const Id root = must(H5Gopen2(written, "/", H5P_DEFAULT));
    Writer writer(written, choices);
    writer.fill_group(root, "", 0);
    return writer.take_content();
}

} // namespace talvora::fuzz
