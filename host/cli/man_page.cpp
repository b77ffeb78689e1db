#include "host/cli/man_page.h"

#include "host/cli/help_layout.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <sstream>
#include <string_view>

namespace talvora::host {
namespace {

// What roff would read as a request, or set as another character than was written.
std::string_view escape_character(char character) {
    switch (character) {
    case '\\':
        return "\\e";
    case '-':
        return "\\-";
    case '\'':
        return "\\(aq";
    case '`':
        return "\\(ga";
    case '^':
        return "\\(ha";
    case '~':
        return "\\(ti";
    case '"':
        return "\\(dq";
    default:
        return {};
    }
}

std::string escape(std::string_view text) {
    std::string escaped = text.starts_with('.') ? "\\&" : "";
    for (const char character : text) {
        const std::string_view replaced = escape_character(character);
        if (replaced.empty()) {
            escaped += character;
        } else {
            escaped += replaced;
        }
    }
    return escaped;
}

std::string upper_case(std::string text) {
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::toupper(c); });
    return text;
}

const CLI::App& program_of(const CLI::App& command) {
    return command.get_parent() == nullptr ? command : program_of(*command.get_parent());
}

// "talvora-host recipe run"
std::string typed_name(const CLI::App& command) {
    return command.get_parent() == nullptr
               ? command.get_name()
               : typed_name(*command.get_parent()) + " " + command.get_name();
}

std::string make_synopsis(const CLI::App& command) {
    std::string text = fmt::format("\\fB{}\\fR [\\fIOPTIONS\\fR]", escape(typed_name(command)));
    for (const CLI::Option* option : positionals(command)) {
        const std::string name = fmt::format("\\fI{}\\fR{}", escape(option->get_name()),
                                             option->get_expected_max() > 1 ? " ..." : "");
        text += option->get_required() ? " " + name : fmt::format(" [{}]", name);
    }
    return text + (visible_commands(command).empty() ? "" : " \\fICOMMAND\\fR ...") + "\n";
}

std::string make_item(std::string_view tag, std::string_view text) {
    return fmt::format(".TP\n{}\n{}\n", tag, escape(text));
}

// "-o,--output" as "-o, --output FILE"
std::string make_option_tag(const CLI::Option& option) {
    std::string names = option.get_name(false, true);
    if (const std::size_t comma = names.find(','); comma != std::string::npos) {
        names.replace(comma, 1, "\\fR, \\fB");
    }
    std::string tag = "\\fB";
    for (const char character : names) {
        tag += character == '-' ? "\\-" : std::string(1, character);
    }
    const std::string label = value_label(option);
    return tag + "\\fR" +
           (label.empty() ? "" : fmt::format(" \\fI{}\\fR", escape(label.substr(1))));
}

std::string make_words_and_options(const CLI::App& command) {
    std::string text;
    for (const CLI::Option* option : positionals(command)) {
        text += make_item(fmt::format("\\fI{}\\fR", escape(option->get_name())),
                          describe_option(*option));
    }
    for (const CLI::Option* option : visible_options(command)) {
        text += make_item(make_option_tag(*option), describe_option(*option));
    }
    return text;
}

std::string make_commands(const CLI::App& command) {
    std::string text;
    for (const CLI::App* child : visible_commands(command)) {
        if (command.get_parent() == nullptr) {
            text += make_item(fmt::format("\\fB{}\\fR(1)", escape(man_page_name(*child))),
                              child->get_description());
        } else {
            text += fmt::format(".SS {}\n{}.PP\n{}\n{}", escape(child->get_name()),
                                make_synopsis(*child), escape(child->get_description()),
                                make_words_and_options(*child));
        }
    }
    return text.empty() ? "" : ".SH COMMANDS\n" + text;
}

// A title becomes a section, what is indented stays as it is.
std::string make_footer(const CLI::App& command) {
    std::istringstream lines(command.get_footer());
    std::string text;
    for (std::string line; std::getline(lines, line);) {
        if (line.ends_with(':') && !line.starts_with(' ')) {
            line.pop_back();
            text += fmt::format("{}.SH {}\n.nf\n", text.empty() ? "" : ".fi\n",
                                escape(upper_case(line)));
        } else if (!line.empty()) {
            text += escape(line.substr(std::min<std::size_t>(2, line.size()))) + "\n";
        }
    }
    return text + (text.empty() ? "" : ".fi\n");
}

std::string make_see_also(const CLI::App& command) {
    if (command.get_parent() == nullptr) {
        return "";
    }
    const std::string program = escape(program_of(command).get_name());
    return fmt::format(".SH SEE ALSO\n\\fB{}\\fR(1), with the options that every command takes,\n"
                       "the exit codes and the environment\n",
                       program);
}

} // namespace

std::string man_page_name(const CLI::App& command) {
    return command.get_parent() == nullptr
               ? command.get_name()
               : man_page_name(*command.get_parent()) + "-" + command.get_name();
}

std::string make_man_page(const CLI::App& command) {
    const std::string name = man_page_name(command);
    return fmt::format(".TH {} 1 \"\" \"{} {}\" \"User commands\"\n"
                       ".SH NAME\n{} \\- {}\n.SH SYNOPSIS\n{}.SH DESCRIPTION\n{}\n",
                       upper_case(escape(name)), program_of(command).get_name(), TALVORA_VERSION,
                       escape(name), escape(command.get_description()), make_synopsis(command),
                       escape(command.get_description())) +
           ".SH OPTIONS\n" + make_words_and_options(command) + make_commands(command) +
           make_footer(command) + make_see_also(command);
}

} // namespace talvora::host
