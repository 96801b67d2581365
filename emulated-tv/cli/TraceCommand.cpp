// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "CommandParts.h"
#include "EmulatorRoot.h"
#include "Trace.h"

namespace emulated_tv {

void addTraceCommand(CLI::App &app, Request &request) {
    auto *command =
        addRemoteCommand(app, request, "trace", "Shows what the source service and its clients say",
                         [&request] { return trace(findBusAddress(request.root), request.trace); });
    command->add_flag("--json", request.trace.asJson, "A JSON object on a line for each message");
    command
        ->add_option_function<std::uint32_t>(
            "--count", [&request](std::uint32_t count) { request.trace.count = count; },
            "End after so many messages")
        ->check(CLI::Range(1, 1000000))
        ->type_name("N");
    command->footer(
        "A line for each call, answer, error and signal: time, kind, sender and destination,\n"
        "method, then the body: the sender's name, the number, the auxiliary text, the JSON text\n"
        "and the buffer. \"tracing\" on standard error says that nothing is missed from then "
        "on.\n\n"
        "Exit code: 0 after --count messages, or without it when the TV has ended; 1 when the TV\n"
        "ended earlier.");
}

}  // namespace emulated_tv
