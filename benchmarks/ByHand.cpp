// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "ByHand.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <thread>

#include "Platform.h"

namespace bench {

namespace {

std::string decoded(const std::string &text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (text[index] == '%') {
            const char digits[] = {text[index + 1], text[index + 2], '\0'};
            result += static_cast<char>(std::strtoul(digits, nullptr, 16));
            index += 2;
        } else {
            result += text[index];
        }
    }
    return result;
}

}  // namespace

Json::Value parsed(const char *text) {
    // Reused, because creating a reader takes longer than parsing a short text.
    thread_local const std::unique_ptr<Json::CharReader> reader(
        Json::CharReaderBuilder().newCharReader());
    Json::Value value;
    if (!reader->parse(text, text + std::strlen(text), &value, nullptr)) {
        throw std::runtime_error("not JSON");
    }
    return value;
}

std::string oneLine(const Json::Value &value) {
    std::string text = value.toStyledString();
    text.erase(std::remove(text.begin(), text.end(), '\n'), text.end());
    return text;
}

Change readChange(GVariant *body) {
    const char *text = nullptr;
    g_variant_get_child(body, 3, "&s", &text);
    Json::Value root = parsed(text);
    return {std::move(root["return_data"]), root["data"]["result"].asInt()};
}

std::string connectRequest(int sourceType) {
    return "{\n\t\"data\" : \n\t{\n\t\t\"SourceType\" : " + std::to_string(sourceType) +
           "\n\t},\n\t\"method\" : \"SourceConnect\"\n}";
}

bool ByHand::isServiceThere() const {
    const support::Variant reply(g_dbus_connection_call_sync(
        m_connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "NameHasOwner", g_variant_new("(s)", "source_service.message"), G_VARIANT_TYPE("(b)"),
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    if (!reply) {
        return false;
    }
    gboolean owned = FALSE;
    g_variant_get(reply.get(), "(b)", &owned);
    return owned != FALSE;
}

bool ByHand::connectSource(int sourceType) const {
    return isServiceThere() && send(connectRequest(sourceType));
}

bool ByHand::send(const std::string &request) const {
    const support::Variant reply(g_dbus_connection_call_sync(
        m_connection.get(), "source_service.message", "/source_service/message",
        "source_service.message", "SendMessage",
        g_variant_new("(suss)", "source_api", 0U, "", request.c_str()), G_VARIANT_TYPE("(suss)"),
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    if (!reply) {
        return false;
    }
    const char *text = nullptr;
    g_variant_get_child(reply.get(), 3, "&s", &text);
    return parsed(text)["return_data"].asBool();
}

char *listText(const Json::Value &list) {
    return strdup(oneLine(list).c_str());
}

void listRecords(const Json::Value &list, sourceapi_sourcelist_cb callback) {
    for (const Json::Value &source : list) {
        auto *const record =
            static_cast<sourceapi_source_item *>(std::malloc(sizeof(sourceapi_source_item)));
        record->sourceType = source["sourceType"].asInt();
        __dlog_print(0, 4, "BENCH", "[%d] %s\n", record->sourceType, oneLine(source).c_str());
        record->editName = strdup(decoded(source["editName"].asString()).c_str());
        record->detectedName = strdup(decoded(source["detectedName"].asString()).c_str());
        record->iconPath = strdup(source["iconPath"].asCString());
        record->uniqueKey = strdup(source["uniqueKey"].asCString());
        record->osdText = strdup(CSourceUtil::GetLagacySourceType(record->sourceType).c_str());
        record->connectionState = source["connectionState"].asBool();
        record->powerState = source["powerState"].asInt();
        record->mbrActivityIndex = source["mbrActivityIndex"].asInt();
        callback(record->sourceType, record, false);
    }
}

void releaseRecord(int /*key*/, sourceapi_source_item *record, bool /*last*/) {
    std::free(record->editName);
    std::free(record->detectedName);
    std::free(record->iconPath);
    std::free(record->uniqueKey);
    std::free(record->osdText);
    std::free(record);
}

SourceNames readNames(const std::string &document) {
    SourceNames names;
    for (const Json::Value &entry : parsed(document.c_str())) {
        names.emplace(entry["SourceType"].asInt(),
                      SourceName{entry["EditName"].asString(), entry["DetectedName"].asString(),
                                 entry["MbrActivityIndex"].asInt()});
    }
    return names;
}

char *nameOf(const SourceNames &names, int sourceType, int mbrActivityIndex) {
    const auto range = names.equal_range(sourceType);
    for (auto entry = range.first; entry != range.second; ++entry) {
        const SourceName &name = entry->second;
        if (name.mbrActivityIndex == mbrActivityIndex) {
            return strdup(name.editName.empty() ? name.detectedName.c_str()
                                                : name.editName.c_str());
        }
    }
    return nullptr;
}

Emitter::Emitter() : m_connection(support::connectTo(support::systemBusAddress())) {}

void Emitter::emit(const char *member, const std::string &text) const {
    if (g_dbus_connection_emit_signal(
            m_connection.get(), nullptr, "/source_service/message", "source_service.message",
            member, g_variant_new("(suss)", "source_service", 0U, "", text.c_str()),
            nullptr) == FALSE) {
        throw std::runtime_error("the signal could not be sent");
    }
    const gint64 limit = g_get_monotonic_time() + 20 * G_TIME_SPAN_SECOND;
    while (g_main_context_pending(nullptr) == FALSE) {
        if (g_get_monotonic_time() > limit) {
            throw std::runtime_error("the signal did not arrive");
        }
        std::this_thread::yield();
    }
}

void deliver() {
    g_main_context_iteration(nullptr, FALSE);
}

void settleSubscriptions() {
    if (!ByHand().isServiceThere()) {
        throw std::runtime_error("no source service");
    }
}

}  // namespace bench
