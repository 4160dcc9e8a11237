#include "archive/archive_open_callback.h"

#include <gtest/gtest.h>

namespace {

using SevenZip::intl::MakeCom;
using OpenCallback = SevenZip::intl::ArchiveOpenCallback;

TEST(ArchiveOpenCallback, IgnoresProgress) {
    const auto callback = MakeCom<OpenCallback>();
    constexpr UInt64 number = 5;

    EXPECT_EQ(S_OK, callback.Get()->SetTotal(&number, &number));
    EXPECT_EQ(S_OK, callback.Get()->SetTotal(nullptr, nullptr));
    EXPECT_EQ(S_OK, callback.Get()->SetCompleted(&number, &number));
    EXPECT_EQ(S_OK, callback.Get()->SetCompleted(nullptr, nullptr));
}

TEST(ArchiveOpenCallback, RefusesToGiveAPassword) {
    const auto callback = MakeCom<OpenCallback>();
    BSTR password = nullptr;

    EXPECT_EQ(static_cast<HRESULT>(0x80004004), callback.Get()->CryptoGetTextPassword(&password));

    EXPECT_EQ(nullptr, password);
}

}  // namespace
