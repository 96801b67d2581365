// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include <csignal>
#include <sstream>

#include "BusConnection.h"
#include "EmulatorRoot.h"
#include "JsonText.h"
#include "SecondShell.h"

namespace emulated_tv {

using testing::HasSubstr;

class TraceCommandTest : public SecondShell {
 protected:
    // Returns when the trace can miss no message.
    void startTrace(std::vector<std::string> options) {
        options.insert(options.begin(), {"trace", "--root", root()});
        m_trace.emplace(emulator(std::move(options)), environment());
        ASSERT_TRUE(m_trace->waitForErrors("tracing\n")) << m_trace->errors();
    }

    std::optional<Program> m_trace;
};

TEST_F(TraceCommandTest, PrintsTheRequestedNumberOfMessagesInOrder) {
    startTrace({"--json", "--count", "3"});
    ASSERT_EQ(command({"rename", "hdmi2", "Bär"}).code, 0);
    ASSERT_EQ(command({"power", "hdmi2", "on"}).code, 0);
    ASSERT_EQ(command({"unplug", "hdmi2"}).code, 0);
    EXPECT_EQ(m_trace->exitCode(), 0);
    std::istringstream lines(m_trace->output());
    std::vector<int> results;
    for (std::string line; std::getline(lines, line);) {
        const auto message = support::parseJson(line).value_or("not JSON");
        ASSERT_TRUE(message.isObject()) << line;
        EXPECT_EQ(message["kind"], "signal");
        results.push_back(message["json"]["data"]["result"].asInt());
    }
    EXPECT_THAT(results, testing::ElementsAre(3, 4, 2));
}

TEST_F(TraceCommandTest, PrintsReadableLinesUntilTheTvEnds) {
    startTrace({});
    ASSERT_EQ(command({"rename", "hdmi2", "x"}).code, 0);
    ASSERT_TRUE(m_trace->waitForOutput("SourceListChanged"));
    sendSignal(m_tv->pid(), SIGTERM);
    EXPECT_EQ(m_trace->exitCode(), 0) << m_trace->errors();
}

TEST_F(TraceCommandTest, EndOfTheTvBeforeTheCountIsAFailure) {
    startTrace({"--count", "5"});
    sendSignal(m_tv->pid(), SIGTERM);
    EXPECT_EQ(m_trace->exitCode(), 1);
    EXPECT_THAT(m_trace->errors(), HasSubstr("the TV ended after 0 of 5 messages"));
}

TEST_F(TraceCommandTest, MissingTvIsReported) {
    const Result result = command({"trace"}, environment());
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.errors, HasSubstr("no emulated TV is running"));
}

}  // namespace emulated_tv
