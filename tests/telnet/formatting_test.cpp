#include "telnet/formatting.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace {

// A buffer of twelve characters, all "." before the call, and the result of the call.
struct Formatted {
    std::array<char, 12> buffer;
    int result;

    [[nodiscard]] std::string Bytes() const { return {buffer.data(), buffer.size()}; }
};

Formatted Bounded(std::size_t limit, const char* format, ...) {
    Formatted formatted;
    formatted.buffer.fill('.');
    std::va_list arguments;
    va_start(arguments, format);
    formatted.result = TELNET::FormatBounded(formatted.buffer.data(), limit, format, arguments);
    va_end(arguments);
    return formatted;
}

TEST(FormatBounded, EndsTextThatFitsWithAZeroByte) {
    const Formatted formatted = Bounded(8, "%d-%s", 42, "ab");

    EXPECT_EQ(5, formatted.result);
    EXPECT_EQ(std::string("42-ab\0......", 12), formatted.Bytes());
}

TEST(FormatBounded, LeavesTextOfExactlyTheLimitWithoutAZeroByte) {
    const Formatted formatted = Bounded(8, "%s", "12345678");

    EXPECT_EQ(8, formatted.result);
    EXPECT_EQ("12345678....", formatted.Bytes());
}

TEST(FormatBounded, CutsLongerTextWithoutAZeroByteAndReturnsMinusOne) {
    const Formatted formatted = Bounded(8, "%s", "123456789");

    EXPECT_EQ(-1, formatted.result);
    EXPECT_EQ("12345678....", formatted.Bytes());
}

TEST(FormatBounded, WritesNothingWithALimitOfZero) {
    const Formatted formatted = Bounded(0, "%s", "1");

    EXPECT_EQ(-1, formatted.result);
    EXPECT_EQ("............", formatted.Bytes());
}

TEST(FormatBounded, ExpectsAWideStringForACapitalS) {
    EXPECT_EQ(std::string("ab\0.........", 12), Bounded(8, "%S", L"ab").Bytes());
}

TEST(FormatBounded, UnderstandsTheSizePrefixI64) {
    EXPECT_EQ(std::string("5000000000\0.", 12), Bounded(11, "%I64d", 5'000'000'000LL).Bytes());
}

TEST(FormatUnbounded, FormatsLikeSprintf) {
    std::array<char, 12> buffer;
    buffer.fill('.');

    EXPECT_EQ(5, TELNET::FormatUnbounded(buffer.data(), "%03d%s", 7, "ab"));

    EXPECT_EQ(std::string("007ab\0......", 12), std::string(buffer.data(), buffer.size()));
}

TEST(FormatUnbounded, HasNoLimit) {
    const std::string longText(100'000, 'x');
    std::string buffer(longText.size() + 1, '.');

    EXPECT_EQ(100'000, TELNET::FormatUnbounded(buffer.data(), "%s", longText.c_str()));

    EXPECT_EQ(longText + '\0', buffer);
}

}  // namespace
