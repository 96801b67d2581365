// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Reading the cached list, as text and as records.
#include <cstdlib>
#include <cstring>

#include "Benchmarks.h"
#include "ByHand.h"
#include "Lists.h"
#include "SourceAPI.h"
#include "source_api.h"
#include "sourcelist-dotnet-api.h"

namespace {

void asText(benchmark::State &state, int sources) {
    const Json::Value list = sourceList(sources);
    CSourceAPI::m_UpdateCache(sourceList(sources));
    compareCost(
        state, 1.15, 1, [] { std::free(get_source_list()); }, [&] { std::free(listText(list)); });
}

void asRecords(benchmark::State &state, int sources) {
    const Json::Value list = sourceList(sources);
    CSourceAPI::m_UpdateCache(sourceList(sources));
    compareCost(
        state, 1.35, 1,
        [] { require(sourceapi_get_sourcelist(releaseRecord), "sourceapi_get_sourcelist"); },
        [&] { listRecords(list, releaseRecord); });
}

}  // namespace

void addListBenchmarks(const Plan &plan) {
    for (const int sources : listSizes) {
        const std::string size = "/sources:" + std::to_string(sources);
        const int iterations = std::max(7, 20000 / sources);
        add(plan, "get_source_list" + size, iterations,
            [=](benchmark::State &state) { asText(state, sources); });
        add(plan, "sourceapi_get_sourcelist" + size, iterations,
            [=](benchmark::State &state) { asRecords(state, sources); });
    }
}
