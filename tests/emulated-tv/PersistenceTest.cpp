// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include "Commands.h"
#include "JsonText.h"
#include "SourceStore.h"
#include "TemporaryFolder.h"

namespace emulated_tv {

using testing::HasSubstr;

constexpr auto namesKey = "db/source-list/source-name";

class PersistenceTest : public testing::Test {
 protected:
    // The names document on disk, which clients read.
    Json::Value storedNames() const {
        return support::parseJson(SettingsStore(m_root.path()).get(namesKey).value_or(""))
            .value_or("none");
    }

    TemporaryFolder m_root;
};

TEST_F(PersistenceTest, NewTvWritesItsNamesAtOnce) {
    const SourceStore store(m_root.path());
    EXPECT_EQ(storedNames(), store.model().names());
    EXPECT_EQ(storedNames()[1]["EditName"], "Wohnzimmer Bär");
}

TEST_F(PersistenceTest, RestartKeepsEverything) {
    Json::Value before;
    {
        SourceStore store(m_root.path());
        Commands commands(store);
        for (const char *request : {R"({"method":"UtilSetSourceEditName",
                  "data":{"SourceType":4,"EditName":"Björns Ecke","MBRActivityIndex":0}})",
                                    R"({"method":"UtilSetSourceDeviceType",
                  "data":{"SourceType":4,"DeviceType":4294967295,"MBRActivityIndex":0}})",
                                    R"({"method":"UtilSetCustomIconPath",
                  "data":{"SourceType":4,"Pid":1,"MbrActivityIndex":0,"SourceIconPath":"/s.png",
                          "LauncherFocusedIconPath":"/f.png",
                          "LauncherUnfocusedIconPath":"/u.png"}})",
                                    R"({"method":"SourceConnect","data":{"SourceType":4}})"}) {
            EXPECT_THAT(commands.answer(request).text, HasSubstr(R"("return_data":true)"));
        }
        store.change(ListChange::Plugged,
                     [](SourceModel &model) { model.plug("usb-stick", "Holiday", std::nullopt); });
        before = store.model().toJson();
    }
    const SourceStore store(m_root.path());
    EXPECT_EQ(store.model().toJson(), before);
    EXPECT_EQ(store.model().selected(), "hdmi2");
    EXPECT_EQ(store.model().source("hdmi2").customIcons.launcherFocused, "/f.png");
    EXPECT_EQ(store.model().source("usb-stick").detectedName, "Holiday");
    EXPECT_EQ(storedNames(), store.model().names());
}

TEST_F(PersistenceTest, ChangeIsOnDiskBeforeTheReplyIsSent) {
    SourceStore store(m_root.path());
    Commands(store).answer(
        R"({"method":"UtilSetSourceDeviceType",
            "data":{"SourceType":3,"DeviceType":4294967295,"MBRActivityIndex":0}})");
    EXPECT_EQ(storedNames()[1]["DeviceType"], -1);
    EXPECT_EQ(SourceStore(m_root.path()).model().toJson(), store.model().toJson());
}

TEST_F(PersistenceTest, ChangeThatCannotBeWrittenFailsAndIsNotMade) {
    SourceStore store(m_root.path());
    const Json::Value before = store.model().toJson();
    // A folder with the name of the file makes writing fail.
    std::filesystem::remove(m_root.path() / "state.json");
    std::filesystem::create_directories(m_root.path() / "state.json" / "in the way");
    const auto answer = Commands(store).answer(
        R"({"method":"UtilSetSourceEditName",
            "data":{"SourceType":3,"EditName":"new","MBRActivityIndex":0}})");
    const Json::Value reply = support::parseJson(answer.text).value_or("none");
    EXPECT_EQ(reply["dbus_result"], "fail");
    EXPECT_EQ(reply["return_data"], false);
    EXPECT_EQ(answer.change, std::nullopt);
    EXPECT_EQ(store.model().toJson(), before);
}

TEST_F(PersistenceTest, UnreadableStateIsNotOverwritten) {
    for (const char *content : {"", "{", "[]", R"({"selected":"tuner"})"}) {
        replaceFile(m_root.path() / "state.json", content);
        EXPECT_THROW(SourceStore store(m_root.path()), std::runtime_error);
        EXPECT_EQ(readFile(m_root.path() / "state.json"), content);
    }
}

TEST_F(PersistenceTest, NamesMissingFromTheStoreAreRestoredAtTheNextStart) {
    { const SourceStore store(m_root.path()); }
    SettingsStore(m_root.path()).remove(namesKey);
    const SourceStore store(m_root.path());
    EXPECT_EQ(storedNames(), store.model().names());
}

}  // namespace emulated_tv
