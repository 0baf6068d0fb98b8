// Console on a file, on a closed output and on a terminal (a pseudo-terminal
// that the test holds both ends of). Texts of every length: LogTest.
#include <gtest/gtest.h>

#include <poll.h>
#include <pty.h>

#include <utility>

#include <orvo/core/Console.h>

#include "diagnostics/DiagnosticsSupport.h"

namespace orvo {
namespace {

std::vector<int> fields(const ConsoleScreenBufferInfo& info) {
  return {info.sizeX, info.sizeY, info.cursorX, info.cursorY, info.attributes};
}
const std::vector<int> kUnchanged{1, 2, 3, 4, 5}, kAnswered{100, 40, 11, 6, 14};

TEST(Console, OnAFileWritesUtf8TextAndNothingElse) {
  CapturedStream out(STDOUT_FILENO);
  EXPECT_TRUE(Console::setTextAttribute(14));
  Console::output(L"\nRTTI: (%s) has been setup!", L"MemoryStream");
  EXPECT_TRUE(Console::setTextAttribute(7));
  Console::output(L"%d-%S|%c|%s", 42, "narrow", L'x', L"\u00e9\u20ac\U0001F600");
  EXPECT_FALSE(Console::setCursorPosition(Point(1, 1)));
  ConsoleScreenBufferInfo info{1, 2, 3, 4, 5};
  EXPECT_FALSE(Console::getScreenBufferInfo(info));
  EXPECT_EQ(fields(info), kUnchanged);
  EXPECT_FALSE(Console::alloc());  // No console to make, and the streams stay.
  Console::free();
  Console::output(L"%S", "\xFF");  // No character in the C locale: nothing to write.
  Console::output(L"!");
  EXPECT_EQ(out.text(), "\nRTTI: (MemoryStream) has been setup!42-narrow|x|\xC3\xA9\xE2\x82\xAC"
                        "\xF0\x9F\x98\x80!");
  const int saved = dup(STDOUT_FILENO);
  close(STDOUT_FILENO);
  EXPECT_FALSE(Console::setTextAttribute(14));  // Only a closed output fails.
  dup2(saved, STDOUT_FILENO);
  close(saved);
}

// A pseudo-terminal of 100 columns by 40 rows, with standard
// output on its terminal end while the test runs.
class ConsoleOnATerminal : public testing::Test {
 protected:
  void SetUp() override {
    winsize size{40, 100, 0, 0};
    ASSERT_EQ(openpty(&_controller, &_terminal, nullptr, nullptr, &size), 0);
    _output = std::make_unique<CapturedStream>(STDOUT_FILENO, _terminal);
  }
  void TearDown() override {
    Console::setTextAttribute(7);
    _output.reset();
    close(_terminal);
    close(_controller);
  }

  // Keeps what has arrived at the controlling end since the last call.
  void receive() {
    std::string bytes;
    char chunk[256];
    pollfd ready{_controller, POLLIN, 0};
    for (ssize_t n = 0; poll(&ready, 1, 100) > 0 && (n = read(_controller, chunk, 256)) > 0;) {
      bytes.append(chunk, static_cast<std::size_t>(n));
    }
    _received.push_back(bytes);
  }
  // Standard output back in place, so that the test's reports do not go to
  // the terminal, and what arrived there, call by call.
  std::vector<std::string> finish() {
    _output.reset();
    return _received;
  }

  std::vector<std::string> _received;
  int _controller = -1, _terminal = -1;
  std::unique_ptr<CapturedStream> _output;
};

TEST_F(ConsoleOnATerminal, AttributesAndTheCursorBecomeEscapeSequences) {
  bool accepted = Console::setTextAttribute(14);
  Console::output(L"yellow");
  receive();
  std::vector<std::string> expected{"\x1b[0;93myellow"};
  const std::pair<unsigned, const char*> cases[] = {
      {7, "\x1b[0m"},                              // The default: the terminal's own.
      {0x1F, "\x1b[0;97;44m"},                     // Bright white on blue.
      {0x0C | 0xA0, "\x1b[0;91;102m"},             // Bright red on bright green.
      {0x8000 | 0x4000 | 0x01, "\x1b[0;34;4;7m"},  // Underlined, reversed blue.
      {0x10067, "\x1b[0;43m"}};                    // Grey on brown: the low 16 bits count.
  for (const auto& [attributes, sequence] : cases) {
    accepted = Console::setTextAttribute(attributes) && accepted;
    receive();
    expected.push_back(sequence);
  }
  // The cursor takes the low 16 bits, read as signed: 32768 is negative.
  accepted = accepted && Console::setCursorPosition(Point(0, 0)) &&
             Console::setCursorPosition(Point(0x10005, 3)) &&
             !Console::setCursorPosition(Point(32768, 0)) && !Console::setCursorPosition(Point(0, -1));
  receive();
  expected.push_back("\x1b[1;1H\x1b[4;6H");
  EXPECT_EQ(finish(), expected);
  EXPECT_TRUE(accepted);
}

TEST_F(ConsoleOnATerminal, ScreenInformationOnlyWhenTheTerminalAnswersTheCursorQuery) {
  Console::setTextAttribute(14);
  std::vector<std::vector<int>> results;
  // The answer waits in the terminal's input; then none, and answers that
  // are no cursor report.
  for (const std::string answer : {"\x1b[7;12R", "", "\x1b[;R", "\x1b[0;5R", "\x1b[5;0R", "hello R"}) {
    const bool written = write(_controller, answer.data(), answer.size()) == ssize_t(answer.size());
    ConsoleScreenBufferInfo info{1, 2, 3, 4, 5};
    results.push_back({written, Console::getScreenBufferInfo(info)});
    results.push_back(fields(info));
    receive();
  }
  finish();
  std::vector<std::vector<int>> expected{{1, 1}, kAnswered};
  for (int i = 0; i < 5; ++i) expected.insert(expected.end(), {{1, 0}, kUnchanged});
  EXPECT_EQ(results, expected);
}

}  // namespace
}  // namespace orvo
