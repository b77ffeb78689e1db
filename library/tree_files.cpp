// Trees read from HDF5 files and written to them, as the host does.
//
// The HDF5 library keeps state of its own for the whole process: one call at a time uses it.
#include "host/hdf5/hdf5_tree.h"
#include "host/runs/exceptions.h"
#include "host/runs/guarded_run.h"
#include "host/runs/input_files.h"
#include "host/runs/output_files.h"
#include "host/runs/written_sets.h"
#include "host/system/safe_write.h"
#include "host/tree/attached_scale.h"
#include "host/tree/forwarding_tree.h"
#include "host/tree/group_walk.h"
#include "host/tree/tree_rules.h"
#include "library/caller_texts.h"
#include "library/guarded_call.h"
#include "library/tree_objects.h"

#include <fmt/format.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace talvora::library {
namespace {

namespace fs = std::filesystem;

std::mutex hdf5_in_use;

// Does a step with a file; what fails in it names the file. That there is no memory is no failure
// of the file's.
template <typename Step>
auto name_file(const host::WorkPlace& place, const Step& step) {
    try {
        return step();
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        throw host::explain_exception(place);
    }
}

// ---------------------------------------------------------------------------
// Reading

// A file in which a soft link is an object of its own, that leads nowhere: what it leads to stands
// under its own name.
class OwnNames final : public host::ForwardingTree {
  public:
    explicit OwnNames(host::Hdf5Tree& tree) : ForwardingTree(tree), stored_(tree) {}

    std::vector<std::string> list_groups(host::ObjectId group) override {
        return leave_out_links(group, stored_.list_groups(group));
    }
    std::vector<std::string> list_datasets(host::ObjectId group) override {
        return leave_out_links(group, stored_.list_datasets(group));
    }
    std::vector<host::OtherObject> list_others(host::ObjectId group) override {
        auto others = stored_.list_others(group);
        for (const auto& names : {stored_.list_groups(group), stored_.list_datasets(group)}) {
            for (const std::string& name : names) {
                if (stored_.is_soft_link(group, name)) {
                    others.push_back(
                        {name, "a link to an object of the file", host::OtherKind::BlindLink});
                }
            }
        }
        return others;
    }

  private:
    std::vector<std::string> leave_out_links(host::ObjectId group,
                                             std::vector<std::string> names) const {
        std::erase_if(names,
                      [&](const std::string& name) { return stored_.is_soft_link(group, name); });
        return names;
    }

    host::Hdf5Tree& stored_;
};

// What a file holds, copied into memory object by object. An object with several names is taken by
// the first that is no soft link.
class FileReader {
  public:
    FileReader(const fs::path& file, const Teller& teller)
        : name_(file.string()), stored_(host::open_input(file)), objects_(*stored_),
          teller_(teller), tree_(std::make_unique<talvora_tree>()) {}

    std::unique_ptr<talvora_tree> read() {
        host::walk_group_places(objects_, objects_.root(), "",
                                [&](const host::GroupPlace& place) { take_group(place); });
        return std::move(tree_);
    }

  private:
    host::MemoryTree& taken() { return *tree_->objects; }

    void take_group(const host::GroupPlace& place) {
        if (!place.is_first) {
            tell_other_name(place.path, place.id);
            return;
        }
        names_.emplace(place.id, place.path);
        take_attributes(place.id, place.path.empty()
                                      ? taken().root()
                                      : taken().create_group(taken().root(), place.path));
        for (const std::string& name : objects_.list_datasets(place.id)) {
            take_set(host::join_path(place.path, name), stored_->find(place.id, name).value());
        }
        for (const host::OtherObject& other : objects_.list_others(place.id)) {
            const bool may_be_missed = !host::is_plainly_no_signal(other) && !other.is_single &&
                                       other.kind != host::OtherKind::BlindLink;
            tell_left_out(may_be_missed ? TALVORA_WARNING : TALVORA_INFO,
                          host::join_path(place.path, other.name), other.description);
        }
    }

    void take_set(const std::string& path, host::ObjectId set) {
        if (!names_.emplace(set, path).second) {
            tell_other_name(path, set);
            return;
        }
        const host::Extents extents = stored_->extents(set);
        const host::Extents starts(extents.size(), 0);
        auto samples = host::make_sample_room<float>(extents, path);
        stored_->read(set, {starts, extents}, samples);
        take_attributes(set, taken().add_dataset(taken().root(), path, extents,
                                                 host::SharedSamples(std::move(samples))));
        note_rounding(path, extents);
    }

    void note_rounding(const std::string& path, const host::Extents& extents) {
        const host::SampleType type = stored_->original_type(path);
        if (type == host::SampleType::Float32) {
            return;
        }
        const host::SetRounding rounding = stored_->rounding(path);
        tree_->rounded[path] = host::make_rounded_samples(type, rounding, extents);
        teller_.tell(TALVORA_INFO, fmt::format("{}: {}: {}, 32-bit floats in memory; {}", name_,
                                               path, host::describe_sample_type(type),
                                               host::describe_rounding(rounding)));
    }

    // Those of other types are left out; what cannot be read for the file's sake is a failure.
    void take_attributes(host::ObjectId from, host::ObjectId to) {
        for (const std::string& name : stored_->list_attributes(from)) {
            try {
                if (const auto value = stored_->read_attribute(from, name)) {
                    taken().write_attribute(to, name, *value);
                }
            } catch (const host::StorageError&) {
                throw;
            } catch (const host::TreeError& error) {
                teller_.tell(host::attaches_scales(name) ? TALVORA_INFO : TALVORA_WARNING,
                             fmt::format("{}: left out: {}", name_, error.what()));
            }
        }
    }

    void tell_other_name(const std::string& path, host::ObjectId object) const {
        tell_left_out(TALVORA_WARNING, path,
                      fmt::format("another name of '{}'", names_.at(object)));
    }

    void tell_left_out(std::int32_t level, const std::string& path, std::string_view what) const {
        teller_.tell(level, fmt::format("{}: left out: '{}', {}", name_, path, what));
    }

    std::string name_;
    std::unique_ptr<host::Hdf5Tree> stored_;
    OwnNames objects_; // of the file
    const Teller& teller_;
    std::unique_ptr<talvora_tree> tree_;
    std::map<host::ObjectId, std::string> names_; // by which they were taken
};

std::unique_ptr<talvora_tree> read_tree(const fs::path& file, const Teller& teller) {
    const std::lock_guard lock(hdf5_in_use);
    return name_file({.input = file.string()}, [&] {
        const host::UnchangedInput unchanged(file);
        auto tree = FileReader(file, teller).read();
        tree->input = host::identify_input(file);
        unchanged.check();
        return tree;
    });
}

// ---------------------------------------------------------------------------
// Writing

void copy_attributes(host::DataTree& from, host::ObjectId source, host::DataTree& to,
                     host::ObjectId destination) {
    for (const std::string& name : from.list_attributes(source)) {
        to.write_attribute(destination, name, from.read_attribute(source, name).value());
    }
}

void copy_set(host::MemoryTree& from, host::ObjectId source, host::DataTree& to,
              host::ObjectId group, const std::string& name) {
    const host::Extents extents = from.extents(source);
    const host::Extents starts(extents.size(), 0);
    const host::ObjectId set = to.create_dataset(group, name, extents);
    to.write(set, {starts, extents}, from.samples(source));
    copy_attributes(from, source, to, set);
}

void copy_tree(host::MemoryTree& from, host::DataTree& to) {
    host::walk_group_places(from, from.root(), "", [&](const host::GroupPlace& place) {
        const host::ObjectId group =
            place.path.empty() ? to.root() : to.create_group(to.root(), place.path);
        copy_attributes(from, place.id, to, group);
        for (const std::string& name : from.list_datasets(place.id)) {
            copy_set(from, from.find(place.id, name).value(), to, group, name);
        }
    });
}

void build_file(host::MemoryTree& objects, host::PendingFile& pending) {
    host::Hdf5Tree stored(pending.path(), host::Hdf5Access::Create);
    host::WrittenTree noted(stored);
    copy_tree(objects, noted);
    const auto written = noted.list_written();
    stored.close();
    pending.begin_sync();
    host::check_written(pending.path(), written);
}

void write_tree(host::MemoryTree& objects, const fs::path& file, bool replace) {
    const std::lock_guard lock(hdf5_in_use);
    name_file({.output = file.string()}, [&] {
        host::PendingFile pending(file, {.replace = replace});
        build_file(objects, pending);
        pending.publish();
    });
}

void tell_narrowed(const talvora_tree& tree, const Teller& teller) {
    for (const auto& [path, samples] : tree.rounded) {
        if (const auto text = host::describe_lost_range(samples)) {
            teller.tell(TALVORA_WARNING, fmt::format("'{}' {}", path, *text));
        }
    }
}

} // namespace
} // namespace talvora::library

using namespace talvora::library;

talvora_status talvora_tree_read(const char* file, talvora_tree** tree, talvora_tell tell,
                                 void* context, char* error, size_t error_size) {
    return guard_call(error, error_size, [&] {
        check_pointer(tree, "tree");
        *tree = nullptr;
        check_pointer(file, "file");
        *tree = read_tree(file, Teller(tell, context)).release();
    });
}

talvora_status talvora_tree_tell_narrowed(const talvora_tree* tree, talvora_tell tell,
                                          void* context, char* error, size_t error_size) {
    return guard_call(error, error_size, [&] {
        check_pointer(tree, "tree");
        tell_narrowed(*tree, Teller(tell, context));
    });
}

talvora_status talvora_tree_write(talvora_tree* tree, const char* file, int32_t replace,
                                  char* error, size_t error_size) {
    return guard_call(error, error_size, [&] {
        check_pointer(tree, "tree");
        check_pointer(file, "file");
        write_tree(*tree->objects, file, replace != 0);
    });
}
