// IP-change listener: a detached thread on the IP-change socket that passes
// each received text to every registered callback.
#include "listener.h"
#include "wire.h"

namespace {

zel::CallbackRegistry<zelIPChangedCallback> g_registry;
std::atomic<bool> g_started{false};

void *ip_listener_loop(void *) {
    // Over 15 characters: refused, the thread keeps its inherited name.
    pthread_setname_np(pthread_self(), "sdk_init_ip_listener_thread");
    char text[zel::wire::kIpEventMax + 1];
    for (;;) {
        int fd = zel::connectListener(&zel::Platform::ip_socket);
        if (fd < 0) return nullptr;
        size_t n;
        while ((n = zel::receiveEvent(fd, text, sizeof text - 1)) > 0) {
            text[n] = '\0';
            zelto_sdk_log(LOG_INFO, "Received notification: %s\n", text);
            g_registry.callAll(static_cast<const char *>(text), "Calling func_id: %d");
        }
    }
}

}  // namespace

extern "C" {

int32_t init_ip_listener_thread(void) {
    return zel::startListenerOnce(g_started, ip_listener_loop, "pthread_create: failed");
}

int32_t RegisterIPChangedEvent(zelIPChangedCallback callback) { return g_registry.add(callback); }

}  // extern "C"
