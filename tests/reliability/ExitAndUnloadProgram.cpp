// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// An application that exits, or unloads the library, during a call or a callback. Its first
// argument is the name of the case. It prints "ready" when it is prepared and continues when it
// reads a line.
#include <dlfcn.h>
#include <gio/gio.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <iostream>
#include <map>
#include <string>
#include <thread>

namespace {

void *library = nullptr;

template <class Function>
Function entry(const char *name) {
    auto *const function = reinterpret_cast<Function>(dlsym(library, name));
    if (function == nullptr) {
        std::cerr << "missing: " << name << std::endl;
        std::_Exit(3);
    }
    return function;
}

bool connectSource(int type) {
    return entry<bool (*)(int)>("connect_source")(type);
}

void registerCallback(void (*callback)(int, void *)) {
    entry<void (*)(void (*)(int, void *), void *)>("register_sourcelist_changed_callback")(callback,
                                                                                           nullptr);
    connectSource(1);  // the daemon has handled the subscription when this returns
}

void waitForInput() {
    std::cout << "ready" << std::endl;
    std::string line;
    std::getline(std::cin, line);
}

void iterate() {
    g_main_context_iteration(nullptr, TRUE);
}

// A request whose reply the service withholds.
void callInFlight() {
    std::thread([] { connectSource(3); }).detach();
    waitForInput();
}

void exitDuringCall() {
    callInFlight();
}

void unloadDuringCall() {
    callInFlight();
    dlclose(library);
    waitForInput();  // the answer has come meanwhile
}

void exitInCallback() {
    registerCallback([](int, void *) { std::exit(0); });
    waitForInput();
    for (;;) {
        iterate();
    }
}

void unloadInCallback() {
    static bool called = false;
    registerCallback([](int, void *) {
        dlclose(library);
        called = true;
    });
    waitForInput();
    while (!called) {
        iterate();
    }
}

std::promise<void> callbackRuns;

// A callback that runs on another thread and never returns.
void callbackRunning() {
    registerCallback([](int, void *) {
        callbackRuns.set_value();
        std::promise<void>().get_future().wait();
    });
    waitForInput();
    std::thread([] {
        for (;;) {
            iterate();
        }
    }).detach();
    callbackRuns.get_future().wait();
}

void exitWhileCallbackRuns() {
    callbackRunning();
}

void unloadWhileCallbackRuns() {
    callbackRunning();
    dlclose(library);
}

// Signals have arrived in the process, but the main context has not been iterated since.
void signalsQueued() {
    registerCallback([](int, void *) {});
    waitForInput();
    connectSource(3);
}

void exitWithQueuedSignals() {
    signalsQueued();
}

void unloadWithQueuedSignals() {
    signalsQueued();
    dlclose(library);
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
}

void unloadUnused() {
    dlclose(library);
}

void loadAgain() {
    connectSource(3);
    dlclose(library);
    library = dlopen(SOURCE_API_LIBRARY, RTLD_NOW);
    if (!connectSource(4)) {
        std::_Exit(4);
    }
}

}  // namespace

int main(int argc, char **argv) {
    const std::map<std::string, std::function<void()>> scenes{
        {"exit-during-call", exitDuringCall},
        {"unload-during-call", unloadDuringCall},
        {"exit-in-callback", exitInCallback},
        {"unload-in-callback", unloadInCallback},
        {"exit-while-callback-runs", exitWhileCallbackRuns},
        {"unload-while-callback-runs", unloadWhileCallbackRuns},
        {"exit-with-queued-signals", exitWithQueuedSignals},
        {"unload-with-queued-signals", unloadWithQueuedSignals},
        {"unload-unused", unloadUnused},
        {"load-again", loadAgain},
    };
    library = dlopen(SOURCE_API_LIBRARY, RTLD_NOW);
    const auto scene = scenes.find(argc > 1 ? argv[1] : "");
    if (library == nullptr || scene == scenes.end()) {
        std::cerr << (library == nullptr ? dlerror() : "which scene?") << std::endl;
        return 2;
    }
    scene->second();
    return 0;
}
