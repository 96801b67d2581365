// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Concurrent calls, the ownership of the well-known name, and a restart of the service.
#include "Check.h"

namespace service_check {

namespace {

constexpr std::size_t concurrentCalls = 64;

// Requests that change nothing and have different replies.
std::vector<std::string> requestTexts(const Session &session) {
    Json::Value unknown;
    unknown["SourceType"] = unknownType(session.list);
    std::vector<std::string> texts = {requestText("UtilGetSourceList", Json::nullValue),
                                      requestText("SourceConnect", unknown)};
    for (const Source &source : session.sources()) {
        Json::Value data;
        data["SourceUniqueKey"] = source.key;
        texts.push_back(requestText("UtilGetUsbData", data));
    }
    return texts;
}

// The members that applications read of such a reply.
Json::Value relevantPartOf(const Reply &reply) {
    Json::Value relevant;
    relevant["kind"] = static_cast<int>(reply.kind);
    if (const Json::Value *object = objectOf(reply)) {
        for (const char *member :
             {"return_data", "calledApp", "deviceType", "deviceName", "isPTP", "deviceBusNumber",
              "deviceAddressNumber", "vendorName", "volumeName", "devicePath"}) {
            relevant[member] = (*object)[member];
        }
    }
    return relevant;
}

Result checkConcurrentCalls(Session &session) {
    const std::vector<std::string> texts = requestTexts(session);
    std::vector<Json::Value> sequential;
    sequential.reserve(texts.size());
    for (const std::string &text : texts) {
        sequential.push_back(relevantPartOf(session.bus.call(plainCall(text))));
    }
    std::vector<MethodCall> calls;
    for (std::size_t number = 0; number < concurrentCalls; ++number) {
        calls.push_back(plainCall(texts[number % texts.size()]));
    }
    const std::vector<Reply> replies = session.bus.callConcurrently(calls);
    for (std::size_t number = 0; number < replies.size(); ++number) {
        const Json::Value &expected = sequential[number % texts.size()];
        if (relevantPartOf(replies[number]) != expected) {
            return failed("for call " + std::to_string(number + 1) +
                              " the reply to the same call made alone, " + describe(expected),
                          describe(replies[number]));
        }
    }
    return passed("each reply belongs to its call");
}

Result checkOwner(Session &session) {
    session.bus.dispatchPending();
    const std::size_t changes = session.bus.ownerChanges().size();
    if (changes != 0) {
        return failed("no change of the owner", std::to_string(changes) + " changes of the owner");
    }
    return passed("no change of the owner");
}

// Runs the user's command. It is not killed when the check ends, as it may be the service itself.
class RestartCommand {
 public:
    explicit RestartCommand(const std::string &command) {
        // Standard output contains the report only.
        const std::string script = "exec >&2\n" + command;
        const char *arguments[] = {"sh", "-c", script.c_str(), nullptr};
        g_autoptr(GError) error = nullptr;
        if (g_spawn_async(nullptr, const_cast<char **>(arguments), nullptr,
                          static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH | G_SPAWN_DO_NOT_REAP_CHILD),
                          nullptr, nullptr, &m_pid, &error) == FALSE) {
            m_failure = error->message;
            return;
        }
        m_watch = g_child_watch_add(m_pid, noteEnd, this);
    }
    ~RestartCommand() {
        if (m_watch != 0) {
            g_source_remove(m_watch);
        }
    }
    RestartCommand(const RestartCommand &) = delete;
    RestartCommand &operator=(const RestartCommand &) = delete;

    // The error message; empty while the command runs and after it succeeded.
    const std::string &failure() const { return m_failure; }

 private:
    static void noteEnd(GPid pid, int status, gpointer self) {
        auto *command = static_cast<RestartCommand *>(self);
        g_autoptr(GError) error = nullptr;
        if (g_spawn_check_wait_status(status, &error) == FALSE) {
            command->m_failure = error->message;
        }
        g_spawn_close_pid(pid);
        command->m_watch = 0;
    }

    GPid m_pid = 0;
    guint m_watch = 0;
    std::string m_failure;
};

Result checkRestart(Session &session) {
    if (!session.options.restart) {
        return skipped("--restart is not given");
    }
    session.bus.dispatchPending();
    const auto &owners = session.bus.ownerChanges();
    const std::size_t before = owners.size();
    const auto isOwnedAgain = [&] { return owners.size() > before && !owners.back().empty(); };
    const RestartCommand command(*session.options.restart);
    session.bus.iterateUntil([&] { return isOwnedAgain() || !command.failure().empty(); });
    if (isOwnedAgain()) {
        return passed("a new owner");
    }
    const std::string state =
        owners.size() == before ? "its owner did not change" : "the name has no owner";
    return failed("the name to be released and owned again",
                  command.failure().empty()
                      ? state + " after " + std::to_string(session.options.timeout) + " ms"
                      : state + "; the command: " + quoted(command.failure()));
}

Result checkList(Session &session) {
    return checkListReply(session.requestList());
}

Result checkSignal(Session &session) {
    return checkRenameSignal(session, renameAndRestore(session));
}

}  // namespace

Checks availabilityChecks() {
    return {
        {"concurrent-calls", "Each of 64 concurrent calls gets its own reply", "list-elements",
         checkConcurrentCalls},
        {"name-kept", "The service owns its well-known name without interruption", "", checkOwner},
        {"restart-name", "A restarted service owns its well-known name again", "list-answer",
         checkRestart},
        {"restart-list", "A restarted service returns the list as soon as it owns the name",
         "restart-name", checkList},
        {"restart-signal", "A restarted service signals changes", "restart-list", checkSignal},
    };
}

}  // namespace service_check
