// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A fixture for tests of change callbacks.
#ifndef TESTS_NOTIFICATION_TEST_H
#define TESTS_NOTIFICATION_TEST_H

#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ClientTest.h"

// Every call of `first` and `second`, in order: the name of the function and the value.
inline std::vector<std::pair<std::string, int>> calls;

inline void first(int value, void * /*userData*/) {
    calls.emplace_back("first", value);
}

inline void second(int value, void * /*userData*/) {
    calls.emplace_back("second", value);
}

// Runs a std::function as a change callback.
inline void run(int value, void *function) {
    (*static_cast<std::function<void(int)> *>(function))(value);
}

class NotificationTest : public ClientTest {
 protected:
    NotificationTest() {
        CSourceAPI::Get();
        platform.clearLog();
        calls.clear();
    }

    // change() and signal() emit a change signal and deliver it; handle() calls the handler
    // directly.
    void change(const std::string &list, int result) {
        signal(R"({"method":"SourceListChanged","return_data":)" + list + R"(,"data":{"result":)" +
               std::to_string(result) + "}}");
    }
    void signal(const std::string &text) {
        letTheBusCatchUp();
        service.emitChange(text);
        ASSERT_TRUE(deliverSignalsOf(service.connection()));
    }
    void handle(const std::string &text) {
        SourceTCMessage message;
        message.SetMessage(text);
        ClientPeer::signalCallback()(nullptr, nullptr, &message, nullptr);
    }

    static std::vector<STSourceAPICallbackData> &registrations() {
        return ClientPeer::registrations();
    }
    static Json::Value cache() { return ClientPeer::list(); }
    static std::string nameOf(int sourceType) {
        std::string name;
        CSourceAPI::Get()->GetSourceEditName(sourceType, name, 0);
        return name;
    }

    char p = 'p';
    char q = 'q';
};

MATCHER_P2(Registration, callback, userData, "") {
    return arg.apiCallback == callback && arg.pUserData == userData;
}

#endif
