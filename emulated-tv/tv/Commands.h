// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_COMMANDS_H
#define EMULATED_TV_COMMANDS_H

#include <json/json.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "SourceState.h"

namespace emulated_tv {

// The commands that the source service understands, JSON text in and out.
class Commands {
 public:
    struct Answer {
        std::string text;
        // What is to be announced once the answer is on its way.
        std::optional<ListChange> change;
    };

    // Every command that there is, and the one that a request names; empty for none.
    static std::vector<std::string> names();
    static std::string nameIn(const std::string &request);

    explicit Commands(SourceState &state) : m_state(state) {}

    // Always an answer: "return_data" is false for a request that is refused, and "dbus_result"
    // is "fail" as well for one that is not understood or could not be carried out.
    Answer answer(const std::string &request);

 private:
    // A command adds its own members to the reply.
    using Command = std::optional<ListChange> (Commands::*)(const Json::Value &data,
                                                            Json::Value &reply);
    static const std::map<std::string, Command> &table();
    static Command find(const Json::Value &request);

    std::optional<ListChange> sourceConnect(const Json::Value &data, Json::Value &reply);
    std::optional<ListChange> runApp(const Json::Value &data, Json::Value &reply);
    std::optional<ListChange> getSourceList(const Json::Value &data, Json::Value &reply);
    std::optional<ListChange> setDetected(const Json::Value &data, Json::Value &reply);
    std::optional<ListChange> setEditName(const Json::Value &data, Json::Value &reply);
    std::optional<ListChange> setDeviceType(const Json::Value &data, Json::Value &reply);
    std::optional<ListChange> setCustomIconPath(const Json::Value &data, Json::Value &reply);
    std::optional<ListChange> getCustomIconPath(const Json::Value &data, Json::Value &reply);
    std::optional<ListChange> getUsbData(const Json::Value &data, Json::Value &reply);

    SourceState &m_state;
};

}  // namespace emulated_tv

#endif
