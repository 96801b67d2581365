// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <glib.h>

#include <iostream>

#include "CommandParts.h"
#include "SourceTable.h"

namespace emulated_tv {

namespace {

std::string validText(std::string &text) {
    return g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE
               ? ""
               : "the text is not valid UTF-8";
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

}  // namespace

void addDeviceCommands(CLI::App &app, Request &request) {
    addList(app, request);
    addPlug(app, request);
    addUnplug(app, request);
    addRename(app, request);
    addPower(app, request);
}

}  // namespace emulated_tv
