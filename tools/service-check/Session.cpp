// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Session.h"

#include <glib.h>

#include <algorithm>
#include <limits>

#include "TerminalText.h"

namespace service_check {

namespace {

bool hasMember(const Json::Value &list, const char *member, const Json::Value &value) {
    return std::any_of(list.begin(), list.end(), [&](const Json::Value &element) {
        return element.isObject() && element[member] == value;
    });
}

std::string nameIn(const Json::Value &element, const char *member) {
    const std::string text = element[member].asString();
    return percentDecoded(text).value_or(text);
}

// Contains characters that need percent-encoding.
std::string nameOtherThan(const std::string &name) {
    const std::string other = "Prüfung 50% +1";
    return name != other ? other : other + "!";
}

Reply setName(const Session &session, const Source &source, const std::string &name) {
    Json::Value data;
    data["SourceType"] = source.type;
    data["EditName"] = name;
    data["MBRActivityIndex"] = source.index;
    return session.request("UtilSetSourceEditName", data);
}

// Waits for a signal beyond the first `before`; returns after the timeout if none arrives.
void waitForChange(const Session &session, std::size_t before) {
    session.bus.iterateUntil([&] { return session.bus.signals().size() > before; });
}

void restore(const Session &session, Rename &rename) {
    const std::size_t before = session.bus.signals().size();
    rename.restoreReply = setName(session, rename.source, rename.source.editName);
    if (!rename.signals.empty() && resultOf(rename.restoreReply) == CommandResult::Done) {
        waitForChange(session, before);
    }
    rename.listAfterRestore = session.requestList();
}

}  // namespace

std::vector<Source> sourcesIn(const Json::Value &list) {
    std::vector<Source> sources;
    for (const Json::Value &element : list) {
        sources.push_back({element["sourceType"].asInt(), element["mbrActivityIndex"].asInt(),
                           element["uniqueKey"].asString(), nameIn(element, "editName"),
                           nameIn(element, "detectedName")});
    }
    return sources;
}

const Source *findKey(const std::vector<Source> &sources, const std::string &key) {
    const auto found = std::find_if(sources.begin(), sources.end(),
                                    [&](const Source &source) { return source.key == key; });
    return found != sources.end() ? &*found : nullptr;
}

std::optional<std::string> percentDecoded(const std::string &text) {
    std::string decoded;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '%') {
            decoded += text[at];
            continue;
        }
        if (at + 2 >= text.size() || !g_ascii_isxdigit(text[at + 1]) ||
            !g_ascii_isxdigit(text[at + 2])) {
            return std::nullopt;
        }
        decoded += static_cast<char>(g_ascii_xdigit_value(text[at + 1]) * 16 +
                                     g_ascii_xdigit_value(text[at + 2]));
        at += 2;
    }
    return support::isUtf8(decoded) ? std::optional(decoded) : std::nullopt;
}

Json::Value elementOf(const Json::Value &list, const Source &source) {
    for (const Json::Value &element : list) {
        const auto is = [&](const char *member, Json::ValueType type, const Json::Value &value) {
            const Json::Value &given = element[member];
            return given.isConvertibleTo(type) &&
                   (type == Json::intValue ? given.asInt() == value.asInt()
                                           : given.asString() == value.asString());
        };
        if (element.isObject() && is("sourceType", Json::intValue, source.type) &&
            is("mbrActivityIndex", Json::intValue, source.index) &&
            is("uniqueKey", Json::stringValue, source.key)) {
            return element;
        }
    }
    return Json::nullValue;
}

std::int32_t unknownType(const Json::Value &list) {
    std::int32_t type = std::numeric_limits<std::int32_t>::max();
    while (hasMember(list, "sourceType", type)) {
        --type;
    }
    return type;
}

std::string unknownKey(const Json::Value &list) {
    std::string key = "no-such-source";
    while (hasMember(list, "uniqueKey", key)) {
        key += "-";
    }
    return key;
}

std::string requestText(const char *command, const Json::Value &data) {
    Json::Value request;
    request["method"] = command;
    request["data"] = data;
    return Json::writeString(Json::StreamWriterBuilder(), request);
}

Reply Session::request(const char *command, const Json::Value &data) const {
    return bus.call(plainCall(requestText(command, data)));
}

Reply Session::requestList() const {
    return request("UtilGetSourceList", Json::nullValue);
}

std::vector<Source> Session::renameCandidates() const {
    std::vector<Source> chosen = sources();
    if (options.source) {
        const Source *source = findKey(chosen, *options.source);
        return source != nullptr ? std::vector<Source>{*source} : std::vector<Source>();
    }
    // A service may store that a source was given a name and then an empty one, so that renaming a
    // source without a user's name could leave a trace.
    std::stable_partition(chosen.begin(), chosen.end(),
                          [](const Source &source) { return !source.editName.empty(); });
    return chosen;
}

std::optional<Rename> renameAndRestore(const Session &session) {
    for (const Source &source : session.renameCandidates()) {
        Rename rename;
        rename.source = source;
        rename.newName = nameOtherThan(source.editName);
        session.bus.dispatchPending();
        const std::size_t before = session.bus.signals().size();
        rename.reply = setName(session, source, rename.newName);
        if (resultOf(rename.reply) == CommandResult::Refused) {
            continue;
        }
        if (resultOf(rename.reply) == CommandResult::Done) {
            waitForChange(session, before);
        }
        rename.list = session.requestList();
        const auto &signals = session.bus.signals();
        rename.signals.assign(signals.begin() + static_cast<std::ptrdiff_t>(before), signals.end());
        restore(session, rename);
        return rename;
    }
    return std::nullopt;
}

}  // namespace service_check
