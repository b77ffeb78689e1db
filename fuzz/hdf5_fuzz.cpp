// Opens files that other programs might have written and asks a tree for all that they
// hold; then sends the same requests to a tree in a file and to one in memory.
#include "fuzz/finding.h"
#include "fuzz/foreign_file.h"
#include "fuzz/same_bits.h"
#include "fuzz/signals.h"
#include "host/hdf5/hdf5_tree.h"
#include "host/tree/memory_tree.h"

#include <hdf5.h>

#include <algorithm>
#include <fstream>
#include <numeric>
#include <sstream>
#include <unistd.h>

namespace {

using namespace talvora::fuzz;
using namespace talvora::host;

// A file in memory that has a name.
std::filesystem::path scratch_file() {
    return "/dev/shm/talvora-fuzz-" + std::to_string(getpid()) + ".h5";
}

std::string read_bytes(const std::filesystem::path& file) {
    std::ostringstream bytes;
    bytes << std::ifstream(file, std::ios::binary).rdbuf();
    return std::move(bytes).str();
}

std::uint64_t count_of(const Extents& extents) {
    return std::accumulate(extents.begin(), extents.end(), std::uint64_t{1}, std::multiplies());
}

std::vector<float> read_all(DataTree& tree, ObjectId set) {
    const Extents extents = tree.extents(set);
    std::vector<float> samples(count_of(extents));
    tree.read(set, {Extents(extents.size(), 0), extents}, samples);
    return samples;
}

// --- what a foreign file holds

void check_attributes(DataTree& tree, ObjectId object, const std::string& path,
                      const ForeignContent& content) {
    const auto names = tree.list_attributes(object);
    const auto written = content.attributes.find(path);
    if (written != content.attributes.end() && names != written->second) {
        report_finding("the attributes of '" + path + "' are listed wrongly");
    }
    for (const std::string& name : names) {
        try {
            if (!tree.read_attribute(object, name)) {
                report_finding("an attribute is listed and not there: " + name);
            }
        } catch (const TreeError&) {
            // Of a type that is not read, or without a value.
        }
    }
}

void check_samples(const std::vector<float>& samples, const std::vector<float>& written,
                   const std::string& path) {
    const auto [sample, expected] = std::ranges::mismatch(
        samples, written, [](float left, float right) { return same_bits(left, right); });
    if (expected != written.end()) {
        report_finding("sample " + std::to_string(sample - samples.begin()) + " of " + path +
                       " is " + std::to_string(*sample) + ", written was " +
                       std::to_string(*expected));
    }
}

void check_set(DataTree& tree, ObjectId set, const std::string& path,
               const ForeignContent& content) {
    check_attributes(tree, set, path, content);
    const std::vector<float> samples = read_all(tree, set);
    const auto written = content.float_sets.find(path);
    if (written != content.float_sets.end()) {
        if (tree.extents(set) != written->second.extents) {
            report_finding("a data set has another shape than was written: " + path);
        }
        check_samples(samples, written->second.samples, path);
    }
}

// Each link leads to exactly one kind of object.
void check_links(const std::vector<std::string>& groups, const std::vector<std::string>& sets,
                 const std::vector<OtherObject>& others, const std::string& path,
                 const ForeignContent& content) {
    std::vector<std::string> names = groups;
    names.insert(names.end(), sets.begin(), sets.end());
    for (const OtherObject& other : others) {
        names.push_back(other.name);
        if (other.description.empty()) {
            report_finding("an object is not described: " + other.name);
        }
    }
    std::ranges::sort(names);
    const auto written = content.links.find(path);
    if (written != content.links.end() && names != written->second) {
        report_finding("the objects of '" + path + "' are listed wrongly");
    }
}

// Groups may contain each other.
void check_group(DataTree& tree, ObjectId group, const std::string& path,
                 const ForeignContent& content, int depth) {
    const auto groups = tree.list_groups(group);
    const auto sets = tree.list_datasets(group);
    check_links(groups, sets, tree.list_others(group), path, content);
    check_attributes(tree, group, path, content);
    const std::string prefix = path.empty() ? "" : path + "/";
    for (const std::string& name : sets) {
        check_set(tree, tree.find(group, name).value(), prefix + name, content);
    }
    for (const std::string& name : groups) {
        if (depth < 4) {
            check_group(tree, tree.find(group, name).value(), prefix + name, content, depth + 1);
        }
    }
}

void read_foreign(const std::filesystem::path& file, const ForeignContent& content) {
    const std::string before = read_bytes(file);
    {
        Hdf5Tree tree(file, Hdf5Access::ReadOnly);
        check_group(tree, tree.root(), "", content, 0);
    }
    if (read_bytes(file) != before) {
        report_finding("reading changed the file");
    }
}

// --- what becomes of it when it is changed

// Every set gets new extents and keeps what lies inside both.
void resize_sets(const std::filesystem::path& file, Choices& choices, ForeignContent& content) {
    Hdf5Tree tree(file, Hdf5Access::ReadWrite);
    for (auto& [path, set] : content.float_sets) {
        MemoryTree model;
        const ObjectId in_memory = model.create_dataset(model.root(), "x", set.extents);
        model.write(in_memory, {Extents(set.extents.size(), 0), set.extents}, set.samples);
        Extents extents = set.extents;
        extents[choices.ConsumeIntegralInRange<std::size_t>(0, extents.size() - 1)] =
            choices.ConsumeIntegralInRange<std::uint64_t>(0, 20);
        model.resize(in_memory, extents);
        try {
            tree.resize(tree.find(tree.root(), path).value(), extents);
            set = {extents, read_all(model, in_memory)};
        } catch (const TreeError& error) {
            if (std::string_view(error.what()).find("hard links") == std::string_view::npos) {
                report_finding(std::string("a set could not be resized: ") + error.what());
            }
        }
    }
    tree.close();
}

// --- the same requests to two trees

constexpr const char* PATHS[] = {"a", "a/b", "a/b/c", "Imu/Rate", "/a//b/",
                                 "",  "b",   "a/ä",   ".",        ".."};

AttributeValue make_value(Choices& choices) {
    const auto integer = choices.ConsumeIntegral<std::int64_t>();
    const float number = make_float(choices);
    std::string text = choices.ConsumeRandomLengthString(6);
    switch (choices.ConsumeIntegralInRange<int>(0, 6)) {
    case 0:
        return integer;
    case 1:
        return number;
    case 2:
        return static_cast<double>(number) / 3;
    case 3:
        return text;
    case 4:
        return IntegerArray{{integer, 1}, {choices.ConsumeBool() ? 2U : 1U}};
    case 5:
        return NumberArray{{}, {0}};
    default:
        return TextArray{{text, "b", ""}, {3}};
    }
}

// The answer of a tree in words: what it gave, or that it refused.
using Answer = std::string;

std::string text_of(const AttributeValue& value) {
    std::string text = std::to_string(value.index());
    const auto add = [&text]<typename T>(const T& item) {
        if constexpr (std::is_arithmetic_v<T>) {
            text +=
                " " +
                std::to_string(
                    std::bit_cast<std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>>(
                        item));
        } else {
            text += " '" + item + "'";
        }
    };
    std::visit(
        [&]<typename T>(const T& given) {
            if constexpr (requires { given.values; }) {
                std::ranges::for_each(given.values, add);
                std::ranges::for_each(given.extents, add);
            } else {
                add(given);
            }
        },
        value);
    return text;
}

// Reads everything below the group.
std::string text_of(DataTree& tree, ObjectId object) {
    std::string text = tree.path(object) + "{";
    for (const std::string& name : tree.list_attributes(object)) {
        text += name + "=" + text_of(tree.read_attribute(object, name).value()) + ";";
    }
    if (tree.kind(object) == ObjectKind::DataSet) {
        for (const float sample : read_all(tree, object)) {
            text += std::to_string(std::bit_cast<std::uint32_t>(sample)) + ",";
        }
        return text + "}";
    }
    for (const std::string& name : tree.list_datasets(object)) {
        text += text_of(tree, tree.find(object, name).value());
    }
    for (const std::string& name : tree.list_groups(object)) {
        text += text_of(tree, tree.find(object, name).value());
    }
    return text + "}";
}

struct Request {
    int kind;
    std::string path;
    Extents extents;
    Extents starts;
    std::vector<float> samples;
    std::string name;
    AttributeValue value;
};

Request make_request(Choices& choices) {
    Request request;
    request.kind = choices.ConsumeIntegralInRange<int>(0, 5);
    request.path = pick(choices, PATHS);
    request.extents.resize(choices.ConsumeIntegralInRange<std::size_t>(1, 3));
    request.starts.resize(request.extents.size());
    std::ranges::generate(request.extents,
                          [&] { return choices.ConsumeIntegralInRange<std::uint64_t>(0, 6); });
    std::ranges::generate(request.starts,
                          [&] { return choices.ConsumeIntegralInRange<std::uint64_t>(0, 3); });
    request.samples = make_samples(choices, count_of(request.extents));
    request.name = choices.ConsumeBool() ? "SampleRate" : choices.ConsumeRandomLengthString(3);
    request.value = make_value(choices);
    return request;
}

Answer perform(DataTree& tree, const Request& request) {
    if (request.kind == 0) {
        return tree.path(tree.create_group(tree.root(), request.path));
    }
    if (request.kind == 1) {
        return tree.path(tree.create_dataset(tree.root(), request.path, request.extents));
    }
    const auto object = tree.find(tree.root(), request.path);
    if (!object) {
        return "nothing";
    }
    std::vector<float> samples = request.samples;
    switch (request.kind) {
    case 2:
        tree.write(*object, {request.starts, request.extents}, samples);
        return "written";
    case 3:
        tree.resize(*object, request.extents);
        return "resized";
    case 4:
        tree.read(*object, {request.starts, request.extents}, samples);
        return std::to_string(samples.size());
    default:
        tree.write_attribute(*object, request.name, request.value);
        return text_of(tree.read_attribute(*object, request.name).value());
    }
}

Answer ask(DataTree& tree, const Request& request) {
    try {
        return perform(tree, request);
    } catch (const TreeError& error) {
        return std::string("refused");
    }
}

void compare_trees(const std::filesystem::path& file, Choices& choices) {
    std::filesystem::remove(file);
    MemoryTree memory;
    Hdf5Tree stored(file, Hdf5Access::Create);
    const int request_count = choices.ConsumeIntegralInRange<int>(0, 12);
    for (int i = 0; i < request_count; ++i) {
        const Request request = make_request(choices);
        const Answer expected = ask(memory, request);
        if (const Answer got = ask(stored, request); got != expected) {
            report_finding("request " + std::to_string(request.kind) + " of '" + request.path +
                           "': the file says " + got + ", memory " + expected);
        }
    }
    const std::string expected = text_of(memory, memory.root());
    if (text_of(stored, stored.root()) != expected) {
        report_finding("a tree in a file holds something else than one in memory");
    }
    stored.close();
    Hdf5Tree reopened(file, Hdf5Access::ReadOnly);
    if (text_of(reopened, reopened.root()) != expected) {
        report_finding("a tree in a file holds something else when it is opened again");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
    Choices choices(data, size);
    const std::filesystem::path file = scratch_file();
    if (choices.ConsumeBool()) {
        compare_trees(file, choices);
    } else {
        ForeignContent content = write_foreign_file(file, choices);
        read_foreign(file, content);
        resize_sets(file, choices, content);
        content.links.clear(); // a set that was made anew is found under one name alone
        read_foreign(file, content);
    }
    std::filesystem::remove(file);
    return 0;
}
