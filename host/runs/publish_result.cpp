#include "host/runs/publish_result.h"

#include "host/runs/input_files.h"
#include "host/runs/job_plan.h"
#include "host/runs/output_files.h"
#include "host/system/pending_cleanup.h"
#include "host/text/failure.h"

#include <fmt/format.h>

#include <exception>
#include <system_error>

namespace talvora::host {
namespace {

// What it leads to is no older backup.
void refuse_link(const std::filesystem::path& backup) {
    std::error_code ignored;
    if (std::filesystem::is_symlink(std::filesystem::symlink_status(backup, ignored))) {
        throw Failure(ExitCode::Output,
                      fmt::format("{}: is a link, which no backup follows", backup.string()));
    }
}

void take_back(PendingFile& backup, const std::filesystem::path& name,
               const TellNotes& tell_notes) {
    if (!backup.take_back()) {
        tell_notes({fmt::format("{}: what stood there before cannot be put back; it is kept as {}",
                                name.string(), backup.kept().string())});
    }
}

void publish_with_backup(PendingFile& result, const ResultSource& source,
                         const TellNotes& tell_notes) {
    const std::string kept = source.input.string();
    refuse_link(backup_of(source.input));
    PendingFile backup(backup_of(source.input), {.replace = source.replace_backup,
                                                 .keep_replaced = true,
                                                 .like = source.input,
                                                 .sources = {source.input}});
    make_output({kept, kept}, [&] {
        refuse_change(source.input, copy_content(source.input, backup.path()) != source.content);
    });
    backup.prepare();
    result.prepare();
    const SignalsHeldBack held_back; // between the two
    try {
        tell_notes(backup.publish());
        tell_notes(result.publish());
    } catch (const std::exception&) {
        take_back(backup, backup_of(source.input), tell_notes);
        throw;
    }
    if (!backup.let_go()) {
        tell_notes({fmt::format("{}: cannot be removed; it is the backup that was replaced",
                                backup.kept().string())});
    }
}

} // namespace

std::vector<std::string> explain_left_backup(const std::filesystem::path& input) {
    const std::filesystem::path backup = backup_of(input);
    const std::filesystem::path older = kept_name_of(backup);
    std::vector<std::string> hints = {
        fmt::format("'{}' was made before: it holds the same as '{}'; move or remove it",
                    backup.string(), input.string())};
    std::error_code ignored;
    if (std::filesystem::exists(older, ignored)) {
        hints.push_back(fmt::format("'{}' is the backup that stood there: give it back its name",
                                    older.string()));
    }
    return hints;
}

void publish_result(PendingFile& result, const ResultSource& source, const TellNotes& tell_notes) {
    if (source.backup) {
        publish_with_backup(result, source, tell_notes);
    } else {
        tell_notes(result.publish());
    }
}

} // namespace talvora::host
