// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Prints the seconds from the start of a process's first request to the reply.
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>

#include "ByHand.h"
#include "Clock.h"
#include "Platform.h"
#include "sourcelist-dotnet-api.h"

namespace {

constexpr int sourceType = 3;

void ignore(GDBusConnection * /*connection*/, const char * /*sender*/, const char * /*path*/,
            const char * /*interface*/, const char * /*signal*/, GVariant * /*body*/,
            gpointer /*userData*/) {}

bool firstReplyByHand() {
    const bench::ByHand hand;
    const std::unique_ptr<char, decltype(&std::free)> names(
        vconf_get_str("db/source-list/source-name"), std::free);
    const Json::Value read = bench::parsed(names.get());
    g_dbus_connection_signal_subscribe(hand.connection(), nullptr, nullptr, bench::librarySignal,
                                       nullptr, nullptr, G_DBUS_SIGNAL_FLAGS_NONE, ignore, nullptr,
                                       nullptr);
    return read.isArray() && hand.connectSource(sourceType);
}

}  // namespace

int main(int argc, char **argv) {
    const bool library = argc == 2 && std::strcmp(argv[1], "library") == 0;
    bool done = false;
    const double seconds =
        bench::secondsOf([&] { done = library ? connect_source(sourceType) : firstReplyByHand(); });
    std::cout << seconds << '\n';
    return done ? 0 : 1;
}
