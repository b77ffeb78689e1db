#include "library/line_changes.h"

#include "dsp/pauses.h"
#include "library/call_options.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace talvora::library {
namespace {

// Lines are filtered by as many at once.
constexpr std::size_t LINES_AT_ONCE = 16;
// Of a block of short lines. While lines are filtered the memory is asked for those after them, but
// for the first ones of a block: large blocks have few of these.
constexpr std::size_t BLOCK_BYTES = 1 << 20;
// Of one that is gathered first: it is still in the second-level cache when it is changed.
constexpr std::size_t GATHERED_BYTES = 256 << 10;
constexpr std::size_t CACHE_LINE_BYTES = 64;

// From sample to sample of lines whose neighbouring samples are adjacent.
template <class Sample>
constexpr auto ADJACENT = static_cast<std::ptrdiff_t>(sizeof(Sample));

// A whole number of those at once, and a block for each thread at least.
template <class Sample>
std::size_t choose_block_lines(const ArrayLines& lines, std::size_t worker_count) {
    const std::size_t bytes = lines.in_step() == ADJACENT<Sample> ? BLOCK_BYTES : GATHERED_BYTES;
    // A line takes so much in the list of them at least.
    const std::size_t line_bytes = std::max(lines.line_length() * sizeof(Sample), CACHE_LINE_BYTES);
    const std::size_t groups =
        lines.out_step() == ADJACENT<Sample> ? bytes / line_bytes / LINES_AT_ONCE : 1;
    const std::size_t each = (lines.line_count() + worker_count - 1) / worker_count;
    return std::clamp<std::size_t>(each, 1, LINES_AT_ONCE * std::max<std::size_t>(groups, 1));
}

// What one thread does to a block of lines.
template <class Sample>
class LineBlocks {
  public:
    LineBlocks(const ArrayLines& lines, std::size_t block_lines, LineChange<Sample> change,
               const AskToGoOn& ask)
        : lines_(lines), block_lines_(block_lines), change_(std::move(change)), pauses_(ask) {}

    void change_block(std::size_t block) {
        const std::size_t first = block * block_lines_;
        const std::size_t count = std::min(block_lines_, lines_.line_count() - first);
        lines_.find_places(first, count, places_);
        const bool writes_output = lines_.out_step() == ADJACENT<Sample>;
        change_to(writes_output ? places_.out : find_buffered(count));
        if (!writes_output) {
            const std::vector<const std::byte*> changed(buffered_.begin(), buffered_.end());
            copy({changed, ADJACENT<Sample>}, {places_.out, lines_.out_step()});
        }
    }

  private:
    // Lines of adjacent samples.
    void change_to(const std::vector<std::byte*>& to) {
        if (lines_.in_step() != ADJACENT<Sample>) {
            copy({places_.in, lines_.in_step()}, {to, ADJACENT<Sample>});
            places_.in.assign(to.begin(), to.end());
        }
        change(to);
    }

    // Long lines part by part.
    void copy(ReadLines from, WrittenLines to) {
        std::vector<const std::byte*> read(from.lines.begin(), from.lines.end());
        std::vector<std::byte*> written(to.lines.begin(), to.lines.end());
        for (std::size_t left = lines_.line_length();;) {
            const std::size_t count = std::min(left, dsp::Pauses::SAMPLES_APART);
            copy_lines<Sample>({read, from.step}, {written, to.step}, count);
            pauses_.pass(count * read.size());
            left -= count;
            if (left == 0) {
                return;
            }
            for (std::size_t line = 0; line < read.size(); ++line) {
                read[line] += static_cast<std::ptrdiff_t>(count) * from.step;
                written[line] += static_cast<std::ptrdiff_t>(count) * to.step;
            }
        }
    }

    void change(const std::vector<std::byte*>& to) {
        changed_.clear();
        for (std::size_t line = 0; line < to.size(); ++line) {
            changed_.push_back(
                {static_cast<const Sample*>(static_cast<const void*>(places_.in[line])),
                 static_cast<Sample*>(static_cast<void*>(to[line])), lines_.line_length()});
        }
        change_(changed_);
    }

    // An odd number of cache lines apart, so that they do not compete for the same sets of a cache.
    const std::vector<std::byte*>& find_buffered(std::size_t count) {
        constexpr std::size_t PART = CACHE_LINE_BYTES / sizeof(Sample);
        const std::size_t pitch = ((lines_.line_length() / PART + 1) | 1U) * PART;
        if (!buffer_) {
            buffer_ = std::make_unique_for_overwrite<Sample[]>(block_lines_ * pitch);
        }
        buffered_.clear();
        for (std::size_t line = 0; line < count; ++line) {
            buffered_.push_back(reinterpret_cast<std::byte*>(buffer_.get() + line * pitch));
        }
        return buffered_;
    }

    const ArrayLines& lines_;
    std::size_t block_lines_;
    LineChange<Sample> change_;
    dsp::Pauses pauses_;
    LinePlaces places_;
    std::unique_ptr<Sample[]> buffer_;
    std::vector<std::byte*> buffered_;
    std::vector<dsp::Run<Sample>> changed_;
};

} // namespace

template <class Sample>
void change_lines(const ArrayLines& lines, const talvora_filter_options& options,
                  const std::function<LineChange<Sample>(const AskToGoOn&)>& make_change) {
    const std::size_t worker_count = count_workers(options);
    const std::size_t block_lines = choose_block_lines<Sample>(lines, worker_count);
    const WorkerPlan plan{(lines.line_count() + block_lines - 1) / block_lines, worker_count,
                          options.should_stop, options.context};
    run_blocks(plan, [&](const AskToGoOn& ask) -> BlockWork {
        const auto blocks =
            std::make_shared<LineBlocks<Sample>>(lines, block_lines, make_change(ask), ask);
        return [blocks](std::size_t block) { blocks->change_block(block); };
    });
}

template void change_lines<float>(const ArrayLines&, const talvora_filter_options&,
                                  const std::function<LineChange<float>(const AskToGoOn&)>&);
template void change_lines<double>(const ArrayLines&, const talvora_filter_options&,
                                   const std::function<LineChange<double>(const AskToGoOn&)>&);

} // namespace talvora::library
