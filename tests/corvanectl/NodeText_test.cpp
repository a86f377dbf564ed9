// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/story/NodeText.h"

#include <gtest/gtest.h>

TEST(NodeText, ReadsNumbersInTextAndInFourRawBytes)
{
    EXPECT_EQ(NumberOf("-12"), -12);
    EXPECT_EQ(NumberOf(std::string("\360\31\0\0", 4)), 6640);
    EXPECT_EQ(NumberOf("1234"), 1234) << "four bytes of text";
    EXPECT_EQ(NumberAt("500\n"), 500) << "and these";
    for (char const* const text : {"", "12a", "0F|7", "enabled"}) {
        EXPECT_EQ(NumberOf(text), std::nullopt) << text;
    }
}

TEST(NodeText, TellsWhatANodeHoldsFromHowItSaysSo)
{
    std::string const raw("\360\31\0\0", 4);
    std::string const blanks("\0\0  ", 4);
    std::string const brackets("[\0]", 3);
    struct Row {
        std::string content, written, setting;
        bool holds;
    };
    for (Row const& row : std::initializer_list<Row>{{"1200\n", "1200", "1200", true},
                                                     {"1200\n", "120", "1200", false},
                                                     {"007 \n", "7", "007", true},
                                                     {"always [madvise] never\n", "madvise", "madvise", true},
                                                     {"always [madvise] never\n", "never", "madvise", false},
                                                     {"0-3\n", "0-3", "0-3", true},
                                                     {"", "on", "", false},
                                                     {raw, raw, raw, true},
                                                     {blanks, blanks, blanks, true},
                                                     {brackets, brackets + "\1", brackets, false},
                                                     {"6640\n", raw, "6640", true},
                                                     {"6641\n", raw, "6641", false}}) {
        EXPECT_EQ(SettingOf(row.content), row.setting);
        EXPECT_EQ(Holds(row.content, row.written), row.holds) << row.content << row.written;
    }
}
