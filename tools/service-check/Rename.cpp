// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Session.h"

namespace {

// With what percent-encoding has to take care of.
std::string nameOtherThan(const std::string &name) {
    const std::string other = "Prüfung 50% +1";
    return name != other ? other : other + "!";
}

Answer setName(const Session &session, const Source &source, const std::string &name) {
    Json::Value data;
    data["SourceType"] = source.type;
    data["EditName"] = name;
    data["MBRActivityIndex"] = source.index;
    return session.ask("UtilSetSourceEditName", data);
}

// Waits for the signal of a change that was made after `before` signals. None may come.
void hearChange(const Session &session, std::size_t before) {
    session.bus.listenUntil([&] { return session.bus.signals().size() > before; });
}

void putBack(const Session &session, Rename &rename) {
    const std::size_t before = session.bus.signals().size();
    rename.putBack = setName(session, rename.source, rename.source.editName);
    if (!rename.signals.empty() && readingOf(rename.putBack) == Reading::Done) {
        hearChange(session, before);
    }
    rename.listAfterwards = session.askForList();
}

}  // namespace

std::optional<Rename> tryRename(const Session &session) {
    for (const Source &source : session.sourcesToRename()) {
        Rename rename;
        rename.source = source;
        rename.newName = nameOtherThan(source.editName);
        session.bus.catchUp();
        const std::size_t before = session.bus.signals().size();
        rename.answer = setName(session, source, rename.newName);
        if (readingOf(rename.answer) == Reading::Refused) {
            continue;
        }
        if (readingOf(rename.answer) == Reading::Done) {
            hearChange(session, before);
        }
        rename.list = session.askForList();
        const auto &signals = session.bus.signals();
        rename.signals.assign(signals.begin() + static_cast<std::ptrdiff_t>(before), signals.end());
        putBack(session, rename);
        return rename;
    }
    return std::nullopt;
}
