#include "platform/diagnostics.h"

#include <gtest/gtest.h>

#include "support/captured_output.h"

namespace {

TEST(DebugLog, WritesExactlyTheFormattedText) {
    const CapturedDebugOutput output;

    DebugLog(L"SetUpUsbDriver ret: %d", -2);

    EXPECT_EQ(std::vector<std::wstring>{L"SetUpUsbDriver ret: -2"}, output.messages);
}

TEST(DebugLog, KeepsTheLineEndOfAMessage) {
    const CapturedDebugOutput output;

    DebugLog(L"path :%s\n", L"C:\\a");

    EXPECT_EQ(std::vector<std::wstring>{L"path :C:\\a\n"}, output.messages);
}

TEST(DebugLog, KeepsCharactersOutsideTheAnsiCodePage) {
    const CapturedDebugOutput output;

    DebugLog(L"%s", L"C:\\\x7528\x6237\\\xD83D\xDE00");

    EXPECT_EQ(std::vector<std::wstring>{L"C:\\\x7528\x6237\\\xD83D\xDE00"}, output.messages);
}

TEST(DebugLog, HasRoomFor4095Characters) {
    const CapturedDebugOutput output;
    const std::wstring longest(4095, L'a');

    DebugLog(L"%s", longest.c_str());

    EXPECT_EQ(std::vector<std::wstring>{longest}, output.messages);
}

TEST(DebugLog, WritesAnEmptyMessageInPlaceOfALongerOne) {
    const CapturedDebugOutput output;
    const std::wstring tooLong(4096, L'a');

    DebugLog(L"%s", tooLong.c_str());

    EXPECT_EQ(std::vector<std::wstring>{L""}, output.messages);
}

TEST(DebugLog, WritesAnEmptyMessageInPlaceOfAMuchLongerOne) {
    const CapturedDebugOutput output;
    const std::wstring tooLong(100'000, L'a');

    DebugLog(L"%s", tooLong.c_str());

    EXPECT_EQ(std::vector<std::wstring>{L""}, output.messages);
}

TEST(DebugLog, TakesANarrowStringWhereTheFormatNamesOne) {
    const CapturedDebugOutput output;

    DebugLog(L"%S %hs %ls", "a", "b", L"c");

    EXPECT_EQ(std::vector<std::wstring>{L"a b c"}, output.messages);
}

TEST(ConsolePrintW, WritesToStandardOutput) {
    CapturedStandardOutput output;

    ConsolePrintW(L"inf path: %s (%d)\n", L"C:\\a", 7);

    EXPECT_EQ("inf path: C:\\a (7)\n", output.Text());
}

TEST(ConsolePrintW, WritesAMessageOfAnyLength) {
    CapturedStandardOutput output;
    const std::wstring longText(5'000, L'a');

    ConsolePrintW(L"%s\n", longText.c_str());

    EXPECT_EQ(std::string(5'000, 'a') + "\n", output.Text());
}

TEST(ConsolePrintW, StopsAtACharacterThatTheCLocaleLacks) {
    CapturedStandardOutput output;

    ConsolePrintW(L"inf path: %s\n", L"C:\\\x7528\x6237\\a");

    EXPECT_EQ("inf path: C:\\", output.Text());
}

TEST(ConsolePrintW, WritesNothingToTheDebuggerOutput) {
    const CapturedDebugOutput debug;
    const CapturedStandardOutput output;

    ConsolePrintW(L"text\n");

    EXPECT_TRUE(debug.messages.empty());
}

TEST(ConsolePrintA, WritesToStandardOutputAndReturnsTheCount) {
    CapturedStandardOutput output;

    const int written = ConsolePrintA("failed: %x\n", 0xABCu);

    EXPECT_EQ("failed: abc\n", output.Text());
    EXPECT_EQ(12, written);
}

TEST(ConsolePrintA, WritesAMessageOfAnyLength) {
    CapturedStandardOutput output;
    const std::string longText(5'000, 'a');

    const int written = ConsolePrintA("%s\n", longText.c_str());

    EXPECT_EQ(longText + "\n", output.Text());
    EXPECT_EQ(5'001, written);
}

TEST(ConsolePrintA, ReportsAStreamError) {
    const CapturedStandardOutput output;
    const int descriptor = ::_dup(::_fileno(stdout));
    ::_close(::_fileno(stdout));

    const int written = ConsolePrintA("x\n") + std::fflush(stdout);

    ::_dup2(descriptor, ::_fileno(stdout));
    ::_close(descriptor);
    std::clearerr(stdout);
    EXPECT_LT(written, 3);
}

}  // namespace
