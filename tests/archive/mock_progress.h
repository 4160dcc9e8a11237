#pragma once

#include <gmock/gmock.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "archive/extract_progress.h"

class MockProgress : public SevenZip::ExtractProgress {
public:
    MockProgress() {
        using testing::_;
        using testing::Return;
        ON_CALL(*this, OnItemCount(_)).WillByDefault(Return(true));
        ON_CALL(*this, OnItemList(_, _)).WillByDefault(Return(true));
        ON_CALL(*this, ShouldExtract(_, _, _)).WillByDefault(Return(true));
        ON_CALL(*this, OnFileWritten(_, _)).WillByDefault(Return(true));
    }
    virtual ~MockProgress() = default;

    MOCK_METHOD(bool, OnItemCount, (std::uint32_t), (override));
    MOCK_METHOD(bool, OnItemList,
                (const std::vector<std::wstring>&, const std::vector<std::uint64_t>&), (override));
    MOCK_METHOD(void, OnTotal, (const std::wstring&, std::uint64_t), (override));
    MOCK_METHOD(void, OnRatio, (std::uint64_t, std::uint64_t), (override));
    MOCK_METHOD(void, OnFileDone, (const std::wstring&, std::uint64_t), (override));
    MOCK_METHOD(void, OnArchiveDone, (const std::wstring&), (override));
    MOCK_METHOD(bool, ShouldExtract, (const std::wstring&, const std::wstring&, bool), (override));
    MOCK_METHOD(bool, OnFileWritten, (const std::wstring&, std::uint64_t), (override));
    MOCK_METHOD(void, OnRollback, ((const std::pair<std::wstring, std::wstring>&)), (override));
};
