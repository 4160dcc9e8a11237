#include "archive/stream_wrappers.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "archive/fake_stream.h"
#include "archive/file_system.h"
#include "support/temporary_folder.h"

namespace {

using namespace SevenZip;

class InStreamWrapper : public testing::Test {
protected:
    bool gone = false;
    intl::UniqueCom<FakeStream> stream = intl::MakeCom<FakeStream>(&gone);
    intl::UniqueCom<intl::InStreamWrapper> wrapper =
        intl::MakeCom<intl::InStreamWrapper>(*stream.Get());
};

TEST_F(InStreamWrapper, HoldsTheStreamUntilItIsDestroyed) {
    stream.Reset();
    EXPECT_FALSE(gone);

    wrapper.Reset();
    EXPECT_TRUE(gone);
}

TEST_F(InStreamWrapper, ReadsFromTheStream) {
    std::array<char, 10> buffer{};
    UInt32 processed = 0;
    stream.Get()->count = 10;

    EXPECT_EQ(S_OK, wrapper.Get()->Read(buffer.data(), 10, &processed));

    EXPECT_EQ(buffer.data(), stream.Get()->data);
    EXPECT_EQ(10u, stream.Get()->size);
    EXPECT_EQ(10u, processed);
}

TEST_F(InStreamWrapper, TreatsTheEndOfTheFileAsAShortRead) {
    std::array<char, 10> buffer{};
    UInt32 processed = 0;
    stream.Get()->result = S_FALSE;
    stream.Get()->count = 3;

    EXPECT_EQ(S_OK, wrapper.Get()->Read(buffer.data(), 10, &processed));

    EXPECT_EQ(3u, processed);
}

TEST_F(InStreamWrapper, PassesOnAFailedReadWithWhatWasRead) {
    std::array<char, 10> buffer{};
    UInt32 processed = 0;
    stream.Get()->result = STG_E_READFAULT;
    stream.Get()->count = 2;

    EXPECT_EQ(STG_E_READFAULT, wrapper.Get()->Read(buffer.data(), 10, &processed));

    EXPECT_EQ(2u, processed);
}

TEST_F(InStreamWrapper, ReportsZeroBytesForAReadThatSetsNoCount) {
    std::array<char, 10> buffer{};
    UInt32 processed = 7;
    stream.Get()->result = E_POINTER;
    stream.Get()->count.reset();

    EXPECT_EQ(E_POINTER, wrapper.Get()->Read(buffer.data(), 10, &processed));

    EXPECT_EQ(0u, processed);
}

TEST_F(InStreamWrapper, ReadsWithoutAPointerToTheCount) {
    std::array<char, 10> buffer{};

    EXPECT_EQ(S_OK, wrapper.Get()->Read(buffer.data(), 10, nullptr));
}

TEST_F(InStreamWrapper, SeeksInTheStream) {
    UInt64 position = 0;
    stream.Get()->number = 0x1'2345'6789;

    EXPECT_EQ(S_OK, wrapper.Get()->Seek(-0x1'0000'0001, STREAM_SEEK_END, &position));

    EXPECT_EQ(-0x1'0000'0001, stream.Get()->offset);
    EXPECT_EQ(2u, stream.Get()->origin);
    EXPECT_EQ(0x1'2345'6789u, position);
}

TEST_F(InStreamWrapper, SeeksWithoutAPointerToThePosition) {
    EXPECT_EQ(S_OK, wrapper.Get()->Seek(5, STREAM_SEEK_CUR, nullptr));

    EXPECT_EQ(5, stream.Get()->offset);
    EXPECT_EQ(1u, stream.Get()->origin);
}

TEST_F(InStreamWrapper, PassesOnAFailedSeek) {
    stream.Get()->result = STG_E_INVALIDFUNCTION;

    EXPECT_EQ(STG_E_INVALIDFUNCTION, wrapper.Get()->Seek(-1, STREAM_SEEK_SET, nullptr));
}

TEST_F(InStreamWrapper, ReturnsTheSizeOfTheStreamWithoutAskingForItsName) {
    UInt64 size = 0;
    stream.Get()->number = 0x1'0000'0005;

    EXPECT_EQ(S_OK, wrapper.Get()->GetSize(&size));

    EXPECT_EQ(0x1'0000'0005u, size);
    EXPECT_EQ(1u, stream.Get()->flags);
}

TEST_F(InStreamWrapper, PassesOnAFailedSizeQuery) {
    UInt64 size = 77;
    stream.Get()->result = STG_E_ACCESSDENIED;

    EXPECT_EQ(STG_E_ACCESSDENIED, wrapper.Get()->GetSize(&size));

    EXPECT_EQ(77u, size);
}

class OutStreamWrapper : public testing::Test {
protected:
    bool gone = false;
    intl::UniqueCom<FakeStream> stream = intl::MakeCom<FakeStream>(&gone);
    intl::UniqueCom<intl::OutStreamWrapper> wrapper =
        intl::MakeCom<intl::OutStreamWrapper>(*stream.Get());
};

TEST_F(OutStreamWrapper, HoldsTheStreamUntilItIsDestroyed) {
    stream.Reset();
    EXPECT_FALSE(gone);

    wrapper.Reset();
    EXPECT_TRUE(gone);
}

TEST_F(OutStreamWrapper, WritesToTheStream) {
    const std::array<char, 10> buffer{};
    UInt32 processed = 0;
    stream.Get()->count = 7;

    EXPECT_EQ(S_OK, wrapper.Get()->Write(buffer.data(), 10, &processed));

    EXPECT_EQ(buffer.data(), stream.Get()->data);
    EXPECT_EQ(10u, stream.Get()->size);
    EXPECT_EQ(7u, processed);
}

TEST_F(OutStreamWrapper, PassesOnAFailedWriteWithWhatWasWritten) {
    const std::array<char, 10> buffer{};
    UInt32 processed = 0;
    stream.Get()->result = STG_E_MEDIUMFULL;
    stream.Get()->count = 4;

    EXPECT_EQ(STG_E_MEDIUMFULL, wrapper.Get()->Write(buffer.data(), 10, &processed));

    EXPECT_EQ(4u, processed);
}

TEST_F(OutStreamWrapper, ReportsZeroBytesForAWriteThatSetsNoCount) {
    const std::array<char, 10> buffer{};
    UInt32 processed = 7;
    stream.Get()->result = E_POINTER;
    stream.Get()->count.reset();

    EXPECT_EQ(E_POINTER, wrapper.Get()->Write(buffer.data(), 10, &processed));

    EXPECT_EQ(0u, processed);
}

TEST_F(OutStreamWrapper, WritesWithoutAPointerToTheCount) {
    const std::array<char, 10> buffer{};

    EXPECT_EQ(S_OK, wrapper.Get()->Write(buffer.data(), 10, nullptr));
}

TEST_F(OutStreamWrapper, SeeksInTheStream) {
    UInt64 position = 0;
    stream.Get()->number = 0x1'2345'6789;

    EXPECT_EQ(S_OK, wrapper.Get()->Seek(0x1'0000'0001, STREAM_SEEK_SET, &position));

    EXPECT_EQ(0x1'0000'0001, stream.Get()->offset);
    EXPECT_EQ(0u, stream.Get()->origin);
    EXPECT_EQ(0x1'2345'6789u, position);
}

TEST_F(OutStreamWrapper, SetsTheSizeOfTheStream) {
    EXPECT_EQ(S_OK, wrapper.Get()->SetSize(0x1'0000'0009));

    EXPECT_EQ(0x1'0000'0009u, stream.Get()->number);
}

TEST_F(OutStreamWrapper, PassesOnAFailureToSetTheSize) {
    stream.Get()->result = STG_E_MEDIUMFULL;

    EXPECT_EQ(STG_E_MEDIUMFULL, wrapper.Get()->SetSize(1));
}

TEST(StreamWrappers, ReadBackWhatTheyWroteToAFile) {
    const TemporaryFolder folder;
    const std::wstring path = folder.Path(L"file.bin");
    auto out = intl::MakeCom<intl::OutStreamWrapper>(*intl::CreateFileForWrite(path).Get());
    UInt32 processed = 0;
    EXPECT_EQ(S_OK, out.Get()->Write("0123456789", 10, &processed));
    EXPECT_EQ(S_OK, out.Get()->Seek(-4, STREAM_SEEK_END, nullptr));
    EXPECT_EQ(S_OK, out.Get()->Write("abc", 3, &processed));
    EXPECT_EQ(S_OK, out.Get()->SetSize(9));
    out.Reset();

    const auto in = intl::MakeCom<intl::InStreamWrapper>(*intl::OpenFileForRead(path).Get());
    std::array<char, 20> buffer{};
    UInt64 size = 0;
    EXPECT_EQ(S_OK, in.Get()->GetSize(&size));
    EXPECT_EQ(S_OK, in.Get()->Seek(2, STREAM_SEEK_SET, nullptr));
    EXPECT_EQ(S_OK, in.Get()->Read(buffer.data(), 20, &processed));

    EXPECT_EQ(9u, size);
    EXPECT_EQ("2345abc", std::string(buffer.data(), processed));
    EXPECT_EQ(S_OK, in.Get()->Read(buffer.data(), 20, &processed));
    EXPECT_EQ(0u, processed);
}

TEST(StreamWrappers, RefuseToSeekBeforeTheStartOfTheFile) {
    const TemporaryFolder folder;
    WriteFileContent(folder.Path(L"file.bin"), "0123456789");
    const auto in = intl::MakeCom<intl::InStreamWrapper>(
        *intl::OpenFileForRead(folder.Path(L"file.bin")).Get());

    EXPECT_TRUE(FAILED(in.Get()->Seek(-1, STREAM_SEEK_SET, nullptr)));
}

}  // namespace
