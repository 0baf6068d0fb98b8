// Console on a file, on a pipe and on a terminal (a pseudo-terminal that the
// test holds both ends of).
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <string>
#include <thread>

#include <orvo/core/Console.h>

#include "diagnostics/DiagnosticsSupport.h"

namespace orvo {
namespace {

// ---- A file or a pipe: plain text ------------------------------------------

TEST(ConsoleOnAFile, WritesTheTextAndNoEscapeSequences) {
  CapturedStream out(STDOUT_FILENO);
  EXPECT_TRUE(Console::setTextAttribute(14));
  Console::output(L"\nRTTI: (%s) has been setup!", L"MemoryStream");
  EXPECT_TRUE(Console::setTextAttribute(7));
  Console::output(L"%d-%S|%c", 42, "narrow", L'x');
  EXPECT_EQ(out.text(), "\nRTTI: (MemoryStream) has been setup!42-narrow|x");
}

TEST(ConsoleOnAFile, TextBecomesUtf8) {
  CapturedStream out(STDOUT_FILENO);
  Console::output(L"%s", L"\u00e9\u20ac\U0001F600");
  EXPECT_EQ(out.text(), "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST(ConsoleOnAFile, TextsAtTheStackLimitArriveWhole) {
  for (int length : {32767, 32768, 100000}) {
    const std::wstring text(static_cast<std::size_t>(length), L'a');
    CapturedStream out(STDOUT_FILENO);
    Console::output(L"%s", text.c_str());
    const std::string written = out.text();
    EXPECT_EQ(written.size(), static_cast<std::size_t>(length));
    EXPECT_EQ(written.find_first_not_of('a'), std::string::npos);
  }
}

TEST(ConsoleOnAFile, EmptyTextWritesNothing) {
  CapturedStream out(STDOUT_FILENO);
  Console::output(L"");
  Console::output(L"%s", L"");
  EXPECT_EQ(out.text(), "");
}

TEST(ConsoleOnAFile, NoCursorAndNoScreenInformation) {
  CapturedStream out(STDOUT_FILENO);
  EXPECT_FALSE(Console::setCursorPosition(Point(1, 1)));
  ConsoleScreenBufferInfo info{11, 22, 33, 44, 55};
  EXPECT_FALSE(Console::getScreenBufferInfo(info));
  EXPECT_EQ(info.sizeX, 11);
  EXPECT_EQ(info.sizeY, 22);
  EXPECT_EQ(info.cursorX, 33);
  EXPECT_EQ(info.cursorY, 44);
  EXPECT_EQ(info.attributes, 55);
  EXPECT_EQ(out.text(), "");
}

TEST(ConsoleOnAFile, NoConsoleToAllocate) {
  CapturedStream out(STDOUT_FILENO);
  EXPECT_FALSE(Console::alloc());
  EXPECT_FALSE(Console::alloc());
  Console::free();
  Console::output(L"still here");  // The standard streams were left alone.
  EXPECT_EQ(out.text(), "still here");
}

TEST(ConsoleOnAPipe, WritesPlainText) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  {
    StreamRedirect redirect(STDOUT_FILENO, ends[1]);
    EXPECT_TRUE(Console::setTextAttribute(0x1F));
    Console::output(L"piped %d", 7);
    EXPECT_TRUE(Console::setTextAttribute(7));
  }
  close(ends[1]);
  std::string got;
  char chunk[256];
  ssize_t n = 0;
  while ((n = read(ends[0], chunk, sizeof chunk)) > 0) got.append(chunk, static_cast<std::size_t>(n));
  close(ends[0]);
  EXPECT_EQ(got, "piped 7");
}

TEST(ConsoleClosedOutput, AttributeFailsWhenStandardOutputIsClosed) {
  std::fflush(nullptr);
  const int saved = dup(STDOUT_FILENO);
  close(STDOUT_FILENO);
  const bool result = Console::setTextAttribute(14);
  Console::output(L"lost");  // Fails quietly.
  dup2(saved, STDOUT_FILENO);
  close(saved);
  EXPECT_FALSE(result);
  Console::setTextAttribute(7);
}

// ---- A terminal: escape sequences ------------------------------------------

// A pseudo-terminal in raw mode, with standard output on its terminal end
// while it lives; the test reads what arrives at the other end.
class TerminalTest : public testing::Test {
 protected:
  void SetUp() override {
    _controller = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(_controller, 0);
    ASSERT_EQ(grantpt(_controller), 0);
    ASSERT_EQ(unlockpt(_controller), 0);
    _terminal = open(ptsname(_controller), O_RDWR | O_NOCTTY);
    ASSERT_GE(_terminal, 0);
    termios mode{};
    tcgetattr(_terminal, &mode);
    cfmakeraw(&mode);
    tcsetattr(_terminal, TCSANOW, &mode);
    winsize size{};
    size.ws_col = 100;
    size.ws_row = 40;
    ioctl(_terminal, TIOCSWINSZ, &size);
    _redirect = std::make_unique<StreamRedirect>(STDOUT_FILENO, _terminal);
  }

  void TearDown() override {
    if (_redirect) {
      Console::setTextAttribute(7);
      _redirect.reset();
    }
    if (_terminal >= 0) close(_terminal);
    if (_controller >= 0) close(_controller);
  }

  // What has arrived at the controlling end so far.
  std::string received() {
    std::string bytes;
    char chunk[4096];
    pollfd waiting{_controller, POLLIN, 0};
    while (poll(&waiting, 1, 100) > 0) {
      const ssize_t n = read(_controller, chunk, sizeof chunk);
      if (n <= 0) break;
      bytes.append(chunk, static_cast<std::size_t>(n));
    }
    return bytes;
  }

  // Answers the next cursor query with `answer`, on a thread of its own.
  std::thread answerCursorQuery(std::string answer) {
    return std::thread([this, answer] {
      std::string query;
      char c = 0;
      while (query.find("\x1b[6n") == std::string::npos && read(_controller, &c, 1) == 1) {
        query += c;
      }
      if (!answer.empty()) {
        const ssize_t written = write(_controller, answer.data(), answer.size());
        (void)written;
      }
    });
  }

  int _controller = -1;
  int _terminal = -1;
  std::unique_ptr<StreamRedirect> _redirect;
};

TEST_F(TerminalTest, AttributesBecomeColourSequences) {
  EXPECT_TRUE(Console::setTextAttribute(14));
  Console::output(L"yellow");
  EXPECT_TRUE(Console::setTextAttribute(7));
  EXPECT_EQ(received(), "\x1b[0;93myellow\x1b[0m");

  EXPECT_TRUE(Console::setTextAttribute(0x1F));  // Bright white on blue.
  EXPECT_EQ(received(), "\x1b[0;97;44m");
  EXPECT_TRUE(Console::setTextAttribute(0x0C | 0xA0));  // Bright red on bright green.
  EXPECT_EQ(received(), "\x1b[0;91;102m");
  EXPECT_TRUE(Console::setTextAttribute(0x8000 | 0x4000 | 0x01));  // Underlined, reversed blue.
  EXPECT_EQ(received(), "\x1b[0;34;4;7m");
  EXPECT_TRUE(Console::setTextAttribute(0x10007));  // Only the low 16 bits count.
  EXPECT_EQ(received(), "\x1b[0m");
}

TEST_F(TerminalTest, CursorMovesWithTheLowSixteenBits) {
  EXPECT_TRUE(Console::setCursorPosition(Point(0, 0)));
  EXPECT_EQ(received(), "\x1b[1;1H");
  EXPECT_TRUE(Console::setCursorPosition(Point(0x10005, 3)));
  EXPECT_EQ(received(), "\x1b[4;6H");
  // 32768 is negative in 16 bits: refused, nothing sent.
  EXPECT_FALSE(Console::setCursorPosition(Point(32768, 0)));
  EXPECT_FALSE(Console::setCursorPosition(Point(0, -1)));
  EXPECT_EQ(received(), "");
}

TEST_F(TerminalTest, ScreenInformationFromTheTerminal) {
  Console::setTextAttribute(14);
  received();
  std::thread answer = answerCursorQuery("\x1b[7;12R");
  ConsoleScreenBufferInfo info{};
  const bool known = Console::getScreenBufferInfo(info);
  answer.join();
  ASSERT_TRUE(known);
  EXPECT_EQ(info.sizeX, 100);
  EXPECT_EQ(info.sizeY, 40);
  EXPECT_EQ(info.cursorX, 11);
  EXPECT_EQ(info.cursorY, 6);
  EXPECT_EQ(info.attributes, 14);
}

TEST_F(TerminalTest, SilentOrGarbledTerminalGivesNoInformation) {
  // No answer at all, then answers that are not a cursor report.
  for (const char* answer : {"", "\x1b[;R", "\x1b[0;0R", "hello R"}) {
    std::thread terminal = answerCursorQuery(answer);
    ConsoleScreenBufferInfo info{1, 2, 3, 4, 5};
    EXPECT_FALSE(Console::getScreenBufferInfo(info)) << answer;
    terminal.join();
    EXPECT_EQ(info.sizeX, 1);
    EXPECT_EQ(info.cursorY, 4);
    EXPECT_EQ(info.attributes, 5);
    received();
  }
}

TEST_F(TerminalTest, OutputOfAnyLengthArrivesWhole) {
  const std::wstring text(40000, L'z');
  std::string got;
  std::thread reader([&] {
    char chunk[4096];
    while (got.size() < 40000) {
      const ssize_t n = read(_controller, chunk, sizeof chunk);
      if (n <= 0) break;
      got.append(chunk, static_cast<std::size_t>(n));
    }
  });
  Console::output(L"%s", text.c_str());
  reader.join();
  EXPECT_EQ(got, std::string(40000, 'z'));
}

}  // namespace
}  // namespace orvo
