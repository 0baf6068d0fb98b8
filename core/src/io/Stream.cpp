#include <orvo/core/Archive.h>
#include <orvo/core/Stream.h>
#include <orvo/core/Varint.h>

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
  std::uint64_t z;
  if (!detail::readZigZagBytewise(is, kMaxInt64Bytes, z)) {
    ORVO_THROW("InputStream& operator >>(InputStream &is,int64_t &v)");
  }
  v = detail::decodeZigZag(z);
  return is;
}

OutputStream& operator<<(OutputStream& os, const std::int64_t& v) {
  std::uint8_t bytes[kMaxInt64Bytes];
  const int count = detail::encodeZigZag(v, bytes);
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
