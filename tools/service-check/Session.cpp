// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Session.h"

#include <algorithm>

std::string requestText(const char *command, const Json::Value &data) {
    Json::Value request;
    request["method"] = command;
    request["data"] = data;
    return Json::writeString(Json::StreamWriterBuilder(), request);
}

Answer Session::ask(const char *command, const Json::Value &data) const {
    return bus.call(plainCall(requestText(command, data)));
}

Answer Session::askForList() const {
    return ask("UtilGetSourceList", Json::nullValue);
}

std::vector<Source> Session::sourcesToRename() const {
    std::vector<Source> chosen = sources();
    if (options.source) {
        const Source *source = findKey(chosen, *options.source);
        return source != nullptr ? std::vector<Source>{*source} : std::vector<Source>();
    }
    // A service may remember of a source without the user's name that it had one.
    std::stable_partition(chosen.begin(), chosen.end(),
                          [](const Source &source) { return !source.editName.empty(); });
    return chosen;
}
