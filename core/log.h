// Library-internal logging helpers over zelto_sdk_log.
#ifndef ZEL_CORE_LOG_H
#define ZEL_CORE_LOG_H

#include <stdint.h>
#include <atomic>

#include "zelto_sdk.h"

namespace zel {
// Set once by zelto_sdk_open_log; never cleared.
extern std::atomic<uint8_t> log_opened;

// Writes to the system log directly, whether or not the log is open and
// without the source prefix, as the few messages that bypass zelto_sdk_log do.
void directLog(int priority, const char *format, ...) __attribute__((format(printf, 2, 3)));

// True when a message at `priority` would reach the system log: the log is
// open and the application has not masked the priority with setlogmask.
bool logWanted(int priority);
}  // namespace zel

// Logs with the "<source base name>:<line>: " prefix every library message
// carries. `kTag` must name the source's base name in the calling scope.
#define ZEL_LOG(priority, fmt, ...) \
    zelto_sdk_log((priority), "%s:%d: " fmt, kTag, __LINE__, ##__VA_ARGS__)

#endif
