// Trees in memory: groups and data sets.
#include "host/interface/path_patterns.h"
#include "host/runs/guarded_run.h"
#include "host/text/failure.h"
#include "host/tree/named_objects.h"
#include "host/tree/tree_rules.h"
#include "library/array_samples.h"
#include "library/caller_texts.h"
#include "library/guarded_call.h"
#include "library/tree_objects.h"
#include "library/versioned_structure.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>

namespace talvora::library {
namespace {

[[noreturn]] void refuse_missing(const talvora_tree& tree, std::string_view what,
                                 const std::string& path) {
    const host::Failure nearest = host::explain_no_match(*tree.objects, path, "");
    throw CallError(TALVORA_NOT_FOUND,
                    fmt::format("there is no {} '{}'; {}", what, path, nearest.hints().front()));
}

// Whatever walks through groups goes down into them.
constexpr std::size_t MAX_DEPTH = 1000;

std::string read_new_path(const char* path) {
    std::string names = read_text(path, "path");
    if (const std::size_t depth = host::split_path(names).size(); depth > MAX_DEPTH) {
        throw InvalidArgument(
            fmt::format("path has {} names (allowed: up to {})", depth, MAX_DEPTH));
    }
    return names;
}

void add_set(talvora_tree& tree, const std::string& path, SetSamples set) {
    host::check_extents(set.extents, 1, path);
    const host::ObjectId id =
        tree.objects->add_dataset(tree.objects->root(), path, set.extents, std::move(set.samples));
    if (set.rounding) {
        tree.rounded[tree.objects->path(id)] =
            host::make_rounded_samples(host::SampleType::Float64, *set.rounding, set.extents);
    }
}

// What is in a group stands right behind it.
bool comes_before(const std::string& a, const std::string& b) {
    const auto rank = [](char c) { return c == '/' ? 0 : 1 + static_cast<unsigned char>(c); };
    return std::ranges::lexicographical_compare(a, b, std::less<>(), rank, rank);
}

void visit_objects(talvora_tree& tree, talvora_visit_object visit, void* context) {
    auto objects = host::list_objects(*tree.objects, tree.objects->root(), "");
    std::ranges::sort(objects, comes_before, &host::NamedObject::path);
    for (const host::NamedObject& object : objects) {
        const bool is_group = object.kind == host::ObjectKind::Group;
        if (visit(context, object.path.c_str(), is_group ? TALVORA_GROUP : TALVORA_SET) != 0) {
            throw CallError(TALVORA_STOPPED, fmt::format("stopped at '{}'", object.path));
        }
    }
}

// The samples are only read through it.
talvora_array give_set(talvora_tree& tree, host::ObjectId set) {
    tree.given_extents = to_signed(tree.objects->extents(set));
    talvora_array array{};
    array.samples = const_cast<float*>(tree.objects->samples(set).data());
    array.extents = tree.given_extents.data();
    array.rank = static_cast<std::int32_t>(tree.given_extents.size());
    array.type = TALVORA_FLOAT32;
    return array;
}

} // namespace

host::ObjectId find_object(talvora_tree& tree, const std::string& path) {
    const auto found = tree.objects->find(tree.objects->root(), path);
    if (!found) {
        refuse_missing(tree, "object", path);
    }
    return *found;
}

host::ObjectId find_set(talvora_tree& tree, const std::string& path) {
    const auto found = tree.objects->find(tree.objects->root(), path);
    if (!found) {
        refuse_missing(tree, "data set", path);
    }
    if (tree.objects->kind(*found) != host::ObjectKind::DataSet) {
        throw CallError(TALVORA_NOT_FOUND, fmt::format("'{}' is a group, no data set", path));
    }
    return *found;
}

std::vector<std::int64_t> to_signed(const host::Extents& extents) {
    return {extents.begin(), extents.end()};
}

} // namespace talvora::library

using namespace talvora::library;

talvora_status talvora_tree_create(talvora_tree** tree, char* error, size_t error_size) {
    return guard_call(error, error_size, [&] {
        check_pointer(tree, "tree");
        *tree = nullptr;
        *tree = new talvora_tree;
    });
}

void talvora_tree_destroy(talvora_tree* tree) {
    delete tree;
}

talvora_status talvora_tree_add_group(talvora_tree* tree, const char* path, char* error,
                                      size_t error_size) {
    return guard_call(error, error_size, [&] {
        check_pointer(tree, "tree");
        tree->objects->create_group(tree->objects->root(), read_new_path(path));
    });
}

talvora_status talvora_tree_add_set(talvora_tree* tree, const char* path,
                                    const talvora_array* array, char* error, size_t error_size) {
    return guard_call(error, error_size, [&] {
        check_pointer(tree, "tree");
        const std::string name = read_new_path(path);
        add_set(*tree, name, take_samples(array, name));
    });
}

talvora_status talvora_tree_visit(talvora_tree* tree, talvora_visit_object visit, void* context,
                                  char* error, size_t error_size) {
    return guard_call(error, error_size, [&] {
        check_pointer(tree, "tree");
        check_pointer(reinterpret_cast<const void*>(visit), "visit");
        visit_objects(*tree, visit, context);
    });
}

talvora_status talvora_tree_get_set(talvora_tree* tree, const char* path, talvora_array* array,
                                    char* error, size_t error_size) {
    return guard_call(error, error_size, [&] {
        check_pointer(tree, "tree");
        check_structure(array, "array");
        write_structure(give_set(*tree, find_set(*tree, read_text(path, "path"))), array, "array");
    });
}

talvora_status talvora_tree_was_written(talvora_tree* tree, const char* path, int32_t* was_written,
                                        char* error, size_t error_size) {
    return guard_call(error, error_size, [&] {
        check_pointer(tree, "tree");
        check_pointer(was_written, "was_written");
        const talvora::host::ObjectId set = find_set(*tree, read_text(path, "path"));
        *was_written = tree->written.contains(tree->objects->path(set)) ? 1 : 0;
    });
}
