#include "mendloftctl/cpp_exception.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "mendloftctl/made_exception.h"
#include "support/fake_api.h"

namespace {

using ctl::CppException;

EXCEPTION_RECORD RecordOf(const MadeException& exception) {
    EXCEPTION_RECORD record{};
    record.ExceptionCode = 0xE06D7363;
    record.NumberParameters = 3;
    const auto parameters = exception.Parameters();
    std::copy(parameters.begin(), parameters.end(), record.ExceptionInformation);
    return record;
}

CppException ReadHere(const EXCEPTION_RECORD& record) {
    return ctl::ReadCppException(::GetCurrentProcess(), record);
}

// Nothing of the exception is known.
void ExpectEmpty(const CppException& exception) {
    EXPECT_STREQ("", exception.type.data());
    EXPECT_FALSE(exception.hasResult);
    EXPECT_EQ(0, exception.result);
    EXPECT_STREQ("", exception.message.data());
}

// Two pages, of which only the first can be read. Wine reads any memory, so the reading is faked.
class LastPage {
public:
    // Where the last `bytes` that can be read begin.
    [[nodiscard]] char* Last(std::size_t bytes) { return pages_.data() + kSize - bytes; }

private:
    static constexpr std::size_t kSize = 4096;

    alignas(kSize) std::array<char, 2 * kSize> pages_{};
    FakeApi<"ReadProcessMemory", decltype(::ReadProcessMemory)> read_{
        [this](HANDLE process, const void* address, void* buffer, SIZE_T size, SIZE_T* done) {
            const auto place = reinterpret_cast<std::uintptr_t>(address);
            const auto end = reinterpret_cast<std::uintptr_t>(Last(0));
            if (place < end + kSize && place + size > end) return FALSE;
            return read_.Real(process, address, buffer, size, done);
        }};
};

TEST(ReadCppException, ReadsTheResultOfAComError) {
    MadeException made(".?AV_com_error@@");
    made.object = {1, 0x80004005, 2, 3};

    const CppException exception = ReadHere(RecordOf(made));

    EXPECT_STREQ(".?AV_com_error@@", exception.type.data());
    EXPECT_TRUE(exception.hasResult);
    EXPECT_EQ(E_FAIL, exception.result);
}

TEST(ReadCppException, ReadsTheMessageOfAnOutOfRange) {
    MadeException made(".?AVout_of_range@std@@");
    made.object = {1, reinterpret_cast<std::uintptr_t>("position 0"), 0, 0};

    const CppException exception = ReadHere(RecordOf(made));

    EXPECT_STREQ("position 0", exception.message.data());
    EXPECT_FALSE(exception.hasResult);
}

TEST(ReadCppException, ReadsOnlyTheTypeOfAnotherException) {
    MadeException made(".?AVbad_alloc@std@@");
    made.object = {1, reinterpret_cast<std::uintptr_t>("bad allocation"), 0, 0};

    const CppException exception = ReadHere(RecordOf(made));

    EXPECT_STREQ(".?AVbad_alloc@std@@", exception.type.data());
    EXPECT_FALSE(exception.hasResult);
    EXPECT_STREQ("", exception.message.data());
}

TEST(ReadCppException, ReadsTheNewerFormats) {
    const MadeException made(".H");
    EXCEPTION_RECORD record = RecordOf(made);
    record.ExceptionInformation[0] = 0x19930522;

    EXPECT_STREQ(".H", ReadHere(record).type.data());
}

TEST(ReadCppException, ReadsANameAtTheEndOfWhatCanBeRead) {
    MadeException made("");
    LastPage page;
    auto* const end = page.Last(8 + sizeof(".?AV_com_error@@"));
    std::copy_n(".?AV_com_error@@", sizeof(".?AV_com_error@@"), end + 8);
    made.type.descriptor = reinterpret_cast<const MadeException::Descriptor*>(end);

    EXPECT_STREQ(".?AV_com_error@@", ReadHere(RecordOf(made)).type.data());
}

// ---- damage

TEST(ReadCppException, ReadsNothingOfAnotherException) {
    EXCEPTION_RECORD record{};
    record.ExceptionCode = EXCEPTION_ACCESS_VIOLATION;
    record.NumberParameters = 2;

    ExpectEmpty(ReadHere(record));
}

TEST(ReadCppException, ReadsNothingWithoutThreeParameters) {
    const MadeException made(".?AV_com_error@@");
    for (const DWORD count : {0u, 1u, 2u, 4u, 15u, 0xFFFFFFFFu}) {
        EXCEPTION_RECORD record = RecordOf(made);
        record.NumberParameters = count;

        ExpectEmpty(ReadHere(record));
    }
}

TEST(ReadCppException, ReadsNothingOfAnUnknownFormat) {
    const MadeException made(".?AV_com_error@@");
    for (const ULONG_PTR format : {0u, 0x1993051Fu, 0x19930523u, 0xFFFFFFFFu}) {
        EXCEPTION_RECORD record = RecordOf(made);
        record.ExceptionInformation[0] = format;

        ExpectEmpty(ReadHere(record));
    }
}

TEST(ReadCppException, ReadsNothingFromAnAddressThatLeadsNowhere) {
    LastPage page;
    for (const ULONG_PTR address : {ULONG_PTR{0}, ULONG_PTR{1}, ULONG_PTR{0xFFFFFFFF},
                                    reinterpret_cast<ULONG_PTR>(page.Last(4))}) {
        MadeException made(".?AV_com_error@@");
        EXCEPTION_RECORD record = RecordOf(made);
        record.ExceptionInformation[2] = address;
        ExpectEmpty(ReadHere(record));

        made.info.types = reinterpret_cast<const MadeException::Types*>(address);
        ExpectEmpty(ReadHere(RecordOf(made)));

        made.info.types = &made.types;
        made.types.first = reinterpret_cast<const MadeException::Type*>(address);
        ExpectEmpty(ReadHere(RecordOf(made)));

        made.types.first = &made.type;
        made.type.descriptor = reinterpret_cast<const MadeException::Descriptor*>(address);
        ExpectEmpty(ReadHere(RecordOf(made)));
    }
}

TEST(ReadCppException, ReadsNothingFromAnEmptyListOfTypes) {
    MadeException made(".?AV_com_error@@");
    for (const int count : {0, -1}) {
        made.types.count = count;

        ExpectEmpty(ReadHere(RecordOf(made)));
    }
}

TEST(ReadCppException, TakesNoTextForAName) {
    for (const char* text : {"", "_com_error", ".?AV\x01@@", ".?AV\xE4@@", ".?AV\n@@"}) {
        ExpectEmpty(ReadHere(RecordOf(MadeException(text))));
    }
}

TEST(ReadCppException, TakesNoNameWithoutAnEnd) {
    ExpectEmpty(ReadHere(RecordOf(MadeException("." + std::string(299, 'x')))));
    EXPECT_EQ(std::string(255, '.'),
              ReadHere(RecordOf(MadeException(std::string(255, '.')))).type.data());
    ExpectEmpty(ReadHere(RecordOf(MadeException(std::string(256, '.')))));
}

TEST(ReadCppException, TakesNoNameThatIsCutOff) {
    MadeException made("");
    LastPage page;
    auto* const end = page.Last(8 + 4);
    std::copy_n(".?AV", 4, end + 8);
    made.type.descriptor = reinterpret_cast<const MadeException::Descriptor*>(end);

    ExpectEmpty(ReadHere(RecordOf(made)));
}

TEST(ReadCppException, KnowsTheTypeOfAnObjectThatCannotBeRead) {
    LastPage page;
    for (const ULONG_PTR address :
         {ULONG_PTR{0}, ULONG_PTR{0xFFFFFFFF}, reinterpret_cast<ULONG_PTR>(page.Last(4))}) {
        const MadeException made(".?AV_com_error@@");
        EXCEPTION_RECORD record = RecordOf(made);
        record.ExceptionInformation[1] = address;

        const CppException exception = ReadHere(record);

        EXPECT_STREQ(".?AV_com_error@@", exception.type.data());
        EXPECT_FALSE(exception.hasResult);
        EXPECT_EQ(0, exception.result);
    }
}

TEST(ReadCppException, LeavesOutAMessageThatCannotBeRead) {
    MadeException made(".?AVout_of_range@std@@");
    made.object = {1, 1, 0, 0};
    EXPECT_STREQ("", ReadHere(RecordOf(made)).message.data());

    made.object[1] = reinterpret_cast<std::uintptr_t>("a\x07");
    EXPECT_STREQ("", ReadHere(RecordOf(made)).message.data());
}

// ---- names

std::string NameOf(const char* decorated) {
    return ctl::TypeName(ReadHere(RecordOf(MadeException(decorated))));
}

TEST(TypeName, IsThatOfTheSource) {
    EXPECT_EQ("_com_error", NameOf(".?AV_com_error@@"));
    EXPECT_EQ("std::bad_alloc", NameOf(".?AVbad_alloc@std@@"));
    EXPECT_EQ("a::b::Fault", NameOf(".?AUFault@b@a@@"));
}

TEST(TypeName, StaysDecoratedUnlessItIsAPlainClass) {
    for (const char* decorated :
         {".H", ".PBD", ".?AV?$vector@H@std@@", ".?AV_com_error", ".?AW4Colour@@"}) {
        EXPECT_EQ(decorated, NameOf(decorated));
    }
}

TEST(TypeName, IsMadeOfAnyName) {
    EXPECT_EQ("", NameOf(".?AV@@"));
    EXPECT_EQ(".", NameOf("."));
}

}  // namespace
