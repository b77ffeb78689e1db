#include "host/cli/command_options.h"

#include <CLI/CLI.hpp>

namespace talvora::host {

Option& Option::value_name(const std::string& name) {
    option_->option_text(name);
    return *this;
}

Option& Option::required() {
    option_->required();
    return *this;
}

Option& Option::path() {
    option_->check([](const std::string& path) {
        return std::string(path.empty() ? "is empty (allowed: the name of a file or a folder)"
                                        : "");
    });
    return *this;
}

Option& Option::within(std::int64_t least, std::int64_t greatest) {
    option_->check(CLI::Range(least, greatest));
    return *this;
}

Option& Option::show_default() {
    option_->capture_default_str();
    return *this;
}

Option& Option::repeatable() {
    option_->expected(1)->take_all();
    return *this;
}

Option& Option::repeatable_by_name() {
    option_->expected(1)->allow_extra_args(false)->take_all();
    return *this;
}

Option& Option::excludes(const Option& other) {
    option_->excludes(other.option_);
    return *this;
}

Option& Option::hide() {
    option_->group("");
    return *this;
}

template <typename Value>
Option Command::add_option(const std::string& names, Value& variable,
                           const std::string& description) {
    return Option(*app_->add_option(names, variable, description));
}

template Option Command::add_option(const std::string&, double&, const std::string&);
template Option Command::add_option(const std::string&, std::uint64_t&, const std::string&);
template Option Command::add_option(const std::string&, std::string&, const std::string&);
template Option Command::add_option(const std::string&, std::optional<double>&, const std::string&);
template Option Command::add_option(const std::string&, std::optional<std::int64_t>&,
                                    const std::string&);
template Option Command::add_option(const std::string&, std::optional<std::string>&,
                                    const std::string&);
template Option Command::add_option(const std::string&, std::vector<double>&, const std::string&);
template Option Command::add_option(const std::string&, std::vector<std::uint64_t>&,
                                    const std::string&);
template Option Command::add_option(const std::string&, std::vector<std::string>&,
                                    const std::string&);

Option Command::add_flag(const std::string& names, bool& variable, const std::string& description) {
    return Option(*app_->add_flag(names, variable, description));
}

Command Command::add_subcommand(const std::string& name, const std::string& description) {
    return Command(*app_->add_subcommand(name, description));
}

void Command::on_run(std::function<void()> work) {
    app_->callback(std::move(work));
}

void Command::require_subcommand() {
    app_->require_subcommand(1);
}

void Command::hide() {
    app_->group("");
}

} // namespace talvora::host
