// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The first line of an input tells how the service answers, the rest with what text:
//   P  a plain body        B  a body with the rest of the line as its buffer
//   V  a body that the text spells in GLib's notation of values
//   E  not at all          U  the service is not there
// A small letter is the same with an unreadable settings store. Every command and every query is
// answered so; the text also serves as their arguments.
#include <unistd.h>

#include <memory>

#include "Fuzzing.h"
#include "Literal.h"
#include "Service.h"
#include "SourceAPI.h"
#include "SourceTCServer.h"
#include "Surroundings.h"

namespace {

constexpr int sourceType = 7;
constexpr int activityIndex = 1;
constexpr unsigned int deviceType = 4294967295U;
constexpr const char *names =
    R"([{"SourceType":7,"EditName":"Game","DetectedName":"Console","DeviceType":3},)"
    R"({"SourceType":7,"DetectedName":"Player","DeviceType":4,"MbrActivityIndex":1}])";

struct Unref {
    void operator()(GVariant *variant) const { g_variant_unref(variant); }
};
using VariantPtr = std::unique_ptr<GVariant, Unref>;

// What the service does, and what the client must make of it.
struct Reply {
    enum class Outcome { Arrives, Fails, Throws };

    explicit Reply(const std::string &input);

    std::string argument;
    std::string buffer;
    bool present = true;
    VariantPtr body;
    std::optional<std::string> text;
    Outcome outcome = Outcome::Fails;
    Json::Value root;

    bool arrives() const { return outcome == Outcome::Arrives; }
};

// The body borrows the bytes of `buffer`.
GVariant *madeBody(char shape, const std::string &buffer, const std::string &text) {
    const std::unique_ptr<char, decltype(&g_free)> valid(g_utf8_make_valid(text.c_str(), -1),
                                                         g_free);
    switch (shape) {
        case 'P':
            return g_variant_new("(suss)", "source_service", 3, "more", valid.get());
        case 'B':
            return g_variant_new("(suss@a(y))", "source_service", 3, "more", valid.get(),
                                 g_variant_new_from_data(G_VARIANT_TYPE("a(y)"), buffer.data(),
                                                         buffer.size(), TRUE, nullptr, nullptr));
        case 'V':
            return g_variant_parse(nullptr, valid.get(), nullptr, nullptr, nullptr);
        default:
            return nullptr;
    }
}

Reply::Reply(const std::string &input) {
    std::tie(buffer, argument) = splitLine(input);
    const char letter = buffer.empty() ? 'E' : buffer[0];
    const char shape = g_ascii_toupper(letter);
    buffer.erase(0, 1);
    present = shape != 'U';
    storedNames = letter == shape ? std::optional<std::string>(names) : std::nullopt;
    if (GVariant *const made = madeBody(shape, buffer, argument)) {
        body.reset(g_variant_take_ref(made));
        text = literal::textOf(made);
        try {
            if (const auto read = literal::replyRoot(text)) {
                root = *read;
                outcome = Outcome::Arrives;
            }
        } catch (const Json::Exception &) {
            outcome = Outcome::Throws;
        }
    }
}

// What a body of a known shape carries beside its text.
struct Fields {
    Fields() = default;
    explicit Fields(GVariant *body) {
        const char *text = nullptr;
        g_variant_get_child(body, 1, "u", &number);
        g_variant_get_child(body, 2, "&s", &text);
        auxText = text;
        if (g_variant_n_children(body) == 5) {
            const VariantPtr bytes(g_variant_get_child_value(body, 4));
            for (gsize index = 0; index < g_variant_n_children(bytes.get()); ++index) {
                unsigned char byte = 0;
                g_variant_get_child(bytes.get(), index, "(y)", &byte);
                buffer.push_back(byte);
            }
        }
        if (buffer == std::vector<unsigned char>{0}) {
            buffer.clear();  // stands for no buffer
        }
    }

    guint32 number = 0;
    std::string auxText;
    std::vector<unsigned char> buffer;
};

// After each call: what was asked, and what has become of the reply's body.
void checkCall(const Reply &reply, const char *method, const Json::Value &data) {
    Json::Value request;
    request["method"] = method;
    request["data"] = data;
    auto &requests = Service::get().requests;
    const std::vector<std::string> expected(reply.present ? 1 : 0, literal::written(request));
    require(requests == expected, "one request is made, with the expected members");
    requests.clear();
    const bool kept = reply.body && reply.outcome == Reply::Outcome::Fails;
    require(Service::get().keptBodies() == (kept ? 1U : 0U),
            "a reply's body is kept only when it says \"fail\"");
    Service::get().releaseKeptBodies();
}

// True and false as a command reads them. Anything but a number and a truth value is an error.
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
    CSourceAPI::m_bIntializedSourceDataMap = true;
    const bool done = command(CSourceAPI::Get());
    const bool expected = reply.arrives() && reply.root.isMember("return_data") &&
                          truth(reply.root["return_data"]).value_or(false);
    require(done == expected, "a command is done when the service says so");
    require(CSourceAPI::m_bIntializedSourceDataMap == !(done && changesNames),
            "a change of names, and nothing else, makes them be read again");
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
            // The icons before the unreadable one are set.
        }
    }
    std::string icon = "a";
    std::pair<std::string, std::string> launcher("b", "c");
    const bool done =
        CSourceAPI::Get()->GetCustomIconPath(sourceType, icon, launcher, activityIndex);
    require(done == expected, "icons are read when they arrive and are readable");
    require(expectedIcons == std::vector<std::string>{icon, launcher.first, launcher.second},
            "icons are those of the reply, up to an unreadable one");
    Json::Value data;
    data["SourceType"] = sourceType;
    data["MbrActivityIndex"] = activityIndex;
    checkCall(reply, "UtilGetCustomIconPath", data);
}

// Whether the service has an answer about a USB device.
bool hasUsbData(const Reply &reply) {
    return reply.arrives() && (!reply.root.isMember("return_data") ||
                               truth(reply.root["return_data"]).value_or(false));
}

void checkUsbText(const Reply &reply) {
    const std::string key = cText(reply.argument);
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

// False with what comes before the unreadable member.
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

// A client that has read nothing yet, and the same for the library's.
literal::Client freshClient(const Reply &reply) {
    CSourceAPI::m_sourceItemArray = Json::Value();
    CSourceAPI::m_SourceDataMap.clear();
    CSourceAPI::m_bIntializedSourceItemArray = false;
    CSourceAPI::m_bIntializedSourceDataMap = false;
    literal::Client client;
    client.settings = storedNames;
    client.calls = reply.body != nullptr;
    client.replyText = reply.text;
    return client;
}

void checkFetch(const Reply &reply, const literal::Client &expected) {
    require(CSourceAPI::m_sourceItemArray == expected.list, "the list is what was sent");
    require(CSourceAPI::m_bIntializedSourceItemArray == expected.listFilled,
            "the list counts as read when it was");
    require(CSourceAPI::m_bIntializedSourceDataMap == expected.namesFilled,
            "the names count as read when they were");
    checkCall(reply, "UtilGetSourceList", Json::Value());
}

void checkListText(const Reply &reply) {
    literal::Client client = freshClient(reply);
    const std::unique_ptr<char, decltype(&std::free)> text(CSourceAPI::Get()->GetSourceList(),
                                                           std::free);
    const std::optional<std::string> expected = client.readList();
    require((text != nullptr) == expected.has_value(), "there is a list when it could be had");
    require(!text || *expected == text.get(), "the list is one line of what was sent");
    checkFetch(reply, client);
}

void checkListRecords(const Reply &reply) {
    literal::Client client = freshClient(reply);
    std::shared_ptr<std::multimap<int, CSourceItem>> items;
    const bool done = CSourceAPI::Get()->GetSourceList(&items);
    literal::Records records;
    require(done == client.readRecords(records), "there are records when all could be read");
    literal::Records read;
    for (const auto &[key, item] : *items) {
        read.insert(
            {key,
             {item.sourceType, item.editName, item.detectedName, item.iconPath, item.uniqueKey,
              item.connectionState, item.powerState, item.mbrActivityIndex, item.settingMethod}});
    }
    require(read == records, "the records are those of the list, up to an unreadable one");
    checkFetch(reply, client);
}

void checkNames(const Reply &reply) {
    literal::Client client = freshClient(reply);
    std::string name = "before";
    const bool named = CSourceAPI::Get()->GetSourceEditName(sourceType, name, activityIndex);
    const bool expected = client.updateCache(Json::Value(""));
    require(named == expected && name == (expected ? "Player" : "before"),
            "a name is found once names and list were read");
    checkFetch(reply, client);

    client = freshClient(reply);
    unsigned int type = 4711;
    const bool typed = CSourceAPI::Get()->GetSourceDeviceType(sourceType, &type, activityIndex);
    require(typed == client.updateCache(Json::Value("")) && type == (expected ? 4U : 4711U),
            "a device type is found once names and list were read");
    checkFetch(reply, client);
}

// The same one level lower: what the transport makes of the body.
void checkTransport(const Reply &reply) {
    SourceTCMessage request;
    request.m_JsonRoot["method"] = "any";
    request.m_JsonRoot["data"] = reply.argument;
    SourceTCMessage answer;
    Reply::Outcome outcome = Reply::Outcome::Fails;
    try {
        if (CSourceAPI::dBusHandler->SendMessage("source_service", &request, false, &answer) != 0) {
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
    Service &service = Service::get();
    const Reply reply(inputText(data, size));
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
    service.forget();
    return 0;
}
