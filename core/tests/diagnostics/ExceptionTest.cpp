// Exception and the system's error texts.
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <string>
#include <utility>

#include <orvo/core/CallStack.h>
#include <orvo/core/ErrorText.h>
#include <orvo/core/Exception.h>

#include "diagnostics/DiagnosticsSupport.h"

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

bool endsWith(const std::wstring& text, const std::wstring& suffix) {
  return text.size() >= suffix.size() &&
         text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

std::wstring wide(const String& text) { return std::wstring(text.getBuffer()); }

// ---- Raising ---------------------------------------------------------------

TEST(ExceptionRaise, RecordsFileLineSignatureCodeAndMessage) {
  try {
    raiseFrom(1, "x");
    FAIL() << "no exception";
  } catch (const Exception& e) {
    EXPECT_TRUE(endsWith(e.file, L"/ExceptionTest.cpp")) << std::string(e.file.begin(), e.file.end());
    EXPECT_EQ(e.line, raiseLine);
    // The compiler's own full signature, as each compiler spells it.
    const std::string signature = raiseSignature;
    EXPECT_EQ(e.function, std::wstring(signature.begin(), signature.end()));
    EXPECT_NE(e.function.find(L"raiseFrom(int, const char"), std::wstring::npos);
    EXPECT_EQ(e.code, -1);
    EXPECT_EQ(e.message, L"Invalid packet size");
    EXPECT_EQ(e.callStack, nullptr);
  }
}

TEST(ExceptionRaise, NarrowLiteralBecomesTheSameMessage) {
  try {
    ORVO_THROW("int32_t");
  } catch (const Exception& e) {
    EXPECT_EQ(e.message, L"int32_t");
    EXPECT_EQ(e.code, -1);
  }
}

TEST(ExceptionRaise, OwnsCopiesOfItsTexts) {
  std::wstring file = L"src/Stream";
  std::wstring function = L"void f()";
  std::wstring message = L"peek data error!";
  Exception e(file.c_str(), 7, function.c_str(), 3, message.c_str());
  file.assign(file.size(), L'#');
  function.assign(function.size(), L'#');
  message.assign(message.size(), L'#');
  EXPECT_EQ(e.file, L"src/Stream");
  EXPECT_EQ(e.function, L"void f()");
  EXPECT_EQ(e.message, L"peek data error!");
  EXPECT_EQ(e.line, 7);
  EXPECT_EQ(e.code, 3);
}

TEST(ExceptionRaise, IsNoStandardException) {
  // Caught by its own type only; a handler for std::exception lets it pass.
  bool caughtAsOwnType = false;
  try {
    try {
      ORVO_THROW(L"Read packet error");
    } catch (const std::exception&) {
      FAIL() << "caught as std::exception";
    }
  } catch (const Exception&) {
    caughtAsOwnType = true;
  }
  EXPECT_TRUE(caughtAsOwnType);
}

// ---- Copies and the shared stack -------------------------------------------

Exception withStack() {
  Exception e(L"f", 1, L"g", -1, L"with a stack");
  e.callStack = CallStack::getCallStack_fast();
  return e;
}

TEST(ExceptionCopy, CopiesShareTheStackByItsCount) {
  Exception original = withStack();
  ASSERT_NE(original.callStack, nullptr);
  EXPECT_EQ(CallStackTest::references(*original.callStack), 1);
  {
    Exception copy(original);
    EXPECT_EQ(copy.callStack, original.callStack);
    EXPECT_EQ(copy.message, original.message);
    EXPECT_EQ(CallStackTest::references(*original.callStack), 2);
  }
  EXPECT_EQ(CallStackTest::references(*original.callStack), 1);
}

TEST(ExceptionCopy, CopyAndOriginalDieInEitherOrder) {
  auto* original = new Exception(withStack());
  auto* copy = new Exception(*original);
  delete original;  // The copy's stack must survive this.
  LineCollector collector;
  copy->callStack->dump(collector);
  EXPECT_EQ(collector.lines[0], "Call Stack:");
  delete copy;
}

TEST(ExceptionCopy, AssignmentMovesTheReference) {
  Exception a = withStack();
  Exception b = withStack();
  CallStack* first = a.callStack;
  CallStack* second = b.callStack;
  first->addRef();  // Held here, to watch the count.

  a = b;
  EXPECT_EQ(a.callStack, second);
  EXPECT_EQ(CallStackTest::references(*second), 2);
  EXPECT_EQ(CallStackTest::references(*first), 1);  // Only our own reference left.
  EXPECT_EQ(a.message, L"with a stack");
  first->destroy();

  // Assigning to itself, or between two holders of one stack, frees nothing.
  Exception& same = a;
  a = same;
  a = b;
  EXPECT_EQ(CallStackTest::references(*second), 2);

  Exception empty(L"f", 2, L"g", -1, L"no stack");
  a = empty;
  EXPECT_EQ(a.callStack, nullptr);
  EXPECT_EQ(a.message, L"no stack");
  EXPECT_EQ(CallStackTest::references(*second), 1);
}

TEST(ExceptionCopy, MoveHandsTheReferenceOver) {
  Exception a = withStack();
  CallStack* stack = a.callStack;
  Exception b(std::move(a));
  EXPECT_EQ(b.callStack, stack);
  EXPECT_EQ(a.callStack, nullptr);
  EXPECT_EQ(CallStackTest::references(*stack), 1);
  Exception c(L"f", 1, L"g", -1, L"other");
  c = std::move(b);
  EXPECT_EQ(c.callStack, stack);
  EXPECT_EQ(CallStackTest::references(*stack), 1);
}

// ---- Report ----------------------------------------------------------------

TEST(ExceptionReport, WithoutAStackOneErrorLineOfTheMessageAlone) {
  LogRecorder recorder;
  // A message with a format's own characters must come out as it is.
  Exception e(L"file", 12, L"void f()", -1, L"100% %s %d failed");
  e.report();
  ASSERT_EQ(recorder.errors.size(), 1u);
  EXPECT_EQ(recorder.errors[0], L"100% %s %d failed");
  EXPECT_TRUE(recorder.debug.empty());
  EXPECT_TRUE(recorder.warnings.empty());
}

TEST(ExceptionReport, WithAStackTheMessageThenTheStack) {
  LogRecorder recorder;
  Exception e(L"file", 12, L"void f()", -1, L"Read packet error");
  e.callStack = CallStackTest::make();
  e.callStack->addRef();
  CallStackTest::push(*e.callStack, 0x20);
  e.report();
  ASSERT_EQ(recorder.errors.size(), 1u);
  EXPECT_EQ(recorder.errors[0], L"Read packet error");
  ASSERT_EQ(recorder.debug.size(), 2u);
  EXPECT_EQ(recorder.debug[0], L"Call Stack:");
  EXPECT_EQ(recorder.debug[1],
            L"    0x00000020 (File and line number not available): (Function name unavailable)");
}

// ---- Error texts -----------------------------------------------------------

TEST(ErrorText, KnownCodesHaveTheSystemsText) {
  EXPECT_EQ(wide(getErrorString(ENOENT)), std::wstring(L"No such file or directory"));
  EXPECT_EQ(wide(getErrorString(EACCES)), std::wstring(L"Permission denied"));
}

TEST(ErrorText, NoTextEndsInALineBreak) {
  for (int code = 0; code < 200; ++code) {
    const std::wstring text = wide(getErrorString(code));
    if (text.empty()) continue;
    EXPECT_NE(text.back(), L'\n') << code;
    EXPECT_NE(text.back(), L'\r') << code;
  }
}

TEST(ErrorText, CodesWithoutATextGiveTheEmptyString) {
  for (int code : {-1, -200, 134, 1000, 65535, INT_MAX, INT_MIN}) {
    EXPECT_EQ(getErrorString(code).getLength(), 0) << code;
  }
  // Linux leaves a few numbers in its range unused.
  EXPECT_EQ(getErrorString(41).getLength(), 0);
  // A sweep over the whole range in large steps: each call returns, and
  // almost none of these numbers has a text.
  int withText = 0;
  for (long long code = INT_MIN; code <= INT_MAX; code += 16777213) {
    if (getErrorString(static_cast<int>(code)).getLength() > 0) ++withText;
  }
  EXPECT_LE(withText, 2);
}

TEST(ErrorText, LastErrorIsTheCallingThreadsErrno) {
  errno = EACCES;
  EXPECT_EQ(wide(getLastErrorString()), std::wstring(L"Permission denied"));
  errno = 0;
  EXPECT_EQ(wide(getLastErrorString()), std::wstring(L"Success"));
}

}  // namespace
}  // namespace orvo
