// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The records of a source and of a source's name, and the text routines that fill them.
#include <ctime>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <stdexcept>
#include <tuple>
#include <type_traits>

#include "ClientTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// All fields in their order; the copy would not carry the last one.
auto fieldsOf(const CSourceItem &item) {
    return std::make_tuple(item.sourceType, item.editName, item.detectedName, item.iconPath,
                           item.uniqueKey, item.connectionState, item.powerState,
                           item.mbrActivityIndex, item.settingMethod);
}
auto fieldsOf(const SourceNameList &entry) {
    return std::make_tuple(entry.editName, entry.detectedName, entry.deviceType,
                           entry.mbrActivityIndex, entry.editState, entry.settingMethod);
}

void fill(CSourceItem &item) {
    item.sourceType = 1;
    item.editName = "edit";
    item.detectedName = "detected";
    item.iconPath = "icon";
    item.uniqueKey = "key";
    item.connectionState = true;
    item.powerState = 2;
    item.mbrActivityIndex = 3;
    item.settingMethod = 4;
}

struct FilledItem : CSourceItem {
    FilledItem() { fill(*this); }
};

// One key of the service's JSON, a good and an unreadable value, and the field that it fills.
struct Key {
    const char *name;
    const char *good;
    const char *bad;
    const char *error;
    void (*setGood)(CSourceItem &item);
};

constexpr const char *noInt = "Value is not convertible to Int.";
constexpr const char *noBool = "Value is not convertible to bool.";
constexpr const char *noText = "Type is not convertible to string";

// In the order in which they are read.
const std::vector<Key> keys = {
    {"sourceType", "5", R"("x")", noInt, [](CSourceItem &item) { item.sourceType = 5; }},
    {"editName", R"("E%201")", "[]", noText, [](CSourceItem &item) { item.editName = "E 1"; }},
    {"detectedName", R"("D%2B+")", "[]", noText,
     [](CSourceItem &item) { item.detectedName = "D++"; }},
    {"iconPath", R"("/i%201")", "[]", noText, [](CSourceItem &item) { item.iconPath = "/i%201"; }},
    {"uniqueKey", R"("k%201")", "[]", noText, [](CSourceItem &item) { item.uniqueKey = "k%201"; }},
    {"connectionState", "false", R"("x")", noBool,
     [](CSourceItem &item) { item.connectionState = false; }},
    {"powerState", "6", R"("on")", noInt, [](CSourceItem &item) { item.powerState = 6; }},
    {"mbrActivityIndex", "-7", "{}", noInt, [](CSourceItem &item) { item.mbrActivityIndex = -7; }},
    {"settingMethod", "8", "[8]", noInt, [](CSourceItem &item) { item.settingMethod = 8; }},
};

// The service's JSON of a source with the good value of every key.
Json::Value goodSource() {
    Json::Value source;
    for (const Key &key : keys) {
        source[key.name] = parsedJson(key.good);
    }
    return source;
}

class SourceRecordTest : public ClientTest {
 protected:
    static void convert(const Json::Value &source, CSourceItem &item) {
        CSourceAPI::m_ConvertJsonToSourceItemObject(source, &item);
    }
    std::vector<LogLine> conversionLog() const {
        return platform.logOf("m_ConvertJsonToSourceItemObject");
    }
    static std::string decoded(const std::string &text) {
        return CSourceAPI::Get()->m_DecodeURL(text);
    }
};

// The record of a source.

TEST(SourceItemTest, HasItsFieldsInOrderAndNothingVirtual) {
    static_assert(!std::is_polymorphic_v<CSourceItem>);
    static_assert(std::is_same_v<decltype(CSourceItem::sourceType), std::int32_t>);
    static_assert(std::is_same_v<decltype(CSourceItem::connectionState), bool>);
    static_assert(std::is_same_v<decltype(CSourceItem::powerState), std::int32_t>);
    static_assert(std::is_same_v<decltype(CSourceItem::mbrActivityIndex), std::int32_t>);
    static_assert(std::is_same_v<decltype(CSourceItem::settingMethod), std::int32_t>);
    const CSourceItem item;
    const std::vector<const void *> addresses = {
        &item.sourceType, &item.editName,         &item.detectedName,
        &item.iconPath,   &item.uniqueKey,        &item.connectionState,
        &item.powerState, &item.mbrActivityIndex, &item.settingMethod};
    EXPECT_EQ(addresses.front(), &item);
    EXPECT_TRUE(std::is_sorted(addresses.begin(), addresses.end()));
}

TEST(SourceItemTest, NewRecordIsEmptyZeroAndFalse) {
    EXPECT_EQ(fieldsOf(CSourceItem()), std::make_tuple(0, "", "", "", "", false, 0, 0, 0));
}

TEST(SourceItemTest, AssignmentCopiesAllButTheSettingMethod) {
    const FilledItem source;
    CSourceItem target;
    target.settingMethod = 9;
    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(fieldsOf(target),
              std::make_tuple(1, "edit", "detected", "icon", "key", true, 2, 3, 9));
}

TEST(SourceItemTest, CopyHasNoSettingMethod) {
    const FilledItem source;
    const CSourceItem copy(source);
    EXPECT_EQ(fieldsOf(copy), std::make_tuple(1, "edit", "detected", "icon", "key", true, 2, 3, 0));
}

TEST(SourceItemTest, SelfAssignmentChangesNothing) {
    FilledItem item;
    CSourceItem &same = item;
    item.CSourceItem::operator=(same);
    EXPECT_EQ(fieldsOf(item), fieldsOf(FilledItem()));
}

TEST(SourceItemTest, MovingCopies) {
    static_assert(!std::is_nothrow_move_constructible_v<CSourceItem>);
    FilledItem source;
    const CSourceItem moved(std::move(static_cast<CSourceItem &>(source)));
    EXPECT_EQ(fieldsOf(source), fieldsOf(FilledItem()));
    EXPECT_EQ(moved.settingMethod, 0);
}

TEST(SourceItemTest, StoredRecordHasNoSettingMethod) {
    std::multimap<int, CSourceItem> records;
    records.insert({1, FilledItem()});
    EXPECT_EQ(records.begin()->second.uniqueKey, "key");
    EXPECT_EQ(records.begin()->second.settingMethod, 0);
}

// The record of a source's name.

TEST(SourceNameListTest, HasItsFieldsInOrderAndNothingVirtual) {
    static_assert(!std::is_polymorphic_v<SourceNameList>);
    static_assert(std::is_same_v<decltype(SourceNameList::deviceType), std::int32_t>);
    const SourceNameList entry;
    const std::vector<const void *> addresses = {&entry.editName,   &entry.detectedName,
                                                 &entry.deviceType, &entry.mbrActivityIndex,
                                                 &entry.editState,  &entry.settingMethod};
    EXPECT_EQ(addresses.front(), &entry);
    EXPECT_TRUE(std::is_sorted(addresses.begin(), addresses.end()));
}

TEST(SourceNameListTest, NewEntryIsEmptyWithTheActivityIndexMinusTwo) {
    EXPECT_EQ(fieldsOf(SourceNameList()), std::make_tuple("", "", 0, -2, 0, 0));
}

TEST(SourceNameListTest, CopiesAllSixFields) {
    SourceNameList source;
    source.editName = "edit";
    source.detectedName = "detected";
    source.deviceType = 1;
    source.mbrActivityIndex = 2;
    source.editState = 3;
    source.settingMethod = 4;
    const auto all = std::make_tuple("edit", "detected", 1, 2, 3, 4);
    const SourceNameList copy(source);
    EXPECT_EQ(fieldsOf(copy), all);
    SourceNameList assigned;
    assigned = source;
    EXPECT_EQ(fieldsOf(assigned), all);
}

// From JSON to the record.

TEST_F(SourceRecordTest, EveryKeyFillsItsOwnFieldOnly) {
    for (const Key &key : keys) {
        SCOPED_TRACE(key.name);
        Json::Value source;
        source[key.name] = parsedJson(key.good);
        FilledItem expected;
        key.setGood(expected);
        FilledItem item;
        convert(source, item);
        EXPECT_EQ(fieldsOf(item), fieldsOf(expected));
        EXPECT_NE(fieldsOf(item), fieldsOf(FilledItem()));
    }
    EXPECT_THAT(conversionLog(), IsEmpty());
}

TEST_F(SourceRecordTest, AllKeysTogetherFillTheWholeRecord) {
    CSourceItem item;
    convert(goodSource(), item);
    EXPECT_EQ(fieldsOf(item), std::make_tuple(5, "E 1", "D++", "/i%201", "k%201", false, 6, -7, 8));
}

TEST_F(SourceRecordTest, MissingKeysLeaveTheRecordAsItWas) {
    for (const char *source : {"{}", "null", R"({"SourceType":5,"other":1})"}) {
        SCOPED_TRACE(source);
        FilledItem item;
        convert(parsedJson(source), item);
        EXPECT_EQ(fieldsOf(item), fieldsOf(FilledItem()));
    }
    EXPECT_THAT(conversionLog(), IsEmpty());
}

TEST_F(SourceRecordTest, NullMembersEmptyTheirFields) {
    Json::Value source;
    for (const Key &key : keys) {
        source[key.name] = Json::Value();
    }
    FilledItem item;
    convert(source, item);
    EXPECT_EQ(fieldsOf(item), fieldsOf(CSourceItem()));
}

TEST_F(SourceRecordTest, ValuesAreConvertedAsTheJsonLibraryDoes) {
    CSourceItem item;
    convert(parsedJson(R"({"sourceType":true,"editName":12,"iconPath":false,"uniqueKey":-3,)"
                       R"("connectionState":2,"powerState":3.0,"mbrActivityIndex":2.9})"),
            item);
    EXPECT_EQ(fieldsOf(item), std::make_tuple(1, "12", "", "false", "-3", true, 3, 2, 0));
}

TEST_F(SourceRecordTest, UnreadableValueEndsTheConversionAtItsKey) {
    for (std::size_t bad = 0; bad < keys.size(); ++bad) {
        SCOPED_TRACE(keys[bad].name);
        Json::Value source = goodSource();
        source[keys[bad].name] = parsedJson(keys[bad].bad);
        FilledItem expected;
        for (std::size_t before = 0; before < bad; ++before) {
            keys[before].setGood(expected);
        }
        platform.clearLog();
        FilledItem item;
        convert(source, item);
        EXPECT_EQ(fieldsOf(item), fieldsOf(expected));
        EXPECT_THAT(conversionLog(), ElementsAre(Error("Exception occured! [" +
                                                       std::string(keys[bad].error) + "]")));
    }
}

TEST_F(SourceRecordTest, TextInANumberLeavesItAndWhatFollowsUntouched) {
    FilledItem item;
    convert(parsedJson(R"({"sourceType":5,"powerState":"on","mbrActivityIndex":2})"), item);
    EXPECT_EQ(fieldsOf(item), std::make_tuple(5, "edit", "detected", "icon", "key", true, 2, 3, 4));
    EXPECT_THAT(platform.log(), ElementsAre(ErrorWith("Exception occured! [")));
    EXPECT_THAT(platform.log(),
                ElementsAre(From("SourceAPI.cpp", "m_ConvertJsonToSourceItemObject")));
}

TEST_F(SourceRecordTest, NumberOutOfRangeIsUnreadable) {
    CSourceItem item;
    convert(parsedJson(R"({"sourceType":2147483648,"uniqueKey":"k"})"), item);
    EXPECT_EQ(fieldsOf(item), fieldsOf(CSourceItem()));
    EXPECT_THAT(conversionLog(), ElementsAre(ErrorWith("Exception occured! [")));
}

TEST_F(SourceRecordTest, SourceThatIsNoObjectIsOneLoggedException) {
    for (const char *source : {"[]", "5", R"("text")", "true"}) {
        SCOPED_TRACE(source);
        platform.clearLog();
        FilledItem item;
        convert(parsedJson(source), item);
        EXPECT_EQ(fieldsOf(item), fieldsOf(FilledItem()));
        EXPECT_THAT(conversionLog(), ElementsAre(ErrorWith("Exception occured! [")));
    }
}

TEST_F(SourceRecordTest, OnlyTheNamesNeedTheClientObject) {
    Json::Value source = goodSource();
    source.removeMember("editName");
    source.removeMember("detectedName");
    CSourceItem item;
    convert(source, item);
    EXPECT_EQ(item.settingMethod, 8);
    EXPECT_EQ(platform.count(infoPriority, "CSourceAPI constructor"), 0);
    convert(parsedJson(R"({"detectedName":"d"})"), item);
    EXPECT_EQ(platform.count(infoPriority, "CSourceAPI constructor"), 1);
}

TEST_F(SourceRecordTest, EditNameMakesTheClientObjectAsWell) {
    CSourceItem item;
    convert(parsedJson(R"({"editName":"e"})"), item);
    EXPECT_EQ(item.editName, "e");
    EXPECT_EQ(platform.count(infoPriority, "CSourceAPI constructor"), 1);
}

TEST_F(SourceRecordTest, ExceptionsThatAreNotTheJsonLibrarysPass) {
    platform.onLog([](const LogLine &line) {
        if (line.text == "CSourceAPI constructor") {
            throw std::runtime_error("foreign");
        }
    });
    CSourceItem item;
    EXPECT_THROW(convert(goodSource(), item), std::runtime_error);
    EXPECT_EQ(item.sourceType, 5);
    EXPECT_EQ(item.editName, "");
}

// Percent-encoding.

TEST_F(SourceRecordTest, EscapesAreDecodedAsTheScannerReadsThem) {
    using namespace std::string_literals;
    const std::vector<std::pair<std::string, std::string>> table = {
        {"", ""},
        {"plain text", "plain text"},
        {"HDMI%201", "HDMI 1"},
        {"%41", "A"},
        {"%41%42%63", "ABc"},
        {"%2f%2F", "//"},
        {"%C3%A4", "\xC3\xA4"},
        {"\xC3\xA4", "\xC3\xA4"},
        {"%fF", "\xFF"},
        {"A+B", "A+B"},
        {"%2B", "+"},
        {"%25", "%"},
        {"%2541", "%41"},
        {"%00x", "\0x"s},
        {"%zz", "\0"s},
        {"%zz1", "\0001"s},
        {"%4z", "\x04"},
        {"%4zA",
         "\x04"
         "A"},
        {"%z4A", "\0A"s},
        {"%", "\0"s},
        {"A%", "A\0"s},
        {"%7", "\x07"},
        {"%g", "\0"s},
        {"%%41", "\0001"s},
        {"%-1", "\xFF"},
        {"%-F", "\xF1"},
        {"%+5", "\x05"},
        {"% 9", "\x09"},
        {"%9 x", "\x09x"},
        {"%\t8", "\x08"},
        {"% ", "\0"s},
        {"%  A", "\0A"s},
        {"%0xA", "\0A"s},
        {"%\0"
         "41"s,
         "\0001"s},
        {"\0%41"s, "\0A"s},
    };
    for (const auto &[text, expected] : table) {
        SCOPED_TRACE(text);
        EXPECT_EQ(decoded(text), expected);
    }
}

TEST_F(SourceRecordTest, EveryByteCanBeEscapedInEitherCase) {
    for (int byte = 0; byte < 256; ++byte) {
        for (const char *format : {"%%%02x", "%%%02X"}) {
            std::array<char, 8> text{};
            std::snprintf(text.data(), text.size(), format, byte);
            EXPECT_EQ(decoded(text.data()), std::string(1, static_cast<char>(byte))) << text.data();
        }
    }
}

// Replacing text.

std::string replaced(std::string text, const std::string &from, const std::string &to) {
    CSourceAPI::m_ReplaceText(text, from, to);
    return text;
}

// The same, step by step as it is promised.
std::string replacedInSteps(std::string text, const std::string &from, const std::string &to) {
    std::size_t position = text.find(from);
    while (position != std::string::npos) {
        text.replace(position, from.size(), to);
        const std::size_t next = position + to.size();
        if (text.size() - 1 <= next) {
            break;
        }
        position = text.find(from, next);
    }
    return text;
}

// All texts over `letters` that have at most that many of them.
std::vector<std::string> textsOver(const std::string &letters, std::size_t longest) {
    std::vector<std::string> texts = {""};
    for (std::size_t shorter = 0; texts[shorter].size() < longest; ++shorter) {
        for (const char letter : letters) {
            texts.push_back(texts[shorter] + letter);
        }
    }
    return texts;
}

TEST(ReplaceTextTest, ReplacesFromLeftToRightAndNeverInsideAReplacement) {
    const std::vector<std::array<std::string, 4>> table = {
        {"abcabc", "b", "x", "axcaxc"},
        {"aaa", "a", "aa", "aaaaa"},
        {"++", "+", " ", " +"},
        {"+++", "+", " ", "  +"},
        {"+", "+", " ", " "},
        {"a+", "+", " ", "a "},
        {"+a+", "+", " ", " a "},
        {"++a", "+", " ", "  a"},
        {"a\nb\n\nc\n", "\n", "", "abc"},
        {"\n\n", "\n", "", "\n"},
        {"aaaa", "aa", "b", "bb"},
        {"aaaaa", "aa", "b", "bba"},
        {"abab", "ab", "", ""},
        {"abc", "abc", "", ""},
        {"abc", "abcd", "x", "abc"},
        {"abc", "x", "y", "abc"},
        {"", "x", "y", ""},
        {"aaab", "aab", "x", "ax"},
    };
    for (const auto &[text, from, to, expected] : table) {
        SCOPED_TRACE(text);
        EXPECT_EQ(replaced(text, from, to), expected);
    }
}

TEST(ReplaceTextTest, AgreesWithTheStepsOnEverySmallText) {
    for (const std::string &text : textsOver("abc", 7)) {
        for (const std::string &from : textsOver("ab", 3)) {
            for (const std::string to : {"", "a", "b", "ab", "ba", "aba", "cab"}) {
                if (!from.empty()) {
                    ASSERT_EQ(replaced(text, from, to), replacedInSteps(text, from, to))
                        << "'" << from << "' by '" << to << "' in '" << text << "'";
                }
            }
        }
    }
}

TEST(ReplaceTextTest, EmptyTextToFindChangesNothing) {
    EXPECT_EQ(replaced("abc", "", "x"), "abc");
    EXPECT_EQ(replaced("", "", "x"), "");
}

TEST(ReplaceTextTest, LogsNothing) {
    replaced("a\nb", "\n", "");
    EXPECT_THAT(FakePlatform::get().log(), IsEmpty());
}

// The processor time of this thread that one replacement in a text with `lines` lines takes; the
// best of a few.
std::int64_t costOfJoining(std::size_t lines) {
    std::string source;
    for (std::size_t line = 0; line < lines; ++line) {
        source += "\t\"a\" : 1\n";
    }
    const auto now = [] {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
    };
    std::int64_t best = std::numeric_limits<std::int64_t>::max();
    for (int attempt = 0; attempt < 5; ++attempt) {
        std::string text = source;
        const std::int64_t start = now();
        CSourceAPI::m_ReplaceText(text, "\n", "");
        best = std::min(best, now() - start);
        EXPECT_EQ(text.size(), source.size() - lines);
    }
    return best;
}

TEST(ReplaceTextTest, CostGrowsWithTheLengthAndNotWithItsSquare) {
    // A cost that grew with the square would be 4096 times as high.
    constexpr std::size_t factor = 64;
    EXPECT_LT(costOfJoining(2048 * factor), costOfJoining(2048) * 16 * std::int64_t{factor});
}

}  // namespace
