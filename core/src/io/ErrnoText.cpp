#include "io/ErrnoText.h"

#include <array>
#include <cerrno>

namespace orvo::io {
namespace {

struct NamedText {
  int code;
  const wchar_t* text;
};

constexpr NamedText namedTexts[] = {
    {EPERM, L"EPERM: Operation not permitted."},
    {ENOENT, L"ENOENT: No such file or directory."},
    {ESRCH, L"ESRCH: No such process."},
    {EINTR, L"EINTR: Interrupted function."},
    {EIO, L"EIO: I/O error."},
    {ENXIO, L"ENXIO: No such device or address."},
    {E2BIG, L"E2BIG: Argument list too long."},
    {ENOEXEC, L"ENOEXEC: Exec format error."},
    {EBADF, L"EBADF: Bad file number."},
    {ECHILD, L"ECHILD: No spawned processes."},
    {EAGAIN, L"EAGAIN: No more processes or not enough memory or maximum nesting level reached."},
    {ENOMEM, L"ENOMEM: Not enough memory."},
    {EACCES, L"EACCES: Permission denied."},
    {EFAULT, L"EFAULT: Bad address."},
    {EBUSY, L"EBUSY: Device or resource busy."},
    {EEXIST, L"EEXIST: File exists."},
    {EXDEV, L"EXDEV: Cross-device link."},
    {ENODEV, L"ENODEV: No such device."},
    {ENOTDIR, L"ENOTDIR: Not a directory."},
    {EISDIR, L"EISDIR: Is a directory."},
    {EINVAL, L"EINVAL: Invalid argument."},
    {ENFILE, L"ENFILE: Too many files open in system."},
    {EMFILE, L"EMFILE: Too many open files."},
    {ENOTTY, L"ENOTTY: Inappropriate I/O control operation."},
    {EFBIG, L"EFBIG: File too large."},
    {ENOSPC, L"ENOSPC: No space left on device."},
    {ESPIPE, L"ESPIPE: Invalid seek."},
    {EROFS, L"EROFS: Read-only file system."},
    {EMLINK, L"EMLINK: Too many links."},
    {EPIPE, L"EPIPE: Broken pipe."},
    {EDOM, L"EDOM: Math argument."},
    {ERANGE, L"ERANGE: Result too large."},
    {EDEADLK, L"EDEADLK: Resource deadlock would occur."},
    {ENAMETOOLONG, L"ENAMETOOLONG: Filename too long."},
    {ENOLCK, L"ENOLCK: No locks available."},
    {ENOSYS, L"ENOSYS: Function not supported."},
    {ENOTEMPTY, L"ENOTEMPTY: Directory not empty."},
    {EILSEQ, L"EILSEQ: Illegal byte sequence."},
#ifdef STRUNCATE
    {STRUNCATE, L"STRUNCATE: String was truncated"},
#endif
};

constexpr int tableEnd = 43;

struct NumberedText {
  wchar_t text[32];
};

// "UNKNOWN: Unknown error(N).", made once for every number of the table's
// range, so that the result can be a static text.
NumberedText numberedText(int number) {
  NumberedText result{};
  int at = 0;
  for (const wchar_t* p = L"UNKNOWN: Unknown error("; *p; ++p) result.text[at++] = *p;
  if (number >= 10) result.text[at++] = static_cast<wchar_t>(L'0' + number / 10);
  result.text[at++] = static_cast<wchar_t>(L'0' + number % 10);
  result.text[at++] = L')';
  result.text[at++] = L'.';
  return result;
}

const wchar_t* numberedTextOf(int number) {
  static const auto texts = [] {
    std::array<NumberedText, tableEnd> all{};
    for (int n = 0; n < tableEnd; ++n) all[static_cast<unsigned>(n)] = numberedText(n);
    return all;
  }();
  return texts[static_cast<unsigned>(number)].text;
}

}  // namespace

const wchar_t* errnoText(int code) {
  if (code == 0) return L"";
  for (const NamedText& row : namedTexts) {
    if (row.code == code) return row.text;
  }
  if (code > 0 && code < tableEnd) return numberedTextOf(code);
  return L"UNKNOWN: Unknown error";
}

}  // namespace orvo::io
