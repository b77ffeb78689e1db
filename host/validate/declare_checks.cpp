#include "host/validate/declare_checks.h"

#include "host/text/ascii.h"
#include "host/validate/examined_plugin.h"
#include "host/validate/watched_call.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

namespace talvora::host {

namespace {

template <typename Visit>
void visit_units(Examination& examination, Visit visit) {
    const auto plugin = load_plugin(examination);
    if (!plugin) {
        return;
    }
    for (const Unit& unit : plugin->units()) {
        examination.at(fmt::format("declare of '{}'", unit.name));
        visit(unit);
    }
}

bool is_upper_camel_case(const std::string& key) {
    const auto is_letter_or_digit = [](char c) { return is_letter(c) || is_digit(c); };
    return !key.empty() && key[0] >= 'A' && key[0] <= 'Z' &&
           std::ranges::all_of(key, is_letter_or_digit);
}

void expect_new_key(Examination& examination, const std::string& key, std::set<std::string>& keys) {
    examination.expect(keys.insert(key).second, fmt::format("the key '{}' is declared twice", key));
    if (!is_upper_camel_case(key)) {
        examination.warn(fmt::format("the key '{}' is not in upper camel case", key));
    }
}

// Calls back for each declared signature that can be read; the others are left to the
// check that is about them.
template <typename Visit>
void visit_signatures(const CallReport& report, Visit visit) {
    for (const DeclaredParameter& declared : report.declared) {
        try {
            visit(declared, parse_signature(declared.signature, declared.required));
        } catch (const std::invalid_argument&) {
            continue;
        }
    }
}

bool is_same(const DeclaredParameter& a, const DeclaredParameter& b) {
    return a.signature == b.signature && a.required == b.required;
}

} // namespace

void check_declaring(Examination& examination) {
    visit_units(examination, [&](const Unit& unit) {
        const CallReport report = call_declare(unit);
        if (!report.thrown.empty()) {
            examination.fail("throws: " + report.thrown);
        }
        for (const std::string& problem : report.problems.interface_breaks) {
            examination.fail(problem);
        }
        for (const std::string& problem : report.problems.refused_requests) {
            examination.fail(problem);
        }
        for (const std::string& problem : report.kept) {
            examination.fail(problem);
        }
    });
}

void check_signatures(Examination& examination) {
    visit_units(examination, [&](const Unit& unit) {
        std::set<std::string> keys;
        for (const DeclaredParameter& declared : call_declare(unit).declared) {
            try {
                const auto signature = parse_signature(declared.signature, declared.required);
                expect_new_key(examination, signature.key, keys);
            } catch (const std::invalid_argument& error) {
                examination.fail(error.what());
            }
        }
    });
}

void check_required(Examination& examination) {
    visit_units(examination, [&](const Unit& unit) {
        visit_signatures(call_declare(unit), [&](const DeclaredParameter& declared,
                                                 const ParameterSignature& signature) {
            examination.expect(
                !signature.required || !signature.default_value,
                fmt::format("'{}' is required and has a default", declared.signature));
        });
    });
}

void check_repeated_declaring(Examination& examination) {
    visit_units(examination, [&](const Unit& unit) {
        const auto first = call_declare(unit).declared;
        const auto second = call_declare(unit).declared;
        examination.expect(std::ranges::equal(first, second, is_same),
                           "declares something else the second time");
    });
}

void check_declare_answer(Examination& examination) {
    visit_units(examination, [&](const Unit& unit) {
        const CallReport report = call_declare(unit);
        examination.expect(
            report.declared.empty() || report.answer == report.last_answer,
            fmt::format("returns {:#x}, not the answer to its last declaration, {:#x}",
                        report.answer, report.last_answer));
    });
}

} // namespace talvora::host
