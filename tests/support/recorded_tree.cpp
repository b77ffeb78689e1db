#include "tests/support/recorded_tree.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <stdexcept>

namespace talvora::test_support {

namespace {

std::string_view trim_slashes(std::string_view path) {
    while (path.starts_with('/')) {
        path.remove_prefix(1);
    }
    while (path.ends_with('/')) {
        path.remove_suffix(1);
    }
    return path;
}

std::string parent_path(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash);
}

std::string last_name(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

std::uint64_t product(const std::vector<std::uint64_t>& factors) {
    return std::accumulate(factors.begin(), factors.end(), std::uint64_t{1}, std::multiplies{});
}

// Row-major position of an index in an array, or no position when it is outside.
constexpr std::uint64_t OUTSIDE = ~std::uint64_t{0};

std::uint64_t position_of(const std::vector<std::uint64_t>& index,
                          const std::vector<std::uint64_t>& extents) {
    std::uint64_t position = 0;
    for (std::size_t k = 0; k < extents.size(); ++k) {
        if (index[k] >= extents[k]) {
            return OUTSIDE;
        }
        position = position * extents[k] + index[k];
    }
    return position;
}

// Steps to the next index of the slab in row-major order.
void advance(std::vector<std::uint64_t>& index, const Hyperslab& slab) {
    for (std::size_t k = index.size(); k-- > 0;) {
        if (++index[k] < slab.starts[k] + slab.counts[k]) {
            return;
        }
        index[k] = slab.starts[k];
    }
}

// Calls visit(sample of the slab, position in the set) for what lies inside.
template <typename Visit>
void for_each_sample(const Hyperslab& slab, const std::vector<std::uint64_t>& extents,
                     Visit visit) {
    std::vector<std::uint64_t> index = slab.starts;
    const std::uint64_t count = slab.sample_count();
    for (std::uint64_t i = 0; i < count; ++i, advance(index, slab)) {
        if (const std::uint64_t position = position_of(index, extents); position != OUTSIDE) {
            visit(i, position);
        }
    }
}

bool is_whole(const Hyperslab& slab, const std::vector<std::uint64_t>& extents) {
    return slab.counts == extents &&
           std::all_of(slab.starts.begin(), slab.starts.end(), [](auto s) { return s == 0; });
}

template <typename Object>
Object* find_by_path(const std::vector<std::unique_ptr<Object>>& objects, std::string_view path) {
    const auto found = std::find_if(objects.begin(), objects.end(), [&](const auto& object) {
        return object->path() == trim_slashes(path);
    });
    return found == objects.end() ? nullptr : found->get();
}

template <typename Object>
std::vector<std::string> children(const std::vector<std::unique_ptr<Object>>& objects,
                                  const std::string& path) {
    std::vector<std::string> names;
    for (const auto& object : objects) {
        if (!object->path().empty() && parent_path(object->path()) == path) {
            names.push_back(last_name(object->path()));
        }
    }
    return names;
}

} // namespace

std::string join_numbers(const std::vector<std::uint64_t>& numbers) {
    std::string text;
    for (const std::uint64_t number : numbers) {
        if (!text.empty()) {
            text += ',';
        }
        text += std::to_string(number);
    }
    return text;
}

std::uint64_t Hyperslab::sample_count() const {
    return product(counts);
}

bool Hyperslab::lies_inside(const std::vector<std::uint64_t>& extents) const {
    bool inside = starts.size() == extents.size();
    for (std::size_t k = 0; inside && k < extents.size(); ++k) {
        inside = starts[k] <= extents[k] && counts[k] <= extents[k] - starts[k];
    }
    return inside;
}

std::string Hyperslab::text() const {
    std::string text = "[";
    text += join_numbers(starts);
    text += '|';
    text += join_numbers(counts);
    return text + ']';
}

DataSet::DataSet(std::string path, std::vector<std::uint64_t> extents, std::vector<float> samples)
    : path_(std::move(path)), extents_(std::move(extents)), samples_(std::move(samples)) {
    if (!extents_.empty() && samples_.size() != product(extents_)) {
        throw std::logic_error(path_ + ": the number of samples does not fit the extents");
    }
}

DataSet& DataSet::attribute_float(const std::string& name, float value) {
    attributes_[name] = {value};
    return *this;
}

DataSet& DataSet::attribute_number(const std::string& name, double value) {
    attributes_[name] = {value};
    return *this;
}

DataSet& DataSet::attribute_integer(const std::string& name, std::int64_t value) {
    attributes_[name] = {value};
    return *this;
}

DataSet& DataSet::attribute_text(const std::string& name, const std::string& value) {
    attributes_[name] = {value};
    return *this;
}

DataSet& DataSet::invalid() {
    is_valid_ = false;
    return *this;
}

std::vector<std::string> DataSet::attribute_names() const {
    std::vector<std::string> names;
    for (const auto& [name, attribute] : attributes_) {
        names.push_back(name);
    }
    return names;
}

void DataSet::read(const Hyperslab& slab, float* samples) const {
    if (is_whole(slab, extents_)) {
        std::copy(samples_.begin(), samples_.end(), samples);
    } else {
        for_each_sample(slab, extents_,
                        [&](std::uint64_t i, std::uint64_t at) { samples[i] = samples_[at]; });
    }
}

void DataSet::write(const Hyperslab& slab, const float* samples) {
    if (is_whole(slab, extents_)) {
        std::copy(samples, samples + samples_.size(), samples_.begin());
    } else {
        for_each_sample(slab, extents_,
                        [&](std::uint64_t i, std::uint64_t at) { samples_[at] = samples[i]; });
    }
}

void DataSet::resize(const std::vector<std::uint64_t>& extents) {
    const Hyperslab all{std::vector<std::uint64_t>(extents.size(), 0), extents};
    std::vector<float> kept(all.sample_count(), 0.0F);
    read(all, kept.data());
    extents_ = extents;
    samples_ = std::move(kept);
}

Group& Group::attribute_float(const std::string& name, float value) {
    attributes_[name] = {value};
    return *this;
}

Group& Group::attribute_integer(const std::string& name, std::int64_t value) {
    attributes_[name] = {value};
    return *this;
}

Group& Group::invalid() {
    is_valid_ = false;
    return *this;
}

std::string join_path(std::string_view parent, std::string_view name) {
    const std::string below(trim_slashes(name));
    if (parent.empty() || below.empty()) {
        return std::string(parent) + below;
    }
    return std::string(parent).append("/").append(below);
}

RecordedTree::RecordedTree() {
    groups_.push_back(std::make_unique<Group>(""));
}

DataSet& RecordedTree::make_dataset(const std::string& path, std::vector<std::uint64_t> extents,
                                    std::vector<float> samples) {
    if (find_dataset(path) != nullptr) {
        throw std::logic_error(path + ": there is such a data set already");
    }
    group(parent_path(path));
    datasets_.push_back(std::make_unique<DataSet>(path, std::move(extents), std::move(samples)));
    return *datasets_.back();
}

Group& RecordedTree::group(const std::string& path) {
    if (Group* found = find_group(path)) {
        return *found;
    }
    group(parent_path(path));
    groups_.push_back(std::make_unique<Group>(path));
    return *groups_.back();
}

Group* RecordedTree::find_group(std::string_view path) const {
    return find_by_path(groups_, path);
}

DataSet* RecordedTree::find_dataset(std::string_view path) const {
    return find_by_path(datasets_, path);
}

std::vector<std::string> RecordedTree::child_groups(const std::string& path) const {
    return children(groups_, path);
}

std::vector<std::string> RecordedTree::child_datasets(const std::string& path) const {
    return children(datasets_, path);
}

} // namespace talvora::test_support
