#include "host/recipes/yaml_document.h"

#include "host/recipes/yaml_lines.h"
#include "host/text/utf8.h"

#include <fmt/format.h>
#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/exceptions.h>
#include <yaml-cpp/parser.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <utility>

namespace talvora::host {
namespace {

using Problems = std::vector<YamlProblem>;
using Kind = YamlNode::Kind;

YamlPlace place_of(const YAML::Mark& mark, const TextLines& lines) {
    return lines.find(static_cast<std::size_t>(std::max(mark.line, 0)),
                      static_cast<std::size_t>(std::max(mark.column, 0)));
}

// The parser leaves the escapes \_ and \N, U+00A0 and U+0085, as single bytes, and what it reads is
// UTF-8: a byte of them that stands alone is one of these.
std::string complete_escapes(std::string_view text) {
    constexpr char LEAD_BYTE = '\xC2';
    std::string complete;
    while (const auto at = find_invalid_utf8(text)) {
        complete += text.substr(0, *at);
        if (!begins_code_point(text[*at])) {
            complete += LEAD_BYTE;
        }
        complete += text[*at];
        text.remove_prefix(*at + 1);
    }
    return complete += text;
}

// ---------------------------------------------------------------------------
// The parser's events as nodes

struct TooDeep {
    YAML::Mark mark;
};

class NodeBuilder : public YAML::EventHandler {
  public:
    NodeBuilder(const TextLines& lines, Problems& problems) : lines_(lines), problems_(problems) {}

    std::optional<YamlNode> take_root() { return std::move(root_); }

    void OnDocumentStart(const YAML::Mark& /*mark*/) override {}
    void OnDocumentEnd() override {}

    void OnNull(const YAML::Mark& mark, YAML::anchor_t anchor) override {
        add(make_node(Kind::Null, mark, "", anchor));
    }
    void OnAlias(const YAML::Mark& mark, YAML::anchor_t /*anchor*/) override {
        problems_.push_back(
            {place_of(mark, lines_), "an alias ('*') is not taken", "write it out"});
        add(make_node(Kind::Broken, mark, "", YAML::NullAnchor));
    }
    void OnScalar(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor,
                  const std::string& value) override {
        YamlNode node = make_node(Kind::Scalar, mark, tag, anchor);
        node.text = complete_escapes(value);
        node.is_quoted = tag != PLAIN;
        add(std::move(node));
    }
    void OnSequenceStart(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor,
                         YAML::EmitterStyle::value /*style*/) override {
        open(Kind::List, mark, tag, anchor);
    }
    void OnSequenceEnd() override { close(); }
    void OnMapStart(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor,
                    YAML::EmitterStyle::value /*style*/) override {
        open(Kind::Map, mark, tag, anchor);
    }
    void OnMapEnd() override { close(); }

  private:
    // What the parser gives as the tag of a node that was written without one.
    static constexpr std::string_view PLAIN = "?";
    static constexpr std::string_view QUOTED = "!";

    YamlNode make_node(Kind kind, const YAML::Mark& mark, std::string_view tag,
                       YAML::anchor_t anchor) {
        YamlNode node;
        node.kind = kind;
        node.place = place_of(mark, lines_);
        if (anchor != YAML::NullAnchor) {
            problems_.push_back({node.place, "an anchor ('&') is not taken", ""});
        }
        if (!tag.empty() && tag != PLAIN && tag != QUOTED) {
            problems_.push_back({node.place, fmt::format("a tag ('{}') is not taken", tag), ""});
        }
        return node;
    }

    void open(Kind kind, const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor) {
        if (open_.size() == MAX_YAML_DEPTH) {
            throw TooDeep{mark};
        }
        open_.push_back(make_node(kind, mark, tag, anchor));
    }

    void close() {
        YamlNode node = std::move(open_.back());
        open_.pop_back();
        if (node.kind == Kind::Map) {
            pair_up(node);
        }
        add(std::move(node));
    }

    void add(YamlNode node) {
        if (open_.empty()) {
            root_ = std::move(node);
        } else {
            open_.back().items.push_back(std::move(node));
        }
    }

    // Keys and values have come in turn.
    void pair_up(YamlNode& map) {
        std::map<std::string, YamlPlace> seen;
        std::vector<YamlNode> values;
        for (std::size_t i = 0; i + 1 < map.items.size(); i += 2) {
            const YamlNode& key = map.items[i];
            if (key.kind != Kind::Scalar) {
                problems_.push_back({key.place, "a key has to be a text", ""});
                continue;
            }
            const auto [first, is_new] = seen.emplace(key.text, key.place);
            if (!is_new) {
                problems_.push_back({key.place,
                                     fmt::format("the key '{}' is repeated (it stands in line {})",
                                                 key.text, first->second.line),
                                     ""});
                continue;
            }
            values.push_back(std::move(map.items[i + 1]));
            values.back().key = key.text;
            values.back().key_place = key.place;
        }
        map.items = std::move(values);
    }

    const TextLines& lines_;
    Problems& problems_;
    std::vector<YamlNode> open_;
    std::optional<YamlNode> root_;
};

// ---------------------------------------------------------------------------
// What the parser has to say, for people

constexpr std::pair<std::string_view, std::string_view> PARSER_HINTS[] = {
    {"illegal map value", "a text that holds ': ' stands in quotes; a key has a blank behind its "
                          "colon"},
    {"end of map not found", "the keys of one map begin in the same column"},
    {"end of sequence not found", "the '-' of one list stand in the same column"},
};

std::string hint_for(const std::string& message, std::string_view line) {
    if (message.ends_with("flow not found") && line.find("${") != std::string_view::npos) {
        return "between [ ] or { } a value with ${name} stands in quotes";
    }
    const auto row = std::ranges::find(PARSER_HINTS, message,
                                       &std::pair<std::string_view, std::string_view>::first);
    return row == std::end(PARSER_HINTS) ? "" : std::string(row->second);
}

YamlProblem make_problem(const YAML::ParserException& error, const TextLines& lines) {
    const YamlPlace place = place_of(error.mark, lines);
    // The line behind the last one is the end mark.
    if (place.line >= lines.all().size()) {
        return {place, "a quoted text or a bracket is not closed before the end", ""};
    }
    return {place, fmt::format("no YAML: {}", error.msg),
            hint_for(error.msg, lines.all()[place.line - 1])};
}

// Notes where a document begins, and that it does.
class DocumentFinder : public NodeBuilder {
  public:
    using NodeBuilder::NodeBuilder;
    void OnDocumentStart(const YAML::Mark& mark) override { start = mark; }
    YAML::Mark start;
};

std::optional<YamlNode> parse(const std::string& text, const TextLines& lines, Problems& problems) {
    // The end mark makes a quote that is never closed an error.
    std::istringstream stream(text + "...\n");
    YAML::Parser parser(stream);
    NodeBuilder builder(lines, problems);
    parser.HandleNextDocument(builder);
    Problems ignored;
    DocumentFinder next(lines, ignored);
    if (parser.HandleNextDocument(next)) {
        problems.push_back({place_of(next.start, lines), "a second document begins here", ""});
    }
    return builder.take_root();
}

} // namespace

bool is_given(const YamlNode* node) {
    return node != nullptr && node->kind != Kind::Null;
}

std::string describe_node(const YamlNode& node) {
    switch (node.kind) {
    case Kind::List:
        return "a list";
    case Kind::Map:
        return "a map";
    case Kind::Scalar:
        return fmt::format("{}'{}'", node.is_quoted ? "the text " : "", node.text);
    case Kind::Null:
    case Kind::Broken:
        break;
    }
    return "nothing";
}

std::optional<YamlNode> parse_yaml(std::string_view text, Problems& problems) {
    if (text.size() > MAX_YAML_BYTES) {
        problems.push_back({{}, fmt::format("more than {} bytes", MAX_YAML_BYTES), ""});
        return std::nullopt;
    }
    const std::string plain = with_plain_line_ends(text);
    const TextLines lines(plain);
    if (!check_lines(lines, problems)) {
        return std::nullopt;
    }
    try {
        return parse(plain, lines, problems);
    } catch (const TooDeep& deep) {
        problems.push_back({place_of(deep.mark, lines),
                            fmt::format("nested more than {} deep", MAX_YAML_DEPTH), ""});
    } catch (const YAML::ParserException& error) {
        problems.push_back(make_problem(error, lines));
    }
    return std::nullopt;
}

} // namespace talvora::host
