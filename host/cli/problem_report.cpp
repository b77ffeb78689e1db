#include "host/cli/problem_report.h"

#include "host/text/join_texts.h"

#include <string>
#include <vector>

namespace talvora::host {

Failure join_problems(std::span<const ParameterProblem> problems) {
    std::vector<std::string> texts;
    std::vector<std::string> hints;
    for (const ParameterProblem& problem : problems) {
        texts.push_back(problem.text);
        if (!problem.hint.empty()) {
            hints.push_back(problem.hint);
        }
    }
    return {ExitCode::Usage, join_texts(texts, "; "), hints};
}

} // namespace talvora::host
