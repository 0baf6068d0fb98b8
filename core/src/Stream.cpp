#include <orvo/core/Archive.h>
#include <orvo/core/Stream.h>

namespace orvo {

Input::~Input() = default;
Output::~Output() = default;
IO::~IO() = default;
Archive::~Archive() = default;

InputStream::~InputStream() = default;
OutputStream::~OutputStream() = default;

int InputStream::peek(void* buffer, int size) const { return input->peek(buffer, size); }

namespace {

constexpr int kMaxInt64Bytes = 10;
constexpr int kCopyChunk = 8192;

}  // namespace

InputStream& operator>>(InputStream& is, std::int64_t& v) {
  std::uint64_t z = 0;
  for (int count = 0;;) {
    std::uint8_t byte;
    is >> byte;
    z |= static_cast<std::uint64_t>(byte & 0x7F) << (7 * count);
    if ((byte & 0x80) == 0) break;
    if (++count == kMaxInt64Bytes) ORVO_THROW("InputStream& operator >>(InputStream &is,int64_t &v)");
  }
  v = static_cast<std::int64_t>((z >> 1) ^ (0u - (z & 1u)));
  return is;
}

OutputStream& operator<<(OutputStream& os, const std::int64_t& v) {
  std::uint8_t bytes[kMaxInt64Bytes];
  std::uint64_t z = (static_cast<std::uint64_t>(v) << 1) ^ static_cast<std::uint64_t>(v >> 63);
  int count = 0;
  while (z > 0x7F) {
    bytes[count++] = static_cast<std::uint8_t>((z & 0x7F) | 0x80);
    z >>= 7;
  }
  bytes[count++] = static_cast<std::uint8_t>(z);
  if (os.write(bytes, count) != count) ORVO_THROW("OutputStream& operator <<(OutputStream &os,int64_t const &v)");
  return os;
}

OutputStream& operator<<(OutputStream& out, InputStream& in) {
  int remaining = in.available();
  if (remaining < 0) ORVO_THROW("OutputStream& operator <<(OutputStream &,InputStream &)");
  unsigned char chunk[kCopyChunk];
  while (remaining >= 1) {
    const int n = in.read(chunk, remaining < kCopyChunk ? remaining : kCopyChunk);
    if (n < 1 || out.write(chunk, n) != n) {
      ORVO_THROW("OutputStream& operator <<(OutputStream &,InputStream &)");
    }
    remaining -= n;
  }
  return out;
}

}  // namespace orvo
