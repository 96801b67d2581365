// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "CommandLine.h"

#include <glib.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <functional>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Control.h"
#include "EmulatorRoot.h"
#include "Launcher.h"
#include "Serve.h"
#include "SourceTable.h"
#include "TvRoot.h"

namespace {

constexpr int wrongUsage = 2;

// What a subcommand was given, and what it does once everything has been read.
struct Request {
    std::optional<std::filesystem::path> root;
    std::vector<std::string> command;
    int lifeline = -1;
    std::string source;
    std::string name;
    std::optional<std::string> deviceName;
    std::optional<std::uint32_t> deviceType;
    std::string power;
    std::function<int()> action;
};

// The request must outlive the parsing.
CLI::App *addSubcommand(CLI::App &app, Request &request, const std::string &name,
                        const std::string &description, std::function<int()> action) {
    CLI::App *subcommand = app.add_subcommand(name, description);
    subcommand->callback([&request, action = std::move(action)] { request.action = action; });
    return subcommand;
}

void addRoot(CLI::App *subcommand, Request &request, const std::string &description) {
    subcommand
        ->add_option_function<std::string>(
            "--root", [&request](const std::string &root) { request.root = root; }, description)
        ->type_name("DIR");
}

std::string validText(std::string &text) {
    return g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE
               ? ""
               : "the text is not valid UTF-8";
}

void addRun(CLI::App &app, Request &request) {
    auto *run = addSubcommand(app, request, "run",
                              "Starts an emulated TV and a command that uses it", [&request] {
                                  return Launcher({request.root, request.command}).run();
                              });
    addRoot(run, request,
            "Folder in which the TV keeps its state; made when missing and kept afterwards. "
            "Without it the TV is a new one, and gone at the end");
    run->footer(
        "tv-emulator run [--root DIR] [-- COMMAND ...]\n\n"
        "Makes a private bus and serves the TV's sources on it. COMMAND runs with\n"
        "DBUS_SYSTEM_BUS_ADDRESS and SOURCE_TV_ROOT set, and everything ends with it, whatever it\n"
        "has started included; its exit code becomes that of run. Without COMMAND the two\n"
        "variables are printed for another shell, and the TV stays on until it is interrupted.\n\n"
        "Exit code: that of COMMAND, 128 plus the signal's number when it was killed or run was\n"
        "asked to end, 127 when it was not found, 126 when it cannot be run, 1 when the TV cannot\n"
        "be started, 2 for wrong usage.");
}

int serveAsAsked(const Request &request) {
    if (request.lifeline >= 0) {
        return serveForLauncher(request.lifeline, request.root);
    }
    const auto root = request.root ? request.root : tvRootFromEnvironment();
    if (!root) {
        throw std::runtime_error("name the TV's folder with --root or SOURCE_TV_ROOT");
    }
    return serve(*root);
}

void addServe(CLI::App &app, Request &request) {
    auto *serve = addSubcommand(app, request, "serve", "Serves on the system bus that is there",
                                [&request] { return serveAsAsked(request); });
    addRoot(serve, request, "The TV's folder; SOURCE_TV_ROOT when it is not given");
    serve->add_option("--lifeline", request.lifeline)->group("");
    serve->footer(
        "The service alone, in the foreground, on the bus that DBUS_SYSTEM_BUS_ADDRESS names. It\n"
        "ends with exit code 0 when it is interrupted, and with 1 when the bus goes away.");
}

RemoteControl tvOf(const Request &request) {
    return RemoteControl(findBusAddress(request.root));
}

CLI::App *addRemoteCommand(CLI::App &app, Request &request, const std::string &name,
                           const std::string &description, std::function<int()> action) {
    auto *subcommand = addSubcommand(app, request, name, description, std::move(action));
    addRoot(subcommand, request,
            "Folder of the running TV; SOURCE_TV_ROOT when it is not given, else the only one that "
            "this user runs without --root");
    return subcommand;
}

void addSource(CLI::App *subcommand, Request &request) {
    subcommand->add_option("SOURCE", request.source, "A source's key, as list shows it")
        ->required()
        ->check(CLI::Validator(validText, ""));
}

void addList(CLI::App &app, Request &request) {
    addRemoteCommand(app, request, "list", "Shows what the TV holds now", [&request] {
        std::cout << sourceTable(tvOf(request).sources());
        return EXIT_SUCCESS;
    });
}

void addPlug(CLI::App &app, Request &request) {
    auto *plug = addRemoteCommand(app, request, "plug", "Plugs a device in", [&request] {
        tvOf(request).plug(request.source, request.deviceName, request.deviceType);
        return EXIT_SUCCESS;
    });
    addSource(plug, request);
    plug->add_option_function<std::string>(
            "--name", [&request](const std::string &name) { request.deviceName = name; },
            "Name that the TV detects from the device")
        ->check(CLI::Validator(validText, ""))
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
        tvOf(request).unplug(request.source);
        return EXIT_SUCCESS;
    });
    addSource(unplug, request);
    unplug->footer(
        "A USB device leaves the list; a port of the TV stays, with nothing plugged in.");
}

void addRename(CLI::App &app, Request &request) {
    auto *rename = addRemoteCommand(app, request, "rename", "Names a source", [&request] {
        tvOf(request).rename(request.source, request.name);
        return EXIT_SUCCESS;
    });
    addSource(rename, request);
    rename->add_option("TEXT", request.name, "The user's name for it, empty for none")
        ->required()
        ->check(CLI::Validator(validText, ""));
}

void addPower(CLI::App &app, Request &request) {
    auto *power =
        addRemoteCommand(app, request, "power", "Switches a plugged-in device", [&request] {
            tvOf(request).setPower(request.source, request.power == "on");
            return EXIT_SUCCESS;
        });
    addSource(power, request);
    power->add_option("STATE", request.power, "on or off")
        ->required()
        ->check(CLI::IsMember({"on", "off"}));
}

// The parser gives some texts a meaning of its own, so a command is taken out before it looks.
std::vector<std::string> takeCommand(std::vector<std::string> &arguments) {
    const auto mark = std::find(arguments.begin(), arguments.end(), "--");
    if (arguments.empty() || arguments.front() != "run" || mark == arguments.end()) {
        return {};
    }
    std::vector<std::string> command(mark + 1, arguments.end());
    arguments.erase(mark, arguments.end());
    return command;
}

void describe(CLI::App &app, Request &request) {
    app.description("An emulated TV: its source service, and the devices plugged into it");
    app.name("tv-emulator");
    app.require_subcommand(1);
    addRun(app, request);
    addServe(app, request);
    addList(app, request);
    addPlug(app, request);
    addUnplug(app, request);
    addRename(app, request);
    addPower(app, request);
}

}  // namespace

int runCommandLine(std::vector<std::string> arguments) {
    CLI::App app;
    Request request;
    describe(app, request);
    request.command = takeCommand(arguments);
    std::reverse(arguments.begin(), arguments.end());
    try {
        app.parse(arguments);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? EXIT_SUCCESS : wrongUsage;
    }
    return request.action();
}

void showCommandLine(const std::function<void(const CLI::App &)> &reader) {
    CLI::App app;
    Request request;
    describe(app, request);
    reader(app);
}
