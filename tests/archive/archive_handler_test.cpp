#include "archive/archive_handler.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "archive/archive_open_callback.h"
#include "archive/file_system.h"
#include "archive/handler_patch.h"
#include "archive/stream_wrappers.h"
#include "archive/test_archives.h"
#include "support/failing_allocations.h"

namespace {

using namespace SevenZip;

intl::UniqueCom<intl::InStreamWrapper> Open(const std::string& archive) {
    return intl::MakeCom<intl::InStreamWrapper>(*intl::OpenFileForRead(TestArchive(archive)).Get());
}

struct FormatRow {
    const char* name;
    unsigned format;
    const char* archive;  // that only the handler of this format opens
};

class CreateArchiveHandler : public testing::TestWithParam<FormatRow> {};

TEST_P(CreateArchiveHandler, ReturnsTheHandlerOfTheFormat) {
    const auto handler = intl::CreateArchiveHandler(static_cast<ArchiveFormat>(GetParam().format));
    const auto callback = intl::MakeCom<intl::ArchiveOpenCallback>();
    const auto file = Open(GetParam().archive);

    ASSERT_TRUE(handler);
    EXPECT_EQ(S_OK, handler.Get()->Open(file.Get(), nullptr, callback.Get()));

    handler.Get()->Close();
}

INSTANTIATE_TEST_SUITE_P(
    , CreateArchiveHandler,
    testing::Values(FormatRow{"Unknown", 0, "drivers.7z"}, FormatRow{"SevenZip", 1, "drivers.7z"},
                    FormatRow{"Zip", 2, "deflate.zip"}, FormatRow{"Three", 3, "drivers.7z"},
                    FormatRow{"Seven", 7, "drivers.7z"}, FormatRow{"Cab", 8, "stored.cab"},
                    FormatRow{"Lzma", 9, "sample.lzma"}, FormatRow{"LzmaX86", 10, "sample.lzma86"},
                    FormatRow{"Eleven", 11, "drivers.7z"},
                    FormatRow{"Largest", 0xFFFFFFFF, "drivers.7z"}),
    [](const auto& row) { return row.param.name; });

TEST(CreateArchiveHandlerWithoutMemory, ReturnsNull) {
    const FailingAllocations none(FailingAllocations::FromSize{64});

    EXPECT_FALSE(intl::CreateArchiveHandler(ArchiveFormat::k7z));
}

class OpenedArchive : public testing::Test {
protected:
    const intl::UniqueCom<intl::ArchiveOpenCallback> callback =
        intl::MakeCom<intl::ArchiveOpenCallback>();
    std::vector<std::string> events;
    const HandlerClose close{ArchiveFormat::k7z, [this](IInArchive* handler) {
                                 events.push_back("Close");
                                 return close.Real(handler);
                             }};
    const HandlerRelease release{ArchiveFormat::k7z, [this](IInArchive* handler) {
                                     const ULONG left = release.Real(handler);
                                     if (left == 0) events.push_back("gone");
                                     return left;
                                 }};
};

TEST_F(OpenedArchive, ClosesItsHandlerBeforeReleasingIt) {
    const auto file = Open("drivers.7z");
    {
        const intl::OpenedArchive archive(ArchiveFormat::k7z, *file.Get(), nullptr,
                                          *callback.Get());
        EXPECT_EQ(S_OK, archive.Result());
    }

    EXPECT_EQ((std::vector<std::string>{"Close", "gone"}), events);
}

TEST_F(OpenedArchive, ClosesAHandlerEvenWhenItCannotOpenTheFile) {
    const auto file = Open("text.7z");
    {
        const intl::OpenedArchive archive(ArchiveFormat::k7z, *file.Get(), nullptr,
                                          *callback.Get());
        EXPECT_EQ(S_FALSE, archive.Result());
    }

    EXPECT_EQ((std::vector<std::string>{"Close", "gone"}), events);
}

TEST_F(OpenedArchive, ClosesItsHandlerOnlyOnce) {
    const auto file = Open("drivers.7z");
    {
        intl::OpenedArchive archive(ArchiveFormat::k7z, *file.Get(), nullptr, *callback.Get());
        archive.Close();
        EXPECT_EQ(std::vector<std::string>{"Close"}, events);
        archive.Close();
    }

    EXPECT_EQ((std::vector<std::string>{"Close", "gone"}), events);
}

TEST_F(OpenedArchive, ReportsAMissingHandler) {
    const auto file = Open("drivers.7z");
    const FailingAllocations none(FailingAllocations::FromSize{64});

    const intl::OpenedArchive archive(ArchiveFormat::k7z, *file.Get(), nullptr, *callback.Get());

    EXPECT_EQ(static_cast<HRESULT>(0x80040111), archive.Result());
}

}  // namespace
