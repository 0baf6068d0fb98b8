// PacketReader.h: puts the packets of a PacketWriter back together.
//
// The reader is called whenever bytes may have arrived on its channel. Each
// call reads what the channel has, keeps a partial packet for the next call,
// and hands out a packet once its last byte is there, as a MemoryStream:
//
//   PacketReader reader;
//   reader.attach(channel.get());
//   InputStream packet;
//   while (reader.read(packet) && !!packet) handle(packet);
//
// A channel's read answering 0 means that nothing is there now: the call
// returns with no packet and `packet` detached. A frame of length 0 gives no
// packet either. A negative length raises "Invalid packet size" and the next
// four bytes are taken as a new length; a failure of the channel raises and
// leaves the partial packet in place for a later call. A packet's memory
// grows only with the bytes that actually arrive, whatever its length says.
// read() answers false for any such Exception and logs nothing; the
// operators let it pass.
//
// Threads: no lock; one thread at a time. A copy shares the channel and the
// partial packet, so only one of the two should go on reading.
#pragma once

#include <orvo/core/Buffer.h>
#include <orvo/core/Export.h>
#include <orvo/core/Stream.h>

namespace orvo {

class MemoryStream;

class ORVO_API PacketReader {
 public:
  PacketReader();
  PacketReader(const PacketReader& other);
  PacketReader& operator=(const PacketReader& other);
  ~PacketReader();

  // Attaches the channel; null detaches. A partial packet stays in place.
  // Always true.
  bool attach(Input* input);
  // Drops any partial packet and hands the channel back.
  THandle<Input> detach();

  // Reads on towards the next packet. `out` ends attached to the finished
  // packet, or detached if none is complete yet.
  PacketReader& operator>>(InputStream& out);
  // The same, with the packet's bytes in `buffer`, which is empty if none is
  // complete yet.
  PacketReader& operator>>(Buffer& buffer);

  // The same as the operators; false if an Exception arrived. True also when
  // no packet is complete: look at `out` or `buffer` to see whether one came.
  bool read(InputStream& out);
  bool read(Buffer& buffer);

 private:
  // Reads the length in front of a frame; false while it is incomplete or
  // the frame is empty.
  bool readHeader();
  // Reads the body of the packet; false while it is incomplete.
  bool readBody();
  // Reads up to `size` bytes from the channel; raises on a failure.
  int readChannel(void* buffer, int size);

  InputStream stream;
  int headerCount = 0;  // Bytes of the length received, 0 to 4.
  int packetSize = 0;   // The length, valid when headerCount is 4.
  THandle<MemoryStream> packet;
};

}  // namespace orvo
