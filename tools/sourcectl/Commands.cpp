// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Commands.h"

#include <json/json.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Failure.h"
#include "Output.h"
#include "ServiceProbe.h"
#include "SourceAPI.h"
#include "SourceList.h"
#include "Table.h"
#include "Text.h"

namespace {

constexpr const char *refused = "the source service refused it";

void require(bool done, const std::string &aim, const std::string &otherwise = refused) {
    if (!done) {
        throw Failure("cannot " + aim + ": " + whyUnreachable().value_or(otherwise));
    }
}

// Empty for a type that the platform does not know.
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

// The answer to a change.
void printDone(const Arguments &arguments, const std::string &sentence) {
    Json::Value outcome;
    outcome["done"] = true;
    print(arguments.json ? jsonLine(outcome) : sentence);
}

// The answer to a question for one value.
void printValue(const Arguments &arguments, const char *member, const Json::Value &value) {
    Json::Value document;
    document[member] = value;
    print(arguments.json ? jsonLine(document) : printable(value.asString()));
}

// The answer to a question for several texts.
void printProperties(const Arguments &arguments,
                     const std::vector<std::pair<std::string, std::string>> &properties) {
    Json::Value document;
    Table table({{"PROPERTY"}, {"VALUE"}});
    for (const auto &[name, value] : properties) {
        document[name] = validUtf8(value);
        table.addRow({name, value});
    }
    print(arguments.json ? jsonLine(document) : table.text());
}

}  // namespace

void listSources(const Arguments &arguments) {
    const SourceList sources = readSourceList();
    if (arguments.json) {
        print(jsonLine(toJson(sources)));
        return;
    }
    if (sources.empty()) {
        print("no sources");
        return;
    }
    Table table({{"TYPE", Align::right},
                 {"INDEX", Align::right},
                 {"NAME"},
                 {"DETECTED"},
                 {"ON SCREEN"},
                 {"KEY"},
                 {"CONNECTED"},
                 {"POWER", Align::right}});
    for (const CSourceItem &source : sources) {
        table.addRow({std::to_string(source.sourceType), std::to_string(source.mbrActivityIndex),
                      shownName(source), source.detectedName, onScreenText(source.sourceType),
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
    const std::string aim = "set the device type of " + sourceTitle(arguments);
    require(CSourceAPI::Get()->SetSourceDeviceType(arguments.type, arguments.deviceType,
                                                   arguments.index),
            aim);
    printDone(arguments, aim + " to " + std::to_string(arguments.deviceType));
}

void changeDetected(const Arguments &arguments) {
    const std::string aim = "set the detected name of " + sourceTitle(arguments);
    require(CSourceAPI::Get()->SetSourceDetectedNameAndDeviceType(
                arguments.type, arguments.text, arguments.deviceType, arguments.index),
            aim);
    printDone(arguments, aim + " to " + quoted(arguments.text) + " and its device type to " +
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
    const std::string aim = "set the icons of " + sourceTitle(arguments);
    require(CSourceAPI::Get()->SetCustomIconPath(arguments.type, arguments.sourceIcon,
                                                 {arguments.focusedIcon, arguments.unfocusedIcon},
                                                 arguments.index),
            aim);
    printDone(arguments, aim);
}
