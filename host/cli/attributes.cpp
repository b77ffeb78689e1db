// talvora-host attributes FILE.h5[::PATH] [--json]
// talvora-host attributes FILE.h5::PATH Name=Value ... [--remove Name] -o FILE | --in-place
#include "host/cli/attribute_values.h"
#include "host/cli/commands.h"
#include "host/cli/help_layout.h"
#include "host/cli/left_out.h"
#include "host/cli/problem_report.h"
#include "host/cli/read_apart.h"
#include "host/interface/path_patterns.h"
#include "host/runs/attribute_changes.h"
#include "host/runs/input_files.h"
#include "host/runs/job_plan.h"
#include "host/runs/kept_elsewhere.h"
#include "host/runs/output_files.h"
#include "host/runs/publish_result.h"
#include "host/text/failure.h"
#include "host/text/path_glob.h"
#include "host/tree/history_attribute.h"
#include "host/tree/named_objects.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace talvora::host {
namespace {

using Json = nlohmann::ordered_json;

struct AttributesCommand {
    std::string place; // FILE.h5[::PATH]
    std::vector<std::string> words;
    std::vector<std::string> removed;
    JobPlanOptions plan;
    bool dry_run = false;
    bool json = false;
};

std::string describe_held(const HeldAttribute& held) {
    return held.value ? describe_values(*held.value)
                      : fmt::format("({})", name_attribute_type(held.type));
}

Json make_value_json(const std::optional<HeldAttribute>& held) {
    return held && held->value ? make_json(*held->value) : Json(nullptr);
}

// ---------------------------------------------------------------------------
// What is there

struct Owner {
    std::string path;
    ObjectKind kind{};
    std::vector<std::pair<std::string, HeldAttribute>> attributes;
};

std::vector<std::string> list_all_paths(DataTree& tree) {
    std::vector<std::string> paths = {""};
    for (const NamedObject& object : list_objects(tree, tree.root(), "")) {
        paths.push_back(object.path);
    }
    sort_naturally(paths);
    return paths;
}

Owner read_owner(Hdf5Tree& tree, const std::string& path) {
    const ObjectId object = tree.find(tree.root(), path).value();
    Owner owner{path, tree.kind(object), {}};
    for (const std::string& name : tree.list_attributes(object)) {
        if (object != tree.root() || !is_history_part(name)) { // that is a command's of its own
            owner.attributes.emplace_back(name, find_attribute(tree, object, name).value());
        }
    }
    return owner;
}

// An object that is named as it stands leaves nothing out: a group is that alone.
bool names_one(DataTree& tree, const std::string& glob) {
    return !glob.empty() && tree.find(tree.root(), glob);
}

std::vector<Owner> read_owners(const Console& console, Hdf5Tree& tree, const TreePlace& place) {
    std::vector<Owner> owners;
    for (const std::string& path : place.glob.empty()
                                       ? list_all_paths(tree)
                                       : choose_owners(tree, place.glob, place.file.string())) {
        owners.push_back(read_owner(tree, path));
    }
    if (!names_one(tree, place.glob)) {
        tell_left_out(console, tree, {&place.glob, 1}, place.file.string());
    }
    return owners;
}

Json make_owner_json(const Owner& owner) {
    Json attributes = Json::array();
    for (const auto& [name, held] : owner.attributes) {
        attributes.push_back({{"name", name},
                              {"type", held.type.name},
                              {"shape", held.type.extents},
                              {"value", make_value_json(held)}});
    }
    return {{"path", owner.path},
            {"kind", name_kind(owner.kind)},
            {"attributes", std::move(attributes)}};
}

void print_owners(const std::vector<Owner>& owners, const Console& console) {
    for (const Owner& owner : owners) {
        console.result_line(name_owner(owner.path));
        for (const auto& [name, held] : owner.attributes) {
            console.result_line(fmt::format("    {} = {}  {}", name, describe_held(held),
                                            name_attribute_type(held.type)));
        }
    }
}

void show_attributes(const Session& session, const AttributesCommand& command) {
    const TreePlace place = parse_tree_place(command.place);
    const auto tree = open_input(place.file);
    const std::vector<Owner> owners =
        read_input(place.file, [&] { return read_owners(session.console, *tree, place); });
    if (!command.json) {
        print_owners(owners, session.console);
        return;
    }
    Json list = Json::array();
    for (const Owner& owner : owners) {
        list.push_back(make_owner_json(owner));
    }
    session.console.document({{"file", place.file.string()}, {"objects", std::move(list)}});
}

// ---------------------------------------------------------------------------
// What is to be changed

void refuse_history(const std::string& name) {
    if (is_history_part(name)) {
        throw Failure(ExitCode::Usage,
                      fmt::format("attribute '{}': it holds what was done to the file, and is "
                                  "neither set nor removed",
                                  name),
                      {"talvora-host history shows it"});
    }
}

AttributeEdit read_edit(const AttributesCommand& command) {
    AttributeEdit edit;
    try {
        edit = {read_attribute_words(command.words), command.removed};
    } catch (const ParameterError& error) {
        throw join_problems(error.problems());
    }
    for (const AttributeWord& word : edit.words) {
        refuse_history(word.name);
        if (std::ranges::find(edit.removed, word.name) != edit.removed.end()) {
            throw Failure(ExitCode::Usage,
                          fmt::format("attribute '{}' is to be set and removed", word.name));
        }
    }
    std::ranges::for_each(edit.removed, refuse_history);
    return edit;
}

Job plan_job(const AttributesCommand& command, const TreePlace& place) {
    if (place.glob.empty()) {
        throw Failure(ExitCode::Usage,
                      fmt::format("{}: attributes of which object?", command.place),
                      {fmt::format("{0}::PATH, a pattern for several sets, or {0}::/ for the file "
                                   "itself",
                                   place.file.string())});
    }
    const JobPlanOptions& given = command.plan;
    if (given.output.empty() == !given.in_place) {
        throw Failure(ExitCode::Usage,
                      given.in_place ? "more than one place to write to"
                                     : "where is the result to go?",
                      {"give -o FILE, or --in-place [--backup]"});
    }
    JobPlanOptions plan = given;
    plan.files = {place.file.string()};
    return plan_jobs(plan).front();
}

std::vector<AttributeChange> change_copy(const Job& job, const std::string& pattern,
                                         const AttributeEdit& edit, const PendingFile& pending,
                                         const TellNotes& tell_notes) {
    const std::string source = job.input.string();
    Hdf5Tree tree(pending.path(), Hdf5Access::ReadWrite);
    const auto paths = choose_owners(tree, pattern, source);
    std::vector<AttributeChange> changes = edit_attributes(tree, paths, edit, source);
    tell_notes(describe_lost_sight(tree, {job.input, job.output}));
    tree.close();
    check_written(pending.path(), {});
    Hdf5Tree written(pending.path(), Hdf5Access::ReadOnly);
    compare_attributes(written, changes);
    return changes;
}

std::vector<AttributeChange> change_file(const Console& console, const Job& job,
                                         const std::string& pattern, const AttributeEdit& edit,
                                         const AttributesCommand& command) {
    const auto input = open_input(job.input); // open until all is read
    // Of a damaged one: it is told of, and no copy of it.
    read_input(job.input, [&] { read_owners(console, *input, {job.input, pattern}); });
    const WriteOptions options{.replace = job.replace, .sources = {job.input}};
    check_destination(job.output, options);
    refuse_to_replace_kept_elsewhere(*input, {job.input, job.output});
    const auto pending = command.dry_run ? std::make_unique<PendingFile>()
                                         : std::make_unique<PendingFile>(job.output, options);
    const TellNotes tell_notes = [&](const std::vector<std::string>& notes) {
        for (const std::string& note : notes) {
            console.warning(note);
        }
    };
    const UnchangedInput unchanged(job.input);
    ContentMark content;
    std::vector<AttributeChange> changes =
        make_output({job.input.string(), job.output.string()}, [&] {
            content = copy_content(job.input, pending->path());
            return change_copy(job, pattern, edit, *pending, tell_notes);
        });
    unchanged.check();
    if (!command.dry_run) {
        publish_result(*pending,
                       {.input = job.input,
                        .content = content,
                        .backup = command.plan.backup,
                        .replace_backup = command.plan.force},
                       tell_notes);
    }
    return changes;
}

std::string describe_side(const std::optional<HeldAttribute>& held) {
    return held ? describe_held(*held) : "(none)";
}

// A type that stays is left out.
std::string describe_change(const AttributeChange& change) {
    const bool is_retyped =
        change.before && change.after && change.before->type.name != change.after->type.name;
    return fmt::format("{}: {}: {} -> {}{}", name_owner(change.path), change.name,
                       describe_side(change.before), describe_side(change.after),
                       is_retyped || (change.after && !change.before)
                           ? fmt::format("  {}", name_attribute_type(change.after->type))
                           : "");
}

Json make_change_json(const AttributeChange& change) {
    return {{"path", change.path},
            {"name", change.name},
            {"type", change.after ? Json(change.after->type.name) : Json(nullptr)},
            {"before", make_value_json(change.before)},
            {"after", make_value_json(change.after)}};
}

void print_changes(const Console& console, const std::vector<AttributeChange>& changes,
                   const Job& job, const AttributesCommand& command) {
    if (command.json) {
        Json list = Json::array();
        std::ranges::transform(changes, std::back_inserter(list), make_change_json);
        return console.document({{"file", job.input.string()},
                                 {"output", job.output.string()},
                                 {"written", !command.dry_run},
                                 {"changes", std::move(list)}});
    }
    for (const AttributeChange& change : changes) {
        console.done_line(describe_change(change));
    }
    if (command.dry_run) {
        console.info(fmt::format("dry run: {} was not written", job.output.string()));
    }
}

void set_attributes(Session& session, const AttributesCommand& command) {
    const AttributeEdit edit = read_edit(command);
    const TreePlace place = parse_tree_place(command.place);
    const Job job = plan_job(command, place);
    read_apart(
        session,
        [&] {
            const auto changes = change_file(session.console, job, place.glob, edit, command);
            print_changes(session.console, changes, job, command);
        },
        job.output.string());
}

void refuse_output(const AttributesCommand& command) {
    const JobPlanOptions& plan = command.plan;
    if (!plan.output.empty() || plan.in_place || plan.backup || plan.force || command.dry_run) {
        throw Failure(ExitCode::Usage, "no attribute to set or to remove, and nothing to write",
                      {"set one by Name=Value, or remove one by --remove Name"});
    }
}

void work_on_attributes(Session& session, const AttributesCommand& command) {
    if (!command.words.empty() || !command.removed.empty()) {
        return set_attributes(session, command);
    }
    refuse_output(command);
    read_apart(session, [&] { show_attributes(session, command); });
}

void add_changes(Command command, AttributesCommand& state) {
    command.add_option(
        "ATTRIBUTES", state.words,
        "Name=Value to set; commas part several values. An attribute keeps its type; "
        "Name:TYPE=Value gives one: text (commas are part of it), float32, int16, ...");
    command.add_option("--remove", state.removed, "Remove an attribute (repeatable)")
        .value_name("NAME")
        .repeatable_by_name();
    command.add_option("-o,--output", state.plan.output, "Where the changed file goes")
        .value_name("FILE")
        .path();
    command.add_flag("--in-place", state.plan.in_place, "Replace the file by the changed one");
    command.add_flag("--backup", state.plan.backup, "Keep what it replaces as FILE.bak");
    command.add_flag("-n,--dry-run", state.dry_run, "Do all but writing the result");
    command.add_flag("--force", state.plan.force, "Replace an existing output");
}

} // namespace

void add_attributes_command(Command program, Session& session) {
    const auto state = std::make_shared<AttributesCommand>();
    Command command = program.add_subcommand(
        "attributes", "Shows, sets and removes attributes: the rate, the unit, labels, any other");
    command
        .add_option("FILE.h5[::GLOB]", state->place,
                    "The file; of it, the group or data set that GLOB names, or the data sets that "
                    "it matches (*, ?, [..] within a name, ** for any names)")
        .required();
    add_changes(command, *state);
    command.add_flag("--json", state->json, "One JSON document");
    add_examples(
        command,
        {{"What the sets in a group carry, with types", "talvora-host attributes walk.h5::Imu/*"},
         {"A rate and names for a set of another program",
          "talvora-host attributes walk.h5::Imu/Rate SampleRate=100 Unit=deg/s Labels=X,Y,Z -o "
          "rated.h5"},
         {"All sets in a group, in place",
          "talvora-host attributes walk.h5::Imu/* StartTime=0 --in-place --backup"}});
    command.on_run([&session, state] { work_on_attributes(session, *state); });
}

} // namespace talvora::host
