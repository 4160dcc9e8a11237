#include "support/fake_api.h"

#include <gtest/gtest.h>

namespace {

// Each call is in a function of its own: see the note on imports in fake_api.h.
[[gnu::noinline]] BOOL Delete(const wchar_t* path) {
    return ::DeleteFileW(path);
}

[[gnu::noinline]] BOOL Remove(const wchar_t* path) {
    return ::RemoveDirectoryW(path);
}

using FakeDelete = FakeApi<"DeleteFileW", decltype(::DeleteFileW)>;
using FakeRemove = FakeApi<"RemoveDirectoryW", decltype(::RemoveDirectoryW)>;

TEST(FakeApi, CatchesTheCallsOfItsModuleWhileItLives) {
    std::wstring seen;
    {
        const FakeDelete fake([&](const wchar_t* path) {
            seen = path;
            return TRUE;
        });

        EXPECT_TRUE(Delete(L"C:\\no such file"));
    }

    EXPECT_EQ(L"C:\\no such file", seen);
    EXPECT_FALSE(Delete(L"C:\\no such file"));
}

TEST(FakeApi, ReachesTheRealFunction) {
    const FakeDelete fake([](const wchar_t*) { return TRUE; });

    EXPECT_FALSE(fake.Real(L"C:\\no such file"));
}

TEST(FakeApi, KeepsFunctionsOfTheSameTypeApart) {
    const FakeDelete deleted([](const wchar_t*) { return 11; });
    const FakeRemove removed([](const wchar_t*) { return 22; });

    EXPECT_EQ(11, Delete(L""));
    EXPECT_EQ(22, Remove(L""));
}

TEST(FakeApi, NestsForTheSameFunction) {
    const FakeDelete outer([](const wchar_t*) { return 11; });
    {
        const FakeDelete inner([](const wchar_t*) { return 22; });
        EXPECT_EQ(22, Delete(L""));
    }

    EXPECT_EQ(11, Delete(L""));
}

TEST(FakeApi, ReachesTheOuterFakeAndThroughItTheRealFunction) {
    FakeDelete outer([&](const wchar_t* path) { return outer.Real(path) + 10; });
    FakeDelete inner([&](const wchar_t* path) { return inner.Real(path) + 100; });

    EXPECT_EQ(110, Delete(L"C:\\no such file"));
}

TEST(ImportPatch, RefusesAFunctionThatIsNotImported) {
    EXPECT_THROW(ImportPatch(::GetModuleHandleW(nullptr), "NoSuchFunction", nullptr),
                 std::logic_error);
}

}  // namespace
