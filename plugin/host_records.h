// The only place where host records are owned and freed.
//
// Each owner holds one host record, zeroed until the host fills it through out().
// The record is released exactly once: when the owner goes out of scope, when it is
// filled again, or when another owner is moved into it; it is zeroed afterwards.
// Owners are move-only. Nothing here throws.
#pragma once

#include "plugin/host_interfaces.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

namespace talvora {

// Free what the record points to and zero its four words. A null pointer anywhere is
// harmless; a list whose items are null holds no texts, whatever its count says.
void release_text_list(host_list& record) noexcept;
void release_integer_list(host_list& record) noexcept;
void release_text(host_string& record) noexcept;
void release_shape(host_shape& record) noexcept;

// What the four owners share.
template <typename Record, void (*RELEASE)(Record&) noexcept>
class OwnedRecord {
  public:
    OwnedRecord() = default;
    OwnedRecord(OwnedRecord&& other) noexcept : record_(std::exchange(other.record_, Record{})) {}
    OwnedRecord& operator=(OwnedRecord&& other) noexcept {
        if (this != &other) {
            RELEASE(record_);
            record_ = std::exchange(other.record_, Record{});
        }
        return *this;
    }
    OwnedRecord(const OwnedRecord&) = delete;
    OwnedRecord& operator=(const OwnedRecord&) = delete;
    ~OwnedRecord() { RELEASE(record_); }

    // An empty record for the host to fill.
    Record* out() noexcept {
        RELEASE(record_);
        return &record_;
    }

  protected:
    Record record_{};
};

class OwnedText : public OwnedRecord<host_string, release_text> {
  public:
    bool has_value() const noexcept { return record_.text != nullptr; }
    // Never null: an absent text reads as the empty one.
    const char* c_str() const noexcept { return has_value() ? record_.text : ""; }
    std::string_view view() const noexcept { return c_str(); }
};

class OwnedTextList : public OwnedRecord<host_list, release_text_list> {
  public:
    bool has_value() const noexcept { return record_.items != nullptr; }
    std::size_t size() const noexcept { return has_value() ? record_.count : 0; }
    // Never null: an absent text reads as the empty one.
    const char* operator[](std::size_t index) const noexcept;
};

class OwnedIntegerList : public OwnedRecord<host_list, release_integer_list> {
  public:
    std::span<const std::int64_t> values() const noexcept;
};

class OwnedShape : public OwnedRecord<host_shape, release_shape> {
  public:
    std::uint64_t rank() const noexcept { return record_.rank; }
    std::span<const std::uint64_t> extents() const noexcept { return {record_.dims, rank()}; }
    std::span<std::uint64_t> extents() noexcept { return {record_.dims, rank()}; }
};

} // namespace talvora
