// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What locks and messages log. Programs read these lines, so texts and levels are part of the
// interface.
#include "AllocationFailure.h"
#include "LogTable.h"
#include "SourceTCHandler.h"
#include "SourceTCMessage.h"

namespace {

class LockLogTest : public testing::TestWithParam<LogRow<LockLogTest>> {
 public:
    SourceTCSemaphore semaphore;
    SourceTCMutex mutex;
};

const LogRow<LockLogTest> lockRows[] = {
    {"Create",
     "without memory",
     [](auto &test) {
         const AllocationFailure failure(0);
         test.semaphore.Create(1);
     },
     {error("can't allocate memory")}},
    {"Try",
     "of a semaphore that is not created",
     [](auto &test) {
         test.semaphore.Try(1000);
         test.semaphore.Try(TKestrel_INFINITY - 1UL);
     },
     {error("m_EventMutex is NULL"), error("m_EventMutex is NULL")}},
    {"Try",
     "of a lock that is not created",
     [](auto &test) { test.mutex.Try(1000); },
     {error("m_EventMutex is NULL")}},
    {"Try",
     "that times out",
     [](auto &test) {
         test.semaphore.Create(0);
         test.semaphore.Try(0);
         test.semaphore.Destroy();
     },
     {}},
    {"Destroy",
     "of a semaphore",
     [](auto &test) {
         test.semaphore.Create(1);
         test.semaphore.Destroy();
     },
     {error("")}},
    {"Destroy",
     "of a lock, and once more",
     [](auto &test) {
         test.mutex.Destroy();
         test.mutex.Create();
         test.mutex.Destroy();
         test.mutex.Destroy();
     },
     {error("")}},
};

TEST_P(LockLogTest, WritesTheseLines) {
    expectLinesOf(GetParam(), *this, "SourceTCHandler.cpp");
}

INSTANTIATE_TEST_SUITE_P(Locks, LockLogTest, testing::ValuesIn(lockRows), nameOfRow<LockLogTest>);

class MessageLogTest : public testing::TestWithParam<LogRow<MessageLogTest>> {
 public:
    SourceTCMessage message;
};

const LogRow<MessageLogTest> messageRows[] = {
    {"Parse",
     "of text that is not JSON",
     [](auto &test) {
         test.message.SetMessage("two words");
         test.message.SetMessage("");
         test.message.SetMessage(std::string(2000, '['));
     },
     {info(" NOT JSON TYPE MESSAGE!"), info(" NOT JSON TYPE MESSAGE!"),
      info(" NOT JSON TYPE MESSAGE!")}},
    {"Parse",
     "of JSON",
     [](auto &test) {
         test.message.SetMessage(R"({"a":1})");
         test.message.SetMessage("{}");
     },
     {}},
};

TEST_P(MessageLogTest, WritesTheseLines) {
    expectLinesOf(GetParam(), *this, "SourceTCMessage.cpp");
}

INSTANTIATE_TEST_SUITE_P(Messages, MessageLogTest, testing::ValuesIn(messageRows),
                         nameOfRow<MessageLogTest>);

}  // namespace
