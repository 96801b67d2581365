// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "ConformingService.h"

#include <glib.h>

namespace {

// With decoded names.
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

// Not the id of a check.
constexpr auto noCheck = "-";

bool hasRightSignature(const ReceivedCall &call) {
    return call.bodyType == (call.member == "SendMessage" ? "(suss)" : "(sussa(y))");
}

// Applies the members of a request to the state.
void store(const Json::Value &data, Json::Value &source, Json::Value &icons) {
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

// The id of the check that sends such a malformed text; empty for a well-formed request.
std::string malformedRequestId(const ReceivedCall &call) {
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

ConformingService::ConformingService(const TestBus &bus, const std::string &failing)
    : m_failing(failing), m_sources(parsedJson(sources)), m_service(bus) {
    m_icons["SourceIconPath"] = "";
    m_icons["LauncherFocusedIconPath"] = "";
    m_icons["LauncherUnfocusedIconPath"] = "";
    m_service.replyWithMessage([this](GDBusMessage *message, const ReceivedCall &call) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return reply(message, call);
    });
}

Json::Value ConformingService::list() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_sources;
}

Json::Value ConformingService::icons() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_icons;
}

void ConformingService::conformUnusually() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isUnusual = true;
    m_sources[0].removeMember("mbrActivityIndex");
    m_sources[0].removeMember("powerState");
    m_sources[1]["connectionState"] = 0;
    m_sources[1]["iconPath"] = Json::nullValue;
}

void ConformingService::refuseRenaming() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_renamesToAccept = 0;
}

void ConformingService::acceptOneRenameOnly() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_renamesToAccept = 1;
}

void ConformingService::setIcons() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_icons["LauncherUnfocusedIconPath"] = "/icon.png";
}

void ConformingService::ignoreOtherSignatures() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_repliesToOtherSignatures = false;
}

std::string ConformingService::restartCommand() {
    return "dbus-send --system --print-reply --dest=source_service.message /test "
           "test.Service.Restart";
}

GDBusMessage *ConformingService::reply(GDBusMessage *message, const ReceivedCall &call) {
    if (call.member == "Restart") {
        return restart(message);
    }
    const bool isPlain = call.member == "SendMessage";
    if (!hasRightSignature(call) && !fails(isPlain ? "other-body" : "other-body-with-buffer")) {
        return m_repliesToOtherSignatures || !isPlain
                   ? g_dbus_message_new_method_error_literal(message, "test.Error.Body",
                                                             "unexpected signature")
                   : nullptr;
    }
    if (fails("name-kept") && malformedRequestId(call) == "deep-json") {
        changeOwner();
    }
    GDBusMessage *response = g_dbus_message_new_method_reply(message);
    g_dbus_message_set_body(response, replyBody(call));
    return response;
}

GDBusMessage *ConformingService::restart(GDBusMessage *message) {
    if (fails("restart-name")) {
        return g_dbus_message_new_method_error_literal(message, "test.Error.Restart", "no");
    }
    changeOwner();
    m_hasRestarted = true;
    return g_dbus_message_new_method_reply(message);
}

GVariant *ConformingService::replyBody(const ReceivedCall &call) {
    const bool isPlain = call.member == "SendMessage";
    if (fails(isPlain ? "plain-answer" : "buffer-answer")) {
        return g_variant_new("(s)", "{}");
    }
    const bool isZero = call.buffer == std::vector<unsigned char>{0};
    const Json::Value document =
        fails("zero-byte-request") && isZero ? refused(noCheck) : resultOf(call);
    if (isPlain != m_isUnusual) {
        return plainBody(jsonText(document));
    }
    const std::vector<unsigned char> noBuffer(fails("zero-byte-answer") ? 0 : 1, 0);
    return bufferBody(jsonText(document), noBuffer);
}

Json::Value ConformingService::resultOf(const ReceivedCall &call) {
    const std::string id = malformedRequestId(call);
    return id.empty() ? execute(call.json["method"].asString(), call.json["data"]) : refused(id);
}

Json::Value ConformingService::execute(const std::string &command, const Json::Value &data) {
    if (command == "UtilGetSourceList") {
        return getList();
    }
    if (command == "UtilGetUsbData") {
        return getUsbData(data["SourceUniqueKey"].asString());
    }
    Json::Value *const source = find(data["SourceType"].asInt());
    if (command == "UtilGetCustomIconPath") {
        return getIcons(source != nullptr);
    }
    if (command == "UtilSetSourceEditName") {
        return source != nullptr ? rename(*source, data["EditName"].asString())
                                 : refused("rename-refusal");
    }
    return executeSetting(command, data, source);
}

Json::Value ConformingService::executeSetting(const std::string &command, const Json::Value &data,
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
        store(data, *source, m_icons);
        return done(setting->second + "-answer");
    }
    // One call of the check connect-refusal, and one for the reply to compare the others with.
    constexpr int sequentialCalls = 2;
    const bool isConcurrent = command == "SourceConnect" && ++m_unknownConnects > sequentialCalls;
    return fails("concurrent-calls") && isConcurrent ? getList()
                                                     : refused(setting->second + "-refusal");
}

Json::Value ConformingService::getList() {
    Json::Value reply;
    reply["return_data"] = encodedList();
    if (fails("list-answer") || (fails("restart-list") && m_hasRestarted)) {
        reply["return_data"] = "none";
    }
    return reply;
}

Json::Value ConformingService::getIcons(bool isKnown) {
    if (isKnown) {
        Json::Value reply = m_isUnusual ? Json::Value(Json::objectValue) : m_icons;
        if (fails("get-icons-answer")) {
            reply["SourceIconPath"] = Json::arrayValue;
        }
        return reply;
    }
    if (fails("get-icons-refusal")) {
        Json::Value reply = m_icons;
        reply["LauncherUnfocusedIconPath"] = "/icon.png";
        return reply;
    }
    return refused(noCheck);
}

Json::Value ConformingService::getUsbData(const std::string &key) const {
    if (key != "usb") {
        return refused(key == "hdmi2" || key == "av" ? noCheck : "usb-refusal");
    }
    Json::Value reply;
    reply["deviceName"] = "Stick";
    reply["deviceBusNumber"] = 1;
    reply["isPTP"] = true;
    if (fails("usb-answer")) {
        reply["isPTP"] = "perhaps";
    }
    return reply;
}

Json::Value ConformingService::rename(Json::Value &source, const std::string &name) {
    if (m_renamesToAccept == 0) {
        return refused(noCheck);
    }
    --m_renamesToAccept;
    source["editName"] = name;
    emitChange();
    return done("rename-answer");
}

Json::Value ConformingService::done(const std::string &id) const {
    Json::Value reply;
    reply["return_data"] = true;
    if (fails(id)) {
        reply["return_data"] = "yes";
    } else if (m_isUnusual) {
        reply["return_data"] = 2;
    }
    return reply;
}

Json::Value ConformingService::refused(const std::string &id) const {
    Json::Value reply;
    if (m_isUnusual) {
        reply["dbus_result"] = "fail";
    } else {
        reply["return_data"] = fails(id);
    }
    return reply;
}

Json::Value ConformingService::encodedList() const {
    Json::Value shown = m_sources;
    for (Json::Value &element : shown) {
        for (const char *name : {"editName", "detectedName"}) {
            element[name] =
                fails("rename-listed") ? element[name] : percentEncoded(element[name].asString());
        }
    }
    if (fails("list-elements")) {
        shown[2]["powerState"] = "on";
    }
    if (fails("list-names")) {
        shown[2]["detectedName"] = "50% off";
    }
    return shown;
}

Json::Value *ConformingService::find(int type) {
    for (Json::Value &source : m_sources) {
        if (source["sourceType"] == type) {
            return &source;
        }
    }
    return nullptr;
}

void ConformingService::emitChange() {
    if (fails(m_hasRestarted ? "restart-signal" : "change-signal")) {
        return;
    }
    Json::Value message;
    message["return_data"] = m_isUnusual ? Json::Value("") : encodedList();
    if (fails("change-signal-list")) {
        message["return_data"] = Json::arrayValue;
    }
    if (!m_isUnusual) {
        message["data"]["result"] = 3;
    }
    if (fails("change-signal-result")) {
        message["data"]["result"] = "named";
    }
    const std::string text = jsonText(message);
    m_service.emit(
        "/test", "test.Service", "source_api",
        fails("change-signal-shape") ? g_variant_new("(s)", text.c_str()) : plainBody(text));
}

// Both requests are sent before the reply to the call that is being handled.
void ConformingService::changeOwner() {
    const auto ask = [this](const char *method, GVariant *arguments) {
        g_dbus_connection_call(m_service.connection(), "org.freedesktop.DBus",
                               "/org/freedesktop/DBus", "org.freedesktop.DBus", method, arguments,
                               nullptr, G_DBUS_CALL_FLAGS_NONE, waitLimit, nullptr, nullptr,
                               nullptr);
    };
    ask("ReleaseName", g_variant_new("(s)", "source_service.message"));
    ask("RequestName", g_variant_new("(su)", "source_service.message", 0U));
}
