// talvora-host plot FILE.h5[::GLOB] [--with OTHER.h5] -o plot.html | plot.svg
#include "host/cli/commands.h"
#include "host/cli/help_layout.h"
#include "host/cli/left_out.h"
#include "host/cli/packed_sets.h"
#include "host/cli/printed_files.h"
#include "host/cli/read_apart.h"
#include "host/interface/path_patterns.h"
#include "host/pictures/plot_figure.h"
#include "host/pictures/plot_page.h"
#include "host/runs/input_files.h"
#include "host/system/safe_write.h"
#include "host/text/join_texts.h"
#include "host/text/plural.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace talvora::host {
namespace {

struct PlotCommand {
    std::string place; // FILE.h5[::GLOB]
    std::string other; // what came of the file; empty: it is shown alone
    std::string output;
    PlotChoice choice;
    std::optional<std::string> title;
    std::optional<double> from;
    std::optional<double> to;
    bool stacked = false;
    bool force = false;
};

using Draw = std::string (*)(const Plot& plot);

std::string draw_page(const Plot& plot) {
    return make_plot_page(plot);
}

std::string draw_svg(const Plot& plot) {
    return draw_figure(make_plot_figure(plot));
}

Draw choose_format(const std::string& output) {
    if (output.ends_with(".html")) {
        return draw_page;
    }
    if (output.ends_with(".svg")) {
        return draw_svg;
    }
    throw Failure(ExitCode::Usage, fmt::format("-o {}: neither .html nor .svg", output),
                  {"plot.html for a page to zoom in, plot.svg for a paper"});
}

void check_span(const PlotCommand& command) {
    for (const std::optional<double>& end : {command.from, command.to}) {
        if (end && !std::isfinite(*end)) {
            throw Failure(ExitCode::Usage, "--from and --to are finite numbers");
        }
    }
    if (command.from && command.to && !(*command.from < *command.to)) {
        throw Failure(ExitCode::Usage, fmt::format("--from {} --to {}: the span is empty",
                                                   *command.from, *command.to));
    }
}

// Files are told apart by their names, or by the words that name them.
std::pair<std::string, std::string> name_files(const std::filesystem::path& file,
                                               const std::filesystem::path& other) {
    const bool differ = file.filename() != other.filename();
    return {differ ? file.filename().string() : file.string(),
            differ ? other.filename().string() : other.string()};
}

SignalSet read_set(const std::filesystem::path& file, Hdf5Tree& tree, const std::string& path) {
    return read_input(file, [&] { return read_signal_set(tree, path); });
}

// ---------------------------------------------------------------------------
// What the chosen sets have, looked at before their samples are read

void check_line_count(const std::vector<SignalSet>& heads, const PlotCommand& command) {
    std::size_t count = 0;
    for (const SignalSet& head : heads) {
        count += count_chosen(head, command.choice);
    }
    if (count > MAX_PLOT_LINES) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: {} lines in {}, a picture has room for {}", command.place,
                                  count, count_things(heads.size(), "data set"), MAX_PLOT_LINES),
                      {"choose some of them: --line N, or fewer sets"});
    }
}

std::size_t most_lines(const std::vector<SignalSet>& heads) {
    std::size_t most = 0;
    for (const SignalSet& head : heads) {
        most = std::max(most, head.line_count());
    }
    return most;
}

void check_chosen_lines(const std::vector<SignalSet>& heads, const PlotCommand& command) {
    const std::size_t count = most_lines(heads);
    for (const std::size_t line : command.choice.lines) {
        if (line >= count) {
            throw Failure(ExitCode::Input,
                          fmt::format("{}: no line {} ({})", command.place, line,
                                      count == 0   ? "there is none"
                                      : count == 1 ? "there is line 0 alone"
                                                   : fmt::format("there are 0 to {}", count - 1)));
        }
    }
}

struct TimeSpan {
    double from = std::numeric_limits<double>::infinity();
    double to = -std::numeric_limits<double>::infinity();

    void include(const SignalSet& set) {
        if (set.line_count() > 0) {
            from = std::min(from, set.time_of(0));
            to = std::max(to, set.time_of(set.line_length() - 1));
        }
    }
    bool is_empty() const { return to < from; }
    bool overlaps(const PlotCommand& command) const {
        return command.from.value_or(from) <= to && command.to.value_or(to) >= from;
    }
};

// Over all sets with a rate, in seconds, and over all without one, in samples.
void check_times(const std::vector<SignalSet>& heads, const PlotCommand& command) {
    TimeSpan seconds;
    TimeSpan samples;
    for (const SignalSet& head : heads) {
        (head.sample_rate ? seconds : samples).include(head);
    }
    std::vector<std::string> there;
    for (const auto& [span, measure] : {std::pair(seconds, "s"), std::pair(samples, "samples")}) {
        if (span.is_empty()) {
            continue;
        }
        if (span.overlaps(command)) {
            return;
        }
        there.push_back(fmt::format("{:.6g} to {:.6g} {}", span.from, span.to, measure));
    }
    if (!there.empty()) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: nothing is there{}{} (there is {})", command.place,
                                  command.from ? fmt::format(" from {}", *command.from) : "",
                                  command.to ? fmt::format(" to {}", *command.to) : "",
                                  join_texts(there, " and ")));
    }
}

class Builder {
  public:
    Builder(const Session& session, const PlotCommand& command)
        : session_(session), command_(command), place_(parse_tree_place(command.place)),
          unchanged_(place_.file), tree_(open_input(place_.file)) {
        if (!command.other.empty()) {
            other_unchanged_.emplace(command.other);
            other_ = open_input(command.other);
            std::tie(name_, other_name_) = name_files(place_.file, command.other);
        }
    }

    Plot build() {
        Plot plot{.title = command_.title.value_or(describe_files()),
                  .panels = {},
                  .from = command_.from,
                  .to = command_.to};
        const std::string source = place_.file.string();
        const std::vector<std::string> paths = choose_sets(*tree_, place_.glob, source);
        tell_left_out(session_.console, *tree_, {&place_.glob, 1}, source);
        check_choice(paths);
        for (const std::string& path : paths) {
            warn_of_packing(session_.console, *tree_, path, source);
            const PlotSource shown{name_, read_set(place_.file, *tree_, path)};
            const PlotPanel panel = make_panel(shown, find_other(path), command_.choice);
            check_lines(panel);
            add_panel(plot, panel);
        }
        unchanged_.check();
        if (other_unchanged_) {
            other_unchanged_->check();
        }
        return plot;
    }

  private:
    void check_choice(const std::vector<std::string>& paths) const {
        std::vector<SignalSet> heads;
        heads.reserve(paths.size());
        for (const std::string& path : paths) {
            heads.push_back(
                read_input(place_.file, [&] { return read_signal_head(*tree_, path); }));
        }
        check_chosen_lines(heads, command_);
        check_line_count(heads, command_);
        check_times(heads, command_);
    }

    void add_panel(Plot& plot, const PlotPanel& panel) const {
        if (command_.stacked) {
            std::ranges::move(stack_lines(panel), std::back_inserter(plot.panels));
        } else {
            plot.panels.push_back(panel);
        }
    }

    std::string describe_files() const {
        const std::string name = place_.file.filename().string();
        return other_ ? fmt::format("{} and {}", name_, other_name_) : name;
    }

    std::optional<PlotSource> find_other(const std::string& path) {
        if (!other_) {
            return std::nullopt;
        }
        const auto set = other_->find(other_->root(), path);
        if (!set || other_->kind(*set) != ObjectKind::DataSet) {
            session_.console.warning(
                set ? fmt::format("{}: '{}' is no data set that can be drawn", command_.other, path)
                    : fmt::format("{}: no data set '{}'", command_.other, path));
            return std::nullopt;
        }
        warn_of_packing(session_.console, *other_, path, command_.other);
        return PlotSource{other_name_, read_set(command_.other, *other_, path)};
    }

    void check_lines(const PlotPanel& panel) const {
        if (panel.lines.empty() && !command_.choice.lines.empty()) {
            session_.console.warning(fmt::format("{}: '{}' has none of the chosen lines",
                                                 place_.file.string(), panel.title));
        }
    }

    const Session& session_;
    const PlotCommand& command_;
    TreePlace place_;
    UnchangedInput unchanged_; // from before it is opened
    std::unique_ptr<Hdf5Tree> tree_;
    std::optional<UnchangedInput> other_unchanged_;
    std::unique_ptr<Hdf5Tree> other_;
    std::string name_;
    std::string other_name_;
};

// The sets of the other file are those of the first one's.
void refuse_choice_of_other(const PlotCommand& command) {
    const TreePlace other = parse_tree_place(command.other);
    if (other.file != command.other) {
        throw Failure(ExitCode::Usage,
                      fmt::format("--with {}: '::{}' chooses nothing there (allowed: {} alone, of "
                                  "which the sets of the same names are drawn)",
                                  command.other, other.glob, other.file.string()));
    }
}

WriteOptions find_write_options(const PlotCommand& command) {
    WriteOptions options{.replace = command.force,
                         .sources = {parse_tree_place(command.place).file}};
    if (!command.other.empty()) {
        options.sources.emplace_back(command.other);
    }
    return options;
}

void plot_file(const Session& session, const PlotCommand& command) {
    const Draw draw = choose_format(command.output);
    check_span(command);
    refuse_choice_of_other(command);
    const WriteOptions write_options = find_write_options(command);
    for (const std::filesystem::path& source : write_options.sources) {
        refuse_same_file(source, command.output);
    }
    check_destination(command.output, write_options);
    const Plot plot = Builder(session, command).build();
    write_text_file(session.console, command.output, write_options,
                    [&](const TextSink& send) { send(draw(plot)); });
    session.console.done_line(
        fmt::format("{}: {}", command.output,
                    count_things(plot.panels.size(), command.stacked ? "line" : "data set")));
}

} // namespace

void add_plot_command(Command program, Session& session) {
    const auto state = std::make_shared<PlotCommand>();
    Command command =
        program.add_subcommand("plot", "Data sets as a page to zoom in, or as a picture");
    command
        .add_option("FILE.h5[::GLOB]", state->place,
                    "The file; of it, the data sets that match GLOB over full paths (*, ?, [..] "
                    "within a name, ** for any names), or are in a group that does")
        .required();
    command
        .add_option("--with", state->other,
                    "Another file, whose sets of the same names are drawn over them")
        .value_name("FILE")
        .path();
    command
        .add_option("-o,--output", state->output,
                    "plot.html: one page that needs nothing else; plot.svg: a picture")
        .value_name("FILE")
        .path()
        .required();
    command.add_option("--from", state->from, "Where the span shown begins, on the time axis")
        .value_name("S");
    command.add_option("--to", state->to, "Where it ends").value_name("S");
    command
        .add_option("--line", state->choice.lines,
                    "A line of each set, counted from 0 (repeatable; else all)")
        .value_name("N")
        .repeatable();
    command.add_flag("--stack", state->stacked,
                     "Each line in a panel of its own, below each other");
    command
        .add_option("--label", state->choice.y_title,
                    "What stands beside the value axes (else the sets' names)")
        .value_name("TEXT");
    command.add_option("--title", state->title, "The title (else the names of the files)");
    command.add_flag("--force", state->force, "Replace an existing file");
    add_examples(
        command,
        {{"A page to zoom in", "talvora-host plot walk.h5 -o walk.html"},
         {"Before and after, ten seconds, as a picture",
          "talvora-host plot walk.h5::Imu/Rate --with smooth.h5 --from 10 --to 20 -o walk.svg"}});
    command.on_run([&session, state] {
        read_apart(
            session, [&] { plot_file(session, *state); }, state->output);
    });
}

} // namespace talvora::host
