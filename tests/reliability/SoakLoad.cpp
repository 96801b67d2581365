// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SoakLoad.h"

#include <json/json.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <string>

#include "FakeService.h"
#include "SoakService.h"
#include "source_api.h"
#include "sourcelist-dotnet-api.h"

Findings findings;

namespace {

struct FreeText {
    void operator()(char *text) const { std::free(text); }
};
using Text = std::unique_ptr<char, FreeText>;

// Every element contains the generation of its list, so that mixed lists are detected.
void expectOneGeneration(const std::set<std::string> &keys) {
    findings.expect(keys.size() <= 1, "a list with elements of several lists");
}

void readListAsText() {
    const Text text(get_source_list());
    if (!text) {
        return;
    }
    const Json::Value list = parsedJson(text.get());
    findings.expect(list.isArray() && list.size() == soakSources, text.get());
    std::set<std::string> keys;
    for (const Json::Value &source : list) {
        keys.insert(source["uniqueKey"].asString());
    }
    expectOneGeneration(keys);
}

thread_local std::set<std::string> *recordKeys = nullptr;
thread_local unsigned int recordCount = 0;

void takeRecord(int key, sourceapi_source_item *item, bool last) {
    findings.expect(key == item->sourceType && !last, "a record under another key");
    findings.expect(std::string(item->editName) == "Söurce " + std::to_string(key), item->editName);
    recordKeys->insert(item->uniqueKey);
    ++recordCount;
    for (char *text :
         {item->editName, item->detectedName, item->iconPath, item->uniqueKey, item->osdText}) {
        std::free(text);
    }
    std::free(item);
}

void readListAsRecords() {
    std::set<std::string> keys;
    recordKeys = &keys;
    recordCount = 0;
    if (sourceapi_get_sourcelist(takeRecord)) {
        findings.expect(recordCount == soakSources, "a list of another length");
    }
    expectOneGeneration(keys);
}

void readNames(int turn) {
    const Text name(get_edit_name(7, turn % 2));
    const char *const expected = turn % 2 == 0 ? "Game" : "Player";
    findings.expect(!name || std::strcmp(name.get(), expected) == 0, name ? name.get() : "");
    const unsigned int type = get_device_type(7, 0);
    findings.expect(type == 3 || type == 0, "device type " + std::to_string(type));
    const unsigned int same = sourceapi_get_source_device_type(7, 1);
    findings.expect(same == 4 || same == 0, "device type " + std::to_string(same));
    const Text onScreen(get_source_osd_text(turn));
    findings.expect(std::to_string(turn) == onScreen.get(), onScreen.get());
}

// The service accepts odd source types and refuses even ones.
void sendCommands(int turn) {
    const bool even = turn % 2 == 0;
    const std::string key = "key" + std::to_string(turn);
    for (const bool done :
         {connect_source(turn), sourceapi_connect(turn),
          connect_source_with_uniquekey(turn, key.c_str()), sourceapi_run_app(turn, key.c_str()),
          set_edit_name(turn, "name", 0), set_device_type(turn, 5, 0),
          set_source_detetedname_and_devicetype(turn, "name", 5, 0)}) {
        findings.expect(!(done && even), "success of a command that the service refused");
    }
}

void readDevice(int turn) {
    const std::string key = "usb" + std::to_string(turn);
    const Text data(get_usb_data(key.c_str()));
    findings.expect(!data || parsedJson(data.get())["deviceName"] == key, data ? data.get() : "");
}

// After unregistering has returned, the function is not called any more.
struct ShortRegistration {
    std::atomic<bool> isActive{true};
    static void call(int /*value*/, void *self) {
        findings.expect(static_cast<ShortRegistration *>(self)->isActive,
                        "a call after unregistering");
    }
};

void registerAndUnregister(int turn) {
    ShortRegistration registration;
    if (turn % 2 == 0) {
        register_sourcelist_changed_callback(ShortRegistration::call, &registration);
        unregister_sourcelist_changed_callback(&registration);
    } else {
        sourceapi_register_source_api_cb(ShortRegistration::call, &registration);
        sourceapi_unregister_source_api_cb(&registration);
    }
    registration.isActive = false;
}

}  // namespace

void useEveryEntryPoint(int turn) {
    readListAsText();
    readListAsRecords();
    readNames(turn);
    sendCommands(turn);
    readDevice(turn);
    registerAndUnregister(turn);
}
