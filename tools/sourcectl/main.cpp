// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// sourcectl: the library's client for people, shell scripts and other programs.
#include <glib.h>
#include <json/json.h>

#include <clocale>
#include <iostream>
#include <string>

#include "CommandLine.h"
#include "Failure.h"
#include "Text.h"

namespace {

constexpr const char *logDomain = "SOURCE_API";

// Standard output belongs to the answer, and GLib shows nothing of the library's log unasked.
void setUpLog(bool verbose) {
    g_log_writer_default_set_use_stderr(TRUE);
    const char *domains = g_getenv("G_MESSAGES_DEBUG");
    const std::string shown = domains == nullptr ? std::string() : domains;
    if (verbose && shown != "all") {
        g_setenv("G_MESSAGES_DEBUG", (shown + " " + logDomain).c_str(), TRUE);
    }
}

int failed(const std::string &reason) {
    std::cerr << "sourcectl: " << printable(reason) << std::endl;
    return exitFailed;
}

}  // namespace

int main(int argc, char **argv) {
    // The names of sources are UTF-8 in every locale.
    setlocale(LC_CTYPE, "C.UTF-8");
    const Invocation invocation = readCommandLine(argc, argv);
    if (invocation.command == nullptr) {
        return invocation.exitCode;
    }
    setUpLog(invocation.arguments.verbose);
    try {
        invocation.command(invocation.arguments);
    } catch (const Failure &failure) {
        return failed(failure.what());
    } catch (const Json::Exception &exception) {
        return failed(std::string("the settings store holds values of wrong types: ") +
                      exception.what());
    }
    return exitDone;
}
