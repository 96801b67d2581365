// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A source's name among many.
#include <cstdlib>

#include "Benchmarks.h"
#include "ByHand.h"
#include "Lists.h"
#include "SourceAPI.h"
#include "Surroundings.h"
#include "sourcelist-dotnet-api.h"

namespace {

constexpr int batch = 1000;

void oneName(benchmark::State &state, int entries) {
    const std::string document = namesDocument(entries);
    setStoredNames(document);
    CSourceAPI::Get();
    CSourceAPI::m_UpdateSourceDataMapCache();
    const SourceNames names = readNames(document);
    // Ten names all over the map: a single one is cheap or dear by where its nodes happen to lie.
    int turn = 0;
    const auto nextType = [&turn, entries] {
        turn = (turn + 1) % 10;
        return 1 + turn * (entries / 10);
    };
    const auto take = [](char *name) {
        require(name != nullptr, "no name");
        std::free(name);
    };
    compareCost(
        state, 2, batch, [&] { take(get_edit_name(nextType(), 0)); },
        [&] { take(nameOf(names, nextType(), 0)); });
    setStoredNames("[]");
    CSourceAPI::m_UpdateSourceDataMapCache();
}

}  // namespace

void addNameBenchmarks(const Plan &plan) {
    for (const int entries : {10, 1000, 100000}) {
        add(plan, "get_edit_name/entries:" + std::to_string(entries), 300,
            [=](benchmark::State &state) { oneName(state, entries); });
    }
}
