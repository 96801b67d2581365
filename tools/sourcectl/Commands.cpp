// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Commands.h"

#include <json/json.h>

#include <iostream>
#include <map>
#include <memory>
#include <utility>

#include "BusConnection.h"
#include "JsonText.h"
#include "TerminalText.h"
#include "TextTable.h"

namespace sourcectl {

using support::jsonLineUtf8;
using support::printable;
using support::quoted;
using support::validUtf8;

namespace {

constexpr const char *refused = "the source service refused it";

void require(bool done, const std::string &action, const std::string &reason = refused) {
    if (!done) {
        throw Failure("cannot " + action + ": " + unreachableReason().value_or(reason));
    }
}

// Empty for a type that is unknown to the platform.
std::string onScreenText(int type) {
    std::string text;
    return CSourceAPI::Get()->GetSourceOSDText(type, text) ? text : std::string();
}

std::string typeTitle(int type) {
    const std::string text = onScreenText(type);
    return "source type " + std::to_string(type) +
           (text.empty() ? std::string() : " (" + printable(text) + ")");
}

std::string sourceTitle(const Arguments &arguments) {
    return typeTitle(arguments.type) + ", index " + std::to_string(arguments.index);
}

// The output of a command that changes something.
void printDone(const Arguments &arguments, const std::string &sentence) {
    Json::Value outcome;
    outcome["done"] = true;
    print(arguments.json ? jsonLineUtf8(outcome) : sentence);
}

// The output of a command that reads one value.
void printValue(const Arguments &arguments, const char *member, const Json::Value &value) {
    Json::Value document;
    document[member] = value;
    print(arguments.json ? jsonLineUtf8(document) : printable(value.asString()));
}

// The output of a command that reads several texts.
void printProperties(const Arguments &arguments,
                     const std::vector<std::pair<std::string, std::string>> &properties) {
    Json::Value document;
    support::TextTable table({{"PROPERTY"}, {"VALUE"}});
    for (const auto &[name, value] : properties) {
        document[name] = validUtf8(value);
        table.addRow({name, value});
    }
    print(arguments.json ? jsonLineUtf8(document) : table.text());
}

}  // namespace

void listSources(const Arguments &arguments) {
    const SourceList sources = readSourceList();
    if (arguments.json) {
        print(jsonLineUtf8(toJson(sources)));
        return;
    }
    if (sources.empty()) {
        print("no sources");
        return;
    }
    support::TextTable table({{"TYPE", support::Align::right},
                              {"INDEX", support::Align::right},
                              {"NAME"},
                              {"DETECTED"},
                              {"ON SCREEN"},
                              {"KEY"},
                              {"CONNECTED"},
                              {"POWER", support::Align::right}});
    for (const CSourceItem &source : sources) {
        table.addRow({std::to_string(source.sourceType), std::to_string(source.mbrActivityIndex),
                      displayName(source), source.detectedName, onScreenText(source.sourceType),
                      source.uniqueKey, source.connectionState ? "yes" : "no",
                      std::to_string(source.powerState)});
    }
    print(table.text());
}

void connectSource(const Arguments &arguments) {
    const std::string title = typeTitle(arguments.type);
    require(CSourceAPI::Get()->Connect(arguments.type), "switch to " + title);
    printDone(arguments, "switched to " + title);
}

void runSource(const Arguments &arguments) {
    const std::string title = typeTitle(arguments.type) + ", key " + quoted(arguments.key);
    require(CSourceAPI::Get()->RunApp(arguments.type, arguments.key), "connect " + title);
    printDone(arguments, "connected " + title);
}

void showName(const Arguments &arguments) {
    std::string name;
    require(CSourceAPI::Get()->GetSourceEditName(arguments.type, name, arguments.index),
            "read the name of " + sourceTitle(arguments), "none is known");
    printValue(arguments, "name", validUtf8(name));
}

void renameSource(const Arguments &arguments) {
    const std::string title = sourceTitle(arguments);
    require(CSourceAPI::Get()->SetSourceEditName(arguments.type, arguments.text, arguments.index),
            "rename " + title);
    printDone(arguments, "renamed " + title + " to " + quoted(arguments.text));
}

void showDeviceType(const Arguments &arguments) {
    unsigned int number = 0;
    require(CSourceAPI::Get()->GetSourceDeviceType(arguments.type, &number, arguments.index),
            "read the device type of " + sourceTitle(arguments), "none is known");
    printValue(arguments, "deviceType", number);
}

void changeDeviceType(const Arguments &arguments) {
    const std::string action = "set the device type of " + sourceTitle(arguments);
    require(CSourceAPI::Get()->SetSourceDeviceType(arguments.type, arguments.deviceType,
                                                   arguments.index),
            action);
    printDone(arguments, action + " to " + std::to_string(arguments.deviceType));
}

void changeDetected(const Arguments &arguments) {
    const std::string action = "set the detected name of " + sourceTitle(arguments);
    require(CSourceAPI::Get()->SetSourceDetectedNameAndDeviceType(
                arguments.type, arguments.text, arguments.deviceType, arguments.index),
            action);
    printDone(arguments, action + " to " + quoted(arguments.text) + " and its device type to " +
                             std::to_string(arguments.deviceType));
}

void showOnScreenText(const Arguments &arguments) {
    const std::string text = onScreenText(arguments.type);
    if (text.empty()) {
        throw Failure("the platform knows no on-screen text for source type " +
                      std::to_string(arguments.type));
    }
    printValue(arguments, "osdText", validUtf8(text));
}

void showUsbDevice(const Arguments &arguments) {
    std::shared_ptr<std::map<std::string, std::string>> device;
    require(CSourceAPI::GetUsbData(arguments.key, &device),
            "read the USB device with key " + quoted(arguments.key));
    printProperties(arguments, {device->begin(), device->end()});
}

void showIcons(const Arguments &arguments) {
    std::string source;
    std::pair<std::string, std::string> launcher;
    require(CSourceAPI::Get()->GetCustomIconPath(arguments.type, source, launcher, arguments.index),
            "read the icons of " + sourceTitle(arguments));
    printProperties(
        arguments,
        {{"source", source}, {"focused", launcher.first}, {"unfocused", launcher.second}});
}

void changeIcons(const Arguments &arguments) {
    const std::string action = "set the icons of " + sourceTitle(arguments);
    require(CSourceAPI::Get()->SetCustomIconPath(arguments.type, arguments.sourceIcon,
                                                 {arguments.focusedIcon, arguments.unfocusedIcon},
                                                 arguments.index),
            action);
    printDone(arguments, action);
}

void print(const std::string &text) {
    std::cout << text << std::endl;
    if (!std::cout) {
        throw Failure("cannot write to standard output");
    }
}

std::optional<std::string> unreachableReason() {
    support::Connection bus;
    try {
        bus = support::sharedSystemBus();
    } catch (const std::runtime_error &error) {
        return std::string("the system bus cannot be reached: ") + error.what();
    }
    try {
        if (support::hasOwner(bus.get(), "source_service.message")) {
            return std::nullopt;
        }
    } catch (const std::runtime_error &error) {
        return std::string("the system bus does not reply: ") + error.what();
    }
    return "the source service is not running on the system bus";
}

SourceList readSourceList() {
    std::shared_ptr<std::multimap<int, CSourceItem>> records;
    if (!CSourceAPI::Get()->GetSourceList(&records)) {
        throw Failure("cannot read the source list: " +
                      unreachableReason().value_or(
                          "the source service refused it, or part of it is unreadable"));
    }
    SourceList sources;
    for (const auto &[type, source] : *records) {
        sources.push_back(source);
    }
    return sources;
}

}  // namespace sourcectl
