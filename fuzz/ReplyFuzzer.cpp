// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Input: the kind of reply on the first line, then its text:
//   P  a body (suss)       B  a body (sussa(y)) with the rest of the line as its buffer
//   V  a body in GVariant text format
//   E  no reply            U  the service is not running
// A lower-case letter makes the settings store unreadable as well. Every command and query gets
// this reply; the text is also used as their argument.
#include <unistd.h>

#include <memory>

#include "Fuzzing.h"
#include "GLibOwners.h"
#include "ReferenceModel.h"
#include "SourceAPI.h"
#include "SourceApiPeer.h"
#include "SourceTCServer.h"
#include "StubPlatform.h"
#include "StubService.h"
#include "TerminalText.h"

namespace {

using fuzz::require;
using fuzz::StubService;

constexpr int sourceType = 7;
constexpr int activityIndex = 1;
constexpr unsigned int deviceType = 4294967295U;
constexpr const char *names =
    R"([{"SourceType":7,"EditName":"Game","DetectedName":"Console","DeviceType":3},)"
    R"({"SourceType":7,"DetectedName":"Player","DeviceType":4,"MbrActivityIndex":1}])";

// The reply of the service, and the result that the client must derive from it.
struct Reply {
    enum class Outcome { Arrives, Fails, Throws };

    explicit Reply(const std::string &input);

    std::string argument;
    std::string buffer;
    bool present = true;
    support::Variant body;
    std::optional<std::string> text;
    Outcome outcome = Outcome::Fails;
    Json::Value root;

    bool arrives() const { return outcome == Outcome::Arrives; }
};

// `buffer` must outlive the body.
GVariant *madeBody(char shape, const std::string &buffer, const std::string &text) {
    const std::string valid = support::validUtf8(fuzz::cText(text));
    switch (shape) {
        case 'P':
            return g_variant_new("(suss)", "source_service", 3, "more", valid.c_str());
        case 'B':
            return g_variant_new("(suss@a(y))", "source_service", 3, "more", valid.c_str(),
                                 g_variant_new_from_data(G_VARIANT_TYPE("a(y)"), buffer.data(),
                                                         buffer.size(), TRUE, nullptr, nullptr));
        case 'V':
            return g_variant_parse(nullptr, valid.c_str(), nullptr, nullptr, nullptr);
        default:
            return nullptr;
    }
}

Reply::Reply(const std::string &input) {
    std::tie(buffer, argument) = fuzz::splitLine(input);
    const char letter = buffer.empty() ? 'E' : buffer[0];
    const char shape = g_ascii_toupper(letter);
    buffer.erase(0, 1);
    present = shape != 'U';
    fuzz::storedNames = letter == shape ? std::optional<std::string>(names) : std::nullopt;
    if (GVariant *const made = madeBody(shape, buffer, argument)) {
        body.reset(g_variant_take_ref(made));
        text = reference::textOf(made);
        try {
            if (const auto read = reference::replyRoot(text)) {
                root = *read;
                outcome = Outcome::Arrives;
            }
        } catch (const Json::Exception &) {
            outcome = Outcome::Throws;
        }
    }
}

// The other fields of a body (suss) or (sussa(y)).
struct Fields {
    Fields() = default;
    explicit Fields(GVariant *body) {
        const char *text = nullptr;
        g_variant_get_child(body, 1, "u", &number);
        g_variant_get_child(body, 2, "&s", &text);
        auxText = text;
        if (g_variant_n_children(body) == 5) {
            const support::Variant bytes(g_variant_get_child_value(body, 4));
            for (gsize index = 0; index < g_variant_n_children(bytes.get()); ++index) {
                unsigned char byte = 0;
                g_variant_get_child(bytes.get(), index, "(y)", &byte);
                buffer.push_back(byte);
            }
        }
        if (buffer == std::vector<unsigned char>{0}) {
            buffer.clear();  // means no buffer
        }
    }

    guint32 number = 0;
    std::string auxText;
    std::vector<unsigned char> buffer;
};

// Checks the request and whether the reply's body was released.
void checkCall(const Reply &reply, const char *method, const Json::Value &data) {
    Json::Value request;
    request["method"] = method;
    request["data"] = data;
    auto &requests = StubService::get().requests;
    const std::vector<std::string> expected(reply.present ? 1 : 0, reference::written(request));
    require(requests == expected, "one request is made, with the expected members");
    requests.clear();
    const bool leaked = reply.body && reply.outcome == Reply::Outcome::Fails;
    require(StubService::get().leakedBodies() == (leaked ? 1U : 0U),
            "a reply's body is leaked only if it says \"fail\"");
    StubService::get().releaseLeakedBodies();
}

// The value as a command converts it to bool; no value if that is an error.
std::optional<bool> truth(const Json::Value &value) {
    if (value.isNull()) {
        return false;
    }
    if (value.isBool()) {
        return value == Json::Value(true);
    }
    if (value.isNumeric()) {
        return value.asDouble() < 0 || value.asDouble() > 0;
    }
    return std::nullopt;
}

template <class Command>
void checkCommand(const Reply &reply, const char *method, const Json::Value &data,
                  bool changesNames, Command command) {
    ClientPeer::hasNames() = true;
    const bool done = command(CSourceAPI::Get());
    const bool expected = reply.arrives() && reply.root.isMember("return_data") &&
                          truth(reply.root["return_data"]).value_or(false);
    require(done == expected, "a command returns the result in the reply");
    require(ClientPeer::hasNames() == !(done && changesNames),
            "a successful change of names, and nothing else, marks the names as stale");
    checkCall(reply, method, data);
}

void checkConnecting(const Reply &reply) {
    Json::Value data;
    data["SourceType"] = sourceType;
    checkCommand(reply, "SourceConnect", data, false,
                 [](CSourceAPI *api) { return api->Connect(sourceType); });
    data["SourceUniqueKey"] = reply.argument;
    checkCommand(reply, "RunApp", data, false,
                 [&](CSourceAPI *api) { return api->RunApp(sourceType, reply.argument); });
}

void checkSettingNames(const Reply &reply) {
    Json::Value source;
    source["SourceType"] = sourceType;
    source["MBRActivityIndex"] = activityIndex;

    Json::Value data = source;
    data["DetectedName"] = reply.argument;
    data["DetectedDeviceType"] = deviceType;
    checkCommand(reply, "UtilSetSourceDetectedNameAndDeviceType", data, true, [&](CSourceAPI *api) {
        return api->SetSourceDetectedNameAndDeviceType(sourceType, reply.argument, deviceType,
                                                       activityIndex);
    });

    data = source;
    data["EditName"] = reply.argument;
    checkCommand(reply, "UtilSetSourceEditName", data, true, [&](CSourceAPI *api) {
        return api->SetSourceEditName(sourceType, reply.argument, activityIndex);
    });

    data = source;
    data["DeviceType"] = deviceType;
    checkCommand(reply, "UtilSetSourceDeviceType", data, true, [](CSourceAPI *api) {
        return api->SetSourceDeviceType(sourceType, deviceType, activityIndex);
    });
}

void checkSettingIcons(const Reply &reply) {
    Json::Value data;
    data["SourceType"] = sourceType;
    data["Pid"] = static_cast<int>(getpid());
    data["MbrActivityIndex"] = activityIndex;
    data["SourceIconPath"] = reply.argument;
    data["LauncherFocusedIconPath"] = "focused";
    data["LauncherUnfocusedIconPath"] = "unfocused";
    checkCommand(reply, "UtilSetCustomIconPath", data, false, [&](CSourceAPI *api) {
        return api->SetCustomIconPath(sourceType, reply.argument, {"focused", "unfocused"},
                                      activityIndex);
    });
}

void checkGettingIcons(const Reply &reply) {
    bool expected = false;
    std::vector<std::string> expectedIcons = {"a", "b", "c"};
    if (reply.arrives()) {
        try {
            expectedIcons[0] = reply.root["SourceIconPath"].asString();
            expectedIcons[1] = reply.root["LauncherFocusedIconPath"].asString();
            expectedIcons[2] = reply.root["LauncherUnfocusedIconPath"].asString();
            expected = true;
        } catch (const Json::Exception &) {
            // The icons before the unreadable one are returned.
        }
    }
    std::string icon = "a";
    std::pair<std::string, std::string> launcher("b", "c");
    const bool done =
        CSourceAPI::Get()->GetCustomIconPath(sourceType, icon, launcher, activityIndex);
    require(done == expected, "icons are returned if the reply has readable ones");
    require(expectedIcons == std::vector<std::string>{icon, launcher.first, launcher.second},
            "icons are those of the reply, up to an unreadable one");
    Json::Value data;
    data["SourceType"] = sourceType;
    data["MbrActivityIndex"] = activityIndex;
    checkCall(reply, "UtilGetCustomIconPath", data);
}

// Whether the reply contains the data of a USB device.
bool hasUsbData(const Reply &reply) {
    return reply.arrives() && (!reply.root.isMember("return_data") ||
                               truth(reply.root["return_data"]).value_or(false));
}

void checkUsbText(const Reply &reply) {
    const std::string key = fuzz::cText(reply.argument);
    const std::unique_ptr<char, decltype(&std::free)> text(CSourceAPI::GetUsbData(key.c_str()),
                                                           std::free);
    require((text != nullptr) == hasUsbData(reply), "there is a text unless the service refuses");
    require(!text || reply.root.toStyledString() == text.get(),
            "the text is the whole reply, indented");
    Json::Value data;
    data["SourceUniqueKey"] = key;
    checkCall(reply, "UtilGetUsbData", data);
}

using UsbData = std::map<std::string, std::string>;

// False if a member is unreadable; `expected` then has those before it.
bool expectedUsbData(const Json::Value &root, UsbData &expected) {
    try {
        expected["called_app"] = root["calledApp"].asString();
        expected["device_type"] = root["deviceType"].asString();
        expected["device_name"] = root["deviceName"].asString();
        if (root["isPTP"].asBool()) {
            expected["device_busnumber"] = root["deviceBusNumber"].asString();
            expected["device_addressnumber"] = root["deviceAddressNumber"].asString();
        } else {
            expected["vendor_name"] = root["vendorName"].asString();
            expected["volume_name"] = root["volumeName"].asString();
            expected["device_path"] = root["devicePath"].asString();
        }
        return true;
    } catch (const Json::Exception &) {
        return false;
    }
}

void checkUsbMap(const Reply &reply) {
    const auto before = std::make_shared<UsbData>();
    std::shared_ptr<UsbData> usbData = before;
    const bool done = CSourceAPI::GetUsbData(reply.argument, &usbData);
    require((usbData != before) == hasUsbData(reply), "there is a map unless the service refuses");
    UsbData expected;
    const bool readable = hasUsbData(reply) && expectedUsbData(std::as_const(reply.root), expected);
    require(done == readable, "a map is complete when everything in it is readable");
    require(*usbData == expected, "the map has the members of the reply");
    Json::Value data;
    data["SourceUniqueKey"] = reply.argument;
    checkCall(reply, "UtilGetUsbData", data);
}

// Resets the library's caches and returns a model with empty ones.
reference::Client resetCaches(const Reply &reply) {
    StubService::resetCaches();
    reference::Client client;
    client.settings = fuzz::storedNames;
    client.calls = reply.body != nullptr;
    client.replyText = reply.text;
    return client;
}

void checkFetch(const Reply &reply, const reference::Client &expected) {
    require(ClientPeer::list() == expected.list, "the cached list is the reply's");
    require(ClientPeer::hasList() == expected.listFilled, "the list is marked as read if it was");
    require(ClientPeer::hasNames() == expected.namesFilled,
            "the names are marked as read if they were");
    checkCall(reply, "UtilGetSourceList", Json::Value());
}

void checkListText(const Reply &reply) {
    reference::Client client = resetCaches(reply);
    const std::unique_ptr<char, decltype(&std::free)> text(CSourceAPI::Get()->GetSourceList(),
                                                           std::free);
    const std::optional<std::string> expected = client.readList();
    require((text != nullptr) == expected.has_value(), "a list is returned if it could be fetched");
    require(!text || *expected == text.get(), "the list is one line of the reply's list");
    checkFetch(reply, client);
}

void checkListRecords(const Reply &reply) {
    reference::Client client = resetCaches(reply);
    std::shared_ptr<std::multimap<int, CSourceItem>> items;
    const bool done = CSourceAPI::Get()->GetSourceList(&items);
    reference::Records records;
    require(done == client.readRecords(records), "the call succeeds if every record is readable");
    require(reference::toRecords(*items) == records,
            "the records are those of the list, up to an unreadable one");
    checkFetch(reply, client);
}

void checkNames(const Reply &reply) {
    reference::Client client = resetCaches(reply);
    std::string name = "before";
    const bool named = CSourceAPI::Get()->GetSourceEditName(sourceType, name, activityIndex);
    const bool expected = client.updateCache(Json::Value(""));
    require(named == expected && name == (expected ? "Player" : "before"),
            "a name is found once names and list were read");
    checkFetch(reply, client);

    client = resetCaches(reply);
    unsigned int type = 4711;
    const bool typed = CSourceAPI::Get()->GetSourceDeviceType(sourceType, &type, activityIndex);
    require(typed == client.updateCache(Json::Value("")) && type == (expected ? 4U : 4711U),
            "a device type is found once names and list were read");
    checkFetch(reply, client);
}

// The same reply, decoded by the transport alone.
void checkTransport(const Reply &reply) {
    SourceTCMessage request;
    request.m_JsonRoot["method"] = "any";
    request.m_JsonRoot["data"] = reply.argument;
    SourceTCMessage answer;
    Reply::Outcome outcome = Reply::Outcome::Fails;
    try {
        if (ClientPeer::endpoint()->SendMessage("source_service", &request, false, &answer) != 0) {
            outcome = Reply::Outcome::Arrives;
        }
    } catch (const Json::Exception &) {
        outcome = Reply::Outcome::Throws;
    }
    require(outcome == reply.outcome, "a call succeeds, fails or throws as the reply says");
    require(!reply.arrives() || answer.m_JsonRoot == reply.root, "the reply's JSON arrives");
    require(answer.m_Message == reply.text.value_or(""), "the reply's text arrives as it is");
    Fields fields;
    if (reply.text) {
        fields = Fields(reply.body.get());
    }
    require(answer.m_AuxNumber == fields.number, "the reply's number arrives");
    require(answer.m_AuxText == fields.auxText, "the reply's second text arrives");
    require(std::vector<unsigned char>(answer.m_Buffer, answer.m_Buffer + answer.m_BufferSize) ==
                fields.buffer,
            "the reply's buffer arrives");
    checkCall(reply, "any", reply.argument);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    StubService &service = StubService::get();
    const Reply reply(fuzz::inputText(data, size));
    service.present = reply.present;
    service.makeReply = [&reply] { return reply.body.get(); };
    checkConnecting(reply);
    checkSettingNames(reply);
    checkSettingIcons(reply);
    checkGettingIcons(reply);
    checkUsbText(reply);
    checkUsbMap(reply);
    checkListText(reply);
    checkListRecords(reply);
    checkNames(reply);
    if (reply.present) {
        checkTransport(reply);
    }
    service.reset();
    return 0;
}
