// What a data set calls its lines: the attributes Labels and Unit.
//
// Labels is a list of texts, one for each index of a dimension: of the second one where as many
// are there (a column each, as the unit average-set-2 writes them), else of the first (a component
// each). Unit is a text for the whole set, or a list of one for each component, or for each index
// of the second dimension where there are as many alone. Texts that do not fit the extents name
// nothing: what changed a set may have left them as they were.
#pragma once

#include "host/tree/data_tree.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

constexpr char LABELS_ATTRIBUTE[] = "Labels";
constexpr char UNIT_ATTRIBUTE[] = "Unit";

// A text for each index of a dimension, or one for all of them; none where nothing fits.
struct DimensionTexts {
    std::vector<std::string> texts;
    std::size_t dimension = 0;
};

struct LineNames {
    DimensionTexts labels; // all differ, none is empty
    // Without the words with which all of them begin, and none where the only line of a set has the
    // label with which the set's own name begins.
    DimensionTexts short_labels;
    DimensionTexts units;
};

// An attribute that cannot be read, or holds something else, names nothing. Throws StorageError.
LineNames read_line_names(DataTree& tree, ObjectId set);

// Labels as they stand there, whether they name anything or not; an attribute that cannot be read,
// or holds something else, has none. Throws StorageError.
std::vector<std::string> read_labels(DataTree& tree, ObjectId set);
// Whether as many labels name something: a dimension across the lines has as many indices.
bool fits_lines(const Extents& extents, std::size_t label_count);

// Of one line, counted as SignalSet does; empty where there is none.
const std::string& text_of_line(const DimensionTexts& texts, const Extents& extents,
                                std::size_t line);

// Without the words with which all of them begin: "Gyroscope X", "Gyroscope Y" are "X", "Y".
// A blank, '_' or '.' ends a word; every text keeps its last one.
std::vector<std::string> without_shared_words(std::vector<std::string> texts);

// "Force" in "N" is "Force (N)". A name that ends in the unit, in brackets of either kind and
// perhaps with '_' in place of '/', has it once.
std::string name_with_unit(std::string name, std::string_view unit);

} // namespace talvora::host
