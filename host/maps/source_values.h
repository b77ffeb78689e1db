// What stands at the places that a map names, beside a data set of the file that is imported.
#pragma once

#include "host/hdf5/hdf5_tree.h"
#include "host/maps/import_map.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace talvora::host {

// A place of values that is there.
struct FoundPlace {
    const ValuePlace* place = nullptr; // of the map
    ObjectId object{};                 // the data set, or what has the attribute
    std::string path;                  // of that
    std::string description;           // "the attribute 'rate' of 'eeg/starting_time'"

    bool is_dataset() const { return place->kind == ValuePlace::Kind::DataSet; }
};

// The values beside one data set. Throws a TreeError, complete but for the name of the file, where
// what is there cannot be read or is of another type than is wanted.
class SourceValues {
  public:
    // `path` is that by which the set was found, its siblings are those there.
    SourceValues(Hdf5Tree& tree, ObjectId set, const std::string& path);

    // The first of the places that is there.
    std::optional<FoundPlace> find(const ValueChoice& choice);
    // Those places, for people: "no attribute 'rate' of 'eeg/starting_time'".
    std::string describe_missing(const ValueChoice& choice) const;

    // At most so many of them.
    std::vector<double> read_numbers(const FoundPlace& found, std::uint64_t max_count);
    double read_number(const FoundPlace& found);
    // Texts, 16-bit letters that make one text (UTF-16), or references to such.
    std::vector<std::string> read_texts(const FoundPlace& found);

  private:
    std::string path_of(const ValuePlace& place) const;
    std::string describe(const ValuePlace& place) const;
    AttributeValue read(const FoundPlace& found, std::uint64_t max_count);
    std::vector<std::string> read_referred_texts(const FoundPlace& found);

    Hdf5Tree& tree_;
    ObjectId set_;
    std::string path_;
};

} // namespace talvora::host
