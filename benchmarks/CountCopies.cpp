// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Prints how often an operation of the library copies the whole source list: the number of copied
// JSON values, nested ones included, divided by the number of values in the list.
#include <dlfcn.h>
#include <json/json.h>

#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <string>

#include "ByHand.h"
#include "ServiceData.h"
#include "SourceAPI.h"
#include "SourceApiPeer.h"
#include "sourcelist-dotnet-api.h"

// Replaces the copy constructor of Json::Value, given by its mangled name.
extern "C" void countedCopy(void *copy, const void *original) asm("_ZN4Json5ValueC1ERKS0_");

namespace {

constexpr int sources = 100;
long copies = 0;

void receiveSignal(int generation) {
    static const bench::Emitter emitter;
    emitter.emit(bench::librarySignal, bench::changeText(sources, generation));
    copies = 0;
    bench::deliver();
}

// Each sets `copies` to the number of values that the operation copied.
const std::map<std::string, std::function<void()>> operations = {
    {"text",
     [] {
         copies = 0;
         std::free(get_source_list());
     }},
    {"records",
     [] {
         copies = 0;
         sourceapi_get_sourcelist(bench::releaseRecord);
     }},
    // The first signal after the list was loaded is not compared with it; the second one is.
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
    // The JSON library initialises new members with copies of null.
    if (!static_cast<const Json::Value *>(original)->isNull()) {
        ++copies;
    }
    real(copy, original);
}

int main(int argc, char **argv) {
    const auto operation = argc == 2 ? operations.find(argv[1]) : operations.end();
    if (operation == operations.end()) {
        return 2;
    }
    CSourceAPI::Get();
    bench::settleSubscriptions();
    const Json::Value list = bench::sourceList(sources);
    copies = 0;
    ClientPeer::updateCaches(list);
    // Verifies the counter: that made one copy of the list and of a few single values.
    if (copies < bench::valuesIn(list) || copies > bench::valuesIn(list) * 11 / 10) {
        std::cerr << "copies are not counted: " << copies << " of " << bench::valuesIn(list)
                  << '\n';
        return 1;
    }
    operation->second();
    std::cout << static_cast<double>(copies) / static_cast<double>(bench::valuesIn(list)) << '\n';
}
