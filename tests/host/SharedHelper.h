/* SharedHelper.h: "tarvo helper" with a lab, for tests that need several commands or the camera's own
 * buttons.
 *
 * Thread: one owner.
 * Owns:   the helper, ended with it.
 * Errors: a helper that does not start fails the test.
 */
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "tests/host/CommandRunner.h"

namespace fake {

class SharedHelper {
public:
    SharedHelper(const std::string& scenario, std::string socket)
        : socket_(std::move(socket)), runner_({"helper", "--scenario", scenario, "--lab-socket", socket_}) {
        EXPECT_TRUE(runner_.waitForErr("Ctrl-C ends it")) << runner_.err();
        EXPECT_TRUE(runner_.waitForOut("\n")) << runner_.err();
        const auto out = runner_.out();
        if (out.starts_with("port ")) port_ = out.substr(5, out.find('\n') - 5);
        EXPECT_FALSE(port_.empty()) << out;
    }
    const std::string& port() const { return port_; }
    CommandRunner& runner() { return runner_; }
    std::vector<std::string> words(std::vector<std::string> command) const {
        command.insert(command.begin(), {"--port", port_});
        return command;
    }
    CommandResult run(const std::vector<std::string>& command) const { return runTarvo(words(command)); }
    CommandResult lab(std::vector<std::string> command) const {
        command.insert(command.begin(), {"--lab-socket", socket_, "lab"});
        return runTarvo(command);
    }
    nlohmann::json state() const {
        const auto result = lab({"state"});
        EXPECT_EQ(result.status, 0) << result.err;
        return nlohmann::json::parse(result.out, nullptr, false);
    }

private:
    std::string socket_;
    CommandRunner runner_;
    std::string port_;
};

}  // namespace fake
