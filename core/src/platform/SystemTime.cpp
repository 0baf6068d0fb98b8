#include "platform/SystemTime.h"

#include <sys/sysinfo.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

namespace orvo::platform {
namespace {

// 100-ns units from 15 October 1582 to 1 January 1970.
constexpr std::uint64_t kGregorianToUnix = 0x01B21DD213814000ull;

std::atomic<SystemTimeSource> replacementSource{nullptr};

// tzset once, however early the first caller runs during static
// initialisation; the initialiser below makes that at the latest when the
// library loads.
void readZoneOnce() {
  static const bool zoneRead = (tzset(), true);
  (void)zoneRead;
}

[[maybe_unused]] const bool zoneReadAtLoad = (readZoneOnce(), true);

std::uint64_t realTime100ns() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 10000000u + static_cast<std::uint64_t>(now.tv_nsec) / 100u +
         kGregorianToUnix;
}

template <class T>
void append(std::vector<unsigned char>& bytes, const T& value) {
  const auto* p = reinterpret_cast<const unsigned char*>(&value);
  bytes.insert(bytes.end(), p, p + sizeof value);
}

}  // namespace

std::uint64_t systemTime100ns() {
  const SystemTimeSource source = replacementSource.load(std::memory_order_acquire);
  return source ? source() : realTime100ns();
}

SystemTimeSource setSystemTimeSource(SystemTimeSource source) {
  return replacementSource.exchange(source, std::memory_order_acq_rel);
}

std::vector<unsigned char> machineAndRunFacts() {
  std::vector<unsigned char> bytes;
  struct sysinfo info {};
  sysinfo(&info);
  append(bytes, info);
  append(bytes, sysconf(_SC_NPROCESSORS_ONLN));
  append(bytes, realTime100ns());
  timespec monotonic{};
  clock_gettime(CLOCK_MONOTONIC_RAW, &monotonic);
  append(bytes, monotonic);
  char host[64] = {};
  gethostname(host, sizeof host - 1);
  const std::size_t hostLength = std::strlen(host);
  append(bytes, hostLength);
  bytes.insert(bytes.end(), host, host + hostLength);
  append(bytes, getpid());
  return bytes;
}

std::int64_t unixTimeSeconds() { return static_cast<std::int64_t>(::time(nullptr)); }

int localZoneBias() {
  readZoneOnce();
  return static_cast<int>(::timezone);
}

}  // namespace orvo::platform
