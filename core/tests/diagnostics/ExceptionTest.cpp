// Exception, its shared stack and its report, and the system's error texts.
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <clocale>
#include <tuple>

#include <orvo/core/ErrorText.h>
#include <orvo/core/Exception.h>

#include "diagnostics/DiagnosticsSupport.h"
#include "platform/ErrorText.h"

namespace orvo {
namespace {

int raiseLine = 0;
std::string raiseSignature;

__attribute__((noinline)) void raiseFrom(int value, const char*) {
  raiseSignature = __PRETTY_FUNCTION__;  // As each compiler spells it.
  raiseLine = __LINE__ + 1;
  if (value >= 0) ORVO_THROW(L"Invalid packet size");
}

static_assert(!std::is_base_of_v<std::exception, Exception>, "caught by its own type only");

TEST(Exception, RaiseRecordsWhereAndWhatAndTheTextsAreCopies) {
  try {
    raiseFrom(1, "x");
    ADD_FAILURE() << "no exception";
  } catch (const Exception& e) {
    EXPECT_TRUE(e.file.ends_with(L"/diagnostics/ExceptionTest.cpp"));
    const std::wstring signature(raiseSignature.begin(), raiseSignature.end());
    EXPECT_EQ(std::tie(e.line, e.function, e.code, e.message),
              std::tuple(raiseLine, signature, -1, L"Invalid packet size"));
    EXPECT_EQ(e.callStack, nullptr);
  }
  std::wstring file = L"src/Stream", function = L"void f()", message = L"int32_t";
  Exception e(file.c_str(), 7, function.c_str(), 3, message.c_str());
  file = function = message = L"#";  // The exception has copies of its own.
  EXPECT_EQ(std::tie(e.file, e.line, e.function, e.code, e.message),
            std::tuple(L"src/Stream", 7, L"void f()", 3, L"int32_t"));
}

std::int32_t references(const CallStack* stack) { return CallStackFrames::of(*stack).references(); }

Exception withStack(const wchar_t* message) {
  Exception e(L"f", 1, L"g", -1, message);
  e.callStack = madeStack({0x20}).release();
  return e;
}

TEST(Exception, CopiesShareTheStackAndCountIt) {
  Exception a = withStack(L"a"), b = withStack(L"b");
  CallStack* first = a.callStack;
  CallStack* second = b.callStack;
  first->addRef();  // Held here, to watch the count.
  auto* copy = new Exception(a);
  EXPECT_EQ(copy->callStack, first);
  a = b;  // Assigned: the old stack given up, the new one shared.
  EXPECT_EQ(a.message + L"|" + copy->message, L"b|a");
  EXPECT_EQ(references(first), 2);
  delete copy;  // Copies die in any order; the sanitizers watch this.
  EXPECT_EQ(references(first), 1);
  a = b;  // Between holders of one stack: nothing is freed.
  EXPECT_EQ(references(second), 2);
  a = Exception(L"f", 2, L"g", -1, L"no stack");
  EXPECT_EQ(a.callStack, nullptr);
  EXPECT_EQ(references(second), 1);
  a = Exception(std::move(b));  // Moves hand the reference over.
  EXPECT_EQ(a.callStack, second);
  EXPECT_EQ(b.callStack, nullptr);
  a = *&a;  // Assigned to itself, the only holder frees nothing.
  Exception& alias = a;
  a = std::move(alias);  // nor moved to itself
  EXPECT_EQ(std::tuple(a.callStack, references(second)), std::tuple(second, 1));
  first->destroy();
  Exception bare(L"f", 2, L"g", -1, L"no stack"), bareCopy(bare);
  bareCopy = bare;
  EXPECT_EQ(std::tuple(bareCopy.callStack, bareCopy.message), std::tuple(nullptr, bare.message));
}

TEST(Exception, ReportSendsTheMessageAsItIsThenTheStack) {
  LogCollector log;
  Exception(L"file", 12, L"void f()", -1, L"100% %s %d failed").report();
  EXPECT_EQ(log.errors, Texts{L"100% %s %d failed"});
  EXPECT_TRUE(log.debug.empty());
  withStack(L"Read packet error").report();
  EXPECT_EQ(log.errors.back(), L"Read packet error");
  EXPECT_EQ(log.debug, (Texts{L"Call Stack:", L"    0x00000020 (File and line number not available): "
                                              L"(Function name unavailable)"}));
}

std::wstring errorString(int code) { return getErrorString(code).getBuffer(); }

TEST(ErrorText, SystemTextsInTheLocalesCharacterSetWithoutLineBreaksNoneForUnknownCodes) {
  EXPECT_EQ(errorString(ENOENT), L"No such file or directory");
  errno = EACCES;
  EXPECT_EQ(std::wstring(getLastErrorString().getBuffer()), L"Permission denied");
  for (int code = 0; code < 200; ++code) {
    const std::wstring text = errorString(code);
    EXPECT_TRUE(text.empty() || (text.back() != L'\n' && text.back() != L'\r')) << code;
  }
  for (int code : {-1, 41, 134, 1000, INT_MAX, INT_MIN}) EXPECT_EQ(errorString(code), L"") << code;
  // The C library writes its texts in the locale's set, which need not be UTF-8.
  const std::string saved = std::setlocale(LC_CTYPE, nullptr);
  ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
  EXPECT_EQ(platform::fromLocaleText("caf\xC3\xA9 \xC3"), L"caf\u00e9 \uFFFD");
  std::setlocale(LC_CTYPE, "C");  // ASCII: no byte above 127 is a character.
  EXPECT_EQ(platform::fromLocaleText("caf\xC3\xA9"), L"caf\uFFFD\uFFFD");
  std::setlocale(LC_CTYPE, saved.c_str());
}

}  // namespace
}  // namespace orvo
