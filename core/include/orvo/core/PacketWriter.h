// PacketWriter.h: cuts the bytes written to a channel into packets.
//
// Each packet goes out as a frame: its length as a little-endian int32_t,
// then the bytes, with nothing between frames. A PacketReader at the other
// end of the channel puts the packets back together.
//
//   PacketWriter writer;
//   writer.attach(channel.get());
//   writer << payload;                 // a Buffer, or all of an InputStream
//   if (!writer.write(payload)) ...    // the same, reporting a failure
//
// The operators raise Exception when the channel takes fewer bytes than
// offered, or when a source stream cannot tell what it holds (its negative
// count has gone out as the length by then); what was written of the frame
// stays on the channel. write()
// reports the exception to the log and answers false instead.
//
// Threads: no lock. A writer is for one thread at a time, and a frame takes
// at least two writes, so two writers on one channel must be kept from
// interleaving by the caller. Copies share the channel.
#pragma once

#include <orvo/core/Buffer.h>
#include <orvo/core/Export.h>
#include <orvo/core/Stream.h>

namespace orvo {

class ORVO_API PacketWriter {
 public:
  PacketWriter() = default;

  // Attaches the channel; null detaches. Always true.
  bool attach(Output* output) { return stream.attach(output); }
  // Hands the channel back and leaves the writer detached.
  THandle<Output> detach() { return stream.detach(); }

  // One frame with all that `in` reports as available.
  PacketWriter& operator<<(InputStream& in);
  // One frame with the buffer's bytes.
  PacketWriter& operator<<(const Buffer& buffer);

  // The same as the operators; an Exception is reported to the log and
  // answered with false.
  bool write(InputStream& in);
  bool write(const Buffer& buffer);

 private:
  OutputStream stream;
};

}  // namespace orvo
