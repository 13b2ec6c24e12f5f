#include "bytes/textNumbers.h"

#include <gtest/gtest.h>

#include <cctype>
#include <limits>
#include <string>

using namespace QUOR_ZEF;

// What doubles cannot hold becomes 0 or infinity by its first digit that counts and its exponent.
TEST(textNumbers, valuesOutOfRangeAreZeroOrInfinite) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const std::string zeros(400, '0');
    const std::pair<std::string, double> cases[] = {{"1e400", infinity},
                                                    {"-1e+400", -infinity},
                                                    {"1e-400", 0.0},
                                                    {"0." + zeros + "1", 0.0},
                                                    {"1" + zeros, infinity},
                                                    {"0." + zeros + "1e800", infinity},
                                                    {"-0." + zeros + "1e-9", 0.0},
                                                    {"1" + zeros + "e-900", 0.0},
                                                    {"1e99999999999999999999", infinity},
                                                    {"10e9223372036854775807", infinity},
                                                    {"0.1e-9223372036854775807", 0.0},
                                                    {"1e-99999999999999999999", 0.0}};
    for (const auto& [text, expected] : cases) {
        double value = 1.0;
        EXPECT_EQ(parseAnyNumber(text.data(), text.data() + text.size(), value), text.data() + text.size()) << text;
        EXPECT_EQ(value, expected) << text;
    }
}

TEST(textNumbers, spacesAreThoseOfTheLanguage) {
    for (int i = 0; i < 256; ++i) {
        const char c = static_cast<char>(i);
        EXPECT_EQ(isSpace(c), std::isspace(i) != 0) << i;
        EXPECT_EQ(isBlank(c), isSpace(c) && c != '\n') << i;
        EXPECT_EQ(isDigit(c), std::isdigit(i) != 0) << i;
    }
}
