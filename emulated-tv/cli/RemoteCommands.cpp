// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The commands for a running TV: list, plug, unplug, rename, power, fault and trace.
#include <iostream>

#include "Commands.h"
#include "Control.h"
#include "EmulatorRoot.h"
#include "Faults.h"
#include "Refusal.h"
#include "SourceTypes.h"
#include "Subcommands.h"
#include "TerminalText.h"
#include "TextTable.h"

namespace emulated_tv {

namespace {

std::string sourceTable(const SourceModel &model) {
    support::TextTable table({{""},
                              {"SOURCE"},
                              {"TYPE"},
                              {"INDEX"},
                              {"ON SCREEN"},
                              {"DEVICE"},
                              {"USER'S NAME"},
                              {"DETECTED NAME"}},
                             {"  ", ""});
    for (const Source &source : model.sources()) {
        const char *onScreen = onScreenName(source.sourceType);
        const char *device = !source.connected ? "-" : source.powerState != 0 ? "on" : "standby";
        table.addRow({source.uniqueKey == model.selected() ? "*" : "", source.uniqueKey,
                      std::to_string(source.sourceType), std::to_string(source.mbrActivityIndex),
                      onScreen != nullptr ? onScreen : "----", device, source.editName,
                      source.detectedName});
    }
    return table.text();
}

// A command for a running TV, which is the one that controlOf connects to.
CLI::App *addRemoteCommand(CLI::App &app, Request &request, const std::string &name,
                           const std::string &description, std::function<int()> action) {
    auto *subcommand = addSubcommand(app, request, name, description, std::move(action));
    addRoot(subcommand, request,
            "Folder of the running TV; SOURCE_TV_ROOT when it is not given, else the only one that "
            "this user runs without --root");
    return subcommand;
}

ControlClient controlOf(const Request &request) {
    return ControlClient(findBusAddress(request.root));
}

std::string checkUtf8(std::string &text) {
    return support::isUtf8(text) ? "" : "the text is not valid UTF-8";
}

void addSource(CLI::App *subcommand, Request &request) {
    subcommand->add_option("SOURCE", request.source, "A source's key, as list shows it")
        ->required()
        ->check(CLI::Validator(checkUtf8, ""));
}

void addList(CLI::App &app, Request &request) {
    addRemoteCommand(app, request, "list", "Shows the TV's sources", [&request] {
        std::cout << sourceTable(controlOf(request).sources()) << '\n';
        return EXIT_SUCCESS;
    });
}

void addPlug(CLI::App &app, Request &request) {
    auto *plug = addRemoteCommand(app, request, "plug", "Plugs a device in", [&request] {
        controlOf(request).plug(request.source, request.deviceName, request.deviceType);
        return EXIT_SUCCESS;
    });
    addSource(plug, request);
    plug->add_option_function<std::string>(
            "--name", [&request](const std::string &name) { request.deviceName = name; },
            "Name that the TV detects from the device")
        ->check(CLI::Validator(checkUtf8, ""))
        ->type_name("TEXT");
    plug->add_option_function<std::uint32_t>(
            "--type", [&request](std::uint32_t type) { request.deviceType = type; },
            "Device type that the TV detects, a number")
        ->type_name("N");
    plug->footer(
        "A new key that begins with \"usb\" adds a USB storage device to the list.\n"
        "Example: tv-emulator plug usb-stick --name \"Holiday Photos\"");
}

void addUnplug(CLI::App &app, Request &request) {
    auto *unplug = addRemoteCommand(app, request, "unplug", "Unplugs a device", [&request] {
        controlOf(request).unplug(request.source);
        return EXIT_SUCCESS;
    });
    addSource(unplug, request);
    unplug->footer(
        "A USB device leaves the list; a port of the TV stays, with nothing plugged in.");
}

void addRename(CLI::App &app, Request &request) {
    auto *rename = addRemoteCommand(app, request, "rename", "Names a source", [&request] {
        controlOf(request).rename(request.source, request.name);
        return EXIT_SUCCESS;
    });
    addSource(rename, request);
    rename->add_option("TEXT", request.name, "The user's name for it, empty for none")
        ->required()
        ->check(CLI::Validator(checkUtf8, ""));
}

void addPower(CLI::App &app, Request &request) {
    auto *power =
        addRemoteCommand(app, request, "power", "Switches a plugged-in device", [&request] {
            controlOf(request).setPower(request.source, request.power == "on");
            return EXIT_SUCCESS;
        });
    addSource(power, request);
    power->add_option("STATE", request.power, "on or off")
        ->required()
        ->check(CLI::IsMember({"on", "off"}));
}

constexpr auto faultHelp =
    "Faults of the next answers (1 without --count), or of those to --command only:\n"
    "  late            sent after --delay\n"
    "  not-json        a text that is not JSON\n"
    "  other-json      an array instead of the object\n"
    "  no-return-data  no member \"return_data\"\n"
    "  other-body      a body of another type\n"
    "  empty-body      no body\n"
    "Of these the command is not carried out:\n"
    "  refused         \"return_data\" is false\n"
    "  dbus-fail       also \"dbus_result\" is \"fail\"\n"
    "  error           a D-Bus error\n"
    "  absent          no answer\n"
    "Faults of the source service as a whole:\n"
    "  crash           it ends as if it were killed; the TV and its bus go on\n"
    "  restart         it starts again, after a crash if it is running\n"
    "  flood           it announces the list --count times\n"
    "  clear           removes the pending faults, and ends a flood\n\n"
    "If several faults apply to an answer, the oldest is used. A late or absent answer does not\n"
    "delay the following ones.\n"
    "Example: tv-emulator fault late --delay 3000 --command SourceConnect";

void addNumber(CLI::App *fault, const std::string &name, std::optional<std::uint32_t> &number,
               const CLI::Range &range, const std::string &description) {
    fault
        ->add_option_function<std::uint32_t>(
            name, [&number](std::uint32_t value) { number = value; }, description)
        ->check(range)
        ->type_name("N");
}

// Called when all options have been read.
void checkOptions(const Fault &fault) {
    try {
        checkFault(fault);
    } catch (const Refusal &refusal) {
        throw CLI::ValidationError("fault", refusal.what());
    }
}

void addFault(CLI::App &app, Request &request) {
    auto *fault =
        addRemoteCommand(app, request, "fault", "Makes the source service fail", [&request] {
            controlOf(request).apply(request.fault);
            return EXIT_SUCCESS;
        });
    Fault &requested = request.fault;
    fault
        ->add_option_function<std::string>(
            "KIND", [&requested](const std::string &kind) { requested.kind = faultKind(kind); },
            "The kind of fault, see below")
        ->required()
        ->check(CLI::IsMember(faultNames()));
    addNumber(fault, "--count", requested.count, CLI::Range(1, 1000000),
              "Number of answers or signals");
    fault
        ->add_option_function<std::string>(
            "--command", [&requested](const std::string &command) { requested.command = command; },
            "Only answers to this command")
        ->check(CLI::IsMember(Commands::names()));
    addNumber(fault, "--delay", requested.delay, CLI::Range(0, 3600000), "Milliseconds");
    addNumber(fault, "--per-second", requested.perSecond, CLI::Range(1, 1000000),
              "Number of signals in a second; without it as fast as possible");
    fault->parse_complete_callback([&requested] { checkOptions(requested); });
    fault->footer(faultHelp);
}

void addTrace(CLI::App &app, Request &request) {
    auto *command = addRemoteCommand(
        app, request, "trace", "Shows the messages between the source service and its clients",
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
        "and the buffer. All messages after the line \"tracing\" on standard error are shown.\n\n"
        "Exit code: 0 after --count messages, or without it when the TV has ended; 1 when the TV\n"
        "ended earlier.");
}

}  // namespace

void addRemoteCommands(CLI::App &app, Request &request) {
    addList(app, request);
    addPlug(app, request);
    addUnplug(app, request);
    addRename(app, request);
    addPower(app, request);
    addFault(app, request);
    addTrace(app, request);
}

}  // namespace emulated_tv
