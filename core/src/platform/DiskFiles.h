// DiskFiles.h: files on disk by wide names, and the temporary directory.
//
// Names are wide text in the library and UTF-8 bytes on this system; the
// conversion happens here and nowhere else. Every function reports failure
// as the C library does, through the calling thread's errno, so that the
// caller can name the reason. No state of their own; any thread may call
// them.
#pragma once

#include <cstdio>

#include <orvo/core/String.h>

namespace orvo::platform {

// Opens `name` as a C library stream with `mode` ("rb", "w+b", ...); null on
// failure. A directory is no file: it fails with EISDIR in every mode.
std::FILE* openFile(const wchar_t* name, const char* mode);

// Deletes the file `name`; false on failure.
bool removeFile(const wchar_t* name);

// Creates a new empty file with a unique name in the directory for
// temporary files and returns that name; empty on failure. The directory is
// $TMPDIR if that is set and not empty, otherwise /tmp, and its bytes are
// read as UTF-8. Creating the file reserves the name against every other
// process that asks for one.
String createUniqueFile();

}  // namespace orvo::platform
