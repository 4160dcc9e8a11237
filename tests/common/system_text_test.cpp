#include "common/system_text.h"

#include <gtest/gtest.h>

#include "support/fake_api.h"

namespace {

using tools::SystemMessage;
using tools::SystemText;

using FakeFormatMessage = FakeApi<"FormatMessageW", decltype(::FormatMessageW)>;

TEST(SystemText, IsTheTextFromWindowsAndTheCode) {
    EXPECT_EQ(L"File not found. (error 2)", SystemText(ERROR_FILE_NOT_FOUND));
}

TEST(SystemMessage, IsTheTextFromWindowsAlone) {
    EXPECT_EQ(L"File not found.", SystemMessage(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(L"Windows has no message for this code.", SystemMessage(54321));
}

TEST(SystemText, SaysThatWindowsHasNoText) {
    EXPECT_EQ(L"Windows has no message for this code. (error 54321)", SystemText(54321));
}

TEST(SystemText, FindsTheTextsOfTheSetupFunctionsUnderTheirResultCode) {
    const FakeFormatMessage texts(
        [](DWORD, const void*, DWORD code, DWORD, wchar_t* buffer, DWORD, va_list*) -> DWORD {
            if (code != 0x800F0235u) return 0;
            ::wcscpy_s(buffer, 100, L"Not from this program. ");
            return 23;
        });

    EXPECT_EQ(L"Not from this program. (error 0xE0000235)", SystemText(0xE0000235u));
}

TEST(SystemText, WritesLargeCodesInHexadecimal) {
    EXPECT_EQ(L"Windows has no message for this code. (error 0xE0000101)", SystemText(0xE0000101u));
}

}  // namespace
