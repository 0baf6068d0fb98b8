// Feeds arbitrary bytes in arbitrary pieces to a PacketReader and checks
// every packet it hands out against the frames of a plain parser.
//
// Input: one mode byte, then steps. A step is a byte n: 255 makes the next
// read of the channel fail, 254 detaches the reader and attaches it again
// (which drops a partial packet, and the parser with it), anything else feeds
// the next n bytes to the channel. After each step the reader is called until
// it has taken all there is. The mode picks the largest count one channel
// read moves and whether packets come out as streams or as buffers.
//
// Checks: each packet equals the next frame's payload; read() fails exactly
// for each negative length and each failure of the channel; no bytes are
// left behind. A length in front of a frame comes from the sender, so the
// heap may grow with the bytes that arrive but not with what a length
// claims: under a sanitizer's allocator the target checks both the largest
// single allocation and the bytes in use against a fixed slack plus a small
// multiple of the input's size.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <vector>

#include <orvo/core/Buffer.h>
#include <orvo/core/IO.h>
#include <orvo/core/PacketReader.h>

namespace {

using namespace orvo;
using Bytes = std::vector<std::uint8_t>;

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "packet_reader: %s\n", what);
  std::abort();
}

// The channel: what was fed and is not read yet. Reads answer 0 when it is
// empty, and -1 once for each failure that was asked for.
class Channel : public IO {
 public:
  void feed(const std::uint8_t* data, std::size_t size) { _bytes.insert(_bytes.end(), data, data + size); }
  bool empty() const { return _bytes.empty(); }

  int maxChunk = 1;
  int failuresPending = 0, failuresDelivered = 0;

  int available() const override { return static_cast<int>(_bytes.size()); }
  int peek(void* buffer, int size) const override {
    const int n = count(size);
    std::copy_n(_bytes.begin(), n, static_cast<std::uint8_t*>(buffer));
    return n;
  }
  int read(void* buffer, int size) override {
    if (failuresPending > 0) {
      --failuresPending;
      ++failuresDelivered;
      return -1;
    }
    const int n = peek(buffer, size);
    _bytes.erase(_bytes.begin(), _bytes.begin() + n);
    return n;
  }
  int write(const void*, int) override { return -1; }

 private:
  int count(int size) const {
    const int n = std::min({size, maxChunk, available()});
    return n < 0 ? 0 : n;
  }
  std::deque<std::uint8_t> _bytes;
};

// The frames in the bytes fed so far, parsed in one piece.
class Frames {
 public:
  void feed(const std::uint8_t* data, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) take(data[i]);
  }
  // Forgets a partial frame, as detaching the reader does.
  void restart() {
    _header.clear();
    _body.clear();
  }

  std::deque<Bytes> packets;
  int negativeLengths = 0;

 private:
  void take(std::uint8_t byte) {
    if (_header.size() < 4) {
      _header.push_back(byte);
      if (_header.size() == 4) endOfHeader();
      return;
    }
    _body.push_back(byte);
    if (static_cast<std::int32_t>(_body.size()) == _length) endOfFrame();
  }
  void endOfHeader() {
    std::memcpy(&_length, _header.data(), 4);
    if (_length < 0) ++negativeLengths;
    if (_length <= 0) _header.clear();
  }
  void endOfFrame() {
    packets.push_back(std::move(_body));
    restart();
  }

  Bytes _header, _body;
  std::int32_t _length = 0;
};

// One call of the reader. The result is what it answered; `packet` holds
// the packet it handed out, or nothing.
bool takePacket(PacketReader& reader, bool asBuffer, Bytes& packet) {
  packet.clear();
  if (asBuffer) {
    Buffer buffer;
    if (!reader.read(buffer)) return false;
    const auto* bytes = static_cast<const std::uint8_t*>(buffer.getBuffer());
    packet.assign(bytes, bytes + buffer.getBufferSize());
    return true;
  }
  InputStream out;
  if (!reader.read(out)) return false;
  if (!out) return true;
  packet.resize(static_cast<std::size_t>(out.available()));
  if (packet.empty()) fail("an empty packet");
  if (out.read(packet.data(), static_cast<int>(packet.size())) != static_cast<int>(packet.size())) fail("short packet");
  if (out.available() != 0) fail("packet longer than its frame");
  return true;
}

// Calls the reader until it has taken all there is; each packet must be the
// next one the frames hold.
void drain(PacketReader& reader, Channel& channel, Frames& frames, bool asBuffer, int& failures) {
  Bytes packet;
  for (;;) {
    if (!takePacket(reader, asBuffer, packet)) {
      ++failures;
    } else if (!packet.empty()) {
      if (frames.packets.empty() || frames.packets.front() != packet) fail("a packet that no frame holds");
      frames.packets.pop_front();
    } else if (channel.empty()) {
      return;  // An empty frame gives no packet either, but has bytes behind it.
    }
  }
}

std::size_t allocationLimit = 0;  // The largest allocation allowed; 0 while no input runs.

void checkAllocation(const volatile void*, std::size_t size) {
  if (allocationLimit != 0 && size > allocationLimit) fail("an allocation the input cannot justify");
}

void ignoreFree(const volatile void*) {}

}  // namespace

// Provided by the sanitizers' allocator; absent in a build without one.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*)(const volatile void*, std::size_t),
                                                         void (*)(const volatile void*)) __attribute__((weak));
extern "C" std::size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  if (__sanitizer_install_malloc_and_free_hooks) __sanitizer_install_malloc_and_free_hooks(checkAllocation, ignoreFree);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  // Pools keep a slab or two of blocks for the packets; everything else
  // must come from the bytes that arrive.
  const std::size_t slack = 4u << 20;
  allocationLimit = slack + 4 * size;
  const std::size_t heapBefore = __sanitizer_get_current_allocated_bytes ? __sanitizer_get_current_allocated_bytes() : 0;
  {
    THandle<Channel> channel(new Channel);
    const std::uint8_t mode = data[0];
    channel->maxChunk = (mode & 0x7F) == 0x7F ? 1 << 30 : (mode & 0x7F) + 1;
    const bool asBuffer = (mode & 0x80) != 0;
    PacketReader reader;
    reader.attach(channel.get());
    Frames frames;
    int failures = 0;
    for (std::size_t at = 1; at < size;) {
      const std::uint8_t step = data[at++];
      if (step == 255) {
        ++channel->failuresPending;
      } else if (step == 254) {
        if (reader.detach().get() != channel.get()) fail("detach handed back another channel");
        reader.attach(channel.get());
        frames.restart();
      } else {
        const std::size_t piece = std::min<std::size_t>(step, size - at);
        channel->feed(data + at, piece);
        frames.feed(data + at, piece);
        at += piece;
      }
      drain(reader, *channel, frames, asBuffer, failures);
      if (__sanitizer_get_current_allocated_bytes &&
          __sanitizer_get_current_allocated_bytes() > heapBefore + allocationLimit) {
        fail("the heap grew beyond the bytes that arrived");
      }
    }
    if (!frames.packets.empty()) fail("a complete frame was not handed out");
    if (failures != frames.negativeLengths + channel->failuresDelivered) fail("read() failed other than for a bad length or channel");
  }
  allocationLimit = 0;
  return 0;
}
