#include "archive/file_system.h"

#include <windows.h>
#include <shellapi.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <gtest/gtest.h>

#include <ctime>
#include <vector>

#include "support/fake_api.h"
#include "support/import_patch.h"
#include "support/temporary_folder.h"

namespace {

using namespace SevenZip::intl;

using FakeDelete = FakeApi<"SHFileOperationW", decltype(::SHFileOperationW)>;
using FakeMove = FakeApi<"MoveFileExW", decltype(::MoveFileExW)>;
using FakeStreamOnFile = FakeApi<"SHCreateStreamOnFileEx", decltype(::SHCreateStreamOnFileEx)>;
using FakeCreateDirectory = FakeApi<"SHCreateDirectoryExW", decltype(::SHCreateDirectoryExW)>;

TEST(OpenFileForRead, ReadsAFile) {
    const TemporaryFolder folder;
    WriteFileContent(folder.Path(L"a.txt"), "content");

    const UniqueCom<IStream> stream = OpenFileForRead(folder.Path(L"a.txt"));

    char buffer[7]{};
    ULONG count = 0;
    ASSERT_TRUE(stream);
    EXPECT_EQ(S_OK, stream.Get()->Read(buffer, 7, &count));
    EXPECT_EQ("content", std::string(buffer, count));
}

TEST(OpenFileForRead, IsNullForAMissingFileAndCreatesNone) {
    const TemporaryFolder folder;

    EXPECT_FALSE(OpenFileForRead(folder.Path(L"a.txt")));

    EXPECT_EQ(2u, ::GetLastError());
    EXPECT_TRUE(TreeContent(folder.Path()).empty());
}

TEST(OpenFileForRead, OpensAnExistingFileForReading) {
    DWORD mode = 99;
    DWORD attributes = 99;
    BOOL create = TRUE;
    IStream* source = reinterpret_cast<IStream*>(1);
    const FakeStreamOnFile fake([&](auto, DWORD m, DWORD a, BOOL c, IStream* t, auto) {
        mode = m;
        attributes = a;
        create = c;
        source = t;
        return E_FAIL;
    });

    (void)OpenFileForRead(L"C:\\a.txt");

    EXPECT_EQ(0u, mode);
    EXPECT_EQ(0x80u, attributes);
    EXPECT_FALSE(create);
    EXPECT_EQ(nullptr, source);
}

TEST(CreateFileForWrite, CreatesANewFileForWriting) {
    DWORD mode = 99;
    DWORD attributes = 99;
    BOOL create = FALSE;
    IStream* source = reinterpret_cast<IStream*>(1);
    const FakeStreamOnFile fake([&](auto, DWORD m, DWORD a, BOOL c, IStream* t, auto) {
        mode = m;
        attributes = a;
        create = c;
        source = t;
        return E_FAIL;
    });

    (void)CreateFileForWrite(L"C:\\a.txt");

    EXPECT_EQ(0x1001u, mode);
    EXPECT_EQ(0x80u, attributes);
    EXPECT_TRUE(create);
    EXPECT_EQ(nullptr, source);
}

TEST(CreateFileForWrite, TruncatesAnExistingFile) {
    const TemporaryFolder folder;
    WriteFileContent(folder.Path(L"a.txt"), "content");

    EXPECT_TRUE(CreateFileForWrite(folder.Path(L"a.txt")));

    EXPECT_EQ("", FileContent(folder.Path(L"a.txt")));
}

TEST(CreateFileForWrite, IsNullAndSetsTheLastErrorWhenTheFolderIsMissing) {
    const TemporaryFolder folder;

    EXPECT_FALSE(CreateFileForWrite(folder.Path(L"missing\\a.txt")));

    EXPECT_EQ(3u, ::GetLastError());
}

TEST(CreateFileForWrite, SetsTheLastErrorToTheResultWhenWindowsSetsNone) {
    const FakeStreamOnFile fake([](auto...) { return STG_E_ACCESSDENIED; });
    ::SetLastError(1234);

    EXPECT_FALSE(CreateFileForWrite(L"C:\\a.txt"));

    EXPECT_EQ(static_cast<DWORD>(STG_E_ACCESSDENIED), ::GetLastError());
}

TEST(PathExists, IsTrueForFilesAndFoldersOnly) {
    const TemporaryFolder folder;
    WriteFileContent(folder.Path(L"a.txt"), "");

    EXPECT_TRUE(PathExists(folder.Path(L"a.txt")));
    EXPECT_TRUE(PathExists(folder.Path()));
    EXPECT_FALSE(PathExists(folder.Path(L"b.txt")));
}

TEST(DeletePath, DeletesAFile) {
    const TemporaryFolder folder;
    WriteFileContent(folder.Path(L"a.txt"), "content");

    EXPECT_TRUE(DeletePath(folder.Path(L"a.txt")));

    EXPECT_TRUE(TreeContent(folder.Path()).empty());
}

TEST(DeletePath, DeletesAFolderWithItsContents) {
    const TemporaryFolder folder;
    WriteFileContent(folder.Path(L"usb\\x64\\a.txt"), "content");

    EXPECT_TRUE(DeletePath(folder.Path(L"usb")));

    EXPECT_TRUE(TreeContent(folder.Path()).empty());
}

TEST(DeletePath, SucceedsForAMissingPathWithoutAskingTheShell) {
    const TemporaryFolder folder;
    const FakeDelete fake([](auto) { return 5; });

    EXPECT_TRUE(DeletePath(folder.Path(L"a.txt")));
}

TEST(DeletePath, RefusesAnEmptyPath) {
    ::SetLastError(0);

    EXPECT_FALSE(DeletePath(L""));

    EXPECT_NE(0u, ::GetLastError());
}

TEST(DeletePath, RefusesAPathOf261CharactersButNotOneOf260) {
    const std::wstring longest = L"C:\\" + std::wstring(257, L'x');
    ::SetLastError(0);

    EXPECT_TRUE(DeletePath(longest));
    EXPECT_FALSE(DeletePath(longest + L'x'));

    EXPECT_NE(0u, ::GetLastError());
}

TEST(DeletePath, AsksTheShellToDeleteOnePathSilently) {
    const TemporaryFolder folder;
    const std::wstring path = folder.Path(L"a.txt");
    WriteFileContent(path, "");
    alignas(void*) SHFILEOPSTRUCTW asked{};  // EXPECT_EQ needs aligned members
    std::wstring list;
    const FakeDelete fake([&](SHFILEOPSTRUCTW* operation) {
        asked = *operation;
        list.assign(operation->pFrom, path.size() + 2);
        return 0;
    });

    EXPECT_TRUE(DeletePath(path));

    EXPECT_EQ(3u, asked.wFunc);
    EXPECT_EQ(0x0414, asked.fFlags);
    EXPECT_EQ(path + std::wstring(2, L'\0'), list);
    EXPECT_EQ(nullptr, asked.pTo);
    EXPECT_EQ(nullptr, asked.hwnd);
}

TEST(DeletePath, SetsTheLastErrorToTheShellsCodeWhenWindowsSetsNone) {
    const TemporaryFolder folder;
    WriteFileContent(folder.Path(L"a.txt"), "");
    const FakeDelete fake([](auto) { return 0x7C; });
    ::SetLastError(1234);

    EXPECT_FALSE(DeletePath(folder.Path(L"a.txt")));

    EXPECT_EQ(0x7Cu, ::GetLastError());
}

TEST(DeletePath, KeepsTheLastErrorThatWindowsSets) {
    const TemporaryFolder folder;
    WriteFileContent(folder.Path(L"a.txt"), "");
    const FakeDelete fake([](auto) {
        ::SetLastError(ERROR_SHARING_VIOLATION);
        return 0x7C;
    });

    EXPECT_FALSE(DeletePath(folder.Path(L"a.txt")));

    EXPECT_EQ(32u, ::GetLastError());
}

TEST(RenamePath, ReplacesAnExistingFile) {
    const TemporaryFolder folder;
    WriteFileContent(folder.Path(L"a.txt"), "new");
    WriteFileContent(folder.Path(L"b.txt"), "old");

    EXPECT_TRUE(RenamePath(folder.Path(L"a.txt"), folder.Path(L"b.txt")));

    EXPECT_EQ((std::map<std::wstring, std::string>{{L"b.txt", "new"}}), TreeContent(folder.Path()));
}

TEST(RenamePath, TriesOnlyOnce) {
    int tries = 0;
    DWORD flags = 0;
    const FakeMove fake([&](auto, auto, DWORD given) {
        ++tries;
        flags = given;
        return FALSE;
    });

    EXPECT_FALSE(RenamePath(L"C:\\a", L"C:\\b"));

    EXPECT_EQ(1, tries);
    EXPECT_EQ(1u, flags);
}

TEST(MovePath, RepeatsTheSameMoveUntilItSucceeds) {
    std::vector<std::wstring> tries;
    const FakeMove fake([&](const wchar_t* from, const wchar_t* to, DWORD flags) {
        tries.push_back(std::wstring(from) + L" to " + to + L" " + std::to_wstring(flags));
        return tries.size() == 1'000;
    });

    EXPECT_TRUE(MovePath(L"C:\\a", L"C:\\b"));

    EXPECT_EQ(std::vector<std::wstring>(1'000, L"C:\\a to C:\\b 1"), tries);
}

TEST(MovePath, UsesNoMoreStackForManyRepetitions) {
    int left = 3'000'000;
    const FakeMove fake([&](auto...) { return --left == 0; });

    EXPECT_TRUE(MovePath(L"C:\\a", L"C:\\b"));
}

TEST(CreateDirectories, CreatesAFolderAndItsParents) {
    const TemporaryFolder folder;

    EXPECT_TRUE(CreateDirectories(folder.Path(L"usb\\x64")));

    EXPECT_TRUE(PathExists(folder.Path(L"usb\\x64")));
}

TEST(CreateDirectories, SucceedsForAnExistingFolder) {
    const TemporaryFolder folder;

    EXPECT_TRUE(CreateDirectories(folder.Path()));
}

TEST(CreateDirectories, FailsBelowAFile) {
    const TemporaryFolder folder;
    WriteFileContent(folder.Path(L"usb"), "");

    EXPECT_FALSE(CreateDirectories(folder.Path(L"usb\\x64")));
}

TEST(CreateDirectories, CallsTheShellWithoutAWindowOrSecurityAttributes) {
    HWND window = reinterpret_cast<HWND>(1);
    const SECURITY_ATTRIBUTES* security = reinterpret_cast<SECURITY_ATTRIBUTES*>(1);
    std::wstring path;
    const FakeCreateDirectory fake([&](HWND w, const wchar_t* p, const SECURITY_ATTRIBUTES* s) {
        window = w;
        path = p;
        security = s;
        return 0;
    });

    (void)CreateDirectories(L"C:\\usb");

    EXPECT_EQ(nullptr, window);
    EXPECT_EQ(L"C:\\usb", path);
    EXPECT_EQ(nullptr, security);
}

TEST(ParentDirectory, EndsBeforeTheLastSeparator) {
    EXPECT_EQ(L"C:\\usb", ParentDirectory(L"C:\\usb\\a.txt"));
    EXPECT_EQ(L"C:\\usb", ParentDirectory(L"C:\\usb/a.txt"));
    EXPECT_EQ(L"C:/usb", ParentDirectory(L"C:/usb\\"));
    EXPECT_EQ(L"", ParentDirectory(L"a.txt"));
}

TEST(CombinePath, JoinsWithOneBackslash) {
    EXPECT_EQ(L"C:\\usb\\a.txt", CombinePath(L"C:\\usb", L"a.txt"));
    EXPECT_EQ(L"C:\\usb\\a.txt", CombinePath(L"C:\\usb\\", L"a.txt"));
    EXPECT_EQ(L"C:/usb/a.txt", CombinePath(L"C:/usb/", L"a.txt"));
    EXPECT_EQ(L"a.txt", CombinePath(L"", L"a.txt"));
}

using Parts = std::pair<std::wstring, std::wstring>;

TEST(SplitExtension, SplitsAtTheLastDotOfTheLastElement) {
    EXPECT_EQ(Parts(L"C:\\usb\\a.b", L".inf"), SplitExtension(L"C:\\usb\\a.b.inf"));
    EXPECT_EQ(Parts(L"a", L"."), SplitExtension(L"a."));
    EXPECT_EQ(Parts(L"C:\\", L".inf"), SplitExtension(L"C:\\.inf"));
}

TEST(SplitExtension, IgnoresDotsInTheFoldersOfThePath) {
    EXPECT_EQ(Parts(L"C:\\usb.x64\\a", L""), SplitExtension(L"C:\\usb.x64\\a"));
    EXPECT_EQ(Parts(L"C:/usb.x64/a", L""), SplitExtension(L"C:/usb.x64/a"));
    EXPECT_EQ(Parts(L"a", L""), SplitExtension(L"a"));
    EXPECT_EQ(Parts(L"", L""), SplitExtension(L""));
}

// A clock that starts at 2026-11-15 14:28:37 and advances by a second every `readingsPerSecond`
// readings.
class FakeClock {
public:
    explicit FakeClock(int readingsPerSecond)
        : patch_(::GetModuleHandleW(nullptr), "_localtime64", reinterpret_cast<void*>(&LocalTime)) {
        readingsPerSecond_ = readingsPerSecond;
        readings_ = 0;
    }

    static int Readings() { return readings_; }

private:
    static std::tm* __cdecl LocalTime(const __time64_t*) {
        static std::tm time{};
        time = {};
        time.tm_year = 2026 - 1900;
        time.tm_mon = 10;
        time.tm_mday = 15;
        time.tm_hour = 14;
        time.tm_min = 28;
        time.tm_sec = 37 + readings_++ / readingsPerSecond_;
        return &time;
    }

    static inline int readingsPerSecond_ = 1;
    static inline int readings_ = 0;
    ImportPatch patch_;
};

TEST(MakeUniquePath, ReturnsAnUnusedPathAsItIs) {
    const TemporaryFolder folder;

    EXPECT_EQ(folder.Path(L"a.inf"), MakeUniquePath(folder.Path(L"a.inf")));
}

TEST(MakeUniquePath, InsertsYearDayMonthAndTimeBeforeTheExtension) {
    const TemporaryFolder folder;
    WriteFileContent(folder.Path(L"a.inf"), "");
    const FakeClock clock(1);

    EXPECT_EQ(folder.Path(L"a~20261511-142837.inf"), MakeUniquePath(folder.Path(L"a.inf")));
}

TEST(MakeUniquePath, AppendsTheTimeToANameWithoutAnExtension) {
    const TemporaryFolder folder;
    WriteFileContent(folder.Path(L"a"), "");
    const FakeClock clock(1);

    EXPECT_EQ(folder.Path(L"a~20261511-142837"), MakeUniquePath(folder.Path(L"a")));
}

TEST(MakeUniquePath, OmitsTheTimeWhenTheLocalTimeIsUnknown) {
    const TemporaryFolder folder;
    WriteFileContent(folder.Path(L"a.inf"), "");
    std::tm*(__cdecl* const noTime)(const __time64_t*) = [](const __time64_t*) -> std::tm* {
        return nullptr;
    };
    const ImportPatch patch(::GetModuleHandleW(nullptr), "_localtime64",
                            reinterpret_cast<void*>(noTime));

    EXPECT_EQ(folder.Path(L"a~.inf"), MakeUniquePath(folder.Path(L"a.inf")));
}

TEST(MakeUniquePath, RetriesUntilTheClockGivesAnUnusedName) {
    const TemporaryFolder folder;
    WriteFileContent(folder.Path(L"a.inf"), "");
    WriteFileContent(folder.Path(L"a~20261511-142837.inf"), "");
    const FakeClock clock(/*readingsPerSecond=*/50);

    EXPECT_EQ(folder.Path(L"a~20261511-142838.inf"), MakeUniquePath(folder.Path(L"a.inf")));

    EXPECT_EQ(51, FakeClock::Readings());
}

TEST(MakeUniquePath, UsesTheLocalTimeOfTheCall) {
    const TemporaryFolder folder;
    WriteFileContent(folder.Path(L"a.inf"), "");
    SYSTEMTIME before{};
    SYSTEMTIME after{};
    ::GetLocalTime(&before);
    const std::wstring path = MakeUniquePath(folder.Path(L"a.inf"));
    ::GetLocalTime(&after);

    const auto name = [&](const SYSTEMTIME& time) {
        wchar_t text[80]{};
        ::wsprintfW(text, L"a~%04d%02d%02d-%02d%02d%02d.inf", time.wYear, time.wDay, time.wMonth,
                    time.wHour, time.wMinute, time.wSecond);
        return folder.Path(text);
    };
    EXPECT_TRUE(path == name(before) || path == name(after)) << ::testing::PrintToString(path);
}

}  // namespace
