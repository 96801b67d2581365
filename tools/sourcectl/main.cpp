// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// sourcectl: a command-line client of the library for users and scripts.
#include <glib.h>
#include <json/json.h>

#include <clocale>
#include <iostream>
#include <string>

#include "CommandLine.h"
#include "TerminalText.h"

namespace sourcectl {

namespace {

constexpr const char *logDomain = "SOURCE_API";

// Standard output contains results only. GLib shows the library's log only if the variable has its
// domain.
void setUpLog(bool verbose) {
    g_log_writer_default_set_use_stderr(TRUE);
    const char *domains = g_getenv("G_MESSAGES_DEBUG");
    const std::string shown = domains == nullptr ? std::string() : domains;
    if (verbose && shown != "all") {
        g_setenv("G_MESSAGES_DEBUG", (shown + " " + logDomain).c_str(), TRUE);
    }
}

int fail(const std::string &reason) {
    std::cerr << "sourcectl: " << support::printable(reason) << std::endl;
    return exitFailed;
}

int run(int argc, const char *const *argv) {
    const Invocation invocation = readCommandLine(argc, argv);
    if (invocation.command == nullptr) {
        return invocation.exitCode;
    }
    setUpLog(invocation.arguments.verbose);
    try {
        invocation.command(invocation.arguments);
    } catch (const Failure &failure) {
        return fail(failure.what());
    } catch (const Json::Exception &exception) {
        return fail(std::string("the settings store holds values of wrong types: ") +
                    exception.what());
    }
    return exitDone;
}

}  // namespace

}  // namespace sourcectl

int main(int argc, char **argv) {
    // The names of sources are UTF-8 in every locale.
    setlocale(LC_CTYPE, "C.UTF-8");
    return sourcectl::run(argc, argv);
}
