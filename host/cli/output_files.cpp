#include "host/cli/output_files.h"

#include "host/text/failure.h"
#include "host/tree/group_walk.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <sys/stat.h>
#include <system_error>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;

class OpenToTheOwnerAlone {
  public:
    OpenToTheOwnerAlone() : before_(umask(077)) {}
    OpenToTheOwnerAlone(const OpenToTheOwnerAlone&) = delete;
    OpenToTheOwnerAlone& operator=(const OpenToTheOwnerAlone&) = delete;
    ~OpenToTheOwnerAlone() { umask(before_); }

  private:
    mode_t before_;
};

} // namespace

std::unique_ptr<Hdf5Tree> create_over(const fs::path& temporary) {
    const OpenToTheOwnerAlone new_files;
    fs::remove(temporary);
    return std::make_unique<Hdf5Tree>(temporary, Hdf5Access::Create);
}

void check_written(const fs::path& temporary) {
    Hdf5Tree tree(temporary, Hdf5Access::ReadOnly);
    walk_groups(tree, tree.root(), [&](ObjectId group) {
        for (const std::string& name : tree.list_datasets(group)) {
            tree.extents(tree.find(group, name).value());
        }
    });
}

void write_text_file(const Console& console, const std::string& output, const WriteOptions& options,
                     const std::function<void(const TextSink&)>& work) {
    if (output == "-") {
        // What goes wrong is found when the program has ended its work (finish_standard_output).
        work([](std::string_view text) { std::fwrite(text.data(), 1, text.size(), stdout); });
        return;
    }
    PendingFile pending(output, options);
    std::ofstream stream(pending.path(), std::ios::binary);
    work([&](std::string_view text) { stream << text; });
    if (!stream.flush()) {
        throw Failure(ExitCode::Output,
                      output + ": cannot be written: " + std::generic_category().message(errno));
    }
    publish(console, pending);
}

void publish(const Console& console, PendingFile& pending) {
    for (const std::string& note : pending.publish()) {
        console.warning(note);
    }
}

} // namespace talvora::host
