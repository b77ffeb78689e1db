// The values of an attribute, or of a data set, read all at once.
#pragma once

#include "host/hdf5/hdf5_calls.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host::hdf5 {

// An attribute or a data set that is open.
struct OpenValues {
    std::string name;
    Id id;
    Id type;
    Id space;
    bool is_set = false;

    std::size_t count() const;
    void read(hid_t memory_type, void* values) const;
    void write(hid_t memory_type, const void* values) const;
};

OpenValues open_attribute(hid_t object, const std::string& name);
// Of a set whose samples lie in its own file (hdf5_sets.h).
OpenValues open_set_values(hid_t set, const std::string& path);

// Gives back what the library allocated for values of variable length that were read as the type
// that they have. Memory that cannot be given back is lost, and nothing else.
class Reclaim {
  public:
    Reclaim(const OpenValues& of, void* given) : of_(of), values_(given) {}
    Reclaim(const Reclaim&) = delete;
    Reclaim& operator=(const Reclaim&) = delete;
    ~Reclaim() { H5Dvlen_reclaim(of_.type, of_.space, H5P_DEFAULT, values_); }

  private:
    const OpenValues& of_;
    void* values_;
};

// Values as their own type has them in memory, with all that they lead to. Never without room, so
// that there is always a place to read to. The source is borrowed.
class RawValues {
  public:
    explicit RawValues(const OpenValues& source);

    std::size_t count() const { return source_.count(); }
    // The bytes of one of them, or of all.
    std::span<std::byte> value(std::size_t index);
    std::span<std::byte> all() { return bytes_; }
    // To an attribute or a data set of the same type and extents.
    void write_to(const OpenValues& target) const;
    // Whether an attribute or a data set holds the same values, of the same type and extents: lists
    // of varying length and texts by what is in them.
    bool are_those_of(const OpenValues& other) const;

  private:
    const OpenValues& source_;
    std::vector<std::byte> bytes_;
    Reclaim reclaim_;
};

// Integers, enumerations and floats of any width, texts of fixed or variable length: a value of its
// own where they are a scalar, else an array. Throws a TreeError that calls them `described`
// ("the attribute 'x' of 'a/b'") where they are of another type or there is none.
AttributeValue read_values(const OpenValues& values, std::string_view described);

} // namespace talvora::host::hdf5
