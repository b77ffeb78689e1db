#include "host/cli/tree_entries.h"

#include "host/text/path_glob.h"
#include "host/tree/history_attribute.h"
#include "host/tree/named_objects.h"
#include "host/tree/number_attribute.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <set>
#include <utility>

namespace talvora::host {
namespace {

std::vector<std::string> in_natural_order(std::vector<std::string> names) {
    sort_naturally(names);
    return names;
}

class Gatherer {
  public:
    Gatherer(DataTree& tree, std::string glob, const EntryOptions& options)
        : tree_(tree), options_(options), glob_(std::move(glob)),
          is_path_(!glob_.empty() && tree_.find(tree_.root(), glob_)) {}

    std::vector<TreeEntry> gather() {
        const bool everything = glob_.empty();
        if (everything && options_.attributes) {
            add_object(tree_.root(), "", ObjectKind::Group);
        }
        gather_below(tree_.root(), "", everything);
        return std::move(entries_);
    }

  private:
    // A group that the pattern matches is shown with all that it holds.
    bool chosen(const std::string& path, bool group_chosen) const {
        return group_chosen ||
               (is_path_ ? split_names(glob_) == split_names(path) : matches_path(glob_, path));
    }

    void gather_below(ObjectId group, const std::string& group_path, bool group_chosen) {
        visited_.insert(group);
        gather_others(group, group_path, group_chosen);
        gather_sets(group, group_path, group_chosen);
        for (const std::string& name : in_natural_order(tree_.list_groups(group))) {
            const std::string path = join_path(group_path, name);
            gather_group(tree_.find(group, name).value(), path, chosen(path, group_chosen));
        }
    }

    void gather_others(ObjectId group, const std::string& group_path, bool group_chosen) {
        for (const OtherObject& other : tree_.list_others(group)) {
            const std::string path = join_path(group_path, other.name);
            if (chosen(path, group_chosen)) {
                TreeEntry& entry = entries_.emplace_back();
                entry.path = path;
                entry.kind = ObjectKind::Other;
                entry.description = other.description;
            }
        }
    }

    void gather_sets(ObjectId group, const std::string& group_path, bool group_chosen) {
        for (const std::string& name : in_natural_order(tree_.list_datasets(group))) {
            const std::string path = join_path(group_path, name);
            if (chosen(path, group_chosen)) {
                add_set(tree_.find(group, name).value(), path);
            }
        }
    }

    // A group linked into several places is followed in the first of them.
    void gather_group(ObjectId group, const std::string& path, bool is_chosen) {
        if (is_chosen) {
            add_object(group, path, ObjectKind::Group);
        }
        if (!visited_.contains(group)) {
            gather_below(group, path, is_chosen);
        } else if (is_chosen) {
            entries_.back().description = fmt::format("group, the same as /{}", tree_.path(group));
        }
    }

    TreeEntry& add_object(ObjectId object, const std::string& path, ObjectKind kind) {
        TreeEntry& entry = entries_.emplace_back();
        entry.path = path;
        entry.kind = kind;
        entry.description = name_kind(kind);
        if (options_.attributes) {
            for (const std::string& name : tree_.list_attributes(object)) {
                // Long, and shown by a command of its own.
                if (object != tree_.root() || !is_history_part(name)) {
                    entry.attributes.push_back(read(object, name));
                }
            }
        }
        return entry;
    }

    void add_set(ObjectId set, const std::string& path) {
        TreeEntry& entry = add_object(set, path, ObjectKind::DataSet);
        entry.extents = tree_.extents(set);
        entry.type = tree_.sample_type(set);
        entry.sample_rate = read_number_attribute(tree_, set, SAMPLE_RATE_ATTRIBUTE);
        entry.names = read_line_names(tree_, set);
        if (options_.statistics) {
            entry.statistics = measure_set(tree_, set);
        }
    }

    ObjectAttribute read(ObjectId object, const std::string& name) {
        try {
            return {name, tree_.read_attribute(object, name), {}};
        } catch (const TreeError& error) {
            return {name, std::nullopt, error.what()};
        }
    }

    DataTree& tree_;
    EntryOptions options_;
    std::string glob_;
    bool is_path_; // the pattern names an object as it stands
    std::vector<TreeEntry> entries_;
    std::set<ObjectId> visited_;
};

} // namespace

std::vector<TreeEntry> gather_entries(DataTree& tree, const std::string& glob,
                                      const EntryOptions& options) {
    return Gatherer(tree, glob, options).gather();
}

} // namespace talvora::host
