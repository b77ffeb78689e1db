#include "tests/support/host_slots.h"
#include "tests/support/slot_call.h"

#include <algorithm>

namespace talvora::test_support {

namespace {

constexpr std::uint64_t MOST_DIMENSIONS = 32;
constexpr std::uint64_t MOST_SAMPLES = 1'000'000'000;

std::vector<std::uint64_t> extents_of(Call& call, const std::uint64_t* extents,
                                      std::uint64_t rank) {
    if (rank <= MOST_DIMENSIONS && (extents != nullptr || rank == 0)) {
        return {extents, extents + rank};
    }
    call.host.add_violation("a slot received no extents of rank " + std::to_string(rank));
    return {};
}

void create_dataset(Handle* out, Handle group, const char* name, const std::uint64_t* extents,
                    std::uint64_t rank) {
    Call call;
    const auto shape = extents_of(call, extents, rank);
    call.record("create_dataset", call.host.name_of(group), call.text(name), extents_text(shape));
    const std::string path = call.path_below(group, call.text(name));
    const bool exists = call.host.tree.find_dataset(path) != nullptr;
    const bool refused = call.host.refused_creations.contains(path) ||
                         (exists && !call.host.habits.creation_opens_existing);
    if (!refused && !exists) {
        const Hyperslab all{std::vector<std::uint64_t>(shape.size(), 0), shape};
        call.host.tree.make_dataset(path, shape,
                                    std::vector<float>(all.sample_count(), UNWRITTEN_SAMPLE));
    }
    *out = refused ? call.host.no_dataset_handle(path) : call.host.dataset_handle(path);
}

std::uint64_t dataset_exists(Handle group, const char* name) {
    Call call;
    call.record("dataset_exists", call.host.name_of(group), call.text(name));
    return flag(call.host.tree.find_dataset(call.path_below(group, call.text(name))) != nullptr);
}

std::uint64_t dataset_is_valid(Handle set) {
    Call call;
    call.record("dataset_is_valid", call.host.name_of(set));
    return flag(call.host.is_dataset(set));
}

void open_dataset(Handle* out, Handle group, const char* path) {
    Call call;
    call.record("open_dataset", call.host.name_of(group), call.text(path));
    *out = call.host.dataset_handle(call.path_below(group, call.text(path)));
}

void dataset_shape(Words* out, Handle set) {
    Call call;
    call.record("dataset_shape", call.host.name_of(set));
    const DataSet* found = call.host.dataset_of(set);
    int& shapes_left = call.host.habits.shapes_left;
    const bool refuses = shapes_left == 0;
    shapes_left -= shapes_left > 0 ? 1 : 0;
    fill_shape(out, found == nullptr || refuses ? std::vector<std::uint64_t>{} : found->extents(),
               "dataset_shape");
}

void resize_dataset(Handle set, const std::uint64_t* extents, std::uint64_t rank) {
    Call call;
    const auto shape = extents_of(call, extents, rank);
    call.record("resize_dataset", call.host.name_of(set), extents_text(shape));
    DataSet* found = call.host.dataset_of(set);
    if (found == nullptr) {
        return;
    }
    if (shape.size() == found->extents().size()) {
        found->resize(shape);
    } else {
        call.host.add_violation("resize_dataset would change the rank of " + found->path());
    }
}

// The request as a hyperslab of the set, written down; empty when it cannot be served.
Hyperslab note_request(Call& call, const char* slot, const DataSet& set,
                       const std::uint64_t* selection, std::uint64_t word_count) {
    const std::uint64_t rank = set.extents().size();
    if (selection == nullptr || word_count != 2 * rank || rank == 0) {
        call.host.add_violation(std::string(slot) + " of " + set.path() + " has a selection of " +
                                std::to_string(word_count) + " words");
        return {};
    }
    Hyperslab slab{{selection, selection + rank}, {selection + rank, selection + word_count}};
    call.record(slot, set.path(), slab.text());
    if (slab.lies_inside(set.extents())) {
        return slab;
    }
    const bool matters = !call.host.habits.ignores_writes || std::string(slot) != "write_samples";
    if (matters && !call.host.habits.clips_requests) {
        call.host.add_violation(std::string(slot) + " of " + set.path() +
                                " goes beyond it: " + slab.text());
    }
    return call.host.habits.clips_requests ? slab : Hyperslab{};
}

// False when there is nothing to copy, or nowhere to copy it.
bool can_copy(Call& call, const Hyperslab& slab, const float* samples) {
    const bool is_empty = slab.counts.empty() || slab.sample_count() == 0;
    if (!is_empty && samples == nullptr) {
        call.host.add_violation("a request for samples came with a null array");
    }
    if (!is_empty && slab.sample_count() > MOST_SAMPLES) {
        call.host.add_violation("a request names too many samples: " + slab.text());
    }
    return !is_empty && samples != nullptr && slab.sample_count() <= MOST_SAMPLES;
}

void read_samples(Handle set, float* destination, const std::uint64_t* selection,
                  std::uint64_t word_count) {
    Call call;
    const DataSet* found = call.host.dataset_of(set);
    if (found == nullptr) {
        return;
    }
    const Hyperslab slab = note_request(call, "read_samples", *found, selection, word_count);
    if (can_copy(call, slab, destination) && !call.host.habits.ignores_reads) {
        found->read(slab, destination);
    }
}

// Takes all samples that the request names, as a host does that trusts it, though never
// more than the set holds.
std::vector<float> take_samples(const Hyperslab& slab, const float* source, const DataSet& set) {
    return {source, source + std::min(slab.sample_count(), set.samples().size())};
}

void write_samples(Handle set, const float* source, const std::uint64_t* selection,
                   std::uint64_t word_count) {
    Call call;
    DataSet* found = call.host.dataset_of(set);
    if (found == nullptr) {
        return;
    }
    const Hyperslab slab = note_request(call, "write_samples", *found, selection, word_count);
    if (!call.host.habits.ignores_writes && can_copy(call, slab, source)) {
        found->write(slab, take_samples(slab, source, *found).data());
    }
}

void copy_attribute(Handle destination, Handle source, const char* name) {
    Call call;
    call.record("copy_attribute", call.host.name_of(destination), call.host.name_of(source),
                call.text(name));
    DataSet* to = call.host.dataset_of(destination);
    DataSet* from = call.host.dataset_of(source);
    if (to == nullptr || from == nullptr) {
        return;
    }
    if (from->has_attribute(call.text(name))) {
        to->attributes()[call.text(name)] = {from->attributes()[call.text(name)].value, 18};
    } else {
        call.host.add_violation("copy_attribute: " + from->path() + " has no " + call.text(name));
    }
}

void list_attributes(Words* out, Handle set) {
    Call call;
    call.record("list_attributes", call.host.name_of(set));
    const DataSet* found = call.host.dataset_of(set);
    fill_texts(out, found == nullptr ? Texts{} : found->attribute_names(), "list_attributes");
}

void set_attribute(Call& call, Handle set, const char* name, Attribute attribute) {
    if (DataSet* found = call.host.dataset_of(set)) {
        found->attributes()[call.text(name)] = std::move(attribute);
    }
}

void write_integer_attribute(Handle set, const char* name, std::int64_t value) {
    Call call;
    call.record("write_integer_attribute", call.host.name_of(set), call.text(name),
                std::to_string(value));
    set_attribute(call, set, name, {value, 30});
}

void write_float_attribute(Handle set, const char* name, float value) {
    Call call;
    call.record("write_float_attribute", call.host.name_of(set), call.text(name),
                number_text(static_cast<double>(value)));
    set_attribute(call, set, name, {value, 32});
}

void write_number_attribute(Handle set, const char* name, double value) {
    Call call;
    call.record("write_number_attribute", call.host.name_of(set), call.text(name),
                number_text(value));
    set_attribute(call, set, name, {value, 33});
}

void write_string_attribute(Handle set, const char* name, const char* value) {
    Call call;
    call.record("write_string_attribute", call.host.name_of(set), call.text(name),
                call.text(value));
    set_attribute(call, set, name, {call.text(value), 34});
}

void write_integer_array_attribute(Handle set, const char* name, const std::int64_t* values,
                                   const std::uint64_t* extents, std::uint64_t rank) {
    Call call;
    IntegerArray array{{}, extents_of(call, extents, rank)};
    call.record("write_integer_array_attribute", call.host.name_of(set), call.text(name),
                extents_text(array.extents));
    const Hyperslab all{array.extents, array.extents};
    if (values != nullptr) {
        array.values.assign(values, values + all.sample_count());
    } else if (all.sample_count() > 0) {
        call.host.add_violation("an integer array attribute came without its values");
    }
    set_attribute(call, set, name, {std::move(array), 42});
}

void write_string_list_attribute(Handle set, const char* name, const char* const* values,
                                 const std::uint64_t* extents, std::uint64_t rank) {
    Call call;
    TextList list{{}, extents_of(call, extents, rank)};
    call.record("write_string_list_attribute", call.host.name_of(set), call.text(name),
                extents_text(list.extents));
    const Hyperslab all{list.extents, list.extents};
    for (std::uint64_t i = 0; values != nullptr && i < all.sample_count(); ++i) {
        list.values.push_back(call.text(values[i]));
    }
    set_attribute(call, set, name, {std::move(list), 46});
}

std::uint64_t has_attribute(Handle set, const char* name) {
    Call call;
    call.record("has_attribute", call.host.name_of(set), call.text(name));
    const DataSet* found = call.host.dataset_of(set);
    return flag(found != nullptr && found->has_attribute(call.text(name)));
}

float read_float_attribute(Handle set, const char* name) {
    Call call;
    call.record("read_float_attribute", call.host.name_of(set), call.text(name));
    DataSet* found = call.host.dataset_of(set);
    return found == nullptr ? 0.0F : call.float_of(found->attributes(), call.text(name));
}

void read_string_attribute(Words* out, Handle set, const char* name) {
    Call call;
    call.record("read_string_attribute", call.host.name_of(set), call.text(name));
    DataSet* found = call.host.dataset_of(set);
    const bool has = found != nullptr && found->has_attribute(call.text(name));
    fill_text(out,
              has ? std::get_if<std::string>(&found->attributes()[call.text(name)].value) : nullptr,
              call.text(name));
}

} // namespace

void lay_out_dataset_table(Table& table) {
    table.set(0, create_dataset);
    table.set(3, dataset_exists);
    table.set(4, dataset_is_valid);
    table.set(7, read_samples);
    table.set(10, open_dataset);
    table.set(11, dataset_shape);
    table.set(13, resize_dataset);
    table.set(14, write_samples);
    table.set(18, copy_attribute);
    table.set(20, list_attributes);
    table.set(30, write_integer_attribute);
    table.set(32, write_float_attribute);
    table.set(33, write_number_attribute);
    table.set(34, write_string_attribute);
    table.set(42, write_integer_array_attribute);
    table.set(46, write_string_list_attribute);
    table.set(47, has_attribute);
    table.set(57, read_float_attribute);
    table.set(59, read_string_attribute);
}

} // namespace talvora::test_support
