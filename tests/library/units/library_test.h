// The library's handles, owned; its calls with the sentence of a failure; and all that a tree
// holds, to be compared.
#pragma once

#include "library/talvora/talvora.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <numeric>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace talvora::library_test {

using Extents = std::vector<std::int64_t>;
using Floats = std::vector<float>;
using Words = std::vector<std::string>;

struct Outcome {
    talvora_status status = TALVORA_INTERNAL_ERROR;
    std::string error;

    friend bool operator==(const Outcome&, const Outcome&) = default;
};

inline void PrintTo(const Outcome& outcome, std::ostream* out) {
    *out << outcome.status << " '" << outcome.error << "'";
}

// Does `call(error, error_size)`. On success nothing may be written there.
template <typename Call>
Outcome run_call(const Call& call) {
    char error[1024] = "untouched";
    const talvora_status status = call(error, sizeof error);
    if (status == TALVORA_OK) {
        EXPECT_STREQ(error, "untouched");
        return {status, ""};
    }
    return {status, error};
}

#define EXPECT_GOOD(outcome) EXPECT_EQ(outcome, (talvora::library_test::Outcome{TALVORA_OK, ""}))
#define ASSERT_GOOD(outcome) ASSERT_EQ(outcome, (talvora::library_test::Outcome{TALVORA_OK, ""}))

// ---------------------------------------------------------------------------
// Plug-ins

class Plugin {
  public:
    // That which comes with the library.
    Plugin() { EXPECT_GOOD(open(nullptr)); }
    explicit Plugin(const std::string& file) { EXPECT_GOOD(open(file.c_str())); }
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;
    ~Plugin() { talvora_plugin_close(plugin_); }

    operator const talvora_plugin*() const { return plugin_; }

    std::size_t find(const std::string& name) const {
        std::size_t index = 12345;
        EXPECT_GOOD(run_call([&](char* error, std::size_t size) {
            return talvora_plugin_find_unit(plugin_, name.c_str(), &index, error, size);
        }));
        return index;
    }

  private:
    Outcome open(const char* file) {
        return run_call([&](char* error, std::size_t size) {
            return talvora_plugin_open(file, &plugin_, error, size);
        });
    }

    talvora_plugin* plugin_ = nullptr;
};

// ---------------------------------------------------------------------------
// Arrays

template <typename Sample>
constexpr talvora_type TYPE_OF = sizeof(Sample) == 4 ? TALVORA_FLOAT32 : TALVORA_FLOAT64;

// The samples are the caller's; row-major, unless strides in bytes are given.
template <typename Sample>
talvora_array make_array(const std::vector<Sample>& samples, const Extents& extents,
                         const Extents* strides = nullptr) {
    talvora_array array{};
    array.struct_size = sizeof array;
    array.samples = const_cast<Sample*>(samples.data());
    array.extents = extents.data();
    array.strides = strides == nullptr ? nullptr : strides->data();
    array.rank = static_cast<std::int32_t>(extents.size());
    array.type = TYPE_OF<Sample>;
    return array;
}

// ---------------------------------------------------------------------------
// Attributes

using Value = std::variant<std::vector<std::int64_t>, std::vector<double>, Words>;

struct Attribute {
    talvora_attribute_type type = 0;
    Extents extents; // none: one value
    Value values;

    // A number that is NaN is itself.
    friend bool operator==(const Attribute& a, const Attribute& b) {
        const auto is_same = [](double x, double y) {
            return x == y || (std::isnan(x) && std::isnan(y));
        };
        const auto* numbers = std::get_if<std::vector<double>>(&a.values);
        const auto* others = std::get_if<std::vector<double>>(&b.values);
        const bool are_same = numbers != nullptr && others != nullptr
                                  ? std::ranges::equal(*numbers, *others, is_same)
                                  : a.values == b.values;
        return a.type == b.type && a.extents == b.extents && are_same;
    }
};

inline Attribute number(double value) {
    return {TALVORA_NUMBERS, {}, std::vector{value}};
}
inline Attribute float_number(double value) {
    return {TALVORA_FLOAT_NUMBERS, {}, std::vector{value}};
}
inline Attribute integer(std::int64_t value) {
    return {TALVORA_INTEGERS, {}, std::vector{value}};
}
inline Attribute text(const std::string& value) {
    return {TALVORA_TEXTS, {}, Words{value}};
}

inline Attribute take_attribute(const talvora_attribute& given) {
    Attribute attribute{given.type, {given.extents, given.extents + given.rank}, {}};
    const auto count = static_cast<std::size_t>(std::accumulate(
        attribute.extents.begin(), attribute.extents.end(), std::int64_t{1}, std::multiplies<>()));
    if (given.type == TALVORA_INTEGERS) {
        attribute.values = std::vector(given.integers, given.integers + count);
    } else if (given.type == TALVORA_TEXTS) {
        attribute.values = Words(given.texts, given.texts + count);
    } else {
        attribute.values = std::vector(given.numbers, given.numbers + count);
    }
    return attribute;
}

// ---------------------------------------------------------------------------
// Trees

struct SetContent {
    Extents extents;
    Floats samples;

    // Bit for bit: a missing sample is itself.
    friend bool operator==(const SetContent& a, const SetContent& b) {
        return a.extents == b.extents && a.samples.size() == b.samples.size() &&
               (a.samples.empty() || std::memcmp(a.samples.data(), b.samples.data(),
                                                 a.samples.size() * sizeof(float)) == 0);
    }
};

inline void PrintTo(const SetContent& set, std::ostream* out) {
    *out << testing::PrintToString(set.extents) << " " << testing::PrintToString(set.samples);
}

struct TreeContent {
    std::vector<std::pair<std::string, talvora_kind>> objects; // in the order of the walk
    std::map<std::string, SetContent> sets;
    std::map<std::string, std::map<std::string, Attribute>> attributes; // that there are, by path

    friend bool operator==(const TreeContent&, const TreeContent&) = default;
};

struct Message {
    int32_t level = 0;
    std::string text;

    friend bool operator==(const Message&, const Message&) = default;
};

inline void PrintTo(const Message& message, std::ostream* out) {
    *out << message.level << " " << message.text;
}

struct Talk {
    std::vector<Message> messages;

    static void tell(void* context, int32_t level, const char* text) {
        static_cast<Talk*>(context)->messages.push_back({level, text});
    }
};

struct RunChoices {
    Words accepted = {};
    talvora_should_stop should_stop = nullptr;
    talvora_tell tell = nullptr;
    void* context = nullptr;
};

class Tree {
  public:
    Tree() {
        EXPECT_GOOD(run_call([&](char* error, std::size_t size) {
            return talvora_tree_create(&tree_, error, size);
        }));
    }
    explicit Tree(talvora_tree* tree) : tree_(tree) {}
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;
    ~Tree() { talvora_tree_destroy(tree_); }

    operator talvora_tree*() const { return tree_; }

    Outcome add_group(const std::string& path) {
        return run_call([&](char* error, std::size_t size) {
            return talvora_tree_add_group(tree_, path.c_str(), error, size);
        });
    }
    Outcome add(const std::string& path, const talvora_array& array) {
        return run_call([&](char* error, std::size_t size) {
            return talvora_tree_add_set(tree_, path.c_str(), &array, error, size);
        });
    }
    // With a rate, and the samples kept here.
    void add_signal(const std::string& path, const Extents& extents, Floats samples,
                    double rate = 100) {
        Floats& kept = *kept_.emplace_back(std::make_unique<Floats>(std::move(samples)));
        ASSERT_GOOD(add(path, make_array(kept, extents)));
        ASSERT_GOOD(set(path, "SampleRate", float_number(rate)));
    }

    Outcome set(const std::string& path, const std::string& name, const Attribute& attribute) {
        std::vector<const char*> texts;
        talvora_attribute given{};
        given.struct_size = sizeof given;
        given.type = attribute.type;
        given.rank = static_cast<std::int32_t>(attribute.extents.size());
        given.extents = attribute.extents.data();
        if (const auto* integers = std::get_if<std::vector<std::int64_t>>(&attribute.values)) {
            given.integers = integers->data();
        } else if (const auto* numbers = std::get_if<std::vector<double>>(&attribute.values)) {
            given.numbers = numbers->data();
        } else {
            for (const std::string& value : std::get<Words>(attribute.values)) {
                texts.push_back(value.c_str());
            }
            given.texts = texts.data();
        }
        return run_call([&](char* error, std::size_t size) {
            return talvora_tree_set_attribute(tree_, path.c_str(), name.c_str(), &given, error,
                                              size);
        });
    }
    Outcome find(const std::string& path, const std::string& name, Attribute& found) const {
        talvora_attribute given{};
        given.struct_size = sizeof given;
        const Outcome outcome = run_call([&](char* error, std::size_t size) {
            return talvora_tree_get_attribute(tree_, path.c_str(), name.c_str(), &given, error,
                                              size);
        });
        if (outcome.status == TALVORA_OK) {
            found = take_attribute(given);
        }
        return outcome;
    }
    Attribute get(const std::string& path, const std::string& name) const {
        Attribute found;
        EXPECT_GOOD(find(path, name, found));
        return found;
    }

    talvora_array look(const std::string& path) const {
        talvora_array array{};
        array.struct_size = sizeof array;
        EXPECT_GOOD(run_call([&](char* error, std::size_t size) {
            return talvora_tree_get_set(tree_, path.c_str(), &array, error, size);
        }));
        return array;
    }
    SetContent read(const std::string& path) const {
        const talvora_array array = look(path);
        if (array.extents == nullptr) {
            return {};
        }
        SetContent content{{array.extents, array.extents + array.rank}, {}};
        const auto count = std::accumulate(content.extents.begin(), content.extents.end(),
                                           std::int64_t{1}, std::multiplies<>());
        const auto* samples = static_cast<const float*>(array.samples);
        content.samples.assign(samples, samples + count);
        return content;
    }
    bool was_written(const std::string& path) const {
        std::int32_t written = -1;
        EXPECT_GOOD(run_call([&](char* error, std::size_t size) {
            return talvora_tree_was_written(tree_, path.c_str(), &written, error, size);
        }));
        EXPECT_TRUE(written == 0 || written == 1) << written;
        return written == 1;
    }

    Words list_attributes(const std::string& path) const {
        Words names;
        const auto visit = [](void* context, const char* name) -> std::int32_t {
            static_cast<Words*>(context)->emplace_back(name);
            return 0;
        };
        EXPECT_GOOD(run_call([&](char* error, std::size_t size) {
            return talvora_tree_visit_attributes(tree_, path.c_str(), visit, &names, error, size);
        }));
        return names;
    }

    TreeContent content() const {
        TreeContent content;
        const auto visit = [](void* context, const char* path, talvora_kind kind) -> std::int32_t {
            static_cast<TreeContent*>(context)->objects.emplace_back(path, kind);
            return 0;
        };
        EXPECT_GOOD(run_call([&](char* error, std::size_t size) {
            return talvora_tree_visit(tree_, visit, &content, error, size);
        }));
        take_attributes("", content);
        for (const auto& [path, kind] : content.objects) {
            take_attributes(path, content);
            if (kind == TALVORA_SET) {
                content.sets[path] = read(path);
            }
        }
        return content;
    }

    Outcome run_at(const talvora_plugin* plugin, std::size_t unit, const Words& words,
                   const RunChoices& choices = {}) {
        const auto given = point_to(words);
        const auto accepted = point_to(choices.accepted);
        talvora_run_options options{};
        options.struct_size = sizeof options;
        options.accepted_guards = accepted.data();
        options.accepted_guard_count = accepted.size();
        options.tell = choices.tell;
        options.should_stop = choices.should_stop;
        options.context = choices.context;
        return run_call([&](char* error, std::size_t size) {
            return talvora_run(plugin, unit, tree_, given.data(), given.size(), &options, error,
                               size);
        });
    }
    Outcome run(const Plugin& plugin, const std::string& unit, const Words& words,
                const RunChoices& choices = {}) {
        return run_at(plugin, plugin.find(unit), words, choices);
    }

  private:
    static std::vector<const char*> point_to(const Words& words) {
        std::vector<const char*> pointers;
        for (const std::string& word : words) {
            pointers.push_back(word.c_str());
        }
        return pointers;
    }

    void take_attributes(const std::string& path, TreeContent& content) const {
        for (const std::string& name : list_attributes(path)) {
            content.attributes[path][name] = get(path, name);
        }
    }

    talvora_tree* tree_ = nullptr;
    std::vector<std::unique_ptr<Floats>> kept_;
};

// Refused with this status and a sentence of which this is a part, and the tree is as it was.
inline void expect_unchanged(Tree& tree, const std::function<Outcome()>& call,
                             talvora_status status, const std::string& part) {
    const TreeContent before = tree.content();
    const Outcome outcome = call();
    EXPECT_EQ(outcome.status, status) << outcome.error;
    EXPECT_THAT(outcome.error, testing::HasSubstr(part));
    EXPECT_TRUE(tree.content() == before) << outcome.error;
}

} // namespace talvora::library_test
