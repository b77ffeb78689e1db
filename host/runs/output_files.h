// The steps on the way to an HDF5 file that is made.
#pragma once

#include "host/hdf5/hdf5_tree.h"
#include "host/runs/exceptions.h"
#include "host/runs/written_sets.h"

#include <cstdint>
#include <exception>
#include <filesystem>
#include <optional>
#include <span>
#include <string_view>

namespace talvora::host {

// An output as it stood before any work on it.
class OutputBefore {
  public:
    explicit OutputBefore(const std::filesystem::path& output);
    // Whether another file stands there now: a result that was published is complete.
    bool is_replaced() const;

  private:
    std::filesystem::path output_;
    // By which its result is told from what stood there. Nothing for no file, and for one that
    // cannot be looked at.
    std::optional<std::uint64_t> number_;
};

// What is told of a worker that broke off behind that.
constexpr std::string_view OUTPUT_IS_WRITTEN = "the output is written and complete";

// Opens the closed file once more, visits its objects and compares what was written to its sets.
// Throws a TreeError when it is not as it was written.
void check_written(const std::filesystem::path& temporary, std::span<const WrittenSet> written);

// Does a step on the way to the place's output; what fails in it is thrown as the failure
// that explain_exception finds.
template <typename Step>
auto make_output(const WorkPlace& place, const Step& step) {
    try {
        return step();
    } catch (const std::exception&) {
        throw explain_exception(place);
    }
}

} // namespace talvora::host
