#include "inf_installer/inf_file.h"

#include "inf_installer/inf_test.h"

namespace {

using installer::MissingFile;
using installer::ReadInf;

// A 32-bit program, as the tool for 32-bit Windows is.
class MissingFileOf : public InfTest {
protected:
    // The missing file of a package whose INF file ends with `sections`.
    static std::wstring Find(const std::string& sections) {
        const std::wstring inf =
            WritePackage(L"stand_in.inf", "[Version]\r\nSignature=\"$Windows NT$\"\r\n" + sections);
        return MissingFile(*ReadInf(inf).inf);
    }
};

TEST_F(MissingFileOf, IsNoneWhereNoFileIsListed) {
    EXPECT_EQ(L"", Find(""));
}

TEST_F(MissingFileOf, IsNoneWhereAllAreThere) {
    EXPECT_EQ(L"",
              Find("[SourceDisksNames]\r\n1=disk\r\n[SourceDisksFiles]\r\nstand_in.sys=1\r\n"));
}

TEST_F(MissingFileOf, IsTheFirstThatIsNotThere) {
    EXPECT_EQ(Folder() + L"\\a.dll",
              Find("[SourceDisksNames]\r\n1=disk\r\n"
                   "[SourceDisksFiles]\r\nstand_in.sys=1\r\na.dll=1\r\nb.dll=1\r\n"));
}

TEST_F(MissingFileOf, IsLookedForInTheFolderOfItsMediumAndItsOwn) {
    EXPECT_EQ(Folder() + L"\\medium\\own\\stand_in.sys",
              Find("[SourceDisksNames]\r\n1=disk,,,\\medium\r\n"
                   "[SourceDisksFiles]\r\nstand_in.sys=1,own\r\n"));
}

TEST_F(MissingFileOf, MayBeListedForTheProcessorOfTheTool) {
    EXPECT_EQ(Folder() + L"\\a.dll", Find("[SourceDisksNames.x86]\r\n1=disk\r\n"
                                          "[SourceDisksFiles.x86]\r\na.dll=1\r\n"));
}

TEST_F(MissingFileOf, IsNoneThatIsListedForAnotherProcessor) {
    EXPECT_EQ(L"", Find("[SourceDisksNames.amd64]\r\n1=disk\r\n"
                        "[SourceDisksFiles.amd64]\r\na.dll=1\r\n"));
}

TEST_F(MissingFileOf, IsNoneThatIsInACabinet) {
    EXPECT_EQ(L"", Find("[SourceDisksNames]\r\n1=disk,files.CAB\r\n"
                        "[SourceDisksFiles]\r\na.dll=1\r\n"));
}

TEST_F(MissingFileOf, IsLookedForBesideAFileThatIsNoCabinet) {
    EXPECT_EQ(Folder() + L"\\a.dll", Find("[SourceDisksNames]\r\n1=disk,tag.txt\r\n"
                                          "[SourceDisksFiles]\r\na.dll=1\r\n"));
}

TEST_F(MissingFileOf, IsNoneThatIsCompressed) {
    (void)Write(Folder() + L"\\a.dl_", "compressed");

    EXPECT_EQ(L"", Find("[SourceDisksNames]\r\n1=disk\r\n[SourceDisksFiles]\r\na.dll=1\r\n"));
}

}  // namespace
