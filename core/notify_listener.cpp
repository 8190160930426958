// Server notification listener: a detached thread on the notification socket
// that decodes each message, drops repeated states and calls every registered
// callback.
#include <stdlib.h>

#include "listener.h"
#include "notification_decoder.h"

namespace {

zel::CallbackRegistry<zelNotificationCallback> g_registry;
std::atomic<bool> g_started{false};
// Used by the one listener thread alone.
zel::DuplicateFilter g_filter;

void dispatch(zelNotification *records, size_t count) {
    for (size_t i = 0; i < count; ++i)
        if (g_filter.admit(records[i])) notifyCallbacks(&records[i]);
}

void *notification_listener_loop(void *) {
    // Over 15 characters: refused, the thread keeps its inherited name.
    pthread_setname_np(pthread_self(), "sdk_init_notification_listener_thread");
    // Allocated once for the life of the thread.
    uint8_t *message = static_cast<uint8_t *>(calloc(zel::kNotificationMessageMax, 1));
    zelNotification *records =
        static_cast<zelNotification *>(calloc(zel::kNotificationRecordsMax, sizeof(zelNotification)));
    if (message == nullptr || records == nullptr) {
        free(message);
        free(records);
        return nullptr;
    }
    for (;;) {
        int fd = zel::connectListener(&zel::Platform::notify_socket);
        if (fd < 0) break;
        size_t n;
        while ((n = zel::receiveEvent(fd, message, zel::kNotificationMessageMax)) > 0) {
            size_t count = 0;
            if (!zel::decodeNotifications(message, n, records, zel::kNotificationRecordsMax, zelto_sdk_log,
                                          &count)) {
                zelto_sdk_log(LOG_ERR, "Failed to parse notification payload");
                continue;
            }
            zelto_sdk_log(LOG_INFO, "Received %d notification\n", static_cast<int>(count));
            dispatch(records, count);
        }
    }
    free(message);
    free(records);
    return nullptr;
}

}  // namespace

extern "C" {

int32_t InitNotificationListenerThread(void) {
    return zel::startListenerOnce(g_started, notification_listener_loop, "pthread_create failed");
}

int32_t RegisterNotification(zelNotificationCallback callback) { return g_registry.add(callback); }

void notifyCallbacks(zelNotification *notification) {
    // Callbacks are promised a record.
    if (notification == nullptr) return;
    g_registry.callAll(notification, "Calling function ID: %d");
}

}  // extern "C"
