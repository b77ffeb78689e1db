// The samples of a set in memory. Copies share them, and so may someone outside the tree, until one
// of them is changed: it gets samples of its own then.
#pragma once

#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace talvora::host {

// Copies are used by one thread at a time, all of them.
class SharedSamples {
  public:
    SharedSamples() = default;
    explicit SharedSamples(std::vector<float> samples)
        : owned_(std::make_shared<std::vector<float>>(std::move(samples))), view_(*owned_) {}
    // They have to stay, and as they are, until the last copy is gone. They are never written to.
    static SharedSamples borrow(std::span<const float> samples) {
        SharedSamples borrowed;
        borrowed.view_ = samples;
        return borrowed;
    }

    std::span<const float> view() const { return view_; }
    // Whether a change shows here alone.
    bool is_own() const { return owned_ && owned_.use_count() == 1; }
    // To be written to, good until the next change or copy.
    std::span<float> change() {
        if (!is_own()) {
            *this = SharedSamples(std::vector<float>(view_.begin(), view_.end()));
        }
        return *owned_;
    }

  private:
    std::shared_ptr<std::vector<float>> owned_; // null: borrowed
    std::span<const float> view_;
};

} // namespace talvora::host
