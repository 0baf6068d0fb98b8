// Packet framing: a length as int32_t in front of each packet.
#include <orvo/core/MemoryStream.h>
#include <orvo/core/PacketReader.h>
#include <orvo/core/PacketWriter.h>

#include <cstdint>

namespace orvo {

// ---- PacketWriter -------------------------------------------------------------

PacketWriter& PacketWriter::operator<<(InputStream& in) {
  const std::int32_t size = in.available();
  stream << size;
  stream << in;
  return *this;
}

PacketWriter& PacketWriter::operator<<(const Buffer& buffer) {
  stream << buffer;
  return *this;
}

namespace {

template <class Payload>
bool writeReported(PacketWriter& writer, Payload& payload) {
  try {
    writer << payload;
    return true;
  } catch (const Exception& e) {
    e.report();
    return false;
  }
}

template <class Target>
bool readQuietly(PacketReader& reader, Target& target) {
  try {
    reader >> target;
    return true;
  } catch (const Exception&) {
    return false;
  }
}

// The body moves through a block of this size on the stack.
constexpr int kBodyChunk = 4096;
constexpr int kHeaderSize = sizeof(std::int32_t);

}  // namespace

bool PacketWriter::write(InputStream& in) { return writeReported(*this, in); }

bool PacketWriter::write(const Buffer& buffer) { return writeReported(*this, buffer); }

// ---- PacketReader -------------------------------------------------------------

PacketReader::PacketReader() = default;
PacketReader::PacketReader(const PacketReader& other) = default;
PacketReader& PacketReader::operator=(const PacketReader& other) = default;
PacketReader::~PacketReader() = default;

bool PacketReader::attach(Input* input) { return stream.attach(input); }

THandle<Input> PacketReader::detach() {
  headerCount = 0;
  packet = nullptr;
  return stream.detach();
}

int PacketReader::readChannel(void* buffer, int size) {
  const int count = stream.read(buffer, size);
  if (count < 0) ORVO_THROW("PacketReader& PacketReader::operator >>(InputStream &)");
  return count;
}

bool PacketReader::readHeader() {
  while (headerCount < kHeaderSize) {
    // The length arrives in the machine's (little-endian) byte order.
    auto* bytes = reinterpret_cast<unsigned char*>(&packetSize);
    const int count = readChannel(bytes + headerCount, kHeaderSize - headerCount);
    if (count == 0) return false;
    headerCount += count;
  }
  if (packetSize <= 0) {
    headerCount = 0;
    if (packetSize < 0) ORVO_THROW("Invalid packet size");
    return false;
  }
  packet = MemoryStream::createInstance();
  return true;
}

bool PacketReader::readBody() {
  unsigned char chunk[kBodyChunk];
  int remaining = packetSize - packet->available();
  while (remaining >= 1) {
    const int count = readChannel(chunk, remaining < kBodyChunk ? remaining : kBodyChunk);
    if (count == 0) return false;
    if (packet->write(chunk, count) != count) {
      headerCount = 0;
      packet = nullptr;
      ORVO_THROW("Read packet error");
    }
    remaining -= count;
  }
  return packet->available() == packetSize;
}

PacketReader& PacketReader::operator>>(InputStream& out) {
  out.attach(nullptr);
  if (headerCount < kHeaderSize && !readHeader()) return *this;
  if (!readBody()) return *this;
  out.attach(packet.get());
  headerCount = 0;
  packet = nullptr;
  return *this;
}

PacketReader& PacketReader::operator>>(Buffer& buffer) {
  InputStream in;
  *this >> in;
  if (!in) {
    buffer.setBufferSize(0);
    return *this;
  }
  const int size = in.available();
  if (buffer.setBufferSize(size) != size) ORVO_THROW("Buffer::setBufferSize() error!");
  if (in.read(buffer.getBuffer(), size) != size) ORVO_THROW("InputStream::read() error!");
  return *this;
}

bool PacketReader::read(InputStream& out) { return readQuietly(*this, out); }

bool PacketReader::read(Buffer& buffer) { return readQuietly(*this, buffer); }

}  // namespace orvo
