// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A new endpoint, the names it makes, and its layout.
#include <string>
#include <type_traits>

#include "EndpointTest.h"
#include "LockState.h"
#include "ObjectLayout.h"

using testing::IsEmpty;

namespace {

class EndpointLayoutTest : public EndpointTest {};

TEST_F(EndpointLayoutTest, ANewOneIsClosedAndHasNothing) {
    EXPECT_EQ(peer.type, SourceTCServer::PROXY);
    EXPECT_EQ(peer.name, "source_api");
    EXPECT_EQ(peer.busName, "source_api.message");
    EXPECT_EQ(peer.extraName, "");
    EXPECT_EQ(peer.reserved, 0U);
    EXPECT_EQ(peer.ownerId, 0U);
    EXPECT_EQ(peer.registrationId, 0U);
    EXPECT_EQ(peer.introspectionData, nullptr);
    EXPECT_EQ(peer.callsInFlight, 0U);
    expectClosed(endpoint);
    EXPECT_TRUE(isFree(peer.mutex));
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(EndpointLayoutTest, TheProxyKindIsTwoAndAnyOtherNumberIsStoredAsGiven) {
    static_assert(SourceTCServer::PROXY == 2);
    static_assert(std::is_same_v<std::underlying_type_t<SourceTCServer::SourceTCServerType>, int>);
    SourceTCServer odd("odd", static_cast<SourceTCServer::SourceTCServerType>(-77));
    EXPECT_EQ(peerOf(odd).type, -77);
}

TEST_F(EndpointLayoutTest, ItsOwnNamesAreKeptAsGiven) {
    SourceTCServer odd("an odd-name", SourceTCServer::PROXY);
    EXPECT_EQ(peerOf(odd).name, "an odd-name");
    EXPECT_EQ(peerOf(odd).busName, "an odd-name.message");
}

TEST_F(EndpointLayoutTest, TheRegistryOfEndpointsIsLeftEmpty) {
    open();
    EXPECT_THAT(EndpointPeer::registry(), IsEmpty());
}

TEST_F(EndpointLayoutTest, ANameOfLettersDigitsUnderscoresAndDotsStays) {
    for (const std::string plain : {"source_service.message", "AZaz09_.", ".", "x"}) {
        std::string name = plain;
        EXPECT_EQ(EndpointPeer::sanitise(endpoint, name), 0) << plain;
        EXPECT_EQ(name, plain);
    }
}

TEST_F(EndpointLayoutTest, HyphenAndBlankBecomeUnderscores) {
    std::string name = "a-b c.message";
    EXPECT_EQ(EndpointPeer::sanitise(endpoint, name), 1);
    EXPECT_EQ(name, "a_b_c.message");
}

TEST_F(EndpointLayoutTest, AnEmptyNameStays) {
    std::string name;
    EXPECT_EQ(EndpointPeer::sanitise(endpoint, name), 0);
    EXPECT_EQ(name, "");
}

TEST_F(EndpointLayoutTest, EveryOtherByteBecomesAnUnderscore) {
    const std::string allowed = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz.";
    for (int byte = 0; byte < 256; ++byte) {
        const auto character = static_cast<char>(byte);
        const bool stays = allowed.find(character) != std::string::npos;
        std::string name{'a', character, 'z'};
        EXPECT_EQ(EndpointPeer::sanitise(endpoint, name), stays ? 0 : 1) << byte;
        EXPECT_EQ(name, (std::string{'a', stays ? character : '_', 'z'})) << byte;
    }
}

TEST_F(EndpointLayoutTest, FirstAndLastCharacterAreReplacedToo) {
    std::string name = "-é-";
    EXPECT_EQ(EndpointPeer::sanitise(endpoint, name), 1);
    EXPECT_EQ(name, "____") << "one for each byte";
}

TEST_F(EndpointLayoutTest, ItsVirtualOperationsAreTheDestructor) {
    expectVirtualOperations(endpoint, {"_ZN14SourceTCServerD1Ev", "_ZN14SourceTCServerD0Ev"});
}

TEST_F(EndpointLayoutTest, ItsMembersLieInOrder) {
    EXPECT_TRUE(areInOrder(&peer.type, &peer.isOpen, &peer.name, &peer.busName, &peer.extraName,
                           &peer.reserved, &peer.connection, &peer.ownerId, &peer.registrationId,
                           &peer.introspectionData, &peer.subscriptions, &peer.mutex,
                           &peer.callsInFlight));
}

TEST_F(EndpointLayoutTest, ASubscriptionsFieldsLieInOrder) {
    const SourceTCServer::STSignalControl control{};
    EXPECT_TRUE(areInOrder(&control.signalName, &control.callback, &control.userData,
                           &control.subscriptionId));
}

}  // namespace
