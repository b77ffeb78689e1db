#include "host/interface/record_makers.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

namespace talvora::host {

namespace {

RecordHeap record_heap{std::malloc, std::free};

struct Free {
    void operator()(void* block) const { record_heap.release(block); }
};

template <typename Item>
using Block = std::unique_ptr<Item[], Free>;

// Never null, not even without items: null says that there is no value.
template <typename Item>
Block<Item> allocate(std::size_t count) {
    Block<Item> block(
        static_cast<Item*>(record_heap.allocate(std::max<std::size_t>(count, 1) * sizeof(Item))));
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

template <typename Item>
Block<Item> copy_items(std::span<const Item> items) {
    Block<Item> block = allocate<Item>(items.size());
    std::ranges::copy(items, block.get());
    return block;
}

// A block that says nothing, which the receiver frees all the same.
Block<std::uint64_t> make_aux() {
    return record_heap.is_untidy ? allocate<std::uint64_t>(1) : nullptr;
}

std::uint64_t count_or_other(std::uint64_t count) {
    constexpr std::uint64_t OTHER = 3;
    return record_heap.is_untidy ? count + OTHER : count;
}

constexpr std::uint64_t UNUSED = 0xA5A5'5A5A'A5A5'5A5A;
std::uint64_t unused_word() {
    return record_heap.is_untidy ? UNUSED : 0;
}

Block<char> copy_text(std::string_view text) {
    Block<char> block = allocate<char>(text.size() + 1);
    std::ranges::copy(text, block.get());
    block[text.size()] = '\0';
    return block;
}

// The array of a list of texts, which frees what it holds unless it is released.
class TextItems {
  public:
    explicit TextItems(std::size_t count) : items_(allocate<char*>(count)) {}
    TextItems(const TextItems&) = delete;
    TextItems& operator=(const TextItems&) = delete;
    ~TextItems() {
        for (std::size_t i = 0; items_ != nullptr && i < count_; ++i) {
            record_heap.release(items_[i]);
        }
    }

    void add(Block<char> text) { items_[count_++] = text.release(); }
    char** release() { return items_.release(); }

  private:
    Block<char*> items_;
    std::size_t count_ = 0;
};

} // namespace

void set_record_heap(const RecordHeap& heap) {
    record_heap = heap;
}

host_list make_absent_list() {
    return {.count = count_or_other(0),
            .unused = unused_word(),
            .aux = make_aux().release(),
            .items = nullptr};
}

host_string make_absent_string() {
    return {.unread_count = count_or_other(0),
            .unused = unused_word(),
            .aux = make_aux().release(),
            .text = nullptr};
}

host_list make_text_list(std::span<const std::string> texts) {
    TextItems items(texts.size());
    for (const std::string& text : texts) {
        items.add(copy_text(text));
    }
    return {.count = texts.size(),
            .unused = unused_word(),
            .aux = make_aux().release(),
            .items = items.release()};
}

host_list make_integer_list(std::span<const std::int64_t> integers) {
    Block<std::int64_t> items = copy_items(integers);
    return {.count = integers.size(),
            .unused = unused_word(),
            .aux = make_aux().release(),
            .items = items.release()};
}

host_string make_string(std::string_view text) {
    Block<char> copy = copy_text(text);
    return {.unread_count = count_or_other(text.empty() ? 0 : text.size() + 1),
            .unused = unused_word(),
            .aux = make_aux().release(),
            .text = copy.release()};
}

host_shape make_shape(std::span<const std::uint64_t> extents) {
    Block<std::uint64_t> dims = copy_items(extents);
    return {.rank = extents.size(),
            .unused = unused_word(),
            .aux = make_aux().release(),
            .dims = dims.release()};
}

} // namespace talvora::host
