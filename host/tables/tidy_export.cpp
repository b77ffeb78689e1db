#include "host/tables/tidy_export.h"

#include "host/tables/csv_quoting.h"
#include "host/tables/sample_text.h"
#include "host/text/ascii.h"

#include <fmt/format.h>

#include <iterator>
#include <span>
#include <variant>
#include <vector>

namespace talvora::host {
namespace {

constexpr std::size_t TIDY_PIECE_BYTES = 1 << 16;

// "[0][1]" as "0/1".
std::string name_indices(std::string_view indices) {
    std::string name;
    for (std::size_t i = 0; i < indices.size(); ++i) {
        if (is_digit(indices[i])) {
            name += indices[i];
        } else if (indices[i] == '[' && i > 0) {
            name += '/';
        }
    }
    return name;
}

std::string make_text_cell(const std::string& text, const ExportOptions& options) {
    const char* mark = options.no_formulas && is_formula(text) ? "'" : "";
    return quote_field(fmt::format("{}{}", mark, text));
}

// Indices of dimensions without labels stand behind the label of the component: "X/1".
std::string name_component(const SignalSet& set, std::size_t line, const std::string& label) {
    const std::string indices = name_indices(set.line_indices(line));
    return fmt::format("{}{}{}", label, label.empty() || indices.empty() ? "" : "/", indices);
}

// What stands in front of the samples of a line.
std::string make_line_cells(const std::string& file, const SignalSet& set, std::size_t line,
                            const ExportOptions& options) {
    const std::string& label = text_of_line(set.names.labels, set.extents, line);
    const bool labels_columns = set.names.labels.dimension == 1;
    const std::string component = name_component(set, line, labels_columns ? "" : label);
    std::string cells;
    for (const std::string& text :
         {file, set.path, component, labels_columns ? label : "", set.line_unit(line)}) {
        cells += make_text_cell(text, options) + ',';
    }
    return cells;
}

template <typename Sample>
void append_row(std::string& text, const std::string& line_cells, const SignalSet& set,
                std::uint64_t sample, Sample value) {
    const auto end = std::back_inserter(text);
    fmt::format_to(end, "{}{},", line_cells, sample);
    if (set.sample_rate) {
        fmt::format_to(end, "{}", set.time_of(sample));
    }
    text += ',';
    append_sample(text, value);
    text += '\n';
}

template <typename Sample>
void write_line(std::span<const Sample> samples, const std::string& line_cells,
                const SignalSet& set, std::string& text,
                const std::function<void(std::string_view)>& write) {
    for (std::uint64_t sample = 0; sample < samples.size(); ++sample) {
        append_row(text, line_cells, set, sample, samples[sample]);
        if (text.size() >= TIDY_PIECE_BYTES) {
            write(text);
            text.clear();
        }
    }
}

} // namespace

std::string_view tidy_names() {
    return "file,set,component,label,unit,sample,time,value\n";
}

std::uint64_t write_tidy_rows(const std::string& file, const SignalSet& set,
                              const std::function<void(std::string_view)>& write,
                              const ExportOptions& options) {
    std::string text;
    for (std::size_t line = 0; line < set.line_count(); ++line) {
        const std::string line_cells = make_line_cells(file, set, line, options);
        set.visit_line(
            line, [&](const auto& samples) { write_line(samples, line_cells, set, text, write); });
    }
    write(text);
    return set.line_count() * set.line_length();
}

} // namespace talvora::host
