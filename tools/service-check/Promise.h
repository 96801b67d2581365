// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What the service promises to applications, and how one finds out whether it keeps that.
#ifndef SERVICE_CHECK_PROMISE_H
#define SERVICE_CHECK_PROMISE_H

#include <functional>
#include <string>
#include <vector>

#include "Session.h"

enum class Outcome { Kept, Broken, Skipped };
const char *nameOf(Outcome outcome);

struct Finding {
    Outcome outcome;
    std::string expected;  // of a broken promise
    std::string seen;      // of a skipped one: why
};

Finding kept(const std::string &seen);
Finding broken(const std::string &expected, const std::string &seen);
Finding skipped(const std::string &why);

struct Promise {
    std::string id;
    std::string sentence;
    std::string needs;  // the promise without which this one cannot be looked at; may be empty
    std::function<Finding(Session &)> check;
};
using Promises = std::vector<Promise>;

// In the order in which they are looked at.
Promises allPromises();

Promises bodyPromises();
Promises listPromises();
Promises renamePromises();
Promises signalPromises();
Promises commandPromises();
Promises refusalPromises();
Promises nonsensePromises();
Promises loadPromises();
Promises namePromises();
Promises restartPromises();

// How several groups look at the same thing.
Finding findList(const Answer &answer);
Finding findSignal(const Session &session, const std::optional<Rename> &rename);
// That a source lost its name for good, which its owner has to hear of.
Finding lostName(const Rename &rename, const std::string &seen);

#endif
