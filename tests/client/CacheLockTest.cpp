// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Each operation on the cached list or the cached names takes m_sourceUtilMutex.
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>

#include "SourceListTest.h"
#include "Threads.h"

namespace {

struct CacheOperation {
    const char *name;
    void (*run)();
};

void setList() {
    ClientPeer::setList(Json::arrayValue);
}

void compareList() {
    ClientPeer::isNewList(Json::arrayValue);
}

void renderList() {
    ClientPeer::listText();
}

void readListAsText() {
    std::free(CSourceAPI::Get()->GetSourceList());
}

void readListAsRecords() {
    RecordsPtr records;
    EXPECT_TRUE(CSourceAPI::Get()->GetSourceList(&records));
}

void setNames() {
    ClientPeer::setNames({});
}

void queryName() {
    std::string name;
    EXPECT_TRUE(CSourceAPI::Get()->GetSourceEditName(7, name, 0));
}

void queryDeviceType() {
    unsigned int deviceType = 0;
    EXPECT_TRUE(CSourceAPI::Get()->GetSourceDeviceType(7, &deviceType, 0));
}

void rename() {
    EXPECT_TRUE(CSourceAPI::Get()->SetSourceEditName(7, "new", 0));
}

class CacheLockTest : public SourceListTest, public testing::WithParamInterface<CacheOperation> {};

TEST_P(CacheLockTest, OperationWaitsForTheLock) {
    service.reply(R"({"return_data":true})");
    readRecords();
    std::unique_lock<std::recursive_mutex> lock(m_sourceUtilMutex);
    const auto running = onThread(GetParam().run);
    EXPECT_TRUE(staysBlocked(running));
    lock.unlock();
    EXPECT_TRUE(ends(running));
}

INSTANTIATE_TEST_SUITE_P(Operations, CacheLockTest,
                         testing::Values(CacheOperation{"SetList", setList},
                                         CacheOperation{"CompareList", compareList},
                                         CacheOperation{"RenderList", renderList},
                                         CacheOperation{"ReadListAsText", readListAsText},
                                         CacheOperation{"ReadListAsRecords", readListAsRecords},
                                         CacheOperation{"SetNames", setNames},
                                         CacheOperation{"QueryName", queryName},
                                         CacheOperation{"QueryDeviceType", queryDeviceType},
                                         CacheOperation{"Rename", rename}),
                         [](const auto &operation) { return operation.param.name; });

}  // namespace
