// File.h: a binary file on disk, as a seekable device.
//
// A File is an Archive on a buffered stream of the C library. Make one with
// createInstance(), open it with a name and a mode, read, write and seek
// through the Archive operations, and let it go: it closes with its object.
//
//   THandle<File> file = File::createInstance();
//   if (file->open(L"data.bin", File::OPEN_READ)) {
//     char header[16];
//     int n = file->read(header, sizeof header);
//   }
//
// The modes are sets of the OPEN_ bits; six are accepted, each a mode of the
// C library: OPEN_READ ("rb"), OPEN_WRITE | OPEN_CREATE ("wb", truncates),
// that plus OPEN_APPEND ("ab"), OPEN_READ | OPEN_WRITE ("r+b", must exist),
// that plus OPEN_CREATE ("w+b", truncates), and all four ("a+b"). Any other
// value fails with the message of a failed open, for EINVAL. As with the C library, a file
// open for reading and writing needs a setPosition between a write and a
// read that follows it, and the other way round.
//
// Failures come back as the result (-1, false, or 0 from a transfer) and are
// told with Log::error; nothing here throws. A read that ends at the end of
// the file logs "Read file error!" and gives what it got, as the design has
// it; after that, available() answers -1 until a setPosition.
//
// Sizes and positions are 32-bit: a File addresses at most 2^31 - 1 bytes.
// A position beyond that counts as a failure of the position call.
//
// Copies: a File cannot be copied or assigned. Two objects that shared one
// stream would each close it; a File is held by handles instead, and every
// handle on it sees the one stream.
//
// Threads: one thread at a time. peek, available and getArchiveSize move
// the stream's position for a moment, although they are const; wrap a File
// in a SecureIO to share it. getLastError reads the calling thread's errno.
#pragma once

#include <orvo/core/Archive.h>
#include <orvo/core/Buffer.h>
#include <orvo/core/Export.h>
#include <orvo/core/String.h>

#include <cstdio>

namespace orvo {

class ORVO_API File : public Archive {
 public:
  enum {
    OPEN_CREATE = 1,
    OPEN_APPEND = 2,
    OPEN_READ = 4,
    OPEN_WRITE = 8,
  };

  // A new File is closed. Null only if memory runs out.
  static THandle<File> createInstance();

  File(const File&) = delete;
  File& operator=(const File&) = delete;

  const wchar_t* getClassName() const override { return L"File"; }

  // Closes what was open, then opens `fileName` with `mode`. An empty name
  // fails without a message; any other failure is logged with the reason.
  bool open(const String& fileName, int mode);
  // Closes the stream, if one is open; the name becomes empty.
  void close();
  bool isInvalid() const { return handle == nullptr; }
  // The name of the open file; empty while closed.
  const String& getFileName() const { return fileName; }

  // On a closed file these answer -1; read, peek and write with a size
  // below 1 answer 0.
  int available() const override;
  int peek(void* data, int size) const override;
  int read(void* data, int size) override;
  int write(const void* data, int size) override;
  int getArchiveSize() const override;
  int getPosition() const override;
  // Moves to `position` from the start, not clamped to the size; `position`
  // on success, -1 otherwise.
  int setPosition(int position) override;

  // The MD5 digest of the whole file, wherever the position stands; the
  // position is the same afterwards. False if a read comes up short, and then
  // `digest` is left as it was. A closed file hashes as an empty one.
  bool calcMd5(Buffer& digest);

  // The text of the calling thread's errno: "ENOENT: No such file or
  // directory." and so on, by the constant's name. A number below 43 that no
  // text of the table is for gives "UNKNOWN: Unknown error(N).", any other
  // "UNKNOWN: Unknown error", 0 the empty string. The numbers are this
  // system's, so the table of texts is the same everywhere while the numbers
  // behind the "(N)" form are the gaps of this system's first 43 numbers.
  // A pointer to a static text, never freed.
  static const wchar_t* getLastError();

 protected:
  File() = default;
  ~File() override;

 private:
  // The only two places that touch the stream's position, so that every
  // failure of a position call is logged in one place.
  int ftell_() const;
  int fseek_(long offset, int origin) const;
  // The rules shared by read and write for a transfer of `count` bytes.
  int transferResult(std::size_t count, const wchar_t* message) const;
  int sizeFromPosition(int& position) const;

  String fileName;
  std::FILE* handle = nullptr;
};

// The MD5 digest of the file `fileName`, opened for reading; false if it
// cannot be opened or read.
ORVO_API bool calcFileMd5(const String& fileName, Buffer& digest);

}  // namespace orvo
