// Exception, its shared stack and its report, and the system's error texts.
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <clocale>
#include <string>
#include <utility>

#include <orvo/core/ErrorText.h>
#include <orvo/core/Exception.h>

#include "diagnostics/DiagnosticsSupport.h"
#include "diagnostics/LogCollector.h"
#include "platform/ErrorText.h"

namespace orvo {
namespace {

int raiseLine = 0;
const char* raiseSignature = "";

__attribute__((noinline)) void raiseFrom(int value, const char* what) {
  (void)what;
  raiseSignature = __PRETTY_FUNCTION__;
  raiseLine = __LINE__ + 1;
  if (value >= 0) ORVO_THROW(L"Invalid packet size");
}

TEST(Exception, RaiseRecordsFileLineSignatureCodeAndMessageAndIsNoStandardException) {
  try {
    try {
      raiseFrom(1, "x");
    } catch (const std::exception&) {
      FAIL() << "caught as std::exception";
    }
    FAIL() << "no exception";
  } catch (const Exception& e) {
    EXPECT_TRUE(e.file.ends_with(L"/diagnostics/ExceptionTest.cpp"));
    EXPECT_EQ(e.line, raiseLine);
    const std::string signature = raiseSignature;  // As each compiler spells it.
    EXPECT_EQ(e.function, std::wstring(signature.begin(), signature.end()));
    EXPECT_EQ(e.code, -1);
    EXPECT_EQ(e.message, L"Invalid packet size");
    EXPECT_EQ(e.callStack, nullptr);
  }
  try {
    ORVO_THROW("int32_t");  // A narrow literal gives the same message.
  } catch (const Exception& e) {
    EXPECT_EQ(e.message, L"int32_t");
  }
}

TEST(Exception, OwnsCopiesOfItsTexts) {
  std::wstring file = L"src/Stream", function = L"void f()", message = L"peek data error!";
  Exception e(file.c_str(), 7, function.c_str(), 3, message.c_str());
  for (std::wstring* text : {&file, &function, &message}) text->assign(text->size(), L'#');
  EXPECT_EQ(e.file + L"|" + e.function + L"|" + e.message, L"src/Stream|void f()|peek data error!");
  EXPECT_EQ(e.line, 7);
  EXPECT_EQ(e.code, 3);
}

std::int32_t references(const CallStack* stack) { return CallStackFrames::of(*stack).references(); }

Exception withStack(const wchar_t* message) {
  Exception e(L"f", 1, L"g", -1, message);
  e.callStack = madeStack({0x20}).release();
  return e;
}

TEST(Exception, CopiesShareTheStackAndCountIt) {
  Exception a = withStack(L"a");
  Exception b = withStack(L"b");
  CallStack* first = a.callStack;
  CallStack* second = b.callStack;
  first->addRef();  // Held here, to watch the count.
  {
    Exception copy(a);
    EXPECT_EQ(copy.callStack, first);
    EXPECT_EQ(references(first), 3);
  }
  a = b;
  EXPECT_EQ(a.callStack, second);
  EXPECT_EQ(a.message, L"b");
  EXPECT_EQ(references(first), 1);
  EXPECT_EQ(references(second), 2);
  Exception& same = a;
  a = same;  // Neither this nor assigning between holders of one stack frees it.
  a = b;
  EXPECT_EQ(references(second), 2);
  a = Exception(L"f", 2, L"g", -1, L"no stack");
  EXPECT_EQ(a.callStack, nullptr);
  EXPECT_EQ(references(second), 1);

  Exception moved(std::move(b));
  EXPECT_EQ(moved.callStack, second);
  EXPECT_EQ(b.callStack, nullptr);
  a = std::move(moved);
  EXPECT_EQ(a.callStack, second);
  EXPECT_EQ(references(second), 1);
  // Original and copy die in either order; the sanitizers watch this.
  auto* original = new Exception(a);
  auto* copy = new Exception(*original);
  delete original;
  EXPECT_EQ(references(copy->callStack), 2);
  delete copy;
  first->destroy();
}

TEST(Exception, ReportSendsTheMessageAsItIsThenTheStack) {
  LogCollector log;
  Exception(L"file", 12, L"void f()", -1, L"100% %s %d failed").report();
  EXPECT_EQ(log.errors, std::vector<std::wstring>{L"100% %s %d failed"});
  EXPECT_TRUE(log.debug.empty());
  withStack(L"Read packet error").report();
  EXPECT_EQ(log.errors.back(), L"Read packet error");
  EXPECT_EQ(log.debug, (std::vector<std::wstring>{L"Call Stack:",
                                                   L"    0x00000020 (File and line number not "
                                                   L"available): (Function name unavailable)"}));
  EXPECT_TRUE(log.warnings.empty());
}

std::wstring errorString(int code) { return getErrorString(code).getBuffer(); }

TEST(ErrorText, SystemTextsWithoutTrailingLineBreaks) {
  EXPECT_EQ(errorString(ENOENT), L"No such file or directory");
  errno = EACCES;
  EXPECT_EQ(std::wstring(getLastErrorString().getBuffer()), L"Permission denied");
  for (int code = 0; code < 200; ++code) {
    const std::wstring text = errorString(code);
    EXPECT_TRUE(text.empty() || (text.back() != L'\n' && text.back() != L'\r')) << code;
  }
}

TEST(ErrorText, CodesWithoutATextGiveTheEmptyString) {
  for (int code : {-1, 41, 134, 1000, INT_MAX, INT_MIN}) EXPECT_EQ(errorString(code), L"") << code;
  int withText = 0;  // Large steps over the whole range: almost none has a text.
  for (long long code = INT_MIN; code <= INT_MAX; code += 16777213) {
    withText += errorString(static_cast<int>(code)).empty() ? 0 : 1;
  }
  EXPECT_LE(withText, 2);
}

TEST(ErrorText, TextIsReadInTheCharacterSetOfTheLocale) {
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
