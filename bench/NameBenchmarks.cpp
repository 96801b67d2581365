// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A source's name among many.
#include <cstdlib>
#include <cstring>

#include "Benchmarks.h"
#include "ByHand.h"
#include "Lists.h"
#include "SourceAPI.h"
#include "Surroundings.h"
#include "sourcelist-dotnet-api.h"

namespace {

constexpr int batch = 1000;

void nameOf(benchmark::State &state, int entries) {
    const std::string document = namesDocument(entries);
    setStoredNames(document);
    CSourceAPI::Get();
    CSourceAPI::m_UpdateSourceDataMapCache();
    const std::multimap<int, std::string> names = readNames(document);
    const int wanted = entries / 2;
    compareCost(
        state, 2, batch,
        [=] {
            char *const name = get_edit_name(wanted, 0);
            require(name != nullptr, "get_edit_name");
            std::free(name);
        },
        [&] {
            const auto found = names.find(wanted);
            require(found != names.end(), "a look-up by hand");
            char *const name = strdup(found->second.c_str());
            benchmark::DoNotOptimize(name);
            std::free(name);
        });
    setStoredNames("[]");
    CSourceAPI::m_UpdateSourceDataMapCache();
}

}  // namespace

void addNameBenchmarks(const Plan &plan) {
    for (const int entries : {10, 1000, 100000}) {
        add(plan, "get_edit_name/entries:" + std::to_string(entries), 300,
            [=](benchmark::State &state) { nameOf(state, entries); });
    }
}
