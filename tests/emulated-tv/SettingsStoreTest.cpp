// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SettingsStore.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <set>
#include <thread>

#include "Platform.h"
#include "TemporaryFolder.h"
#include "TvRoot.h"

namespace emulated_tv {

namespace fs = std::filesystem;
using testing::Optional;

class SettingsStoreTest : public testing::Test {
 protected:
    TemporaryFolder m_root;
    SettingsStore m_store{m_root.path()};
};

TEST_F(SettingsStoreTest, KeyWithoutAValueIsReadAsMissing) {
    EXPECT_EQ(m_store.get("some/key"), std::nullopt);
}

TEST_F(SettingsStoreTest, ValueIsReadBackByteForByte) {
    const std::string value("caf\xC3\xA9\n\0end", 10);
    m_store.set("some/key", value);
    EXPECT_THAT(m_store.get("some/key"), Optional(value));
}

TEST_F(SettingsStoreTest, EmptyValueIsAValue) {
    m_store.set("some/key", "");
    EXPECT_THAT(m_store.get("some/key"), Optional(std::string()));
}

TEST_F(SettingsStoreTest, ValueIsReadByALaterStore) {
    m_store.set("some/key", "kept");
    EXPECT_THAT(SettingsStore(m_root.path()).get("some/key"), Optional(std::string("kept")));
}

TEST_F(SettingsStoreTest, RemovedValueIsGoneAndRemovingAgainIsHarmless) {
    m_store.set("some/key", "value");
    m_store.remove("some/key");
    EXPECT_EQ(m_store.get("some/key"), std::nullopt);
    EXPECT_NO_THROW(m_store.remove("some/key"));
}

TEST_F(SettingsStoreTest, ValueIsReadableByItsOwnerOnly) {
    m_store.set("some/key", "value");
    struct stat status = {};
    ASSERT_EQ(stat((m_root.path() / "settings" / safeFileName("some/key")).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(SettingsStoreTest, UnusualKeysHaveFilesOfTheirOwnInTheFolder) {
    const std::set<std::string> keys = {
        "",  ".",   "..",    "../../escaped", "/",   "a/b", "a.b",
        "%", "a b", "a%2Fb", "\xC3\xA9",      "a_b", "\n",  std::string("a\0b", 3)};
    for (const std::string &key : keys) {
        m_store.set(key, "value of " + key);
    }
    for (const std::string &key : keys) {
        EXPECT_THAT(m_store.get(key), Optional("value of " + key)) << key;
    }
    std::size_t files = 0;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(m_root.path())) {
        files += entry.is_regular_file() ? 1 : 0;
        EXPECT_EQ(entry.path().parent_path(),
                  entry.is_directory() ? m_root.path() : m_root.path() / "settings");
    }
    EXPECT_EQ(files, keys.size());
}

TEST_F(SettingsStoreTest, KeyTooLongForAFileNameIsReportedAndReadAsMissing) {
    const std::string key(300, 'k');
    EXPECT_THROW(m_store.set(key, "value"), std::runtime_error);
    EXPECT_EQ(m_store.get(key), std::nullopt);
}

TEST_F(SettingsStoreTest, ReaderNeverSeesAPartlyWrittenValue) {
    const std::string first(200000, 'a');
    const std::string second(100001, 'b');
    m_store.set("key", first);
    std::atomic<bool> isDone{false};
    std::thread writer([&] {
        for (int round = 0; round < 100; ++round) {
            m_store.set("key", round % 2 == 0 ? second : first);
        }
        isDone = true;
    });
    std::size_t torn = 0;
    do {
        const auto value = m_store.get("key");
        torn += value == first || value == second ? 0 : 1;
    } while (!isDone);
    writer.join();
    EXPECT_EQ(torn, 0U);
}

class VconfTest : public SettingsStoreTest {
 protected:
    void SetUp() override { setenv(tvRootVariable, m_root.path().c_str(), 1); }
    void TearDown() override { unsetenv(tvRootVariable); }
};

TEST_F(VconfTest, ValueIsAHeapCopyOfTheStoredOne) {
    m_store.set("db/some/key", "stored");
    const std::unique_ptr<char, decltype(&free)> value(vconf_get_str("db/some/key"), free);
    EXPECT_STREQ(value.get(), "stored");
}

TEST_F(VconfTest, UnknownKeyAndNullKeyReadAsNull) {
    EXPECT_EQ(vconf_get_str("db/some/key"), nullptr);
    EXPECT_EQ(vconf_get_str(nullptr), nullptr);
}

TEST_F(VconfTest, WithoutARootEveryKeyReadsAsNull) {
    m_store.set("db/some/key", "stored");
    unsetenv(tvRootVariable);
    EXPECT_EQ(vconf_get_str("db/some/key"), nullptr);
    setenv(tvRootVariable, "", 1);
    EXPECT_EQ(vconf_get_str("db/some/key"), nullptr);
}

}  // namespace emulated_tv
