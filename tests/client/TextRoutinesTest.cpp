// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Percent-decoding, and replacing one text by another.
#include <ctime>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "ClientTest.h"

using testing::IsEmpty;

namespace {

class DecodeUrlTest : public ClientTest {
 protected:
    static std::string decoded(const std::string &text) { return ClientPeer::decodeUrl(text); }
};

TEST_F(DecodeUrlTest, EscapesAreDecodedAsSscanfReadsThem) {
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

TEST_F(DecodeUrlTest, EveryByteCanBeEscapedInEitherCase) {
    for (int byte = 0; byte < 256; ++byte) {
        for (const char *format : {"%%%02x", "%%%02X"}) {
            std::array<char, 8> text{};
            std::snprintf(text.data(), text.size(), format, byte);
            EXPECT_EQ(decoded(text.data()), std::string(1, static_cast<char>(byte))) << text.data();
        }
    }
}

std::string replaced(std::string text, const std::string &from, const std::string &to) {
    ClientPeer::replaceText(text, from, to);
    return text;
}

// The documented rule, step by step.
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

TEST(ReplaceTextTest, FollowsTheDocumentedStepsOnEveryShortText) {
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
        ClientPeer::replaceText(text, "\n", "");
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
