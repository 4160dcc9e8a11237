#include "exports/host_exception.h"

#include <comdef.h>

#include <gmock/gmock.h>

#include <new>
#include <stdexcept>

#include "support/fake_api.h"
#include "support/raised_exception.h"

namespace {

using testing::ElementsAre;

template <typename Exception>
[[nodiscard]] RaisedException RaisedFor(const Exception& exception) {
    const auto raised = CallOnItsOwnThread::RaisedBy(
        [&] { WithExceptionsForTheHost([&]() -> int { throw exception; }); });
    if (!raised) throw std::logic_error("nothing was raised");
    return *raised;
}

TEST(HostException, HasTheSizeOfTheHostsClass) {
    EXPECT_EQ(16, RaisedFor(_com_error(E_FAIL)).size);
    EXPECT_EQ(12, RaisedFor(std::bad_alloc()).size);
}

TEST(HostException, IsCaughtAsItsClassAndAsItsBaseClasses) {
    EXPECT_THAT(RaisedFor(std::bad_alloc()).names,
                ElementsAre(".?AVbad_alloc@std@@", ".?AVexception@std@@"));
    EXPECT_THAT(
        RaisedFor(std::out_of_range("")).names,
        ElementsAre(".?AVout_of_range@std@@", ".?AVlogic_error@std@@", ".?AVexception@std@@"));
}

TEST(HostException, IsOfTheNearestClassThatHostsHave) {
    EXPECT_EQ(".?AVbad_alloc@std@@", RaisedFor(std::bad_array_new_length()).names.front());
    EXPECT_THAT(RaisedFor(std::length_error("")).names, ElementsAre(".?AVexception@std@@"));
    EXPECT_THAT(RaisedFor(0).names, ElementsAre(".?AVexception@std@@"));
}

TEST(HostException, HasTheSameClassesForADynamicCast) {
    for (const auto& raised : {RaisedFor(_com_error(E_FAIL)), RaisedFor(std::bad_alloc()),
                               RaisedFor(std::out_of_range("")), RaisedFor(0)}) {
        EXPECT_EQ(raised.names, raised.dynamicNames);
    }
}

TEST(HostException, HasAText) {
    EXPECT_EQ("bad allocation", RaisedFor(std::bad_alloc()).what);
    EXPECT_EQ("out of range", RaisedFor(std::out_of_range("")).what);
    EXPECT_EQ("unknown exception", RaisedFor(0).what);
}

TEST(HostException, IsNotRaisedForAResult) {
    EXPECT_EQ(5, WithExceptionsForTheHost([] { return 5; }));
}

// What a host's runtime does with a _com_error: it copies it for an exception_ptr, lets it keep the
// text that it was asked for, and destroys it.
struct HostComError {
    const void* functions = nullptr;
    HRESULT code = E_FAIL;
    IErrorInfo* information = nullptr;
    HLOCAL message = nullptr;
};

TEST(HostComError, IsCopiedWithoutItsText) {
    const RaisedException raised = RaisedFor(_com_error(E_FAIL));
    ICreateErrorInfo* information = nullptr;
    ASSERT_EQ(S_OK, ::CreateErrorInfo(&information));
    HostComError original;
    original.message = ::LocalAlloc(LMEM_FIXED, 2);
    ASSERT_EQ(S_OK, information->QueryInterface(IID_IErrorInfo,
                                                reinterpret_cast<void**>(&original.information)));
    HostComError copy;

    EXPECT_EQ(&copy, raised.copy(&copy, 0, &original));

    EXPECT_EQ(E_FAIL, copy.code);
    EXPECT_EQ(original.information, copy.information);
    EXPECT_EQ(nullptr, copy.message);

    raised.destroy(&copy);
    raised.destroy(&original);
    EXPECT_EQ(0U, information->Release());
}

// A _com_error with a text, and whether that was freed.
class HostComErrorWithText : public testing::Test {
protected:
    const RaisedException raised = RaisedFor(_com_error(E_FAIL));
    HostComError error;
    HLOCAL freed = nullptr;

    HostComErrorWithText() { error.message = ::LocalAlloc(LMEM_FIXED, 2); }
    ~HostComErrorWithText() override { (void)free_.Real(error.message); }

private:
    FakeApi<"LocalFree", decltype(::LocalFree)> free_{[this](HLOCAL memory) -> HLOCAL {
        freed = memory;
        return nullptr;
    }};
};

TEST_F(HostComErrorWithText, FreesItWhenItIsDestroyed) {
    raised.destroy(&error);

    EXPECT_EQ(error.message, freed);
}

// A host calls the virtual destructor for an object that it has allocated, which it frees itself.
TEST_F(HostComErrorWithText, FreesItWhenItsVirtualDestructorIsCalled) {
    EXPECT_EQ(&error, raised.virtualDestructor(&error, 0, 0));

    EXPECT_EQ(error.message, freed);
}

TEST(HostStandardException, IsCopiedWithItsText) {
    const RaisedException raised = RaisedFor(std::bad_alloc());
    struct {
        const void* functions;
        const char* text;
        bool isAllocated;
    } original{&raised, "text", false}, copy{};

    (void)raised.copy(&copy, 0, &original);

    EXPECT_EQ(original.functions, copy.functions);
    EXPECT_STREQ("text", copy.text);
    EXPECT_FALSE(copy.isAllocated);

    raised.destroy(&copy);
    EXPECT_EQ(&original, raised.virtualDestructor(&original, 0, 0));
}

}  // namespace
