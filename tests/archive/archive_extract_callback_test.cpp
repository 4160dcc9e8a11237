#include "archive/archive_extract_callback.h"

#include <windows.h>
#include <comdef.h>
#include <shellapi.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <gmock/gmock.h>

#include <vector>

#include "archive/fake_archive.h"
#include "archive/mock_progress.h"
#include "archive/seven_zip_extractor.h"
#include "archive/test_archives.h"
#include "support/failing_allocations.h"
#include "support/fake_api.h"
#include "support/temporary_folder.h"

namespace {

using namespace SevenZip;
using namespace std::string_literals;
using testing::_;
using testing::InSequence;
using testing::IsEmpty;
using testing::NiceMock;
using testing::Return;
using testing::StrictMock;

using Tree = std::map<std::wstring, std::string>;
using Replacement = std::pair<std::wstring, std::wstring>;

// The callback with its protected members made public.
class OpenState : public intl::ArchiveExtractCallback {
public:
    using ArchiveExtractCallback::ArchiveExtractCallback;

    using ArchiveExtractCallback::absolutePath;
    using ArchiveExtractCallback::accessed;
    using ArchiveExtractCallback::archiveHandler;
    using ArchiveExtractCallback::attributes;
    using ArchiveExtractCallback::created;
    using ArchiveExtractCallback::directory;
    using ArchiveExtractCallback::hasAccessed;
    using ArchiveExtractCallback::hasAttributes;
    using ArchiveExtractCallback::hasCreated;
    using ArchiveExtractCallback::hasModified;
    using ArchiveExtractCallback::hasSize;
    using ArchiveExtractCallback::isDirectory;
    using ArchiveExtractCallback::modified;
    using ArchiveExtractCallback::overwriteMode;
    using ArchiveExtractCallback::pendingReplacements;
    using ArchiveExtractCallback::progress;
    using ArchiveExtractCallback::relativePath;
    using ArchiveExtractCallback::size;
    using ArchiveExtractCallback::totalSize;
};

constexpr Int32 kExtract = 0;
constexpr Int32 kTest = 1;
constexpr Int32 kOk = 0;
constexpr Int32 kUnsupportedMethod = 1;
constexpr Int32 kDataError = 2;
constexpr UInt64 kNewYear2010 = 129'067'776'000'000'000;

class ArchiveExtractCallback : public testing::Test {
protected:
    // A callback for the fake archive and the temporary folder.
    void Start(OverwriteMode mode = OverwriteMode::kDelete, ExtractProgress* listener = nullptr) {
        callback = intl::MakeCom<OpenState>(*archive.Get(), folder.Path(), mode, listener);
    }

    void AddFile(UInt32 index, const std::wstring& name) {
        archive.Get()->Set(index, kpidPath, Text(name));
    }

    void AddFolder(UInt32 index, const std::wstring& name) {
        AddFile(index, name);
        archive.Get()->Set(index, kpidIsDir, Flag(true));
    }

    // Asks for the item's stream, which may be null.
    HRESULT GetStream(UInt32 index, Int32 askMode = kExtract) {
        return callback.Get()->GetStream(index, stream.Receive(), askMode);
    }

    // Extracts a file with the content "new".
    HRESULT Extract(UInt32 index, Int32 operationResult = kOk) {
        const HRESULT result = GetStream(index);
        if (result == S_OK && stream) {
            (void)stream.Get()->Write("new", 3, nullptr);
            stream.Reset();
            return callback.Get()->SetOperationResult(operationResult);
        }
        return result;
    }

    const TemporaryFolder folder;
    const intl::UniqueCom<FakeArchive> archive = intl::MakeCom<FakeArchive>();
    intl::UniqueCom<OpenState> callback;
    intl::UniqueCom<ISequentialOutStream> stream;
};

// ---- the object itself

TEST_F(ArchiveExtractCallback, HoldsAReferenceToItsArchive) {
    Start();

    EXPECT_EQ(3u, archive.Get()->AddRef());
    callback.Reset();
    EXPECT_EQ(1u, archive.Get()->Release());
}

TEST_F(ArchiveExtractCallback, EndsTheDestinationWithASeparator) {
    const auto directoryFor = [&](const wchar_t* destination) {
        return intl::MakeCom<OpenState>(*archive.Get(), destination, OverwriteMode::kDelete,
                                        nullptr)
            .Get()
            ->directory;
    };

    EXPECT_EQ(L"C:\\usb\\", directoryFor(L"C:\\usb"));
    EXPECT_EQ(L"C:\\usb\\", directoryFor(L"C:\\usb\\"));
    EXPECT_EQ(L"C:\\usb/", directoryFor(L"C:\\usb/"));
    EXPECT_EQ(L"\\", directoryFor(L""));
}

TEST_F(ArchiveExtractCallback, LaysOutItsStateInAFixedOrder) {
    Start();
    const OpenState& s = *callback.Get();

    const std::vector<const void*> places{&s.archiveHandler,
                                          &s.directory,
                                          &s.relativePath,
                                          &s.absolutePath,
                                          &s.isDirectory,
                                          &s.hasAttributes,
                                          &s.attributes,
                                          &s.hasModified,
                                          &s.modified,
                                          &s.hasAccessed,
                                          &s.accessed,
                                          &s.hasCreated,
                                          &s.created,
                                          &s.hasSize,
                                          &s.size,
                                          &s.overwriteMode,
                                          &s.progress,
                                          &s.totalSize,
                                          &s.pendingReplacements};

    EXPECT_TRUE(std::ranges::is_sorted(places));
}

// ---- progress and password

TEST_F(ArchiveExtractCallback, RemembersTheTotalAndReportsItBeforeAnyFile) {
    StrictMock<MockProgress> progress;
    Start(OverwriteMode::kDelete, &progress);
    EXPECT_CALL(progress, OnTotal(L""s, 0x1'0000'0007));

    EXPECT_EQ(S_OK, callback.Get()->SetTotal(0x1'0000'0007));

    EXPECT_EQ(0x1'0000'0007u, callback.Get()->totalSize);
}

TEST_F(ArchiveExtractCallback, RemembersTheTotalWithoutAProgressObject) {
    Start();

    EXPECT_EQ(S_OK, callback.Get()->SetTotal(7));

    EXPECT_EQ(7u, callback.Get()->totalSize);
}

TEST_F(ArchiveExtractCallback, ReportsATotalWithThePathOfTheCurrentFile) {
    NiceMock<MockProgress> progress;
    Start(OverwriteMode::kDelete, &progress);
    AddFile(0, L"a.inf");
    ASSERT_EQ(S_OK, GetStream(0));
    EXPECT_CALL(progress, OnTotal(folder.Path(L"a.inf"), 7));

    EXPECT_EQ(S_OK, callback.Get()->SetTotal(7));
}

TEST_F(ArchiveExtractCallback, ReportsBothNumbersOfARatio) {
    StrictMock<MockProgress> progress;
    Start(OverwriteMode::kDelete, &progress);
    EXPECT_CALL(progress, OnRatio(0x1'0000'0001, 0x1'0000'0002));
    constexpr UInt64 in = 0x1'0000'0001;
    constexpr UInt64 out = 0x1'0000'0002;

    EXPECT_EQ(S_OK, callback.Get()->SetRatioInfo(&in, &out));
}

TEST_F(ArchiveExtractCallback, ReportsAnUnknownNumberOfARatioAsZero) {
    StrictMock<MockProgress> progress;
    Start(OverwriteMode::kDelete, &progress);
    EXPECT_CALL(progress, OnRatio(0, 0));

    EXPECT_EQ(S_OK, callback.Get()->SetRatioInfo(nullptr, nullptr));
}

TEST_F(ArchiveExtractCallback, AcceptsARatioWithoutAProgressObject) {
    Start();
    constexpr UInt64 number = 5;

    EXPECT_EQ(S_OK, callback.Get()->SetRatioInfo(&number, &number));
}

TEST_F(ArchiveExtractCallback, IgnoresCompletionAndPreparation) {
    StrictMock<MockProgress> progress;
    Start(OverwriteMode::kDelete, &progress);
    constexpr UInt64 number = 5;

    EXPECT_EQ(S_OK, callback.Get()->SetCompleted(&number));
    EXPECT_EQ(S_OK, callback.Get()->SetCompleted(nullptr));
    EXPECT_EQ(S_OK, callback.Get()->PrepareOperation(kExtract));
}

TEST_F(ArchiveExtractCallback, RefusesToGiveAPassword) {
    Start();
    BSTR password = nullptr;

    EXPECT_EQ(E_ABORT, callback.Get()->CryptoGetTextPassword(&password));

    EXPECT_EQ(nullptr, password);
}

// ---- properties

TEST_F(ArchiveExtractCallback, ReadsThePropertiesOfAnItemInAFixedOrder) {
    Start();
    AddFile(0, L"a.inf");

    ASSERT_EQ(S_OK, GetStream(0));

    EXPECT_EQ((std::vector<PROPID>{3, 9, 6, 12, 10, 11, 7}), archive.Get()->asked);
}

TEST_F(ArchiveExtractCallback, ReadsOnlyThePathOfAnItemThatIsOnlyTested) {
    Start();
    AddFile(0, L"a.inf");

    EXPECT_EQ(S_OK, GetStream(0, kTest));

    EXPECT_FALSE(stream);
    EXPECT_EQ(std::vector<PROPID>{3}, archive.Get()->asked);
    EXPECT_EQ(L"a.inf", callback.Get()->relativePath);
    EXPECT_EQ(Tree{}, TreeContent(folder.Path()));
}

TEST_F(ArchiveExtractCallback, RemembersThePropertiesThatTheArchiveStores) {
    Start();
    AddFile(0, L"a.inf");
    archive.Get()->Set(0, kpidAttrib, Number(VT_UI4, 0x81248021));
    archive.Get()->Set(0, kpidMTime, Time(kNewYear2010));
    archive.Get()->Set(0, kpidCTime, Time(kNewYear2010 + 1));
    archive.Get()->Set(0, kpidATime, Time(kNewYear2010 + 2));
    archive.Get()->Set(0, kpidSize, Number(VT_UI8, 0x1'0000'0005));

    ASSERT_EQ(S_OK, GetStream(0));

    const OpenState& state = *callback.Get();
    EXPECT_FALSE(state.isDirectory);
    EXPECT_TRUE(state.hasAttributes && state.hasModified && state.hasCreated && state.hasAccessed &&
                state.hasSize);
    EXPECT_EQ(0x81248021u, state.attributes);
    const auto ticks = [](const FILETIME& time) {
        return UInt64{time.dwHighDateTime} << 32 | time.dwLowDateTime;
    };
    EXPECT_EQ(kNewYear2010, ticks(state.modified));
    EXPECT_EQ(kNewYear2010 + 1, ticks(state.created));
    EXPECT_EQ(kNewYear2010 + 2, ticks(state.accessed));
    EXPECT_EQ(0x1'0000'0005u, state.size);
}

TEST_F(ArchiveExtractCallback, CarriesNothingOverFromThePreviousItem) {
    Start();
    AddFolder(0, L"usb");
    archive.Get()->Set(0, kpidAttrib, Number(VT_UI4, 1));
    archive.Get()->Set(0, kpidMTime, Time(kNewYear2010));
    archive.Get()->Set(0, kpidCTime, Time(kNewYear2010));
    archive.Get()->Set(0, kpidATime, Time(kNewYear2010));
    archive.Get()->Set(0, kpidSize, Number(VT_UI8, 5));
    AddFile(1, L"a.inf");
    ASSERT_EQ(S_OK, GetStream(0));

    ASSERT_EQ(S_OK, GetStream(1));

    const OpenState& state = *callback.Get();
    EXPECT_FALSE(state.isDirectory || state.hasAttributes || state.hasModified ||
                 state.hasCreated || state.hasAccessed || state.hasSize);
    EXPECT_EQ(0u, state.size);
}

struct SizeRow {
    const char* name;
    VARTYPE type;
    UInt64 size;
};

class ArchiveExtractCallbackSize : public ArchiveExtractCallback,
                                   public testing::WithParamInterface<SizeRow> {};

TEST_P(ArchiveExtractCallbackSize, IsWidenedTo64Bits) {
    Start();
    AddFile(0, L"a.inf");
    archive.Get()->Set(0, kpidSize, Number(GetParam().type, GetParam().size));

    ASSERT_EQ(S_OK, GetStream(0));

    EXPECT_TRUE(callback.Get()->hasSize);
    EXPECT_EQ(GetParam().size, callback.Get()->size);
}

INSTANTIATE_TEST_SUITE_P(, ArchiveExtractCallbackSize,
                         testing::Values(SizeRow{"UI1", VT_UI1, 0xFE},
                                         SizeRow{"UI2", VT_UI2, 0xFEDC},
                                         SizeRow{"UI4", VT_UI4, 0xFEDCBA98},
                                         SizeRow{"UI8", VT_UI8, 0xFEDCBA98'76543210}),
                         [](const auto& row) { return row.param.name; });

struct PropertyRow {
    const char* name;
    PROPID id;
    VARTYPE wrongType;
};

class ArchiveExtractCallbackForProperty : public ArchiveExtractCallback,
                                          public testing::WithParamInterface<PropertyRow> {
protected:
    // The result in the exception that GetStream throws; S_OK if it throws none.
    HRESULT Thrown() {
        try {
            (void)GetStream(0);
        } catch (const _com_error& error) {
            return error.Error();
        }
        return S_OK;
    }
};

TEST_P(ArchiveExtractCallbackForProperty, ThrowsTheResultOfAFailedRead) {
    Start();
    AddFile(0, L"a.inf");
    archive.Get()->Set(0, GetParam().id, Failure(STG_E_READFAULT));

    EXPECT_EQ(STG_E_READFAULT, Thrown());

    EXPECT_EQ(Tree{}, TreeContent(folder.Path()));
}

TEST_P(ArchiveExtractCallbackForProperty, ThrowsAnUnspecifiedErrorForAnUnexpectedType) {
    Start();
    AddFile(0, L"a.inf");
    archive.Get()->Set(0, GetParam().id, OfType(GetParam().wrongType));

    EXPECT_EQ(static_cast<HRESULT>(0x80004005), Thrown());

    EXPECT_EQ(Tree{}, TreeContent(folder.Path()));
}

TEST_P(ArchiveExtractCallbackForProperty, LeavesNoFileToStampWhenItThrows) {
    Start();
    AddFile(0, L"a.inf");
    AddFile(1, L"b.inf");
    ASSERT_EQ(S_OK, GetStream(1));
    archive.Get()->Set(0, GetParam().id, Failure(E_FAIL));

    EXPECT_EQ(E_FAIL, Thrown());

    EXPECT_EQ(L"", callback.Get()->absolutePath);
}

INSTANTIATE_TEST_SUITE_P(
    , ArchiveExtractCallbackForProperty,
    testing::Values(PropertyRow{"Path", 3, VT_UI4}, PropertyRow{"Attributes", 9, VT_I4},
                    PropertyRow{"IsDirectory", 6, VT_UI4}, PropertyRow{"Modified", 12, VT_UI8},
                    PropertyRow{"Created", 10, VT_UI8}, PropertyRow{"Accessed", 11, VT_UI8},
                    PropertyRow{"Size", 7, VT_I8}),
    [](const auto& row) { return row.param.name; });

TEST_F(ArchiveExtractCallback, ThrowsForAnUnreadablePathEvenWhenItOnlyTests) {
    Start();
    archive.Get()->Set(0, kpidPath, Failure(STG_E_READFAULT));

    EXPECT_THROW((void)GetStream(0, kTest), _com_error);
}

TEST_F(ArchiveExtractCallback, ThrowsOutOfMemoryWhenThePathCannotBeCopied) {
    Start();
    AddFile(0, std::wstring(5'000, L'x'));
    HRESULT thrown = S_OK;
    try {
        const FailingAllocations none(FailingAllocations::FromSize{8'000});
        (void)GetStream(0);
    } catch (const _com_error& error) {
        thrown = error.Error();
    }

    EXPECT_EQ(static_cast<HRESULT>(0x8007000E), thrown);
}

// ---- the target of an item

TEST_F(ArchiveExtractCallback, WritesAFileBelowTheDestination) {
    Start();
    AddFile(0, L"usb\\x64\\a.inf");

    EXPECT_EQ(S_OK, Extract(0));

    EXPECT_EQ(
        (Tree{{L"usb", "(a folder)"}, {L"usb\\x64", "(a folder)"}, {L"usb\\x64\\a.inf", "new"}}),
        TreeContent(folder.Path()));
}

TEST_F(ArchiveExtractCallback, ReturnsItsStreamWithOneReference) {
    Start();
    AddFile(0, L"a.inf");

    ASSERT_EQ(S_OK, GetStream(0));

    EXPECT_EQ(0u, stream.Detach()->Release());
}

TEST_F(ArchiveExtractCallback, ClosesTheFileWhenTheStreamIsReleased) {
    Start();
    AddFile(0, L"a.inf");
    ASSERT_EQ(S_OK, GetStream(0));

    stream.Reset();

    EXPECT_TRUE(::DeleteFileW(folder.Path(L"a.inf").c_str()));
}

TEST_F(ArchiveExtractCallback, WritesAnItemWithoutAStoredNameAsContent) {
    Start();

    EXPECT_EQ(S_OK, Extract(0));

    EXPECT_EQ((Tree{{L"[Content]", "new"}}), TreeContent(folder.Path()));
}

TEST_F(ArchiveExtractCallback, WritesNoFileForAnEmptyName) {
    Start();
    AddFile(0, L"");

    EXPECT_EQ(S_OK, GetStream(0));

    EXPECT_FALSE(stream);
    EXPECT_EQ(L"", callback.Get()->absolutePath);
    EXPECT_EQ(Tree{}, TreeContent(folder.Path()));
}

TEST_F(ArchiveExtractCallback, ReturnsANullStreamForAFolder) {
    Start();
    AddFolder(0, L"usb");
    auto* given = reinterpret_cast<ISequentialOutStream*>(1);

    EXPECT_EQ(S_OK, callback.Get()->GetStream(0, &given, kExtract));

    EXPECT_EQ(nullptr, given);
}

TEST_F(ArchiveExtractCallback, CreatesTheFolderOfADirectoryItem) {
    Start();
    AddFolder(0, L"applekis\\x86");

    EXPECT_EQ(S_OK, GetStream(0));

    EXPECT_FALSE(stream);
    EXPECT_EQ((Tree{{L"applekis", "(a folder)"}, {L"applekis\\x86", "(a folder)"}}),
              TreeContent(folder.Path()));
}

TEST_F(ArchiveExtractCallback, IgnoresAFolderThatCannotBeCreated) {
    Start();
    WriteFileContent(folder.Path(L"usb"), "a file");
    AddFolder(0, L"usb\\x64");

    EXPECT_EQ(S_OK, GetStream(0));
}

TEST_F(ArchiveExtractCallback, AsksWhetherToExtractAFile) {
    StrictMock<MockProgress> progress;
    Start(OverwriteMode::kDelete, &progress);
    AddFile(0, L"usb\\a.inf");
    EXPECT_CALL(progress, ShouldExtract(folder.Path() + L"\\", L"usb\\a.inf"s, false))
        .WillOnce(Return(false));

    EXPECT_EQ(S_OK, GetStream(0));

    EXPECT_FALSE(stream);
    EXPECT_EQ(Tree{}, TreeContent(folder.Path()));
}

TEST_F(ArchiveExtractCallback, AsksWhetherToExtractAFolder) {
    StrictMock<MockProgress> progress;
    Start(OverwriteMode::kDelete, &progress);
    AddFolder(0, L"usb");
    EXPECT_CALL(progress, ShouldExtract(folder.Path() + L"\\", L"usb"s, true))
        .WillOnce(Return(false));

    EXPECT_EQ(S_OK, GetStream(0));

    EXPECT_EQ(Tree{}, TreeContent(folder.Path()));
}

TEST_F(ArchiveExtractCallback, ExtractsWhatTheProgressObjectAccepts) {
    NiceMock<MockProgress> progress;
    Start(OverwriteMode::kDelete, &progress);
    AddFolder(0, L"usb");
    AddFile(1, L"usb\\a.inf");

    EXPECT_EQ(S_OK, GetStream(0));
    EXPECT_EQ(S_OK, Extract(1));

    EXPECT_EQ((Tree{{L"usb", "(a folder)"}, {L"usb\\a.inf", "new"}}), TreeContent(folder.Path()));
}

TEST_F(ArchiveExtractCallback, ReturnsThePlainCode1631WhenTheParentFolderCannotBeCreated) {
    Start();
    WriteFileContent(folder.Path(L"usb"), "a file");
    AddFile(0, L"usb\\x64\\a.inf");

    EXPECT_EQ(0x65F, GetStream(0));

    EXPECT_FALSE(stream);
    EXPECT_EQ(L"", callback.Get()->absolutePath);
}

TEST_F(ArchiveExtractCallback, ReturnsTheLastErrorWhenTheFileCannotBeCreated) {
    Start();
    AddFile(0, L"a.inf");
    const FakeApi<"SHCreateStreamOnFileEx", decltype(::SHCreateStreamOnFileEx)> fake([](auto...) {
        ::SetLastError(ERROR_WRITE_PROTECT);
        return E_FAIL;
    });

    EXPECT_EQ(static_cast<HRESULT>(0x80070013), GetStream(0));

    EXPECT_FALSE(stream);
    EXPECT_EQ(L"", callback.Get()->absolutePath);
}

TEST_F(ArchiveExtractCallback, ReturnsTheResultOfTheCreationWhenThereIsNoLastError) {
    Start();
    AddFile(0, L"a.inf");
    const FakeApi<"SHCreateStreamOnFileEx", decltype(::SHCreateStreamOnFileEx)> fake(
        [](auto...) { return STG_E_ACCESSDENIED; });

    EXPECT_EQ(STG_E_ACCESSDENIED, GetStream(0));
}

// ---- a file that is already there

TEST_F(ArchiveExtractCallback, DeletesAnExistingFileAndWritesANewOne) {
    Start();
    WriteFileContent(folder.Path(L"a.inf"), "old");
    ::CreateHardLinkW(folder.Path(L"same file.inf").c_str(), folder.Path(L"a.inf").c_str(),
                      nullptr);
    AddFile(0, L"a.inf");

    EXPECT_EQ(S_OK, Extract(0));

    EXPECT_EQ((Tree{{L"a.inf", "new"}, {L"same file.inf", "old"}}), TreeContent(folder.Path()));
}

TEST_F(ArchiveExtractCallback, DeletesAFolderThatHasTheNameOfAFile) {
    Start();
    WriteFileContent(folder.Path(L"a.inf\\inside.txt"), "old");
    AddFile(0, L"a.inf");

    EXPECT_EQ(S_OK, Extract(0));

    EXPECT_EQ((Tree{{L"a.inf", "new"}}), TreeContent(folder.Path()));
}

// A destination inside the temporary folder, next to and with files that are not the archive's.
class ArchiveExtractCallbackNextToFiles : public ArchiveExtractCallback {
protected:
    ArchiveExtractCallbackNextToFiles() {
        WriteFileContent(folder.Path(L"parent\\destination\\inside.txt"), "old");
        WriteFileContent(folder.Path(L"parent\\beside.txt"), "old");
        WriteFileContent(folder.Path(L"outside.txt"), "old");
        callback = intl::MakeCom<OpenState>(*archive.Get(), folder.Path(L"parent\\destination"),
                                            OverwriteMode::kDelete, nullptr);
    }
};

TEST_F(ArchiveExtractCallbackNextToFiles, DeletesTheParentOfTheDestinationForAFileNamedTwoDots) {
    AddFile(0, L"..");

    EXPECT_TRUE(FAILED(GetStream(0)));

    EXPECT_FALSE(stream);
    EXPECT_EQ((Tree{{L"outside.txt", "old"},
                    {L"parent", "(a folder)"},
                    {L"parent\\destination", "(a folder)"}}),
              TreeContent(folder.Path()));
}

TEST_F(ArchiveExtractCallbackNextToFiles, EmptiesTheDestinationForAFileNamedWithADot) {
    AddFile(0, L".");

    EXPECT_TRUE(FAILED(GetStream(0)));

    EXPECT_FALSE(stream);
    EXPECT_EQ((Tree{{L"outside.txt", "old"},
                    {L"parent", "(a folder)"},
                    {L"parent\\beside.txt", "old"},
                    {L"parent\\destination", "(a folder)"}}),
              TreeContent(folder.Path()));
}

using FakeDelete = FakeApi<"SHFileOperationW", decltype(::SHFileOperationW)>;

TEST_F(ArchiveExtractCallback, ReturnsTheLastErrorOfAFailedDelete) {
    Start();
    WriteFileContent(folder.Path(L"a.inf"), "old");
    AddFile(0, L"a.inf");
    const FakeDelete fake([](auto) {
        ::SetLastError(ERROR_SHARING_VIOLATION);
        return 0x7C;
    });

    EXPECT_EQ(static_cast<HRESULT>(0x80070020), GetStream(0));

    EXPECT_FALSE(stream);
    EXPECT_EQ((Tree{{L"a.inf", "old"}}), TreeContent(folder.Path()));
}

TEST_F(ArchiveExtractCallback, ReturnsTheShellsCodeForAFailedDeleteThatSetsNoLastError) {
    Start();
    WriteFileContent(folder.Path(L"a.inf"), "old");
    AddFile(0, L"a.inf");
    const FakeDelete fake([](auto) { return 5; });
    ::SetLastError(0);

    EXPECT_EQ(static_cast<HRESULT>(0x80070005), GetStream(0));

    EXPECT_FALSE(stream);
    EXPECT_EQ(L"", callback.Get()->absolutePath);
}

TEST_F(ArchiveExtractCallback, WritesOverAFileThatTheShellOnlyClaimsToHaveDeleted) {
    Start();
    WriteFileContent(folder.Path(L"a.inf"), "old content");
    AddFile(0, L"a.inf");
    const FakeDelete fake([](auto) { return 0; });

    EXPECT_EQ(S_OK, Extract(0));

    EXPECT_EQ((Tree{{L"a.inf", "new"}}), TreeContent(folder.Path()));
}

TEST_F(ArchiveExtractCallback, SkipsAnExistingFileInModeTwo) {
    Start(static_cast<OverwriteMode>(2));
    WriteFileContent(folder.Path(L"a.inf"), "old");
    AddFile(0, L"a.inf");

    EXPECT_EQ(S_OK, GetStream(0));

    EXPECT_FALSE(stream);
    EXPECT_EQ(L"", callback.Get()->absolutePath);
    EXPECT_EQ((Tree{{L"a.inf", "old"}}), TreeContent(folder.Path()));
}

// The names of the files in the folder, keyed by their contents.
std::map<std::string, std::wstring> NamesByContent(const TemporaryFolder& folder) {
    std::map<std::string, std::wstring> names;
    for (const auto& [name, content] : TreeContent(folder.Path())) names[content] = name;
    return names;
}

constexpr const char* kStampedName = R"(a~\d\d\d\d\d\d\d\d-\d\d\d\d\d\d\.inf)";

std::string Narrow(const std::wstring& text) {
    std::string narrow;
    for (const wchar_t character : text) narrow += static_cast<char>(character);
    return narrow;
}

TEST_F(ArchiveExtractCallback, WritesUnderAUniqueNameInModeThree) {
    Start(static_cast<OverwriteMode>(3));
    WriteFileContent(folder.Path(L"a.inf"), "old");
    AddFile(0, L"a.inf");

    EXPECT_EQ(S_OK, Extract(0));

    auto names = NamesByContent(folder);
    EXPECT_EQ(2u, names.size());
    EXPECT_EQ(L"a.inf", names["old"]);
    EXPECT_THAT(Narrow(names["new"]), testing::MatchesRegex(kStampedName));
}

TEST_F(ArchiveExtractCallback, ReportsTheFileUnderItsUniqueName) {
    NiceMock<MockProgress> progress;
    Start(static_cast<OverwriteMode>(3), &progress);
    WriteFileContent(folder.Path(L"a.inf"), "old");
    AddFile(0, L"a.inf");
    std::wstring reported;
    EXPECT_CALL(progress, OnFileDone(_, _)).WillOnce(testing::SaveArg<0>(&reported));

    EXPECT_EQ(S_OK, Extract(0));

    EXPECT_EQ(folder.Path(NamesByContent(folder)["new"]), reported);
}

TEST_F(ArchiveExtractCallback, RenamesTheExistingFileInModeFour) {
    Start(static_cast<OverwriteMode>(4));
    WriteFileContent(folder.Path(L"a.inf"), "old");
    AddFile(0, L"a.inf");

    EXPECT_EQ(S_OK, Extract(0));

    auto names = NamesByContent(folder);
    EXPECT_EQ(2u, names.size());
    EXPECT_EQ(L"a.inf", names["new"]);
    EXPECT_THAT(Narrow(names["old"]), testing::MatchesRegex(kStampedName));
}

using FakeMove = FakeApi<"MoveFileExW", decltype(::MoveFileExW)>;

TEST_F(ArchiveExtractCallback, TriesOneRenameInModeFourAndReturnsItsLastError) {
    Start(static_cast<OverwriteMode>(4));
    WriteFileContent(folder.Path(L"a.inf"), "old");
    AddFile(0, L"a.inf");
    int tries = 0;
    const FakeMove fake([&](auto...) {
        ++tries;
        ::SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    });

    EXPECT_EQ(static_cast<HRESULT>(0x80070005), GetStream(0));

    EXPECT_EQ(1, tries);
    EXPECT_FALSE(stream);
    EXPECT_EQ((Tree{{L"a.inf", "old"}}), TreeContent(folder.Path()));
}

TEST_F(ArchiveExtractCallback, BacksUpTheExistingFileInModeFive) {
    Start(static_cast<OverwriteMode>(5));
    WriteFileContent(folder.Path(L"a.inf"), "old");
    AddFile(0, L"a.inf");

    EXPECT_EQ(S_OK, Extract(0));

    auto names = NamesByContent(folder);
    EXPECT_EQ(L"a.inf", names["new"]);
    EXPECT_THAT(Narrow(names["old"]), testing::MatchesRegex(kStampedName));
    EXPECT_EQ((std::vector<Replacement>{{folder.Path(L"a.inf"), folder.Path(names["old"])}}),
              callback.Get()->pendingReplacements);
}

TEST_F(ArchiveExtractCallback, RecordsANewFileWithoutABackupInModeFive) {
    Start(static_cast<OverwriteMode>(5));
    AddFile(0, L"a.inf");

    EXPECT_EQ(S_OK, Extract(0));

    EXPECT_EQ((std::vector<Replacement>{{folder.Path(L"a.inf"), L""}}),
              callback.Get()->pendingReplacements);
}

TEST_F(ArchiveExtractCallback, RepeatsTheMoveInModeFiveUntilItSucceeds) {
    Start(static_cast<OverwriteMode>(5));
    WriteFileContent(folder.Path(L"a.inf"), "old");
    AddFile(0, L"a.inf");
    int failures = 500;
    const FakeMove fake([&](const wchar_t* from, const wchar_t* to, DWORD flags) {
        return failures-- > 0 ? FALSE : fake.Real(from, to, flags);
    });

    EXPECT_EQ(S_OK, Extract(0));

    EXPECT_EQ("new", FileContent(folder.Path(L"a.inf")));
}

TEST_F(ArchiveExtractCallback, RecordsNothingInTheOtherModes) {
    Start(static_cast<OverwriteMode>(4));
    WriteFileContent(folder.Path(L"a.inf"), "old");
    AddFile(0, L"a.inf");
    AddFile(1, L"b.inf");

    EXPECT_EQ(S_OK, Extract(0));
    EXPECT_EQ(S_OK, Extract(1));

    EXPECT_THAT(callback.Get()->pendingReplacements, IsEmpty());
}

class ArchiveExtractCallbackInUnknownMode : public ArchiveExtractCallback,
                                            public testing::WithParamInterface<unsigned> {};

TEST_P(ArchiveExtractCallbackInUnknownMode, ReturnsThePlainCode80ForAnExistingFile) {
    Start(static_cast<OverwriteMode>(GetParam()));
    WriteFileContent(folder.Path(L"a.inf"), "old");
    AddFile(0, L"a.inf");

    EXPECT_EQ(80, GetStream(0));

    EXPECT_FALSE(stream);
    EXPECT_EQ((Tree{{L"a.inf", "old"}}), TreeContent(folder.Path()));
}

TEST_P(ArchiveExtractCallbackInUnknownMode, WritesANewFile) {
    Start(static_cast<OverwriteMode>(GetParam()));
    AddFile(0, L"a.inf");

    EXPECT_EQ(S_OK, Extract(0));

    EXPECT_EQ((Tree{{L"a.inf", "new"}}), TreeContent(folder.Path()));
}

INSTANTIATE_TEST_SUITE_P(, ArchiveExtractCallbackInUnknownMode,
                         testing::Values(0u, 6u, 0xFFFFFFFFu));

// ---- after an item is written

FILETIME ModifiedTime(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    ::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data);
    return data.ftLastWriteTime;
}

TEST_F(ArchiveExtractCallback, SetsTheTimeAndAttributesOfAFile) {
    Start();
    AddFile(0, L"a.inf");
    archive.Get()->Set(0, kpidMTime, Time(kNewYear2010));
    archive.Get()->Set(0, kpidAttrib, Number(VT_UI4, 0x81248021));

    EXPECT_EQ(S_OK, Extract(0));

    const FILETIME expected = FileTime(kNewYear2010);
    const FILETIME modified = ModifiedTime(folder.Path(L"a.inf"));
    EXPECT_EQ(0, ::CompareFileTime(&expected, &modified));
    EXPECT_EQ(0x21u, ::GetFileAttributesW(folder.Path(L"a.inf").c_str()));
}

struct StampedTimes {
    bool created;
    bool accessed;
    bool modified;
};

class ArchiveExtractCallbackTimes : public ArchiveExtractCallback,
                                    public testing::WithParamInterface<StampedTimes> {};

TEST_P(ArchiveExtractCallbackTimes, AreSetWhereTheArchiveStoresThem) {
    Start();
    AddFile(0, L"a.inf");
    const StampedTimes row = GetParam();
    if (row.created) archive.Get()->Set(0, kpidCTime, Time(1));
    if (row.accessed) archive.Get()->Set(0, kpidATime, Time(2));
    if (row.modified) archive.Get()->Set(0, kpidMTime, Time(3));
    constexpr DWORD kNull = 99;
    std::vector<DWORD> set;
    const FakeApi<"SetFileTime", decltype(::SetFileTime)> fake(
        [&](auto, const FILETIME* created, const FILETIME* accessed, const FILETIME* modified) {
            for (const FILETIME* time : {created, accessed, modified}) {
                set.push_back(time == nullptr ? kNull : time->dwLowDateTime);
            }
            return TRUE;
        });

    EXPECT_EQ(S_OK, Extract(0));

    EXPECT_EQ((std::vector<DWORD>{row.created ? 1 : kNull, row.accessed ? 2 : kNull,
                                  row.modified ? 3 : kNull}),
              set);
}

INSTANTIATE_TEST_SUITE_P(, ArchiveExtractCallbackTimes,
                         testing::Values(StampedTimes{true, true, true},
                                         StampedTimes{true, false, false},
                                         StampedTimes{false, true, false},
                                         StampedTimes{false, false, true}));

using FakeCreateFile = FakeApi<"CreateFileW", decltype(::CreateFileW)>;

TEST_F(ArchiveExtractCallback, OpensAFileSharedForReadingToSetItsTimes) {
    Start();
    AddFile(0, L"a.inf");
    archive.Get()->Set(0, kpidATime, Time(kNewYear2010));
    ASSERT_EQ(S_OK, GetStream(0));
    stream.Reset();
    std::wstring path;
    std::vector<DWORD> numbers;
    const FakeCreateFile fake([&](const wchar_t* name, DWORD access, DWORD share, auto security,
                                  DWORD disposition, DWORD flags, HANDLE pattern) {
        path = name;
        numbers = {access, share, disposition, flags};
        EXPECT_EQ(nullptr, security);
        EXPECT_EQ(nullptr, pattern);
        return INVALID_HANDLE_VALUE;
    });

    EXPECT_EQ(S_OK, callback.Get()->SetOperationResult(kOk));

    EXPECT_EQ(folder.Path(L"a.inf"), path);
    EXPECT_EQ((std::vector<DWORD>{0x40000000, 1, 3, 0x80}), numbers);
}

// Windows does not open a read-only file for writing. Wine does, for an administrator.
TEST_F(ArchiveExtractCallback, SetsTheTimesOfAReadOnlyFileToo) {
    Start();
    AddFile(0, L"a.inf");
    archive.Get()->Set(0, kpidMTime, Time(kNewYear2010));
    archive.Get()->Set(0, kpidAttrib, Number(VT_UI4, FILE_ATTRIBUTE_READONLY));
    const FakeCreateFile fake([&](const wchar_t* path, auto... arguments) {
        const bool isReadOnly = (::GetFileAttributesW(path) & FILE_ATTRIBUTE_READONLY) != 0;
        return isReadOnly ? INVALID_HANDLE_VALUE : fake.Real(path, arguments...);
    });

    EXPECT_EQ(S_OK, Extract(0));

    const FILETIME expected = FileTime(kNewYear2010);
    const FILETIME modified = ModifiedTime(folder.Path(L"a.inf"));
    EXPECT_EQ(0, ::CompareFileTime(&expected, &modified));
    EXPECT_NE(0u, ::GetFileAttributesW(folder.Path(L"a.inf").c_str()) & FILE_ATTRIBUTE_READONLY);
}

TEST_F(ArchiveExtractCallback, SetsTheAttributesOfAFileAfterItsTimes) {
    Start();
    AddFile(0, L"a.inf");
    archive.Get()->Set(0, kpidATime, Time(kNewYear2010));
    archive.Get()->Set(0, kpidAttrib, Number(VT_UI4, FILE_ATTRIBUTE_READONLY));
    std::vector<std::string> calls;
    const FakeApi<"SetFileTime", decltype(::SetFileTime)> times([&](auto...) {
        calls.emplace_back("times");
        return TRUE;
    });
    const FakeApi<"SetFileAttributesW", decltype(::SetFileAttributesW)> attributes([&](auto...) {
        calls.emplace_back("attributes");
        return TRUE;
    });

    EXPECT_EQ(S_OK, Extract(0));

    EXPECT_THAT(calls, testing::ElementsAre("times", "attributes"));
}

TEST_F(ArchiveExtractCallback, IgnoresTimesThatCannotBeSet) {
    NiceMock<MockProgress> progress;
    Start(OverwriteMode::kDelete, &progress);
    AddFile(0, L"a.inf");
    archive.Get()->Set(0, kpidMTime, Time(kNewYear2010));
    archive.Get()->Set(0, kpidAttrib, Number(VT_UI4, FILE_ATTRIBUTE_READONLY));
    const FakeCreateFile fake([](auto...) { return INVALID_HANDLE_VALUE; });
    const FakeApi<"SetFileTime", decltype(::SetFileTime)> noTimes([](auto...) {
        ADD_FAILURE() << "there is no file to set the times of";
        return FALSE;
    });
    EXPECT_CALL(progress, OnFileDone(folder.Path(L"a.inf"), _));

    EXPECT_EQ(S_OK, Extract(0));

    EXPECT_EQ(DWORD{FILE_ATTRIBUTE_READONLY},
              ::GetFileAttributesW(folder.Path(L"a.inf").c_str()) & FILE_ATTRIBUTE_READONLY);
}

TEST_F(ArchiveExtractCallback, DoesNotReopenAFileWithoutTimes) {
    Start();
    AddFile(0, L"a.inf");
    int opened = 0;
    const FakeCreateFile fake([&](auto...) {
        ++opened;
        return INVALID_HANDLE_VALUE;
    });

    EXPECT_EQ(S_OK, Extract(0));

    EXPECT_EQ(0, opened);
}

TEST_F(ArchiveExtractCallback, ClosesTheFileAfterSettingItsTimes) {
    Start();
    AddFile(0, L"a.inf");
    archive.Get()->Set(0, kpidMTime, Time(kNewYear2010));

    EXPECT_EQ(S_OK, Extract(0));

    EXPECT_TRUE(::DeleteFileW(folder.Path(L"a.inf").c_str()));
}

TEST_F(ArchiveExtractCallback, PassesAllAttributeBitsToWindows) {
    Start();
    AddFile(0, L"a.inf");
    archive.Get()->Set(0, kpidAttrib, Number(VT_UI4, 0x81248021));
    DWORD set = 0;
    const FakeApi<"SetFileAttributesW", decltype(::SetFileAttributesW)> fake(
        [&](auto, DWORD attributes) {
            set = attributes;
            return FALSE;
        });

    EXPECT_EQ(S_OK, Extract(0));

    EXPECT_EQ(0x81248021u, set);
}

TEST_F(ArchiveExtractCallback, LeavesTheAttributesAloneWhenTheArchiveStoresNone) {
    Start();
    AddFile(0, L"a.inf");
    const FakeApi<"SetFileAttributesW", decltype(::SetFileAttributesW)> fake([](auto...) {
        ADD_FAILURE() << "there are no attributes to set";
        return FALSE;
    });

    EXPECT_EQ(S_OK, Extract(0));
}

TEST_F(ArchiveExtractCallback, ReportsAWrittenFileTwice) {
    StrictMock<MockProgress> progress;
    Start(OverwriteMode::kDelete, &progress);
    AddFile(0, L"a.inf");
    archive.Get()->Set(0, kpidSize, Number(VT_UI8, 0x1'0000'0003));
    const InSequence inOrder;
    EXPECT_CALL(progress, ShouldExtract(_, _, _));
    EXPECT_CALL(progress, OnFileWritten(folder.Path(L"a.inf"), 0x1'0000'0003));
    EXPECT_CALL(progress, OnFileDone(folder.Path(L"a.inf"), 0x1'0000'0003));

    EXPECT_EQ(S_OK, Extract(0));
}

TEST_F(ArchiveExtractCallback, FailsWhenTheProgressObjectRefusesAWrittenFile) {
    NiceMock<MockProgress> progress;
    Start(OverwriteMode::kDelete, &progress);
    AddFile(0, L"a.inf");
    EXPECT_CALL(progress, OnFileWritten(_, _)).WillOnce(Return(false));
    EXPECT_CALL(progress, OnFileDone(_, _)).Times(0);

    EXPECT_EQ(E_FAIL, Extract(0));
}

class ArchiveExtractCallbackWithoutRollback : public ArchiveExtractCallback,
                                              public testing::WithParamInterface<unsigned> {};

TEST_P(ArchiveExtractCallbackWithoutRollback, TreatsADamagedFileLikeAnIntactOne) {
    NiceMock<MockProgress> progress;
    Start(static_cast<OverwriteMode>(GetParam()), &progress);
    AddFile(0, L"a.inf");
    archive.Get()->Set(0, kpidAttrib, Number(VT_UI4, FILE_ATTRIBUTE_READONLY));
    EXPECT_CALL(progress, OnFileWritten(folder.Path(L"a.inf"), _)).WillOnce(Return(true));
    EXPECT_CALL(progress, OnFileDone(folder.Path(L"a.inf"), _));
    EXPECT_CALL(progress, OnRollback(_)).Times(0);

    EXPECT_EQ(S_OK, Extract(0, kDataError));

    EXPECT_EQ(DWORD{FILE_ATTRIBUTE_READONLY},
              ::GetFileAttributesW(folder.Path(L"a.inf").c_str()) & FILE_ATTRIBUTE_READONLY);
}

INSTANTIATE_TEST_SUITE_P(, ArchiveExtractCallbackWithoutRollback,
                         testing::Values(1u, 2u, 3u, 4u, 6u));

TEST_F(ArchiveExtractCallback, ReportsTheDestinationForAFolder) {
    NiceMock<MockProgress> progress;
    Start(OverwriteMode::kDelete, &progress);
    AddFolder(0, L"usb");
    EXPECT_CALL(progress, OnArchiveDone(folder.Path() + L"\\"));
    EXPECT_CALL(progress, OnFileWritten(_, _)).Times(0);
    ASSERT_EQ(S_OK, GetStream(0));

    EXPECT_EQ(S_OK, callback.Get()->SetOperationResult(kOk));
}

TEST_F(ArchiveExtractCallback, FinishesAFolderWithoutAProgressObject) {
    Start();
    AddFolder(0, L"usb");
    ASSERT_EQ(S_OK, GetStream(0));

    EXPECT_EQ(S_OK, callback.Get()->SetOperationResult(kOk));
}

// An item for which no file is written, after one for which a file is.
struct FilelessItem {
    const char* name;
    void (*put)(FakeArchive& archive);
    Int32 askMode;
};

class ArchiveExtractCallbackAfterAFile : public ArchiveExtractCallback,
                                         public testing::WithParamInterface<FilelessItem> {};

TEST_P(ArchiveExtractCallbackAfterAFile, LeavesThatFileAloneForAnItemWithoutAFile) {
    NiceMock<MockProgress> progress;
    Start(OverwriteMode::kSkip, &progress);
    WriteFileContent(folder.Path(L"there.inf"), "old");
    AddFile(0, L"a.inf");
    GetParam().put(*archive.Get());
    archive.Get()->Set(1, kpidAttrib, Number(VT_UI4, FILE_ATTRIBUTE_READONLY));
    ASSERT_EQ(S_OK, Extract(0));
    EXPECT_CALL(progress, OnFileWritten(_, _)).Times(0);
    EXPECT_CALL(progress, OnArchiveDone(folder.Path() + L"\\"));
    ASSERT_EQ(S_OK, GetStream(1, GetParam().askMode));

    EXPECT_EQ(S_OK, callback.Get()->SetOperationResult(kOk));

    EXPECT_EQ(0u, ::GetFileAttributesW(folder.Path(L"a.inf").c_str()) & FILE_ATTRIBUTE_READONLY);
}

INSTANTIATE_TEST_SUITE_P(
    , ArchiveExtractCallbackAfterAFile,
    testing::Values(
        FilelessItem{"AFolder",
                     [](FakeArchive& archive) {
                         archive.Set(1, kpidPath, Text(L"usb"));
                         archive.Set(1, kpidIsDir, Flag(true));
                     },
                     kExtract},
        FilelessItem{"AnEmptyName",
                     [](FakeArchive& archive) { archive.Set(1, kpidPath, Text(L"")); }, kExtract},
        FilelessItem{"ASkippedFile",
                     [](FakeArchive& archive) { archive.Set(1, kpidPath, Text(L"there.inf")); },
                     kExtract},
        FilelessItem{"ATestedFile",
                     [](FakeArchive& archive) { archive.Set(1, kpidPath, Text(L"b.inf")); },
                     kTest}),
    [](const auto& row) { return row.param.name; });

// ---- rollback

TEST_F(ArchiveExtractCallback, RestoresAllReplacedFilesWhenAnItemIsDamagedInModeFive) {
    Start(OverwriteMode::kRollBack);
    WriteFileContent(folder.Path(L"a.inf"), "old a");
    WriteFileContent(folder.Path(L"b.inf"), "old b");
    AddFile(0, L"a.inf");
    AddFile(1, L"new.inf");
    AddFile(2, L"b.inf");
    ASSERT_EQ(S_OK, Extract(0));
    ASSERT_EQ(S_OK, Extract(1));

    EXPECT_EQ(E_FAIL, Extract(2, kDataError));

    EXPECT_EQ((Tree{{L"a.inf", "old a"}, {L"b.inf", "old b"}}), TreeContent(folder.Path()));
}

TEST_F(ArchiveExtractCallback, ReportsEachReplacementBeforeItIsRolledBack) {
    NiceMock<MockProgress> progress;
    Start(OverwriteMode::kRollBack, &progress);
    AddFile(0, L"a.inf");
    AddFile(1, L"b.inf");
    ASSERT_EQ(S_OK, Extract(0));
    const InSequence inOrder;
    EXPECT_CALL(progress, OnRollback(Replacement(folder.Path(L"a.inf"), L""))).WillOnce([&] {
        EXPECT_EQ((Tree{{L"a.inf", "new"}, {L"b.inf", "new"}}), TreeContent(folder.Path()));
    });
    EXPECT_CALL(progress, OnRollback(Replacement(folder.Path(L"b.inf"), L""))).WillOnce([&] {
        EXPECT_EQ((Tree{{L"b.inf", "new"}}), TreeContent(folder.Path()));
    });

    EXPECT_EQ(E_FAIL, Extract(1, kDataError));

    EXPECT_EQ(Tree{}, TreeContent(folder.Path()));
}

TEST_F(ArchiveExtractCallback, ContinuesTheRollbackWhenAFileCannotBeRestored) {
    Start(OverwriteMode::kRollBack);
    WriteFileContent(folder.Path(L"a.inf"), "old a");
    WriteFileContent(folder.Path(L"b.inf"), "old b");
    AddFile(0, L"a.inf");
    AddFile(1, L"b.inf");
    ASSERT_EQ(S_OK, Extract(0));
    ::DeleteFileW(callback.Get()->pendingReplacements.front().second.c_str());

    EXPECT_EQ(E_FAIL, Extract(1, kDataError));

    EXPECT_EQ("old b", FileContent(folder.Path(L"b.inf")));
}

TEST_F(ArchiveExtractCallback, FailsForADamagedItemInModeFiveWithNothingToRollBack) {
    StrictMock<MockProgress> progress;
    Start(OverwriteMode::kRollBack, &progress);

    EXPECT_EQ(E_FAIL, callback.Get()->SetOperationResult(kDataError));
}

// A handler ends the extraction then and reports no result for the item.
TEST_F(ArchiveExtractCallback, RollsNothingBackInModeFiveWhenAFileCannotBeCreated) {
    NiceMock<MockProgress> progress;
    Start(OverwriteMode::kRollBack, &progress);
    WriteFileContent(folder.Path(L"a.inf"), "old");
    WriteFileContent(folder.Path(L"usb"), "a file");
    AddFile(0, L"a.inf");
    AddFile(1, L"usb\\x64\\b.inf");
    EXPECT_CALL(progress, OnRollback(_)).Times(0);
    ASSERT_EQ(S_OK, Extract(0));

    EXPECT_EQ(0x65F, GetStream(1));
    callback.Reset();

    auto names = NamesByContent(folder);
    EXPECT_EQ(3u, names.size());
    EXPECT_EQ(L"a.inf", names["new"]);
    EXPECT_THAT(Narrow(names["old"]), testing::MatchesRegex(kStampedName));
}

TEST_F(ArchiveExtractCallback, RollsBackOnAnyResultButSuccess) {
    Start(OverwriteMode::kRollBack);
    AddFile(0, L"a.inf");

    EXPECT_EQ(E_FAIL, Extract(0, kUnsupportedMethod));

    EXPECT_EQ(Tree{}, TreeContent(folder.Path()));
}

// An extraction by 7-Zip's own handlers that makes room for files but cannot create the second one.
class ArchiveExtractCallbackOf : public testing::TestWithParam<const char*> {};

TEST_P(ArchiveExtractCallbackOf, RollsNothingBackInModeFiveWhenAFileCannotBeCreated) {
    class Extractor : public SevenZipExtractor {
    public:
        Extractor() { overwriteMode = OverwriteMode::kRollBack; }
    } extractor;
    const TemporaryFolder folder;
    NiceMock<MockProgress> progress;
    int streams = 0;
    const FakeApi<"SHCreateStreamOnFileEx", decltype(::SHCreateStreamOnFileEx)> fake(
        [&](const wchar_t* path, DWORD mode, DWORD attributes, BOOL create, IStream* pattern,
            IStream** stream) {
            if (create && ++streams > 1) {
                ::SetLastError(ERROR_WRITE_PROTECT);
                return E_FAIL;
            }
            return fake.Real(path, mode, attributes, create, pattern, stream);
        });
    (void)extractor.SetArchivePath(TestArchive(GetParam()));
    std::wstring written;
    EXPECT_CALL(progress, OnFileDone(_, _)).WillOnce(testing::SaveArg<0>(&written));
    EXPECT_CALL(progress, OnRollback(_)).Times(0);

    EXPECT_EQ(static_cast<std::int32_t>(0x80070013), extractor.ExtractTo(folder.Path(), &progress));

    EXPECT_TRUE(Exists(written));
}

INSTANTIATE_TEST_SUITE_P(, ArchiveExtractCallbackOf,
                         testing::Values("drivers.7z", "separate.7z", "deflate.zip", "stored.cab"));

}  // namespace
