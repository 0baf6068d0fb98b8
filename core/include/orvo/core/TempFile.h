// TempFile.h: a File in the directory for temporary files that deletes
// itself.
//
// createTempFile() makes a new empty file with a unique name in $TMPDIR (or
// /tmp when that is not set) and opens it for reading and writing. When the
// last handle goes, the file is closed and removed from the disk.
//
//   THandle<TempFile> spill = TempFile::createTempFile();
//   if (spill) spill->write(bytes, count);
//
// Closing a TempFile by hand forgets its name, so the file then stays on the
// disk. Failures are logged and give a null handle or an empty name.
//
// Threads: as File, one thread at a time per object; any thread may create
// temporary files at any time.
#pragma once

#include <orvo/core/File.h>

namespace orvo {

class ORVO_API TempFile : public File {
 public:
  // A new, open, empty temporary file; null (and a logged error) if none can
  // be made.
  static THandle<TempFile> createTempFile();
  // Creates a new empty file with a unique name in the temporary directory
  // and returns its name; the empty string, and a logged error, on failure.
  // The caller owns that file.
  static String getTempFileName();

  const wchar_t* getClassName() const override { return L"TempFile"; }

 protected:
  TempFile() = default;
  ~TempFile() override;
};

}  // namespace orvo
