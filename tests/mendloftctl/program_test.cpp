#include "mendloftctl/program.h"

#include <windows.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "finished_program.h"
#include "support/fake_api.h"

namespace {

using Json = nlohmann::json;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// The program in the test's own process, where system calls can be faked.
class ProgramTest : public testing::Test {
protected:
    int Run(const std::vector<std::string>& arguments) {
        return ctl::RunProgram(arguments,
                               {.program = MendloftCtl(),
                                .printResult = [this](std::string_view text) { result += text; },
                                .printNote = [this](std::string_view text) { notes += text; }});
    }

    std::string result;
    std::string notes;
};

class NotElevatedTest : public ProgramTest {
    FakeApi<"CheckTokenMembership", decltype(::CheckTokenMembership)> notAdministrator{
        [](HANDLE, PSID, BOOL* isMember) {
            *isMember = FALSE;
            return TRUE;
        }};
};

TEST_F(NotElevatedTest, IsToldWhatToDo) {
    EXPECT_EQ(3, Run({"repair"}));

    EXPECT_EQ("", result);
    EXPECT_EQ(
        "mendloftctl: Administrator rights are needed: start it from a command prompt that was "
        "opened with \"Run as administrator\".\n",
        notes);
}

TEST_F(NotElevatedTest, IsReportedAsJsonToo) {
    EXPECT_EQ(3, Run({"setup", "usb", "--remove", "--json"}));

    EXPECT_EQ(3, Json::parse(result)["status"]);
    EXPECT_EQ("setup usb --remove", Json::parse(result)["command"]);
    EXPECT_FALSE(Json::parse(result)["success"]);
}

TEST_F(NotElevatedTest, MayPlan) {
    EXPECT_EQ(0, Run({"repair", "--dry-run"}));
}

TEST_F(NotElevatedTest, MayDiagnose) {
    EXPECT_EQ(0, Run({"diagnose", "--json"}));

    EXPECT_FALSE(Json::parse(result)["elevated"]);
}

TEST_F(NotElevatedTest, MayTestAPort) {
    const Script script(L"return 1");

    EXPECT_EQ(0, Run({"port", "1", "--isolated", "--library",
                      std::filesystem::path(ScriptedLibrary()).string()}));
}

TEST_F(ProgramTest, NamesAMissingLibrary) {
    EXPECT_EQ(4, Run({"repair", "--library", "C:\\nowhere\\libmendloft.dll"}));

    EXPECT_THAT(notes, StartsWith("mendloftctl: There is no C:\\nowhere\\libmendloft.dll: "));
    EXPECT_THAT(notes, HasSubstr("--library"));
    EXPECT_EQ(1, std::ranges::count(notes, '\n'));
}

TEST_F(ProgramTest, DoesNotPlanWithoutADriverArchive) {
    EXPECT_EQ(4, Run({"repair", "--dry-run", "--library",
                      std::filesystem::path(ScriptedLibrary()).string()}));

    EXPECT_THAT(notes, HasSubstr("contains no readable driver archive"));
}

TEST_F(ProgramTest, MakesNoCallWithoutItsPrivateFolder) {
    const FakeApi<"CreateDirectoryW", decltype(::CreateDirectoryW)> refuse(
        [](const wchar_t*, SECURITY_ATTRIBUTES*) {
            ::SetLastError(ERROR_ACCESS_DENIED);
            return FALSE;
        });

    EXPECT_EQ(1, Run({"repair", "--isolated"}));

    EXPECT_THAT(notes,
                StartsWith("mendloftctl: Cannot create a private folder in C:\\windows\\Temp"));
    EXPECT_THAT(notes, HasSubstr("(error 5)"));
}

TEST_F(ProgramTest, ReportsAWrongArgumentInOneLine) {
    EXPECT_EQ(2, Run({"repair", "--fast"}));

    EXPECT_EQ("", result);
    EXPECT_THAT(notes, AllOf(StartsWith("mendloftctl: "), HasSubstr("--fast"),
                             EndsWith(" (see mendloftctl --help).\n")));
    EXPECT_EQ(notes.size() - 1, notes.find('\n'));
}

TEST_F(ProgramTest, PrintsItsHelpAsAResult) {
    EXPECT_EQ(0, Run({"--help"}));

    EXPECT_THAT(result, HasSubstr("diagnose"));
    EXPECT_THAT(notes, IsEmpty());
}

}  // namespace
