#include "host/cli/import_command.h"

#include "host/runs/input_files.h"
#include "host/runs/output_files.h"
#include "host/runs/written_sets.h"
#include "host/system/content_hash.h"

#include <memory>

namespace talvora::host {
namespace {

// The tree that the data sets go to: an empty one, or a copy of the file added to.
std::unique_ptr<Hdf5Tree> start_file(const ImportCommand& command,
                                     const std::filesystem::path& file) {
    if (!command.append) {
        return std::make_unique<Hdf5Tree>(file, Hdf5Access::Create);
    }
    copy_content(command.output, file);
    return std::make_unique<Hdf5Tree>(file, Hdf5Access::ReadWrite);
}

} // namespace

WriteOptions check_import_files(const ImportCommand& command,
                                const std::vector<std::filesystem::path>& inputs) {
    for (const std::filesystem::path& input : inputs) {
        refuse_same_file(input, command.output);
    }
    if (command.append) {
        open_input(command.output); // says what is wrong with a file that cannot be added to
    }
    WriteOptions options{.replace = command.force || command.append, .sources = inputs};
    check_destination(command.output, options);
    return options;
}

void build_import(const ImportCommand& command, const WorkPlace& place, PendingFile& pending,
                  const std::function<HistoryRecord(DataTree& tree)>& import) {
    make_output(place, [&] {
        const auto tree = start_file(command, pending.path());
        WrittenTree noted(*tree);
        const HistoryRecord record = import(noted);
        append_import(noted, record);
        const auto written = noted.list_written();
        tree->close();
        pending.begin_sync();
        check_written(pending.path(), written);
    });
}

} // namespace talvora::host
