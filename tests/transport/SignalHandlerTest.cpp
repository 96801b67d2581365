// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The function that the bus library calls for each signal, and exceptions out of a callback.
#include <optional>
#include <stdexcept>

#include "SignalTest.h"

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

class SignalHandlerTest : public SignalTest {};

TEST_F(SignalHandlerTest, TheHandlerNeedsInterfaceAndSignalName) {
    subscribe();
    handle(plainBody("{}"), &endpoint, signalName, nullptr);
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(" sender(:1.7) object(/source_service/message) interface((null)) "
                                  "signal(source_api)")));
    platform.clearLog();
    handle(plainBody("{}"), &endpoint, nullptr);
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(" sender(:1.7) object(/source_service/message) "
                                  "interface(source_service.message) signal((null))")));
    EXPECT_THAT(deliveries, IsEmpty());
}

TEST_F(SignalHandlerTest, TheHandlerNeedsTheEndpoint) {
    handle(plainBody("{}"), nullptr);
    EXPECT_THAT(platform.log(), ElementsAre(Error(directEntryLine),
                                            AllOf(Error("pThis is NULL"),
                                                  From("SourceTCServer.cpp", "m_DSignalHandler"))));
}

TEST_F(SignalHandlerTest, TheHandlerLooksAtTheNamesBeforeTheEndpoint) {
    handle(plainBody("{}"), nullptr, nullptr);
    EXPECT_THAT(platform.log(), SizeIs(1));
}

TEST_F(SignalHandlerTest, TheHandlerDropsANameThatIsNotSubscribed) {
    handle(plainBody("{}"), &endpoint);
    EXPECT_THAT(platform.log(), ElementsAre(Error(directEntryLine),
                                            AllOf(Info("no register info of source_api"),
                                                  From("SourceTCServer.cpp", "m_DSignalHandler"))));
}

TEST_F(SignalHandlerTest, TheHandlerTakesAnEntryWithoutARecordForOneWithoutACallback) {
    peer.subscriptions[signalName] = nullptr;
    handle(plainBody("{}"), &endpoint);
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(directEntryLine), Info("begin to analyze signal of source_api"),
                            Info("(suss)"), Info("no registered callback of source_api")));
}

TEST_F(SignalHandlerTest, TheHandlerDeliversASignalWithoutABodyEmpty) {
    subscribe();
    handle(nullptr, &endpoint);
    ASSERT_THAT(deliveries, SizeIs(1));
    EXPECT_EQ(deliveries[0].sender, std::nullopt);
    EXPECT_EQ(deliveries[0].text, "");
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(directEntryLine), Info("begin to analyze signal of source_api")));
}

TEST_F(SignalHandlerTest, TheHandlerNeverTouchesADeadEndpoint) {
    std::optional<SourceTCServer> mortal;
    mortal.emplace("mortal", SourceTCServer::PROXY);
    peerOf(*mortal).subscriptions[signalName] = nullptr;
    void *const dead = &*mortal;
    mortal.reset();
    platform.clearLog();
    handle(plainBody("{}"), dead);
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(directEntryLine), Info("no register info of source_api")));
}

TEST_F(SignalHandlerTest, AJsonExceptionIsLoggedAndTheApplicationGoesOn) {
    subscribe(throwIt<Json::LogicError>);
    emitAndDeliver(bufferBody("{}", {1, 2}, 7, "auxiliary"));
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(entryLine()), Info("begin to analyze signal of source_api"),
                            Info("(sussa(y))"),
                            AllOf(Error("Exception occured! [from the callback]"),
                                  From("SourceTCServer.cpp", "m_DSignalHandler"))));
    emitAndDeliver(plainBody("{}"));
    EXPECT_THAT(deliveries, SizeIs(2)) << "the next one arrives all the same";
}

TEST_F(SignalHandlerTest, EveryKindOfJsonExceptionIsCaught) {
    subscribe(throwIt<Json::RuntimeError>);
    EXPECT_NO_THROW(handle(plainBody("{}"), &endpoint));
    EXPECT_THAT(platform.log(), Contains(Error("Exception occured! [from the callback]")));
}

TEST_F(SignalHandlerTest, AnyOtherExceptionPasses) {
    subscribe(throwIt<std::runtime_error>);
    EXPECT_THROW(handle(bufferBody("{}", {1, 2}, 7, "auxiliary"), &endpoint), std::runtime_error);
    EXPECT_THAT(platform.log(), Not(Contains(ErrorWith("Exception occured"))));
}

}  // namespace
