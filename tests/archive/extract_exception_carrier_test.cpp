#include "archive/extract_exception_carrier.h"

#include <windows.h>
#include <comdef.h>

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <stdexcept>
#include <vector>

#include "archive/fake_archive.h"

namespace {

using namespace SevenZip;

// Runs one script, whichever method is called.
class ScriptedCallback final : public intl::ArchiveExtractCallback {
public:
    explicit ScriptedCallback(IInArchive& archive)
        : ArchiveExtractCallback(archive, L"C:\\", OverwriteMode::kDelete, nullptr) {}

    std::function<HRESULT()> script = [] { return S_OK; };
    int calls = 0;

    STDMETHODIMP SetTotal(UInt64) override { return Run(); }
    STDMETHODIMP SetCompleted(const UInt64*) override { return Run(); }
    STDMETHODIMP GetStream(UInt32, ISequentialOutStream**, Int32) override { return Run(); }
    STDMETHODIMP PrepareOperation(Int32) override { return Run(); }
    STDMETHODIMP SetOperationResult(Int32) override { return Run(); }
    STDMETHODIMP CryptoGetTextPassword(BSTR*) override { return Run(); }
    STDMETHODIMP SetRatioInfo(const UInt64*, const UInt64*) override { return Run(); }

private:
    HRESULT Run() {
        ++calls;
        return script();
    }
};

HRESULT GetStream(intl::ExtractExceptionCarrier& carrier) {
    ISequentialOutStream* stream = reinterpret_cast<ISequentialOutStream*>(1);
    const HRESULT result = carrier.GetStream(3, &stream, 0);
    EXPECT_EQ(nullptr, stream);
    return result;
}

struct Entry {
    const char* name;
    HRESULT (*call)(intl::ExtractExceptionCarrier& carrier);
};

class ExtractExceptionCarrier : public testing::Test {
protected:
    intl::UniqueCom<FakeArchive> archive = intl::MakeCom<FakeArchive>();
    intl::UniqueCom<ScriptedCallback> callback = intl::MakeCom<ScriptedCallback>(*archive.Get());
    intl::UniqueCom<intl::ExtractExceptionCarrier> carrier =
        intl::MakeCom<intl::ExtractExceptionCarrier>(*callback.Get());
};

class ExtractExceptionCarrierEntry : public ExtractExceptionCarrier,
                                     public testing::WithParamInterface<Entry> {};

TEST_P(ExtractExceptionCarrierEntry, ForwardsTheCallAndItsResult) {
    callback.Get()->script = [] { return HRESULT{80}; };

    EXPECT_EQ(80, GetParam().call(*carrier.Get()));

    EXPECT_EQ(1, callback.Get()->calls);
    EXPECT_NO_THROW(carrier.Get()->Rethrow());
}

TEST_P(ExtractExceptionCarrierEntry, TurnsAnExceptionIntoAnAbort) {
    callback.Get()->script = []() -> HRESULT { throw _com_error(STG_E_READFAULT); };

    EXPECT_EQ(E_ABORT, GetParam().call(*carrier.Get()));

    try {
        carrier.Get()->Rethrow();
        FAIL() << "nothing was thrown";
    } catch (const _com_error& error) {
        EXPECT_EQ(STG_E_READFAULT, error.Error());
    }
}

TEST_P(ExtractExceptionCarrierEntry, AbortsWithoutAnotherCallAfterAnException) {
    callback.Get()->script = []() -> HRESULT { throw std::bad_alloc(); };
    ASSERT_EQ(E_ABORT, GetStream(*carrier.Get()));
    callback.Get()->script = [] { return S_OK; };

    EXPECT_EQ(E_ABORT, GetParam().call(*carrier.Get()));

    EXPECT_EQ(1, callback.Get()->calls);
    EXPECT_THROW(carrier.Get()->Rethrow(), std::bad_alloc);
}

constexpr UInt64 kNumber = 5;

INSTANTIATE_TEST_SUITE_P(
    , ExtractExceptionCarrierEntry,
    testing::Values(
        Entry{"SetTotal", [](auto& carrier) { return carrier.SetTotal(kNumber); }},
        Entry{"SetCompleted", [](auto& carrier) { return carrier.SetCompleted(&kNumber); }},
        Entry{"GetStream", &GetStream},
        Entry{"PrepareOperation", [](auto& carrier) { return carrier.PrepareOperation(0); }},
        Entry{"SetOperationResult", [](auto& carrier) { return carrier.SetOperationResult(0); }},
        Entry{"CryptoGetTextPassword",
              [](auto& carrier) { return carrier.CryptoGetTextPassword(nullptr); }},
        Entry{"SetRatioInfo",
              [](auto& carrier) { return carrier.SetRatioInfo(&kNumber, &kNumber); }}),
    [](const auto& row) { return row.param.name; });

TEST_F(ExtractExceptionCarrier, CarriesAnyKindOfException) {
    callback.Get()->script = []() -> HRESULT { throw 42; };

    EXPECT_EQ(E_ABORT, GetStream(*carrier.Get()));

    EXPECT_THROW(carrier.Get()->Rethrow(), int);
}

TEST_F(ExtractExceptionCarrier, HoldsAReferenceToItsCallback) {
    EXPECT_EQ(3u, callback.Get()->AddRef());

    carrier.Reset();

    EXPECT_EQ(1u, callback.Get()->Release());
}

}  // namespace
