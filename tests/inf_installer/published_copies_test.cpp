#include "inf_installer/published_copies.h"

#include <gmock/gmock.h>
#include <setupapi.h>

#include <map>

#include "common/published_infs.h"
#include "inf_installer/inf_test.h"
#include "support/fake_api.h"

namespace {

using installer::FindPublishedCopies;
using installer::InfFile;
using installer::IsPublishedCopyOf;
using installer::ReadInf;
using testing::ElementsAre;
using testing::IsEmpty;
using tools::PublishedPath;

const InfFile kGiven{L"C:\\x\\usbaapl64.inf", L"usbaapl64.inf", "content"};

TEST(IsPublishedCopyOf, NeedsTheSameOriginalNameAndTheSameContent) {
    EXPECT_TRUE(IsPublishedCopyOf({L"oem3.inf", L"usbaapl64.inf", "content"}, kGiven));
}

TEST(IsPublishedCopyOf, IgnoresTheCaseOfNames) {
    EXPECT_TRUE(IsPublishedCopyOf({L"oem3.inf", L"USBAAPL64.INF", "content"}, kGiven));
}

TEST(IsPublishedCopyOf, RefusesTheSameContentUnderAnotherName) {
    EXPECT_FALSE(IsPublishedCopyOf({L"oem3.inf", L"netaapl64.inf", "content"}, kGiven));
}

TEST(IsPublishedCopyOf, RefusesAnotherContentUnderTheSameName) {
    EXPECT_FALSE(IsPublishedCopyOf({L"oem3.inf", L"usbaapl64.inf", "Content"}, kGiven));
}

TEST(IsPublishedCopyOf, RefusesALongerContent) {
    EXPECT_FALSE(IsPublishedCopyOf({L"oem3.inf", L"usbaapl64.inf", "content\r\n"}, kGiven));
}

TEST(IsPublishedCopyOf, GoesByTheContentAloneWhereNoOriginalNameIsRecorded) {
    EXPECT_TRUE(IsPublishedCopyOf({L"oem3.inf", L"OEM3.inf", "content"}, kGiven));
    EXPECT_FALSE(IsPublishedCopyOf({L"oem3.inf", L"OEM3.inf", "other"}, kGiven));
}

// Windows records original names and Wine does not. This fake returns them as Windows would.
class FakeOriginalNames {
public:
    void Set(const std::wstring& published, const std::wstring& original) {
        names_[published] = original;
    }

private:
    // The information does not name its file, but Wine's answer does: it returns the file's own
    // name.
    BOOL Answer(const SP_INF_INFORMATION* information, SP_ORIGINAL_FILE_INFO_W* answer) {
        if (!query_.Real(const_cast<SP_INF_INFORMATION*>(information), 0, nullptr, answer))
            return FALSE;
        const auto name = names_.find(answer->OriginalInfName);
        if (name == names_.end()) return TRUE;
        if (name->second.empty()) return FALSE;
        ::wcscpy_s(answer->OriginalInfName, name->second.c_str());
        return TRUE;
    }

    std::map<std::wstring, std::wstring> names_;
    FakeApi<"SetupQueryInfOriginalFileInformationW",
            decltype(::SetupQueryInfOriginalFileInformationW)>
        query_{[this](SP_INF_INFORMATION* information, UINT, SP_ALTPLATFORM_INFO*,
                      SP_ORIGINAL_FILE_INFO_W* answer) { return Answer(information, answer); }};
};

class FindPublishedCopiesOfOne : public InfTest {
protected:
    static std::vector<std::wstring> Find() {
        return FindPublishedCopies(*ReadInf(WritePackage(L"stand_in.inf", PackageText())).inf);
    }

    FakeOriginalNames originalNames_;
};

TEST_F(FindPublishedCopiesOfOne, FindsNothingWhereNothingIsPublished) {
    EXPECT_THAT(Find(), IsEmpty());
}

TEST_F(FindPublishedCopiesOfOne, FindsEveryCopyWithTheSameNameAndContent) {
    Publish(L"oem901.inf", PackageText());
    Publish(L"oem902.inf", PackageText());
    originalNames_.Set(L"oem901.inf", L"stand_in.inf");
    originalNames_.Set(L"oem902.inf", L"Stand_In.inf");

    EXPECT_THAT(Find(), testing::UnorderedElementsAre(L"oem901.inf", L"oem902.inf"));
}

TEST_F(FindPublishedCopiesOfOne, SkipsTheSameContentUnderAnotherOriginalName) {
    Publish(L"oem901.inf", PackageText());
    originalNames_.Set(L"oem901.inf", L"neighbour.inf");

    EXPECT_THAT(Find(), IsEmpty());
}

TEST_F(FindPublishedCopiesOfOne, SkipsAnotherContentOfTheSameLengthUnderTheSameOriginalName) {
    std::string other = PackageText();
    other[other.size() - 3] = '!';
    Publish(L"oem901.inf", other);
    originalNames_.Set(L"oem901.inf", L"stand_in.inf");

    EXPECT_THAT(Find(), IsEmpty());
}

TEST_F(FindPublishedCopiesOfOne, SkipsAnInfWhoseOriginalNameCannotBeQueried) {
    Publish(L"oem901.inf", PackageText());
    originalNames_.Set(L"oem901.inf", L"");

    EXPECT_THAT(Find(), IsEmpty());
}

TEST_F(FindPublishedCopiesOfOne, SkipsACopyUnderANameThatWindowsDoesNotAssign) {
    Publish(L"somebody_elses.inf", PackageText());

    EXPECT_THAT(Find(), IsEmpty());
}

TEST_F(FindPublishedCopiesOfOne, FindsACopyPublishedUnderItsOwnName) {
    Publish(L"Stand_in.inf", PackageText());

    EXPECT_THAT(Find(), ElementsAre(L"Stand_in.inf"));
}

TEST_F(FindPublishedCopiesOfOne, SkipsACopyThatCannotBeRead) {
    Publish(L"oem901.inf", PackageText());
    const UniqueFile held(::CreateFileW(PublishedPath(L"oem901.inf").c_str(), GENERIC_READ, 0,
                                        nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(held);

    EXPECT_THAT(Find(), IsEmpty());
}

}  // namespace
