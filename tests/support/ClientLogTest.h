// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The fixture of the client's log tables.
#ifndef TESTS_CLIENT_LOG_TEST_H
#define TESTS_CLIENT_LOG_TEST_H

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iomanip>
#include <string>

#include "ClientTest.h"
#include "LogTable.h"
#include "TemporaryFolder.h"

class ClientLogTest : public ClientTest, public testing::WithParamInterface<LogRow<ClientLogTest>> {
 public:
    using ClientTest::bus;
    using ClientTest::names;
    using ClientTest::platform;
    using ClientTest::readText;
    using ClientTest::service;

    // Makes the client and empties the log.
    CSourceAPI &begin() {
        CSourceAPI *const client = CSourceAPI::Get();
        platform.clearLog();
        return *client;
    }
    void serviceHas(const std::string &list) {
        service.replyTo("UtilGetSourceList", R"({"return_data":)" + list + "}");
    }
    void refuse() { service.replyWithError("test.Error.Refused", "not today"); }
    void readRecords() {
        std::shared_ptr<std::multimap<int, CSourceItem>> records;
        CSourceAPI::Get()->GetSourceList(&records);
    }
    void command() { ClientPeer::command("Anything", Json::objectValue); }
    // Handles a change signal.
    void handle(const std::string &text) {
        SourceTCMessage message;
        message.SetMessage(text);
        ClientPeer::signalCallback()(nullptr, nullptr, &message, nullptr);
    }
    // Runs `work` in a forked child, and records here what it logged there.
    void inForkedChild(const std::function<void()> &work) {
        const TemporaryFolder folder;
        const std::filesystem::path file = folder.path() / "log";
        const pid_t child = fork();
        if (child == 0) {
            platform.clearLog();
            work();
            std::ofstream out(file);
            for (const LogLine &line : platform.log()) {
                out << line.priority << ' ' << line.file << ' ' << line.function << ' '
                    << std::quoted(line.text) << '\n';
            }
            out.close();
            std::_Exit(0);
        }
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
        std::ifstream in(file);
        LogLine line;
        while (in >> line.priority >> line.file >> line.function >> std::quoted(line.text)) {
            platform.record(line);
        }
    }
    // The next attempt to subscribe finds the endpoint without a connection.
    void failNextSubscription() {
        platform.onLog([this](const LogLine &line) {
            if (line.function == "m_SubscribeSignal") {
                m_connection = std::exchange(peerOf(*ClientPeer::endpoint()).connection, nullptr);
            } else if (line.function == "SubscribeSignal") {
                peerOf(*ClientPeer::endpoint()).connection = m_connection;
                platform.onLog(nullptr);
            }
        });
    }

 private:
    GDBusConnection *m_connection = nullptr;
};

#endif
