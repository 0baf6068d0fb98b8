#include "platform/Terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

namespace orvo::platform {
namespace {

constexpr int kCursorAnswerMilliseconds = 250;
constexpr std::uint16_t kDefaultAttributes = 7;
constexpr std::uint16_t kReverseVideo = 0x4000;
constexpr std::uint16_t kUnderscore = 0x8000;

// The console numbers its colours with blue in bit 0 and red in bit 2;
// the terminal's colour numbers have them the other way round.
constexpr int kTerminalColour[8] = {0, 4, 2, 6, 1, 5, 3, 7};

void writeSequence(const std::string& sequence) {
  writeStandardOutput(sequence.data(), sequence.size());
  flushStandardOutput();
}

// Puts the terminal into non-canonical mode without echo while it lives, so
// that the answer to a query arrives at once and does not show on screen.
class RawMode {
 public:
  explicit RawMode(int terminal) : _terminal(terminal) {
    if (tcgetattr(_terminal, &_saved) != 0) return;
    termios raw = _saved;
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    raw.c_cc[VMIN] = 0;
    raw.c_cc[VTIME] = 0;
    _active = tcsetattr(_terminal, TCSANOW, &raw) == 0;
  }
  ~RawMode() {
    if (_active) tcsetattr(_terminal, TCSANOW, &_saved);
  }
  RawMode(const RawMode&) = delete;
  RawMode& operator=(const RawMode&) = delete;

  bool active() const { return _active; }

 private:
  int _terminal;
  termios _saved{};
  bool _active = false;
};

bool writeAll(int descriptor, const char* bytes, std::size_t count) {
  while (count > 0) {
    const ssize_t written = write(descriptor, bytes, count);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes += written;
    count -= static_cast<std::size_t>(written);
  }
  return true;
}

// Reads the answer "ESC [ row ; column R" to a cursor query, skipping
// whatever else arrives before it.
bool readCursorAnswer(int terminal, int& column, int& row) {
  char answer[64];
  std::size_t length = 0;
  while (length < sizeof answer - 1) {
    pollfd waiting{terminal, POLLIN, 0};
    const int ready = poll(&waiting, 1, kCursorAnswerMilliseconds);
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return false;
    const ssize_t got = read(terminal, answer + length, 1);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    if (answer[length++] == 'R') break;
  }
  answer[length] = 0;
  for (std::size_t start = 0; start + 1 < length; ++start) {
    int oneBasedRow = 0;
    int oneBasedColumn = 0;
    if (answer[start] == '\x1b' &&
        std::sscanf(answer + start, "\x1b[%d;%dR", &oneBasedRow, &oneBasedColumn) == 2 &&
        oneBasedRow > 0 && oneBasedColumn > 0) {
      row = oneBasedRow - 1;
      column = oneBasedColumn - 1;
      return true;
    }
  }
  return false;
}

}  // namespace

bool standardOutputIsOpen() { return fcntl(STDOUT_FILENO, F_GETFD) != -1; }

bool standardOutputIsTerminal() { return isatty(STDOUT_FILENO) == 1; }

void writeStandardOutput(const char* bytes, std::size_t count) {
  if (count > 0) std::fwrite(bytes, 1, count, stdout);
}

void flushStandardOutput() { std::fflush(stdout); }

void setTerminalAttributes(std::uint16_t attributes) {
  const int foreground = attributes & 0x0F;
  const int background = (attributes >> 4) & 0x0F;
  std::string sequence = "\x1b[0";
  if (foreground != kDefaultAttributes) {
    sequence += ';' + std::to_string((foreground & 8 ? 90 : 30) + kTerminalColour[foreground & 7]);
  }
  if (background != 0) {
    sequence += ';' + std::to_string((background & 8 ? 100 : 40) + kTerminalColour[background & 7]);
  }
  if (attributes & kUnderscore) sequence += ";4";
  if (attributes & kReverseVideo) sequence += ";7";
  writeSequence(sequence + 'm');
}

void setTerminalCursor(int column, int row) {
  writeSequence("\x1b[" + std::to_string(row + 1) + ';' + std::to_string(column + 1) + 'H');
}

bool terminalSize(int& columns, int& rows) {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return false;
  columns = size.ws_col;
  rows = size.ws_row;
  return true;
}

bool terminalCursor(int& column, int& row) {
  if (!standardOutputIsTerminal()) return false;
  std::fflush(stdout);
  RawMode raw(STDOUT_FILENO);
  if (!raw.active()) return false;
  static const char kQuery[] = "\x1b[6n";
  if (!writeAll(STDOUT_FILENO, kQuery, sizeof kQuery - 1)) return false;
  return readCursorAnswer(STDOUT_FILENO, column, row);
}

}  // namespace orvo::platform
