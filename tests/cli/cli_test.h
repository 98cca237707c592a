#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "platform_fake/fake_console.h"
#include "program.h"
#include "temporary_folder.h"

namespace kelvaris::cli {

struct Outcome {
    int status = 0;
    std::string output;
    std::string errors;
};

/// Runs the program on a library of its own in a folder that goes with the test.
class CliTest : public ::testing::Test {
protected:
    std::filesystem::path base() const { return folder.path().string(); }
    std::filesystem::path root() const { return base() / "root"; }

    Outcome run(const std::vector<std::string>& words, const std::string& input = "") const {
        FakeConsole console(input);
        return run(words, console);
    }
    Outcome run(std::vector<std::string> words, FakeConsole& console) const {
        words.insert(words.begin(), {"--root", root().string()});
        std::ostringstream out;
        std::ostringstream errors;
        const int status = runProgram(words, console, out, errors);
        return {status, out.str(), errors.str()};
    }

    /// The JSON that a command answers; it must succeed.
    nlohmann::json answer(std::vector<std::string> words) const {
        words.insert(words.begin(), "--json");
        const Outcome outcome = run(std::move(words));
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        return nlohmann::json::parse(outcome.output, nullptr, false);
    }

    testing::TemporaryFolder folder;
};

}  // namespace kelvaris::cli
