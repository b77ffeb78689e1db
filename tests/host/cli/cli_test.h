// What the tests of the commands share: a folder with a small recording in it.
#pragma once

#include "tests/host/cli/program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace talvora::host {

class CommandLine : public testing::Test {
  protected:
    ProgramResult run(const Program::Words& words, const ProgramOptions& options = {}) const {
        return run_program(folder_.path(), words, options);
    }

    ProgramResult run_trouble(const std::string& unit, const Program::Words& words) const {
        Program::Words all = {"run", unit, "--plugin", TROUBLE_PLUGIN};
        all.insert(all.end(), words.begin(), words.end());
        return run(all);
    }

    // At 10 Hz, Signals/X of -1, 2, NaN, -4, -5 and Signals/Y of 1, 1, NaN, 1, 1.
    void import_walk(const std::string& file = "walk.h5") const {
        write_file(folder_ / "walk.csv", "t,X,Y\n0,-1,1\n0.1,2,1\n0.3,-4,1\n0.4,-5,1\n");
        const ProgramResult result = run({"import", "walk.csv", "-o", file});
        ASSERT_EQ(result.exit_code, 0) << result.errors;
    }

    TemporaryFolder folder_;
};

} // namespace talvora::host
