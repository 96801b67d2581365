// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "FaithfulService.h"

#include <glib.h>

namespace {

// Names as the user gave them.
constexpr auto sources = R"([
    {"sourceType": 4, "mbrActivityIndex": 0, "uniqueKey": "hdmi2", "editName": "",
     "detectedName": "Console", "iconPath": "/hdmi.png", "connectionState": true,
     "powerState": 1, "settingMethod": 0},
    {"sourceType": 2, "mbrActivityIndex": 0, "uniqueKey": "av", "editName": "Bär & Söhne",
     "detectedName": "", "iconPath": "", "connectionState": false,
     "powerState": 0, "settingMethod": 1},
    {"sourceType": 8, "mbrActivityIndex": 3, "uniqueKey": "usb", "editName": "",
     "detectedName": "Stick", "iconPath": "", "connectionState": true,
     "powerState": 1, "settingMethod": 0}])";

// No promise's id.
constexpr auto keptAnyway = "-";

// Sets the bodies apart that the two methods have.
bool hasRightBody(const ReceivedCall &call) {
    return call.bodyType == (call.member == "SendMessage" ? "(suss)" : "(sussa(y))");
}

// Takes what a request sets into what is held of its source.
void keep(const Json::Value &data, Json::Value &source, Json::Value &icons) {
    for (const std::string &member : icons.getMemberNames()) {
        if (data.isMember(member)) {
            icons[member] = data[member];
        }
    }
    if (data.isMember("DetectedName")) {
        source["detectedName"] = data["DetectedName"];
    }
}

std::string percentEncoded(const std::string &text) {
    g_autofree char *encoded = g_uri_escape_string(text.c_str(), nullptr, FALSE);
    return encoded;
}

// What the promise is called of which such a text is the test; empty for a request.
std::string nonsenseIn(const ReceivedCall &call) {
    constexpr std::size_t longText = 10000;
    if (call.text.empty()) {
        return "empty-text";
    }
    if (call.text.size() > longText) {
        return "deep-json";
    }
    if (call.json.isArray()) {
        return "json-array";
    }
    return call.json.isObject() ? "" : "not-json";
}

}  // namespace

FaithfulService::FaithfulService(const TestBus &bus, const std::string &broken)
    : m_broken(broken), m_sources(parsedJson(sources)), m_service(bus) {
    m_icons["SourceIconPath"] = "";
    m_icons["LauncherFocusedIconPath"] = "";
    m_icons["LauncherUnfocusedIconPath"] = "";
    m_service.replyWithMessage([this](GDBusMessage *message, const ReceivedCall &call) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return reply(message, call);
    });
}

Json::Value FaithfulService::list() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_sources;
}

Json::Value FaithfulService::icons() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_icons;
}

void FaithfulService::keepThemStrangely() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isStrange = true;
    m_sources[0].removeMember("mbrActivityIndex");
    m_sources[0].removeMember("powerState");
    m_sources[1]["connectionState"] = 0;
    m_sources[1]["iconPath"] = Json::nullValue;
}

void FaithfulService::refuseNames() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_namesToTake = 0;
}

void FaithfulService::takeOneNameOnly() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_namesToTake = 1;
}

void FaithfulService::giveIcons() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_icons["LauncherUnfocusedIconPath"] = "/icon.png";
}

void FaithfulService::leaveOtherBodiesUnanswered() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_answersOtherBodies = false;
}

std::string FaithfulService::restartCommand() {
    return "dbus-send --system --print-reply --dest=source_service.message /test "
           "test.Service.Restart";
}

GDBusMessage *FaithfulService::reply(GDBusMessage *message, const ReceivedCall &call) {
    if (call.member == "Restart") {
        return replyToRestart(message);
    }
    const bool isPlain = call.member == "SendMessage";
    if (!hasRightBody(call) && !breaks(isPlain ? "other-body" : "other-body-with-buffer")) {
        return m_answersOtherBodies || !isPlain
                   ? g_dbus_message_new_method_error_literal(message, "test.Error.Body",
                                                             "another body is wanted")
                   : nullptr;
    }
    if (breaks("name-kept") && nonsenseIn(call) == "deep-json") {
        changeOwner();
    }
    GDBusMessage *response = g_dbus_message_new_method_reply(message);
    g_dbus_message_set_body(response, bodyFor(call));
    return response;
}

GDBusMessage *FaithfulService::replyToRestart(GDBusMessage *message) {
    if (breaks("restart-name")) {
        return g_dbus_message_new_method_error_literal(message, "test.Error.Restart", "no");
    }
    changeOwner();
    m_hasRestarted = true;
    return g_dbus_message_new_method_reply(message);
}

GVariant *FaithfulService::bodyFor(const ReceivedCall &call) {
    const bool isPlain = call.member == "SendMessage";
    if (breaks(isPlain ? "plain-answer" : "buffer-answer")) {
        return g_variant_new("(s)", "{}");
    }
    const bool isZero = call.buffer == std::vector<unsigned char>{0};
    const Json::Value document =
        breaks("zero-byte-request") && isZero ? refused(keptAnyway) : answer(call);
    if (isPlain != m_isStrange) {
        return plainBody(jsonText(document));
    }
    const std::vector<unsigned char> noBuffer(breaks("zero-byte-answer") ? 0 : 1, 0);
    return bufferBody(jsonText(document), noBuffer);
}

Json::Value FaithfulService::answer(const ReceivedCall &call) {
    const std::string nonsense = nonsenseIn(call);
    return nonsense.empty() ? answerToRequest(call.json["method"].asString(), call.json["data"])
                            : refused(nonsense);
}

Json::Value FaithfulService::answerToRequest(const std::string &command, const Json::Value &data) {
    if (command == "UtilGetSourceList") {
        return answerWithList();
    }
    if (command == "UtilGetUsbData") {
        return answerWithDevice(data["SourceUniqueKey"].asString());
    }
    Json::Value *const source = find(data["SourceType"].asInt());
    if (command == "UtilGetCustomIconPath") {
        return answerWithIcons(source != nullptr);
    }
    if (command == "UtilSetSourceEditName") {
        return source != nullptr ? rename(*source, data["EditName"].asString())
                                 : refused("rename-refusal");
    }
    return answerToSetting(command, data, source);
}

Json::Value FaithfulService::answerToSetting(const std::string &command, const Json::Value &data,
                                             Json::Value *source) {
    static const std::map<std::string, std::string> settings = {
        {"SourceConnect", "connect"},
        {"RunApp", "run"},
        {"UtilSetSourceDeviceType", "device-type"},
        {"UtilSetSourceDetectedNameAndDeviceType", "detected"},
        {"UtilSetCustomIconPath", "set-icons"}};
    const auto setting = settings.find(command);
    if (setting == settings.end()) {
        return refused("unknown-command");
    }
    if (source != nullptr) {
        keep(data, *source, m_icons);
        return done(setting->second + "-answer");
    }
    // Refused once for the refusal itself and once to know the answer when there is no load.
    constexpr int refusalsWithoutLoad = 2;
    const bool isUnderLoad =
        command == "SourceConnect" && ++m_unknownConnects > refusalsWithoutLoad;
    return breaks("concurrent-calls") && isUnderLoad ? answerWithList()
                                                     : refused(setting->second + "-refusal");
}

Json::Value FaithfulService::answerWithList() {
    Json::Value reply;
    reply["return_data"] = shownList();
    if (breaks("list-answer") || (breaks("restart-list") && m_hasRestarted)) {
        reply["return_data"] = "none";
    }
    return reply;
}

Json::Value FaithfulService::answerWithIcons(bool isKnown) {
    if (isKnown) {
        Json::Value reply = m_isStrange ? Json::Value(Json::objectValue) : m_icons;
        if (breaks("get-icons-answer")) {
            reply["SourceIconPath"] = Json::arrayValue;
        }
        return reply;
    }
    if (breaks("get-icons-refusal")) {
        Json::Value reply = m_icons;
        reply["LauncherUnfocusedIconPath"] = "/icon.png";
        return reply;
    }
    return refused(keptAnyway);
}

Json::Value FaithfulService::answerWithDevice(const std::string &key) const {
    if (key != "usb") {
        return refused(key == "hdmi2" || key == "av" ? keptAnyway : "usb-refusal");
    }
    Json::Value reply;
    reply["deviceName"] = "Stick";
    reply["deviceBusNumber"] = 1;
    reply["isPTP"] = true;
    if (breaks("usb-answer")) {
        reply["isPTP"] = "perhaps";
    }
    return reply;
}

Json::Value FaithfulService::rename(Json::Value &source, const std::string &name) {
    if (m_namesToTake == 0) {
        return refused(keptAnyway);
    }
    --m_namesToTake;
    source["editName"] = name;
    announce();
    return done("rename-answer");
}

Json::Value FaithfulService::done(const std::string &id) const {
    Json::Value reply;
    reply["return_data"] = true;
    if (breaks(id)) {
        reply["return_data"] = "yes";
    } else if (m_isStrange) {
        reply["return_data"] = 2;
    }
    return reply;
}

Json::Value FaithfulService::refused(const std::string &id) const {
    Json::Value reply;
    if (m_isStrange) {
        reply["dbus_result"] = "fail";
    } else {
        reply["return_data"] = breaks(id);
    }
    return reply;
}

Json::Value FaithfulService::shownList() const {
    Json::Value shown = m_sources;
    for (Json::Value &element : shown) {
        for (const char *name : {"editName", "detectedName"}) {
            element[name] =
                breaks("rename-listed") ? element[name] : percentEncoded(element[name].asString());
        }
    }
    if (breaks("list-elements")) {
        shown[2]["powerState"] = "on";
    }
    if (breaks("list-names")) {
        shown[2]["detectedName"] = "50% off";
    }
    return shown;
}

Json::Value *FaithfulService::find(int type) {
    for (Json::Value &source : m_sources) {
        if (source["sourceType"] == type) {
            return &source;
        }
    }
    return nullptr;
}

void FaithfulService::announce() {
    if (breaks(m_hasRestarted ? "restart-signal" : "change-signal")) {
        return;
    }
    Json::Value message;
    message["return_data"] = m_isStrange ? Json::Value("") : shownList();
    if (breaks("change-signal-list")) {
        message["return_data"] = Json::arrayValue;
    }
    if (!m_isStrange) {
        message["data"]["result"] = 3;
    }
    if (breaks("change-signal-result")) {
        message["data"]["result"] = "named";
    }
    const std::string text = jsonText(message);
    m_service.emit(
        "/test", "test.Service", "source_api",
        breaks("change-signal-shape") ? g_variant_new("(s)", text.c_str()) : plainBody(text));
}

// Both requests are on their way before the answer to what is being answered now.
void FaithfulService::changeOwner() {
    const auto ask = [this](const char *method, GVariant *arguments) {
        g_dbus_connection_call(m_service.connection(), "org.freedesktop.DBus",
                               "/org/freedesktop/DBus", "org.freedesktop.DBus", method, arguments,
                               nullptr, G_DBUS_CALL_FLAGS_NONE, waitLimit, nullptr, nullptr,
                               nullptr);
    };
    ask("ReleaseName", g_variant_new("(s)", "source_service.message"));
    ask("RequestName", g_variant_new("(su)", "source_service.message", 0U));
}
