// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A lack of memory while a C program reads the list. This program replaces malloc(), on which
// operator new relies, so that each allocation of a call can be made to fail. The list is cached
// first, since GLib, which the fetch uses, ends a process that has no memory.
#include <gmock/gmock.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Platform.h"
#include "SourceApiPeer.h"
#include "source_api.h"
#include "sourcelist-dotnet-api.h"

extern "C" void *__libc_malloc(std::size_t size);

namespace {

constexpr int unlimited = -1;

// How many allocations of this thread still succeed before one fails.
thread_local int successesLeft = unlimited;

int failureLines = 0;
int receivedRecords = 0;
int nullTexts = 0;

}  // namespace

extern "C" void *malloc(std::size_t size) {
    if (successesLeft != unlimited && successesLeft-- == 0) {
        errno = ENOMEM;
        return nullptr;
    }
    return __libc_malloc(size);
}

extern "C" int __dlog_print(int /*logId*/, int priority, const char * /*tag*/, const char *format,
                            ...) {
    if (priority == 6 && std::strstr(format, "GetSourceList failed!") != nullptr) {
        ++failureLines;
    }
    return 0;
}

extern "C" char *vconf_get_str(const char * /*key*/) {
    return nullptr;
}

extern "C" int FerrelWaitEvent(const char * /*eventName*/, int /*timeout*/) {
    return 0;
}

std::string CSourceUtil::GetLagacySourceType(int /*sourceType*/) {
    return "an on-screen text that needs an allocation";
}

namespace {

void releaseText(char *text) {
    nullTexts += text == nullptr ? 1 : 0;
    std::free(text);
}

void takeRecord(int /*key*/, sourceapi_source_item *record, bool /*last*/) {
    ++receivedRecords;
    releaseText(record->editName);
    releaseText(record->detectedName);
    releaseText(record->iconPath);
    releaseText(record->uniqueKey);
    releaseText(record->osdText);
    std::free(record);
}

class OutOfMemoryTest : public testing::Test {
 protected:
    OutOfMemoryTest() {
        setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
        CSourceAPI::Get();
        Json::Value source;
        source["sourceType"] = 3;
        source["editName"] = "a name that is too long for the string itself";
        source["uniqueKey"] = "a key that is too long for the string itself";
        Json::Value list;
        list.append(source);
        list.append(source);
        ClientPeer::setList(list);
        SourceNameList name;
        name.editName = "a name that is too long for the string itself";
        name.mbrActivityIndex = 0;
        ClientPeer::setNames({{3, name}});
        ClientPeer::hasNames() = true;
        // Allocates what the library keeps between calls.
        EXPECT_TRUE(sourceapi_get_sourcelist(takeRecord));
    }
};

TEST_F(OutOfMemoryTest, ListEndsWithALogLineOrARecordWithoutAText) {
    int succeeded = 0;
    int failed = 0;
    for (bool happened = true; happened;) {
        receivedRecords = nullTexts = failureLines = 0;
        successesLeft = succeeded + failed;
        const bool isRead = sourceapi_get_sourcelist(takeRecord);
        happened = successesLeft == unlimited;
        successesLeft = unlimited;
        if (isRead) {
            EXPECT_EQ(receivedRecords, 2);
            EXPECT_EQ(nullTexts, happened ? 1 : 0);
            EXPECT_EQ(failureLines, 0);
            ++succeeded;
        } else {
            EXPECT_LT(receivedRecords, 2);
            EXPECT_EQ(failureLines, 1);
            ++failed;
        }
    }
    // Two records of five texts each, and the call without a failure.
    EXPECT_EQ(succeeded, 2 * 5 + 1);
    // At least the two records, and the copies of the list that they are made from.
    EXPECT_GT(failed, 10);
    EXPECT_TRUE(sourceapi_get_sourcelist(takeRecord));
}

TEST_F(OutOfMemoryTest, EditNameIsNullIfItsCopyCannotBeAllocated) {
    // The first allocation is that of the C++ text, the second that of the copy.
    successesLeft = 1;
    char *const name = get_edit_name(3, 0);
    EXPECT_EQ(successesLeft, unlimited);
    successesLeft = unlimited;
    EXPECT_EQ(name, nullptr);
}

}  // namespace
