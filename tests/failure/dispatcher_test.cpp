#include <gtest/gtest.h>
#include <qnlith/qnlith.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <regex>
#include <string>
#include <thread>

#include "support/fault_helpers.h"
#include "support/box_recorder.h"
#include "support/program_path.h"
#include "support/thrown_text.h"

namespace {

template <typename Body>
std::wstring translated(Body body) {
  const std::wstring text = thrownText(body);
  EXPECT_NE(text, L"<nothing thrown>") << "no cException arrived";
  return text;
}

// The text's faulting address, checked to lie in the function that faults and
// to be printed without leading zeros.
void expectAddressIn(const std::wstring& text, const std::wstring& pattern, const void* function) {
  std::wsmatch match;
  ASSERT_TRUE(std::regex_match(text, match, std::wregex(pattern))) << std::string(text.begin(), text.end());
  const std::wstring hex = match[1];
  EXPECT_NE(hex[0], L'0');
  const auto address = std::stoull(hex, nullptr, 16);
  EXPECT_GE(address, reinterpret_cast<std::uintptr_t>(function));
  EXPECT_LT(address, reinterpret_cast<std::uintptr_t>(function) + 256);
}

// The dispatcher's translator, as the platform hands it back.
_se_translator_function installedTranslator() {
  const _se_translator_function translator = _set_se_translator(nullptr);
  _set_se_translator(translator);
  return translator;
}

}  // namespace

TEST(ExceptionDispatcher, SetsUpEachThreadOnce) {
  std::thread([] {
    EXPECT_TRUE(cExceptionDispatcher::handleExceptionsFor());
    const _se_translator_function translator = installedTranslator();
    EXPECT_NE(translator, nullptr);
    EXPECT_FALSE(cExceptionDispatcher::handleExceptionsFor()) << "a second call installs nothing";
    EXPECT_EQ(installedTranslator(), translator);
    { cExceptionDispatcher object; }
    EXPECT_TRUE(cExceptionDispatcher::stopHandlingExceptionsFor());
    EXPECT_EQ(installedTranslator(), nullptr) << "the previous translator is back";
    EXPECT_EQ(::set_terminate(nullptr), nullptr);
    EXPECT_EQ(::set_unexpected(nullptr), nullptr);
    EXPECT_FALSE(cExceptionDispatcher::stopHandlingExceptionsFor()) << "no record any more";
    EXPECT_TRUE(cExceptionDispatcher::handleExceptionsFor()) << "a new record";
    EXPECT_TRUE(cExceptionDispatcher::stopHandlingExceptionsFor());
  }).join();
  std::thread([] {
    EXPECT_TRUE(cExceptionDispatcher::handleExceptionsFor()) << "every thread starts without a record";
    EXPECT_TRUE(cExceptionDispatcher::stopHandlingExceptionsFor());
  }).join();
}

TEST(ExceptionDispatcher, FaultsArriveAsExceptionsWithTheirTexts) {
  std::thread([] {
    ASSERT_TRUE(cExceptionDispatcher::handleExceptionsFor());
    const std::wstring path = programPath();
    // Twice: the translator stays in force after each throw.
    for (int round = 0; round < 2; ++round) {
      expectAddressIn(translated([] { faults::divide(1, 0); }),
                      L"An integer divide by 0 violation occurred at \naddress 0x([0-9a-f]+) in file " + path,
                      reinterpret_cast<void*>(faults::divideImpl));
      expectAddressIn(translated([] { faults::divide(INT_MIN, -1); }),
                      L"An integer overflow violation occurred at \naddress 0x([0-9a-f]+) in file " + path,
                      reinterpret_cast<void*>(faults::divideImpl));
      expectAddressIn(translated([] { faults::read(0x10); }),
                      L"An access violation occurred at \naddress 0x([0-9a-f]+) in file\n" + path +
                          L"\nAddress 0x10 could not be read!",
                      reinterpret_cast<void*>(faults::readImpl));
      expectAddressIn(translated([] { faults::write(0xdead0); }),
                      L"An access violation occurred at \naddress 0x([0-9a-f]+) in file\n" + path +
                          L"\nAddress 0xdead0 could not be written!",
                      reinterpret_cast<void*>(faults::writeImpl));
      expectAddressIn(translated([] { faults::illegal(); }),
                      L"An illegal instruction violation occurred at \naddress 0x([0-9a-f]+) in file " + path,
                      reinterpret_cast<void*>(faults::illegalImpl));
      expectAddressIn(translated([] { faults::privileged(); }),
                      L"A privledged instruction violation occurred at \naddress 0x([0-9a-f]+) in file " + path,
                      reinterpret_cast<void*>(faults::privilegedImpl));
      EXPECT_EQ(translated([] { faults::breakpoint(); }), L"") << "a breakpoint is thrown with an empty text";
      EXPECT_EQ(translated([] { faults::singleStep(); }), L"");
      expectAddressIn(translated([] { faults::overflowStack(0); }),
                      L"An stack overflow violation occurred at \naddress 0x([0-9a-f]+) in file " + path,
                      reinterpret_cast<void*>(faults::recurseImpl));
      const std::wstring floating = translated([] { faults::sse(1.0, 0.0, faults::ZeroDivide, 0); });
      unsigned standard = 0x1F80;
      asm volatile("ldmxcsr %0" : : "m"(standard));
      EXPECT_EQ(floating.find(L"A Floating Point violation occurred at \naddress 0x"), 0u);
    }
    // A code of no row: the user text with the code in lower-case hexadecimal.
    std::wstring text = translated([] { RaiseException(EXCEPTION_FLT_INEXACT_RESULT, 0, 0, nullptr); });
    EXPECT_EQ(text.find(L"A User exception 0xc000008f occurred at \naddress 0x"), 0u);
    EXPECT_NE(text.find(L" in file " + path), std::wstring::npos);
    EXPECT_EQ(translated([] { RaiseException(0, 0, 0, nullptr); }).find(L"A User exception 0x0 occurred"), 0u);
    EXPECT_TRUE(cExceptionDispatcher::stopHandlingExceptionsFor());
  }).join();
}

TEST(ExceptionDispatcher, EveryCodeOfTheTable) {
  std::thread([] {
    ASSERT_TRUE(cExceptionDispatcher::handleExceptionsFor());
    const _se_translator_function translator = installedTranslator();
    const std::wstring path = programPath();
    struct Row {
      DWORD code;
      const wchar_t* start;
    };
    const Row rows[] = {
        {EXCEPTION_GUARD_PAGE, L"A Guard Page exception occurred at \naddress 0x1234 in file "},
        {EXCEPTION_DATATYPE_MISALIGNMENT, L"A data misalignment violation occurred at \naddress 0x1234 in file "},
        {EXCEPTION_IN_PAGE_ERROR, L"An inpage error violation occurred at \naddress 0x1234 in file "},
        {EXCEPTION_NONCONTINUABLE_EXCEPTION, L"A noncontinuable exception violation occurred at \naddress 0x1234 in file "},
        {EXCEPTION_INVALID_DISPOSITION, L"An invalid disposition violation occurred at \naddress 0x1234 in file "},
        {EXCEPTION_ARRAY_BOUNDS_EXCEEDED, L"An Array Bounds violation occurred at \naddress 0x1234 in file "},
        {EXCEPTION_FLT_DENORMAL_OPERAND, L"A Float Denormal Operand violation occurred at \naddress 0x1234 in file "},
        {EXCEPTION_FLT_DIVIDE_BY_ZERO, L"A Floating Point violation occurred at \naddress 0x1234 in file "},
        {EXCEPTION_FLT_INVALID_OPERATION, L"A Floating Point violation occurred at \naddress 0x1234 in file "},
        {EXCEPTION_FLT_OVERFLOW, L"A Floating Point violation occurred at \naddress 0x1234 in file "},
        {EXCEPTION_FLT_STACK_CHECK, L"A Floating Point violation occurred at \naddress 0x1234 in file "},
        {EXCEPTION_FLT_UNDERFLOW, L"A Floating Point violation occurred at \naddress 0x1234 in file "},
        {EXCEPTION_FLT_INEXACT_RESULT, L"A User exception 0xc000008f occurred at \naddress 0x1234 in file "},
        {0xC0000007, L"A User exception 0xc0000007 occurred at \naddress 0x1234 in file "},
        {EXCEPTION_INT_DIVIDE_BY_ZERO, L"An integer divide by 0 violation occurred at \naddress 0x1234 in file "},
        {EXCEPTION_INT_OVERFLOW, L"An integer overflow violation occurred at \naddress 0x1234 in file "},
        {EXCEPTION_PRIV_INSTRUCTION, L"A privledged instruction violation occurred at \naddress 0x1234 in file "},
        {EXCEPTION_ILLEGAL_INSTRUCTION, L"An illegal instruction violation occurred at \naddress 0x1234 in file "},
        {EXCEPTION_STACK_OVERFLOW, L"An stack overflow violation occurred at \naddress 0x1234 in file "},
    };
    for (const Row& row : rows) {
      EXCEPTION_RECORD record{};
      record.ExceptionCode = row.code;
      record.ExceptionAddress = reinterpret_cast<void*>(0x1234);
      CONTEXT context{};
      EXCEPTION_POINTERS pointers{&record, &context};
      // The translator takes the code from the record, not from its first argument.
      EXPECT_EQ(translated([&] { translator(0, &pointers); }), row.start + path) << std::hex << row.code;
    }

    // The noncontinuable walk: the deepest record's text stands alone.
    EXCEPTION_RECORD violation{};
    violation.ExceptionCode = EXCEPTION_ACCESS_VIOLATION;
    violation.ExceptionAddress = reinterpret_cast<void*>(0xabc);
    violation.NumberParameters = 2;
    violation.ExceptionInformation[0] = 1;
    violation.ExceptionInformation[1] = 0x44;
    EXCEPTION_RECORD inner{EXCEPTION_NONCONTINUABLE_EXCEPTION, EXCEPTION_NONCONTINUABLE, &violation,
                           reinterpret_cast<void*>(0x1), 0, {}};
    EXCEPTION_RECORD outer{EXCEPTION_NONCONTINUABLE_EXCEPTION, EXCEPTION_NONCONTINUABLE, &inner,
                           reinterpret_cast<void*>(0x2), 0, {}};
    CONTEXT context{};
    EXCEPTION_POINTERS pointers{&outer, &context};
    EXPECT_EQ(translated([&] { translator(EXCEPTION_NONCONTINUABLE_EXCEPTION, &pointers); }),
              L"An access violation occurred at \naddress 0xabc in file\n" + path + L"\nAddress 0x44 could not be written!");
    EXPECT_TRUE(cExceptionDispatcher::stopHandlingExceptionsFor());
  }).join();
}

TEST(ExceptionDispatcher, TerminatorAndUnexpectedShowTheirBoxes) {
  BoxRecorder boxes;
  std::thread([&boxes] {
    ASSERT_TRUE(cExceptionDispatcher::handleExceptionsFor());
    const terminate_function terminator = ::set_terminate(nullptr);
    const unexpected_function unexpectedHandler = ::set_unexpected(nullptr);
    ASSERT_NE(terminator, nullptr);
    ASSERT_NE(unexpectedHandler, nullptr);
    terminator();  // returns: what follows is the run time's
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_EQ(boxes[0].text, L"An Unrecoverable Error was encountered\nThe application will be terminated now");
    EXPECT_EQ(boxes[0].caption, L"failure_tests") << "without a window the framework's caption, not the title";
    EXPECT_EQ(boxes[0].style, 0x10010u) << "no retry choice";
    unexpectedHandler();
    ASSERT_EQ(boxes.size(), 2u);
    EXPECT_EQ(boxes[1].text, L"An Unexpected Exception was thrown");
    EXPECT_EQ(boxes[1].style, 0x10010u);
    ::set_terminate(terminator);
    ::set_unexpected(unexpectedHandler);
    EXPECT_TRUE(cExceptionDispatcher::stopHandlingExceptionsFor());
  }).join();
}
