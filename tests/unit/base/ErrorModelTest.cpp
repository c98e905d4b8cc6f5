#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "support/TraceLines.hpp"
#include "support/UnitTrace.hpp"
#include "base/CryptXmlException.hpp"
#include "base/ErrorText.hpp"
#include "exports/ExportFrame.hpp"

using testing_support::ExpectedFrameLine;
using testing_support::LastLine;
using testing_support::TraceOn;
using testing_support::Widen;

namespace {

struct TableRow {
    HRESULT code;
    const char* narrow;
    const wchar_t* wide;
};

const TableRow kRows[] = {
    {static_cast<HRESULT>(0x80070057L), "One or more arguments are invalid ", L"One or more arguments are invalid "},
    {static_cast<HRESULT>(0x80004005L), "Unspecified error", L"Unspecified error"},
    {static_cast<HRESULT>(0x80004001L), "Not implemented.", L"Not implemented."},
    {static_cast<HRESULT>(0x80092101L), "The value is too large.", L"The value is too large."},
    {static_cast<HRESULT>(0x80092102L), "Too many transforms.", L"Too many transforms."},
    {static_cast<HRESULT>(0x80092104L), "Unsupported algorithm.", L"Unsupported algorithm."},
    {static_cast<HRESULT>(0x80092105L), "Unsupported Transform.", L"Unsupported Transform."},
    {static_cast<HRESULT>(0x80092106L), "Invalid handle.", L"Invalid handle."},
    {static_cast<HRESULT>(0x80092107L), "Invalid operation.", L"Unexpected error!"},
    {static_cast<HRESULT>(0x80092108L), "Unable to resolve Reference.", L"Unable to resolve Reference."},
    {static_cast<HRESULT>(0x8009210CL), "Cryptographic signature operation failed.",
     L"Cryptographic signature operation failed."},
    {static_cast<HRESULT>(0x8009210EL), "Too many signatures.", L"Too many signatures."},
    {static_cast<HRESULT>(0x80092110L), "Unexpected XML element found.", L"Unexpected XML element found."},
    {static_cast<HRESULT>(0x80092112L), "Non-unique Id attribute found in the document.",
     L"Non-unique Id attribute found in the document."},
    {static_cast<HRESULT>(0x803D0000L),
     "The input data was not in the expected format or did not have the expected value.",
     L"The input data was not in the expected format or did not have the expected value."},
    {static_cast<HRESULT>(0x803D0001L), "Current state of the object is invalid.",
     L"Current state of the object is invalid."},
    {static_cast<HRESULT>(0x803D0003L), "The operation is not allowed due to the current state of the object.",
     L"The operation is not allowed due to the current state of the object."},
};

}  // namespace

TEST(ErrorText, EveryRowOfTheTable) {
    for (const TableRow& row : kRows) {
        EXPECT_STREQ(row.narrow, errorText::Narrow(row.code)) << std::hex << row.code;
        EXPECT_STREQ(row.wide, errorText::Wide(row.code)) << std::hex << row.code;
    }
}

TEST(ErrorText, UnknownCodesAreUnexpectedError) {
    for (HRESULT code : {static_cast<HRESULT>(0x80092103L), static_cast<HRESULT>(0x8000FFFFL),
                         static_cast<HRESULT>(0x80004003L), S_OK, S_FALSE}) {
        EXPECT_STREQ("Unexpected error!", errorText::Narrow(code));
        EXPECT_STREQ(L"Unexpected error!", errorText::Wide(code));
    }
}

TEST(CryptXmlException, NarrowCodeConstructorComposesTheMessage) {
    CryptXmlException e("CryptXmlOpenToDecode", hr::kInvalidArg);
    e.AppendDetail("NULL == phCryptXml");
    EXPECT_EQ(hr::kInvalidArg, e.hr());
    EXPECT_STREQ(
        "an error occurred. function: CryptXmlOpenToDecode. desc: One or more arguments are invalid  "
        "NULL == phCryptXml",
        e.what());
}

TEST(CryptXmlException, NarrowDescriptionConstructorCarriesEFail) {
    CryptXmlException e("SigContext::Verify", "something broke");
    EXPECT_EQ(hr::kFail, e.hr());
    EXPECT_STREQ("an error occurred. function: SigContext::Verify. desc: something broke", e.what());
}

TEST(CryptXmlException, WideConstructorsConvertToAnsi) {
    CryptXmlException byText(L"DocContext::DocContext", L"wide text");
    EXPECT_EQ(hr::kFail, byText.hr());
    EXPECT_STREQ("an error occurred. function: DocContext::DocContext. desc: wide text", byText.what());

    CryptXmlException byCode(L"algInfo::FindAlgInfoByURI", hr::kAlgorithm);
    EXPECT_EQ(hr::kAlgorithm, byCode.hr());
    EXPECT_STREQ("an error occurred. function: algInfo::FindAlgInfoByURI. desc: Unsupported algorithm.", byCode.what());
}

TEST(CryptXmlException, OperationCodeIsKnownOnlyToTheNarrowTable) {
    CryptXmlException narrow("F", hr::kOperation);
    CryptXmlException wide(L"F", hr::kOperation);
    EXPECT_STREQ("an error occurred. function: F. desc: Invalid operation.", narrow.what());
    EXPECT_STREQ("an error occurred. function: F. desc: Unexpected error!", wide.what());
    EXPECT_EQ(hr::kOperation, wide.hr());
}

TEST(CryptXmlException, NullFunctionOmitsTheFunctionSegment) {
    EXPECT_STREQ("an error occurred. desc: Invalid handle.",
                 CryptXmlException(static_cast<const char*>(nullptr), hr::kHandle).what());
    EXPECT_STREQ("an error occurred. desc: Invalid handle.",
                 CryptXmlException(static_cast<const wchar_t*>(nullptr), hr::kHandle).what());
}

TEST(CryptXmlException, NullDescriptionOmitsTheDescSegment) {
    EXPECT_STREQ("an error occurred. function: F. ", CryptXmlException("F", static_cast<const char*>(nullptr)).what());
    EXPECT_STREQ("an error occurred. function: F. ",
                 CryptXmlException(L"F", static_cast<const wchar_t*>(nullptr)).what());
    EXPECT_STREQ("an error occurred. ",
                 CryptXmlException(static_cast<const char*>(nullptr), static_cast<const char*>(nullptr)).what());
}

TEST(CryptXmlException, UnknownCodeStillComposesAMessage) {
    CryptXmlException e("F", static_cast<HRESULT>(0x80091234L));
    EXPECT_EQ(static_cast<HRESULT>(0x80091234L), e.hr());
    EXPECT_STREQ("an error occurred. function: F. desc: Unexpected error!", e.what());
}

TEST(CryptXmlException, CopiesKeepCodeAndMessage) {
    CryptXmlTemplateException<hr::kLarge> original("F");
    original.AppendDetail("too long");
    CryptXmlException copy(original);
    EXPECT_EQ(hr::kLarge, copy.hr());
    EXPECT_STREQ(original.what(), copy.what());
}

TEST(CryptXmlException, RaiseBuildsTheTemplateInstance) {
    try {
        errors::Raise<hr::kHandle>("LockContext");
        FAIL() << "no throw";
    } catch (const HandleException& e) {
        EXPECT_EQ(hr::kHandle, e.hr());
        EXPECT_STREQ("an error occurred. function: LockContext. desc: Invalid handle.", e.what());
    }
    try {
        errors::RaiseFailure("F", "plain failure");
        FAIL() << "no throw";
    } catch (const CryptXmlException& e) {
        EXPECT_EQ(hr::kFail, e.hr());
        EXPECT_STREQ("an error occurred. function: F. desc: plain failure", e.what());
    }
}

// Each code of the table, raised inside an export and read back as the host reads it.
TEST(ExportFrame, EveryTableCodeReachesTheCallerAndTheTrace) {
    TraceOn on;
    for (const TableRow& row : kRows) {
        const HRESULT result = frame::Run("CryptXmlSomeExport", [&]() -> HRESULT {
            CryptXmlException e("Owner::Operation", row.code);
            e.AppendDetail("detail");
            throw e;
        });
        EXPECT_EQ(row.code, result);
        wchar_t line[trace::kLineCapacity] = {};
        ASSERT_EQ(S_OK, CryptXmlGetLastDebugMessage(line, trace::kLineCapacity));
        EXPECT_EQ(ExpectedFrameLine(L"CryptXmlSomeExport", L"an error occurred. function: Owner::Operation. desc: " +
                                                               Widen(row.narrow) + L" detail"),
                  line)
            << std::hex << row.code;
    }
}

TEST(ExportFrame, LibraryExceptionGivesItsCodeAndOneTraceLine) {
    TraceOn on;
    const HRESULT result = frame::Run("CryptXmlTestExport", []() -> HRESULT {
        errors::Raise<hr::kLarge>("CryptXmlTestExport", "CRYPT_XML_OBJECTS_MAX limit exceeded.");
    });
    EXPECT_EQ(hr::kLarge, result);
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlTestExport",
                                L"an error occurred. function: CryptXmlTestExport. desc: The value is too large. "
                                L"CRYPT_XML_OBJECTS_MAX limit exceeded."),
              LastLine());
}

TEST(ExportFrame, StandardExceptionGivesEFail) {
    TraceOn on;
    EXPECT_EQ(hr::kFail, frame::Run("X", []() -> HRESULT { throw std::runtime_error("runtime trouble"); }));
    EXPECT_EQ(ExpectedFrameLine(L"X", L"runtime trouble"), LastLine());
    EXPECT_EQ(hr::kFail, frame::Run("X", []() -> HRESULT { throw std::bad_alloc(); }));
    EXPECT_EQ(ExpectedFrameLine(L"X", Widen(std::bad_alloc().what())), LastLine());
}

TEST(ExportFrame, AnythingElseGivesEUnexpected) {
    TraceOn on;
    EXPECT_EQ(hr::kUnexpected, frame::Run("X", []() -> HRESULT { throw 42; }));
    EXPECT_EQ(ExpectedFrameLine(L"X", L"Unexpected error!"), LastLine());
}

TEST(ExportFrame, SuccessPassesTheBodyResultAndTracesNothing) {
    TraceOn on;
    trace::TraceLine(L"marker");
    const std::wstring before = LastLine();
    EXPECT_EQ(S_OK, frame::Run("X", []() -> HRESULT { return S_OK; }));
    EXPECT_EQ(S_FALSE, frame::Run("X", []() -> HRESULT { return S_FALSE; }));
    EXPECT_EQ(before, LastLine());
}

TEST(ExportFrame, ResultIsTheSameWithTracingOff) {
    trace::Stop();
    trace::TraceLine(L"untouched");  // off: nothing is kept
    EXPECT_EQ(hr::kHandle, frame::Run("X", []() -> HRESULT { errors::Raise<hr::kHandle>("LockContext"); }));
}

TEST(ExportFrame, NarrowFrameKeepsOnlyTheArgumentError) {
    TraceOn on;
    EXPECT_EQ(hr::kInvalidArg, frame::RunNarrow<false>("CryptXmlClose", []() -> HRESULT {
                  errors::Raise<hr::kInvalidArg>("CloseContext");
              }));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlClose",
                                L"an error occurred. function: CloseContext. desc: One or more arguments are invalid "),
              LastLine());
    // Any other library code falls to the standard-exception clause.
    EXPECT_EQ(hr::kFail,
              frame::RunNarrow<false>("CryptXmlClose", []() -> HRESULT { errors::Raise<hr::kHandle>("LockContext"); }));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlClose", L"an error occurred. function: LockContext. desc: Invalid handle."),
              LastLine());
    EXPECT_EQ(hr::kFail,
              frame::RunNarrow<false>("CryptXmlClose", []() -> HRESULT { errors::Raise<hr::kAlgorithm>("F"); }));
    EXPECT_EQ(hr::kUnexpected, frame::RunNarrow<false>("CryptXmlClose", []() -> HRESULT { throw 1; }));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlClose", L"Unexpected error!"), LastLine());
}

TEST(ExportFrame, HmacFrameAlsoKeepsTheHandleError) {
    EXPECT_EQ(hr::kHandle, frame::RunNarrow<true>("CryptXmlSetHMACSecret",
                                                  []() -> HRESULT { errors::Raise<hr::kHandle>("LockContext"); }));
    EXPECT_EQ(hr::kInvalidArg, frame::RunNarrow<true>("CryptXmlSetHMACSecret",
                                                      []() -> HRESULT { errors::Raise<hr::kInvalidArg>("F"); }));
    EXPECT_EQ(hr::kFail,
              frame::RunNarrow<true>("CryptXmlSetHMACSecret", []() -> HRESULT { errors::Raise<hr::kOperation>("F"); }));
}

TEST(ExportFrame, PointerFrameAnswersNullAndTraces) {
    TraceOn on;
    int value = 7;
    EXPECT_EQ(&value, frame::RunForPointer<int>("P", [&] { return &value; }));
    EXPECT_EQ(nullptr,
              frame::RunForPointer<int>("P", []() -> int* { errors::Raise<hr::kInvalidArg>("P", "pvFindBy"); }));
    EXPECT_EQ(
        ExpectedFrameLine(L"P", L"an error occurred. function: P. desc: One or more arguments are invalid  pvFindBy"),
        LastLine());
    EXPECT_EQ(nullptr, frame::RunForPointer<int>("P", []() -> int* { throw "c string"; }));
    EXPECT_EQ(ExpectedFrameLine(L"P", L"Unexpected error!"), LastLine());
}
