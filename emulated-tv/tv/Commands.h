// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_COMMANDS_H
#define EMULATED_TV_COMMANDS_H

#include <json/json.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "SourceStore.h"

namespace emulated_tv {

// The commands of the source service. Requests and replies are JSON texts.
class Commands {
 public:
    struct Answer {
        std::string text;
        // The change to announce after the reply was sent.
        std::optional<ListChange> change;
    };

    // The names of all commands, and the name in a request, empty if it has none.
    static std::vector<std::string> names();
    static std::string nameIn(const std::string &request);

    explicit Commands(SourceStore &store) : m_store(store) {}

    // Executes a request. In the reply "return_data" is false if it is refused, and "dbus_result"
    // is also "fail" if it is malformed, unknown or failed.
    Answer answer(const std::string &request);

 private:
    // Adds the command's members to the reply.
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

    SourceStore &m_store;
};

}  // namespace emulated_tv

#endif
