// The good parts of the plug-ins in this folder: each puts one fault beside them.
//
// The usual unit, negate_group, reads the sets of a group whole, negates their samples and
// writes them back.
#pragma once

#include "plugin/plugin_api.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

namespace talvora::sample {

// ---------------------------------------------------------------------------
// Tables

template <std::size_t SIZE>
struct Literal {
    char text[SIZE];
    consteval Literal(const char (&literal)[SIZE]) { std::copy_n(literal, SIZE, text); }
};

template <Literal LITERAL>
const char* text() {
    return LITERAL.text;
}

constexpr plugin_descriptor DESCRIPTOR{.name = text<"sample">,
                                       .vendor = text<"maker">,
                                       .version = text<"1.0.0">,
                                       .description = text<"A library to try hosts with">,
                                       .web_address = text<"https://example.org">,
                                       .reserved = {}};

constexpr unit_descriptor make_unit(text_getter name, declare_operation declare,
                                    run_operation run) {
    return {.name = name,
            .vendor = text<"maker">,
            .category = text<"Samples">,
            .declare = declare,
            .run = run,
            .version = text<"1.0.0">,
            .description = text<"Negates the sets of a group">,
            .date = nullptr,
            .reserved = {}};
}

const void* answer(std::uint32_t* count_out, std::int32_t kind,
                   std::span<const unit_descriptor> units);

// ---------------------------------------------------------------------------
// What a unit asks of its host

const context_api& context(get_interface_function get);
const group_api& groups(get_interface_function get);
const dataset_api& datasets(get_interface_function get);

std::uint64_t declare_group(call_context* ctx, get_interface_function get);

void free_texts(host_list& list);

void free_shape(host_shape& shape);

// False, with an error message, when the parameter names no group.
bool open_source_group(call_context* ctx, get_interface_function get, group_handle& group);

std::vector<dataset_handle> open_sets(get_interface_function get, group_handle group);

// The whole set as a selection: starts, then counts. Empty for a set without dimensions.
std::vector<std::uint64_t> select_all(get_interface_function get, dataset_handle set);

std::uint64_t count_samples(std::span<const std::uint64_t> selection);

std::vector<float> read_all(get_interface_function get, dataset_handle set);

void write_all(get_interface_function get, dataset_handle set, const std::vector<float>& samples);

// The data sets of the group that the unit works on.
bool find_sets(call_context* ctx, get_interface_function get, std::vector<dataset_handle>& sets);

bool negate_group(call_context* ctx, get_interface_function get);

} // namespace talvora::sample

// A library with one unit, "maker.samples.negate-group".
#define TALVORA_SAMPLE_PLUGIN(declare, run)                                                        \
    extern "C" TALVORA_EXPORT const void* talvora_plugin_api(std::uint32_t* count_out,             \
                                                             std::int32_t kind) {                  \
        using namespace talvora::sample;                                                           \
        static constexpr talvora::unit_descriptor UNITS[] = {                                      \
            make_unit(text<"maker.samples.negate-group">, declare, run)};                          \
        return answer(count_out, kind, UNITS);                                                     \
    }
