#include <windows.h>
#include <comdef.h>

#include <gmock/gmock.h>

#include <mendloft/mendloft.h>

#include "core/fix_helper.h"
#include "archive/handler_patch.h"
#include "support/captured_output.h"
#include "support/raised_exception.h"
#include "support/repair_setting.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::Optional;

[[nodiscard]] auto IsComError(HRESULT code) {
    return Optional(AllOf(Field(&RaisedException::names, ElementsAre(".?AV_com_error@@")),
                          Field(&RaisedException::hresult, code)));
}

// An item of the driver archive whose size cannot be read.
class AnUnreadableItem : public testing::Test {
protected:
    template <typename Call>
    static HRESULT ThrownBy(Call call) {
        try {
            call();
        } catch (const _com_error& error) {
            return error.Error();
        }
        return S_OK;
    }

    FreshLibraryState state;
    PrivateTemporaryDirectory temp;
    EmptyDriverStore store;
    FixHelper helper;
    HandlerProperty property{SevenZip::ArchiveFormat::k7z, [this](IInArchive* handler, UInt32 item,
                                                                  PROPID id, PROPVARIANT* value) {
                                 return item == 20 && id == kpidSize
                                            ? STG_E_READFAULT
                                            : property.Real(handler, item, id, value);
                             }};
};

TEST_F(AnUnreadableItem, LeavesStagingAsAnException) {
    EXPECT_EQ(STG_E_READFAULT, ThrownBy([&] { (void)helper.StageDriverPackage(); }));

    EXPECT_EQ(L"", helper.stagingDir);
}

TEST_F(AnUnreadableItem, LeavesNoFileOpen) {
    EXPECT_EQ(STG_E_READFAULT, ThrownBy([&] { (void)helper.StageDriverPackage(); }));

    RemoveTree(temp.StagingFolder());
    EXPECT_FALSE(Exists(temp.StagingFolder()));
}

TEST_F(AnUnreadableItem, LeavesTheFolderRepairBeforeAFolderIsTouched) {
    EXPECT_EQ(STG_E_READFAULT, ThrownBy([&] { helper.FixFolder(true, true); }));

    EXPECT_TRUE(store.Content().empty());
}

TEST_F(AnUnreadableItem, LeavesTheExportOfTheFolderRepair) {
    EXPECT_THAT(CallOnItsOwnThread::RaisedBy([] { (void)MendloftFolder(1); }),
                IsComError(STG_E_READFAULT));
}

TEST_F(AnUnreadableItem, LeavesAnExportAsAnExceptionOfMicrosoftsRuntime) {
    const auto raised = CallOnItsOwnThread::RaisedBy([] { (void)MendloftFolder(1); });

    ASSERT_TRUE(raised.has_value());
    EXPECT_EQ(DWORD{EXCEPTION_NONCONTINUABLE}, raised->flags);
    EXPECT_EQ(3U, raised->argumentCount);
    EXPECT_EQ(0x19930520U, raised->version);
}

TEST_F(AnUnreadableItem, LeavesAnExportAfterEveryFileIsClosed) {
    (void)CallOnItsOwnThread::RaisedBy([] { (void)MendloftFolder(1); });

    RemoveTree(temp.StagingFolder());
    EXPECT_FALSE(Exists(temp.StagingFolder()));
}

TEST_F(AnUnreadableItem, LeavesASetupExportBeforeItsResultLine) {
    const CapturedDebugOutput output;

    EXPECT_THAT(CallOnItsOwnThread::RaisedBy([] { (void)SetUpKisDriver(1); }),
                IsComError(STG_E_READFAULT));

    EXPECT_TRUE(output.messages.empty());
}

TEST_F(AnUnreadableItem, DoesNotAffectTheNextCall) {
    ThrownBy([&] { (void)helper.StageDriverPackage(); });
    const PrivateTemporaryDirectory another;
    const HandlerProperty readable{
        SevenZip::ArchiveFormat::k7z,
        [&](IInArchive* handler, UInt32 item, PROPID id, PROPVARIANT* value) {
            return property.Real(handler, item, id, value);
        }};

    EXPECT_TRUE(helper.StageDriverPackage());
}

}  // namespace
