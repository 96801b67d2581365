// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Prints how often a path through the library copies the whole source list: every JSON value that
// is copied is counted, those inside others too, and divided by the values of the list.
#include <dlfcn.h>
#include <json/json.h>

#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <string>

#include "ByHand.h"
#include "Lists.h"
#include "Signals.h"
#include "SourceAPI.h"
#include "sourcelist-dotnet-api.h"

// The copy constructor of Json::Value by the name that linkers know, in place of the JSON
// library's own.
extern "C" void countedCopy(void *copy, const void *original) asm("_ZN4Json5ValueC1ERKS0_");

namespace {

constexpr int sources = 100;
long copies = 0;

void receiveSignal(int generation) {
    static const Emitter emitter;
    emitter.emit(librarySignal, changeText(sources, generation));
    copies = 0;
    deliver();
}

// Each leaves in `copies` what the path alone has copied.
const std::map<std::string, std::function<void()>> paths = {
    {"text",
     [] {
         copies = 0;
         std::free(get_source_list());
     }},
    {"records",
     [] {
         copies = 0;
         sourceapi_get_sourcelist(releaseRecord);
     }},
    // The first signal after the list was loaded is not compared, the next one is.
    {"first-signal", [] { receiveSignal(1); }},
    {"compared-signal",
     [] {
         receiveSignal(1);
         receiveSignal(2);
     }},
};

}  // namespace

void countedCopy(void *copy, const void *original) {
    static const auto real = reinterpret_cast<void (*)(void *, const void *)>(
        dlsym(RTLD_NEXT, "_ZN4Json5ValueC1ERKS0_"));
    // The JSON library fills new members with copies of null.
    if (!static_cast<const Json::Value *>(original)->isNull()) {
        ++copies;
    }
    real(copy, original);
}

int main(int argc, char **argv) {
    const auto path = argc == 2 ? paths.find(argv[1]) : paths.end();
    if (path == paths.end()) {
        return 2;
    }
    CSourceAPI::Get();
    settleSubscriptions();
    const Json::Value list = sourceList(sources);
    copies = 0;
    CSourceAPI::m_UpdateCache(Json::Value(list));
    // The counter itself works: that was one copy, and a few single values.
    if (copies < valuesIn(list) || copies > valuesIn(list) * 11 / 10) {
        std::cerr << "copies are not counted: " << copies << " of " << valuesIn(list) << '\n';
        return 1;
    }
    path->second();
    std::cout << static_cast<double>(copies) / static_cast<double>(valuesIn(list)) << '\n';
}
