// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The function that GDBus calls for each signal, and exceptions thrown by a callback.
#include <optional>
#include <stdexcept>

#include "SignalTest.h"

using testing::IsEmpty;
using testing::SizeIs;

namespace {

class SignalHandlerTest : public SignalTest {};

TEST_F(SignalHandlerTest, TheHandlerNeedsInterfaceAndSignalName) {
    subscribe();
    handle(plainBody("{}"), &endpoint, signalName, nullptr);
    handle(plainBody("{}"), &endpoint, nullptr);
    EXPECT_THAT(deliveries, IsEmpty());
}

TEST_F(SignalHandlerTest, TheHandlerLooksAtTheNamesBeforeTheEndpoint) {
    handle(plainBody("{}"), nullptr, nullptr);
    EXPECT_THAT(platform.log(), SizeIs(1));
}

TEST_F(SignalHandlerTest, TheHandlerDeliversASignalWithoutABodyEmpty) {
    subscribe();
    handle(nullptr, &endpoint);
    ASSERT_THAT(deliveries, SizeIs(1));
    EXPECT_EQ(deliveries[0].sender, std::nullopt);
    EXPECT_EQ(deliveries[0].text, "");
}

TEST_F(SignalHandlerTest, AJsonExceptionDoesNotEndTheApplication) {
    subscribe(throwIt<Json::LogicError>);
    emitAndDeliver(bufferBody("{}", {1, 2}, 7, "auxiliary"));
    emitAndDeliver(plainBody("{}"));
    EXPECT_THAT(deliveries, SizeIs(2)) << "the next one arrives all the same";
}

TEST_F(SignalHandlerTest, EveryKindOfJsonExceptionIsCaught) {
    subscribe(throwIt<Json::RuntimeError>);
    EXPECT_NO_THROW(handle(plainBody("{}"), &endpoint));
}

TEST_F(SignalHandlerTest, AnyOtherExceptionPasses) {
    subscribe(throwIt<std::runtime_error>);
    EXPECT_THROW(handle(bufferBody("{}", {1, 2}, 7, "auxiliary"), &endpoint), std::runtime_error);
}

}  // namespace
