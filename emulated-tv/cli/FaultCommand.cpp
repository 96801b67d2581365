// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "CommandParts.h"
#include "Commands.h"
#include "Fault.h"
#include "Refusal.h"

namespace emulated_tv {

namespace {

constexpr auto help =
    "The next answers, 1 without --count, or only those to --command:\n"
    "  late            come after --delay\n"
    "  not-json        have a text that is no JSON\n"
    "  other-json      have an array in place of the object\n"
    "  no-return-data  lack \"return_data\"\n"
    "  other-body      have a body of another type\n"
    "  empty-body      have no body\n"
    "The same, and the command is not carried out:\n"
    "  refused         say \"return_data\": false\n"
    "  dbus-fail       say \"dbus_result\": \"fail\", too\n"
    "  error           are a D-Bus error\n"
    "  absent          never come\n"
    "The source service as a whole:\n"
    "  crash           dies as if it were killed; the TV and its bus go on\n"
    "  restart         comes back, after having died if it had not\n"
    "  flood           announces the list --count times\n"
    "  clear           forgets the faults that wait, and ends a flood\n\n"
    "Of several faults that wait for an answer the oldest comes first. Calls after one whose\n"
    "answer is late or absent are answered at once.\n"
    "Example: tv-emulator fault late --delay 3000 --command SourceConnect";

void addNumber(CLI::App *fault, const std::string &name, std::optional<std::uint32_t> &number,
               const CLI::Range &range, const std::string &description) {
    fault
        ->add_option_function<std::uint32_t>(
            name, [&number](std::uint32_t value) { number = value; }, description)
        ->check(range)
        ->type_name("N");
}

// Once all of the command has been read.
void checkOptions(const FaultOrder &order) {
    try {
        checkFaultOrder(order);
    } catch (const Refusal &refusal) {
        throw CLI::ValidationError("fault", refusal.what());
    }
}

}  // namespace

void addFaultCommand(CLI::App &app, Request &request) {
    auto *fault =
        addRemoteCommand(app, request, "fault", "Makes the source service fail", [&request] {
            tvOf(request).fault(request.fault);
            return EXIT_SUCCESS;
        });
    FaultOrder &order = request.fault;
    fault
        ->add_option_function<std::string>(
            "KIND", [&order](const std::string &kind) { order.kind = faultKind(kind); },
            "What is to happen")
        ->required()
        ->check(CLI::IsMember(faultNames()));
    addNumber(fault, "--count", order.count, CLI::Range(1, 1000000), "How many answers or signals");
    fault
        ->add_option_function<std::string>(
            "--command", [&order](const std::string &command) { order.command = command; },
            "Only answers to this command")
        ->check(CLI::IsMember(Commands::names()));
    addNumber(fault, "--delay", order.delay, CLI::Range(0, 3600000), "Milliseconds");
    addNumber(fault, "--per-second", order.perSecond, CLI::Range(1, 1000000),
              "How many signals a second; without it as many as can be");
    fault->parse_complete_callback([&order] { checkOptions(order); });
    fault->footer(help);
}

}  // namespace emulated_tv
