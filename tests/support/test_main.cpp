#include <gmock/gmock.h>
#include <malloc.h>

#include "support/wine.h"

namespace {

// Checks the heap after every test, so that an overrun fails the test that caused it.
class HeapCheck : public testing::EmptyTestEventListener {
    void OnTestEnd(const testing::TestInfo&) override { EXPECT_EQ(_HEAPOK, ::_heapchk()); }
};

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new HeapCheck);
    if (!MayChangeTheSystem()) {
        std::printf(
            "These tests rebuild driver-store folders, change privileges and end processes. They\n"
            "run under Wine, or where MENDLOFT_TESTS_MAY_CHANGE_THIS_SYSTEM is set. Skipped.\n");
        return 0;
    }
    return RUN_ALL_TESTS();
}
