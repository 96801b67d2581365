// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What the promises share while they are looked at one after another.
#ifndef SERVICE_CHECK_SESSION_H
#define SERVICE_CHECK_SESSION_H

#include <json/json.h>

#include <optional>
#include <string>
#include <vector>

#include "Options.h"
#include "ServiceBus.h"
#include "Source.h"

// A request's text, written as applications write it.
std::string requestText(const char *command, const Json::Value &data);

// A source that got another name and then its own again.
struct Rename {
    Source source;
    std::string newName;
    Answer answer;
    std::vector<Body> signals;  // between the answer and the list
    Answer list;
    Answer putBack;
    Answer listAfterwards;
};

struct Session {
    ServiceBus &bus;
    const Options &options;
    Json::Value list;               // of sources, once it has been read
    std::optional<Rename> renamed;  // once one was tried

    Answer ask(const char *command, const Json::Value &data) const;
    Answer askForList() const;
    std::vector<Source> sources() const { return sourcesIn(list); }
    // The list's sources that may be renamed: those first that lose nothing by it.
    std::vector<Source> sourcesToRename() const;
};

// Renames the first source that takes a name, and puts it back. No value when none does.
std::optional<Rename> tryRename(const Session &session);

#endif
