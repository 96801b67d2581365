// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Faults of the settings store: the result of each call, which calls throw, and that the next valid
// document is used.

#include <memory>
#include <optional>

#include "ClientTest.h"

namespace {

class SettingsFaultTest : public ClientTest {
 protected:
    SettingsFaultTest() { service.replyTo("UtilGetSourceList", R"({"return_data":[]})"); }

    // The store changes while the library is in use, and the next query reads it again.
    void changeStore(std::optional<std::string> document) {
        CSourceAPI::Get();
        platform.setSourceNames(std::move(document));
        ClientPeer::hasNames() = false;
        platform.clearLog();
    }

    std::optional<std::string> nameOf(int sourceType) {
        std::string name;
        return CSourceAPI::Get()->GetSourceEditName(sourceType, name, 0)
                   ? std::optional<std::string>(name)
                   : std::nullopt;
    }

    void expectNextDocumentWorks() {
        platform.setSourceNames(names);
        ClientPeer::hasNames() = false;
        EXPECT_EQ(nameOf(7), "Game");
    }

    static constexpr const char *wrongType =
        R"([{"SourceType":7,"EditName":"New","DeviceType":"three"}])";
};

TEST_F(SettingsFaultTest, AMissingKeyFailsTheQueryAndIsReadAgain) {
    changeStore(std::nullopt);
    EXPECT_EQ(nameOf(7), std::nullopt);
    EXPECT_TRUE(ClientPeer::names().empty());
    platform.setSourceNames(names);
    EXPECT_EQ(nameOf(7), "Game");
}

TEST_F(SettingsFaultTest, MalformedJsonIsAnEmptyMapThatIsNotReadAgain) {
    for (const char *rubbish : {"", "{", "rubbish", "[{]"}) {
        changeStore(rubbish);
        EXPECT_EQ(nameOf(7), std::nullopt) << rubbish;
        EXPECT_TRUE(ClientPeer::hasNames());
        const std::size_t reads = platform.settingReads().size();
        EXPECT_EQ(nameOf(7), std::nullopt);
        EXPECT_EQ(platform.settingReads().size(), reads);
    }
    expectNextDocumentWorks();
}

TEST_F(SettingsFaultTest, TooDeeplyNestedJsonIsTreatedAsMalformed) {
    changeStore(std::string(5000, '[') + std::string(5000, ']'));
    EXPECT_EQ(nameOf(7), std::nullopt);
    expectNextDocumentWorks();
}

TEST_F(SettingsFaultTest, AWrongTypeThrowsInTheQueryAndLeavesTheCache) {
    changeStore(wrongType);
    std::string name = "old";
    unsigned int type = 99;
    EXPECT_THROW(CSourceAPI::Get()->GetSourceEditName(7, name, 0), Json::Exception);
    EXPECT_THROW(CSourceAPI::Get()->GetSourceDeviceType(7, &type, 0), Json::Exception);
    EXPECT_EQ(name, "old");
    EXPECT_EQ(type, 99U);
    EXPECT_EQ(ClientPeer::names().size(), 2U);
    EXPECT_FALSE(ClientPeer::hasNames());
    expectNextDocumentWorks();
}

TEST_F(SettingsFaultTest, AWrongTypeThrowsInTheFirstReadOfTheList) {
    changeStore(wrongType);
    std::shared_ptr<std::multimap<int, CSourceItem>> list;
    EXPECT_THROW(CSourceAPI::Get()->GetSourceList(), Json::Exception);
    EXPECT_THROW(CSourceAPI::Get()->GetSourceList(&list), Json::Exception);
    ASSERT_NE(list, nullptr);
    EXPECT_TRUE(list->empty());
    EXPECT_EQ(service.countOf("UtilGetSourceList"), 0);
    platform.setSourceNames(names);
    EXPECT_TRUE(CSourceAPI::Get()->GetSourceList(&list));
}

TEST_F(SettingsFaultTest, AWrongTypeThrowsInTheFirstGetAndTheNextOneReadsAgain) {
    platform.setSourceNames(wrongType);
    EXPECT_THROW(CSourceAPI::Get(), Json::Exception);
    EXPECT_THROW(CSourceAPI::Get(), Json::Exception);
    platform.setSourceNames(names);
    EXPECT_TRUE(CSourceAPI::Get()->Connect(3));
    EXPECT_EQ(nameOf(7), "Game");
}

TEST_F(SettingsFaultTest, AWrongTypeDropsTheSignal) {
    changeStore(wrongType);
    letTheBusCatchUp();
    service.emitChange(R"({"return_data":[{"sourceType":1}],"data":{"result":1}})");
    EXPECT_TRUE(deliverSignalsOf(service.connection()));
    EXPECT_TRUE(ClientPeer::list().isNull());
    platform.setSourceNames(names);
    service.emitChange(R"({"return_data":[{"sourceType":2}],"data":{"result":1}})");
    EXPECT_TRUE(deliverSignalsOf(service.connection()));
    EXPECT_EQ(ClientPeer::list(), parsedJson(R"([{"sourceType":2}])"));
    EXPECT_EQ(nameOf(7), "Game");
}

}  // namespace
