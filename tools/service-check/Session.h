// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The state that the checks share: the options, the connection, the service's list and the rename
// that several checks examine.
#ifndef SERVICE_CHECK_SESSION_H
#define SERVICE_CHECK_SESSION_H

#include <json/json.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "CommandLine.h"
#include "ServiceBus.h"

namespace service_check {

// The members of a list element that the checks use; the names are decoded.
struct Source {
    std::int32_t type = 0;
    std::int32_t index = 0;
    std::string key;
    std::string editName;
    std::string detectedName;
};

// `list` must have passed the check of its elements.
std::vector<Source> sourcesIn(const Json::Value &list);
const Source *findKey(const std::vector<Source> &sources, const std::string &key);

// No value if an escape is malformed or the bytes are not UTF-8.
std::optional<std::string> percentDecoded(const std::string &text);

// The element with the source's type, index and key; null if there is none.
Json::Value elementOf(const Json::Value &list, const Source &source);

// A source type and a key that no element of the list has.
std::int32_t unknownType(const Json::Value &list);
std::string unknownKey(const Json::Value &list);

// The members of requests and replies that contain the paths of icons.
inline constexpr std::array iconMembers = {"SourceIconPath", "LauncherFocusedIconPath",
                                           "LauncherUnfocusedIconPath"};

// A request's text, formatted as the client library does.
std::string requestText(const char *command, const Json::Value &data);

// A source that was renamed and then given its original name again.
struct Rename {
    Source source;
    std::string newName;
    Reply reply;
    std::vector<Body> signals;  // received between the reply and the list
    Reply list;
    Reply restoreReply;
    Reply listAfterRestore;
};

struct Session {
    ServiceBus &bus;
    const Options &options;
    Json::Value list;               // set by the check list-answer
    std::optional<Rename> renamed;  // set by the check rename-answer

    Reply request(const char *command, const Json::Value &data) const;
    Reply requestList() const;
    std::vector<Source> sources() const { return sourcesIn(list); }
    // The sources that may be renamed, those with a user's name first.
    std::vector<Source> renameCandidates() const;
};

// Renames the first source that accepts a new name, and restores the name. No value if none does.
std::optional<Rename> renameAndRestore(const Session &session);

}  // namespace service_check

#endif
