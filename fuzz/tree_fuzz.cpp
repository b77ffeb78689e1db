// Trees of the C library: sets of any rank, attributes of any type, units run on them with any
// words. A call that fails has changed nothing and says why; borrowed samples are never written
// to; what was written to a file and read is what it was.
#include "fuzz/finding.h"
#include "fuzz/signals.h"
#include "library/talvora/talvora.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using namespace talvora::fuzz;

constexpr std::uint64_t EXTENTS[] = {0, 1, 2, 3, 5, 17, 40, 211};
constexpr std::uint64_t MOST_SAMPLES = 2000;
constexpr const char* PATHS[] = {"G/a", "G/b", "G/H/c", "G", "H/d", "", "/", "G//e", "..", "G/é"};
constexpr const char* NAMES[] = {"SampleRate", "Labels",       "Unit",   "Components",
                                 "Axis",       "scale_factor", "Tr\xff", "talvora_history"};
constexpr const char* TEXTS[] = {"", "X", "a\nb", "Grüße", "\xff\xfe", "360", "nan", "[]"};
constexpr double NUMBERS[] = {0.0,
                              -1.0,
                              100.0,
                              1e-300,
                              1e300,
                              9223372036854775808.0,
                              std::numeric_limits<double>::quiet_NaN(),
                              std::numeric_limits<double>::infinity()};
constexpr std::int64_t INTEGERS[] = {0,
                                     1,
                                     -1,
                                     100,
                                     std::numeric_limits<std::int64_t>::max(),
                                     std::numeric_limits<std::int64_t>::min()};

// ---------------------------------------------------------------------------
// Calls

struct Outcome {
    talvora_status status = TALVORA_OK;
    std::string error;
};

// What nothing that a caller does may come to is a finding.
template <class Call>
Outcome make(const char* what, Call call) {
    char error[2000] = "";
    const talvora_status status = call(error, sizeof error);
    if (status == TALVORA_INTERNAL_ERROR || status == TALVORA_PLUGIN_ERROR) {
        report_finding(std::string(what) + ": status " + std::to_string(status) + ": " + error);
    }
    if ((status == TALVORA_OK) != (std::strlen(error) == 0)) {
        report_finding(std::string(what) + ": status " + std::to_string(status) +
                       " with the sentence '" + error + "'");
    }
    return {status, error};
}

template <class Call>
void make_well(const char* what, Call call) {
    if (const Outcome outcome = make(what, call); outcome.status != TALVORA_OK) {
        report_finding(std::string(what) + ": " + outcome.error);
    }
}

struct DestroyTree {
    void operator()(talvora_tree* tree) const { talvora_tree_destroy(tree); }
};
using Tree = std::unique_ptr<talvora_tree, DestroyTree>;

Tree create_tree() {
    talvora_tree* tree = nullptr;
    make_well("create", [&](char* error, std::size_t size) {
        return talvora_tree_create(&tree, error, size);
    });
    return Tree(tree);
}

const talvora_plugin* plugin() {
    static const talvora_plugin* const opened = [] {
        talvora_plugin* made = nullptr;
        make_well("open", [&](char* error, std::size_t size) {
            return talvora_plugin_open(SIGNAL_PLUGIN, &made, error, size);
        });
        return made;
    }();
    return opened;
}

// ---------------------------------------------------------------------------
// What a tree holds, as bytes

template <class Value>
void append(std::string& bytes, const Value* values, std::size_t count) {
    bytes.append(reinterpret_cast<const char*>(values), count * sizeof(Value));
}

std::size_t count_of(const std::int64_t* extents, std::int32_t rank) {
    std::size_t count = 1;
    for (std::int32_t axis = 0; axis < rank; ++axis) {
        count *= static_cast<std::size_t>(extents[axis]);
    }
    return count;
}

struct Names {
    std::vector<std::pair<std::string, talvora_kind>> list;

    static std::int32_t take_object(void* context, const char* path, talvora_kind kind) {
        static_cast<Names*>(context)->list.emplace_back(path, kind);
        return 0;
    }
    static std::int32_t take_attribute(void* context, const char* name) {
        return take_object(context, name, 0);
    }
};

void append_attribute(std::string& bytes, talvora_tree* tree, const std::string& path,
                      const std::string& name) {
    talvora_attribute attribute{};
    attribute.struct_size = sizeof attribute;
    make_well("get_attribute", [&](char* error, std::size_t size) {
        return talvora_tree_get_attribute(tree, path.c_str(), name.c_str(), &attribute, error,
                                          size);
    });
    const std::size_t count = count_of(attribute.extents, attribute.rank);
    bytes += "\n  @" + name + ' ' + std::to_string(attribute.type) + ' ';
    append(bytes, attribute.extents, static_cast<std::size_t>(attribute.rank));
    if (attribute.type == TALVORA_INTEGERS) {
        append(bytes, attribute.integers, count);
    } else if (attribute.type == TALVORA_TEXTS) {
        for (std::size_t i = 0; i < count; ++i) {
            bytes.append(attribute.texts[i]).push_back('\0');
        }
    } else {
        append(bytes, attribute.numbers, count);
    }
}

void append_attributes(std::string& bytes, talvora_tree* tree, const std::string& path) {
    Names names;
    make_well("visit_attributes", [&](char* error, std::size_t size) {
        return talvora_tree_visit_attributes(tree, path.c_str(), Names::take_attribute, &names,
                                             error, size);
    });
    std::ranges::sort(names.list);
    for (const auto& [name, kind] : names.list) {
        append_attribute(bytes, tree, path, name);
    }
}

void append_set(std::string& bytes, talvora_tree* tree, const std::string& path) {
    talvora_array array{};
    array.struct_size = sizeof array;
    make_well("get_set", [&](char* error, std::size_t size) {
        return talvora_tree_get_set(tree, path.c_str(), &array, error, size);
    });
    append(bytes, array.extents, static_cast<std::size_t>(array.rank));
    append(bytes, static_cast<const float*>(array.samples), count_of(array.extents, array.rank));
}

std::string content_of(talvora_tree* tree) {
    Names objects;
    make_well("visit", [&](char* error, std::size_t size) {
        return talvora_tree_visit(tree, Names::take_object, &objects, error, size);
    });
    std::string bytes;
    append_attributes(bytes, tree, "");
    for (const auto& [path, kind] : objects.list) {
        bytes += '\n' + path + ' ' + std::to_string(kind) + ' ';
        if (kind == TALVORA_SET) {
            append_set(bytes, tree, path);
        }
        append_attributes(bytes, tree, path);
    }
    return bytes;
}

// ---------------------------------------------------------------------------
// A tree that an input makes

struct Borrowed {
    std::vector<float> samples;
    std::vector<float> before;
};

void check_untouched(const std::vector<std::unique_ptr<Borrowed>>& borrowed) {
    for (const auto& each : borrowed) {
        if (!each->samples.empty() && std::memcmp(each->samples.data(), each->before.data(),
                                                  each->samples.size() * sizeof(float)) != 0) {
            report_finding("borrowed samples were written to");
        }
    }
}

std::string make_path(Choices& choices) {
    return one_in(choices, 12) ? choices.ConsumeRandomLengthString(20)
                               : std::string(pick(choices, PATHS));
}

// What is refused leaves the tree as it was; looked at now and then, for it takes its time.
template <class Call>
void change(Choices& choices, const char* what, talvora_tree* tree, Call call) {
    const bool is_looked_at = one_in(choices, 8);
    const std::string before = is_looked_at ? content_of(tree) : "";
    const Outcome outcome = make(what, call);
    if (is_looked_at && outcome.status != TALVORA_OK && content_of(tree) != before) {
        report_finding(std::string(what) + ", refused, has changed the tree: " + outcome.error);
    }
}

std::unique_ptr<Borrowed> add_set(Choices& choices, talvora_tree* tree) {
    const auto rank = choices.ConsumeIntegralInRange<std::size_t>(0, 5);
    const auto wanted = pick_extents(choices, rank, EXTENTS, MOST_SAMPLES);
    const std::vector<std::int64_t> extents(wanted.begin(), wanted.end());
    const std::size_t count = count_of(extents.data(), static_cast<std::int32_t>(rank));
    auto kept = std::make_unique<Borrowed>();
    kept->samples = make_samples(choices, count);
    kept->before = kept->samples;
    std::vector<double> wide(kept->samples.begin(), kept->samples.end());
    talvora_array array{};
    array.struct_size = sizeof array;
    array.samples = kept->samples.data();
    array.extents = extents.data();
    array.rank = static_cast<std::int32_t>(rank);
    array.type = TALVORA_FLOAT32;
    if (one_in(choices, 3)) {
        array.samples = wide.data();
        array.type = TALVORA_FLOAT64;
        if (!wide.empty() && one_in(choices, 4)) {
            wide.back() = pick(choices, NUMBERS);
        }
    }
    const std::string path = make_path(choices);
    change(choices, "add_set", tree, [&](char* error, std::size_t size) {
        return talvora_tree_add_set(tree, path.c_str(), &array, error, size);
    });
    return kept;
}

void set_attribute(Choices& choices, talvora_tree* tree) {
    talvora_attribute attribute{};
    attribute.struct_size = sizeof attribute;
    attribute.type = choices.ConsumeIntegralInRange<std::int32_t>(0, 5);
    constexpr std::uint64_t ATTRIBUTE_EXTENTS[] = {0, 1, 2, 3, 40};
    const auto wanted = pick_extents(choices, one_in(choices, 3) ? 1 + choices.ConsumeBool() : 0,
                                     ATTRIBUTE_EXTENTS, 100);
    const std::vector<std::int64_t> extents(wanted.begin(), wanted.end());
    attribute.rank = static_cast<std::int32_t>(extents.size());
    attribute.extents = extents.data();
    const std::size_t count = count_of(extents.data(), attribute.rank);
    const std::vector<std::int64_t> integers(count, pick(choices, INTEGERS));
    const std::vector<double> numbers(count, pick(choices, NUMBERS));
    const std::vector<const char*> texts(count, pick(choices, TEXTS));
    attribute.integers = integers.data();
    attribute.numbers = numbers.data();
    attribute.texts = texts.data();
    const std::string path = make_path(choices);
    const std::string name =
        one_in(choices, 12) ? choices.ConsumeRandomLengthString(10) : pick(choices, NAMES);
    change(choices, "set_attribute", tree, [&](char* error, std::size_t size) {
        return talvora_tree_set_attribute(tree, path.c_str(), name.c_str(), &attribute, error,
                                          size);
    });
}

// So that units have something to take.
void set_rate(talvora_tree* tree, const char* path, double rate) {
    talvora_attribute attribute{};
    attribute.struct_size = sizeof attribute;
    attribute.type = TALVORA_FLOAT_NUMBERS;
    attribute.numbers = &rate;
    make("set_rate", [&](char* error, std::size_t size) {
        return talvora_tree_set_attribute(tree, path, "SampleRate", &attribute, error, size);
    });
}

// ---------------------------------------------------------------------------
// Runs

std::string make_value(Choices& choices) {
    constexpr const char* VALUES[] = {"G",
                                      "G/a",
                                      "*",
                                      "G/H",
                                      "New",
                                      "0",
                                      "1",
                                      "2",
                                      "-1",
                                      "4",
                                      "10",
                                      "5.5",
                                      "1e9",
                                      "nan",
                                      "inf",
                                      "true",
                                      "false",
                                      "ZeroLagLowPass",
                                      "X",
                                      "",
                                      "all",
                                      "4294967300",
                                      "ZeroLagBandPass",
                                      "ZeroLagHighPass"};
    return one_in(choices, 10) ? choices.ConsumeRandomLengthString(12) : pick(choices, VALUES);
}

std::string make_word(Choices& choices, std::size_t unit, std::size_t parameter_count) {
    if (parameter_count == 0 || one_in(choices, 15)) {
        return choices.ConsumeRandomLengthString(20);
    }
    talvora_parameter parameter{};
    parameter.struct_size = sizeof parameter;
    const auto index = choices.ConsumeIntegralInRange<std::size_t>(0, parameter_count - 1);
    make_well("parameter", [&](char* error, std::size_t size) {
        return talvora_plugin_parameter(plugin(), unit, index, &parameter, error, size);
    });
    return std::string(parameter.key) + "=" + make_value(choices);
}

struct Listener {
    int answers_left = -1; // before the run is stopped; below 0: never
    static std::int32_t ask(void* context) {
        int& left = static_cast<Listener*>(context)->answers_left;
        return left < 0 ? 0 : left-- == 0 ? 1 : 0;
    }
    static void tell(void*, std::int32_t level, const char* text) {
        if (level < TALVORA_ERROR || level > TALVORA_INFO || std::strlen(text) == 0) {
            report_finding("told nothing, or at no level");
        }
    }
};

std::vector<const char*> accept_some(Choices& choices) {
    std::vector<const char*> names;
    const bool accepts_all = one_in(choices, 2);
    for (std::size_t i = 0; talvora_guard_name(i) != nullptr; ++i) {
        if (accepts_all || one_in(choices, 8)) {
            names.push_back(talvora_guard_name(i));
        }
    }
    if (one_in(choices, 30)) {
        names.push_back("no-guard");
    }
    return names;
}

void run_unit(Choices& choices, talvora_tree* tree) {
    talvora_unit unit{};
    unit.struct_size = sizeof unit;
    const auto index =
        choices.ConsumeIntegralInRange<std::size_t>(0, talvora_plugin_unit_count(plugin()) - 1);
    make_well("unit", [&](char* error, std::size_t size) {
        return talvora_plugin_unit(plugin(), index, &unit, error, size);
    });
    std::vector<std::string> words;
    if (!one_in(choices, 6)) {
        words.emplace_back("SourceGroup=G");
    }
    for (int left = choices.ConsumeIntegralInRange(0, 6); left > 0; --left) {
        words.push_back(make_word(choices, index, unit.parameter_count));
    }
    std::vector<const char*> given;
    for (const std::string& word : words) {
        given.push_back(word.c_str());
    }
    const std::vector<const char*> accepted = accept_some(choices);
    Listener listener{one_in(choices, 8) ? choices.ConsumeIntegralInRange(0, 20) : -1};
    talvora_run_options options{};
    options.struct_size = sizeof options;
    options.accepted_guards = accepted.data();
    options.accepted_guard_count = accepted.size();
    options.tell = Listener::tell;
    options.should_stop = Listener::ask;
    options.context = &listener;
    const std::string before = content_of(tree);
    const Outcome outcome = make(unit.name, [&](char* error, std::size_t size) {
        return talvora_run(plugin(), index, tree, given.data(), given.size(), &options, error,
                           size);
    });
    if (outcome.status != TALVORA_OK && content_of(tree) != before) {
        report_finding(std::string(unit.name) + ", failed, has changed the tree: " + outcome.error);
    }
}

// ---------------------------------------------------------------------------
// Files

void check_file(talvora_tree* tree) {
    static const std::string file =
        std::filesystem::temp_directory_path() / ("tree_fuzz." + std::to_string(getpid()));
    if (make("write", [&](char* error, std::size_t size) {
            return talvora_tree_write(tree, file.c_str(), 1, error, size);
        }).status != TALVORA_OK) {
        return;
    }
    talvora_tree* read = nullptr;
    make_well("read", [&](char* error, std::size_t size) {
        return talvora_tree_read(file.c_str(), &read, Listener::tell, nullptr, error, size);
    });
    const Tree again(read);
    std::filesystem::remove(file);
    if (content_of(read) != content_of(tree)) {
        report_finding("a file reads as another tree\n" + content_of(tree) + "\n----\n" +
                       content_of(read));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    std::vector<std::unique_ptr<Borrowed>> borrowed; // until the tree is destroyed
    const Tree tree = create_tree();
    for (int left = choices.ConsumeIntegralInRange(1, 4); left > 0; --left) {
        borrowed.push_back(add_set(choices, tree.get()));
    }
    set_rate(tree.get(), "G/a", 100.0);
    set_rate(tree.get(), "G/b", one_in(choices, 4) ? pick(choices, NUMBERS) : 100.0);
    for (int left = choices.ConsumeIntegralInRange(0, 4); left > 0; --left) {
        set_attribute(choices, tree.get());
    }
    for (int left = choices.ConsumeIntegralInRange(1, 3); left > 0; --left) {
        run_unit(choices, tree.get());
    }
    if (one_in(choices, 4)) {
        check_file(tree.get());
    }
    check_untouched(borrowed);
    return 0;
}
