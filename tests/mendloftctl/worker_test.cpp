#include "mendloftctl/worker.h"

#include <windows.h>
#include <shellapi.h>

#include <gtest/gtest.h>

#include "common/text.h"
#include "platform/unique_handle.h"

namespace {

using ctl::ParseWorkerArguments;
using ctl::WorkerTask;
using tools::ToUtf8;

// Splits a command line as the worker receives it.
std::vector<std::string> Split(const std::wstring& arguments) {
    int count = 0;
    const UniqueLocal<wchar_t*> words(
        ::CommandLineToArgvW((L"program " + arguments).c_str(), &count));
    std::vector<std::string> split;
    for (int index = 1; index < count; ++index) split.push_back(ToUtf8(words.Get()[index]));
    return split;
}

class WorkerArguments : public testing::Test {
protected:
    static std::optional<WorkerTask> RoundTrip(const WorkerTask& task) {
        return ParseWorkerArguments(Split(ctl::WorkerArguments(task)));
    }
};

TEST_F(WorkerArguments, CarryTheWholeTask) {
    const auto task = RoundTrip({.library = L"C:\\a b\\\u4e2d.dll",
                                 .function = "SetUpUSBDriver",
                                 .argument = -5,
                                 .temporaryDirectory = L"C:\\Temp\\x y",
                                 .answer = reinterpret_cast<HANDLE>(std::uintptr_t{0x1234})});

    ASSERT_TRUE(task.has_value());
    EXPECT_EQ(L"C:\\a b\\\u4e2d.dll", task->library);
    EXPECT_EQ("SetUpUSBDriver", task->function);
    EXPECT_EQ(-5, task->argument);
    EXPECT_EQ(L"C:\\Temp\\x y", task->temporaryDirectory);
    EXPECT_EQ(reinterpret_cast<HANDLE>(std::uintptr_t{0x1234}), task->answer);
}

TEST_F(WorkerArguments, CarryNoTemporaryDirectory) {
    const auto task =
        RoundTrip({.library = L"C:\\a.dll", .function = "AMDPortTest", .temporaryDirectory = L""});

    ASSERT_TRUE(task.has_value());
    EXPECT_EQ(L"", task->temporaryDirectory);
}

TEST_F(WorkerArguments, CarryAPathWithABackslashAtItsEnd) {
    const auto task =
        RoundTrip({.library = L"C:\\a b\\", .function = "f", .temporaryDirectory = L"C:\\"});

    ASSERT_TRUE(task.has_value());
    EXPECT_EQ(L"C:\\a b\\", task->library);
    EXPECT_EQ(L"C:\\", task->temporaryDirectory);
}

TEST_F(WorkerArguments, AreRefusedFromOtherCommands) {
    EXPECT_FALSE(ParseWorkerArguments({"repair"}).has_value());
    EXPECT_FALSE(ParseWorkerArguments({"repair", "f", "1", "2", "a.dll", ""}).has_value());
}

TEST_F(WorkerArguments, AreRefusedWithoutNumbers) {
    EXPECT_FALSE(ParseWorkerArguments({"worker", "f", "1x", "2", "a.dll", ""}).has_value());
    EXPECT_FALSE(ParseWorkerArguments({"worker", "f", "1", "", "a.dll", ""}).has_value());
}

}  // namespace
