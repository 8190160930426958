/* Registers for notifications and IP changes, then reacts for a while
 * (notifications [SECONDS], default 30): a new message is listed, a SIM
 * state change is read back, an IP change is printed. */
#define _POSIX_C_SOURCE 200809L /* clock_gettime */
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include "zelto_sdk.h"

static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t changed = PTHREAD_COND_INITIALIZER;
static int new_sms, sim_changed;

/* Callbacks run on the listener threads. They may call the library, but a
 * callback's call holds back that listener's later events for as long as it
 * takes: these only note what happened, the main thread does the work. */
static void on_notification(zelNotification *n) {
    pthread_mutex_lock(&lock);
    if (n->type == NOTIFICATION_NEW_SMS) new_sms = 1;
    if (n->type == NOTIFICATION_SIM_STATUS) sim_changed = 1;
    if (n->type == NOTIFICATION_OTA_STATUS)
        printf("firmware update: status %u, progress %u\n", n->payload.ota.status, n->payload.ota.progress);
    pthread_cond_signal(&changed);
    pthread_mutex_unlock(&lock);
}

static void on_ip_changed(const char *event_text) { printf("IP change: %s\n", event_text); }

/* Takes the text's address, not its value: the query that fills it is the
 * other argument, and C leaves the order of evaluation open. */
static void print_text(int32_t status, zelString **text) {
    printf("%s\n", status == 0 ? (*text)->data : "(query failed)");
    zelFreeString(*text);
    *text = NULL;
}

int main(int argc, char **argv) {
    struct timespec end;
    zelString *text = NULL;
    /* Registered before zelInit starts the listeners: no early event is missed. */
    if (zelRegisterNotification(on_notification) != 0 || zelRegisterIPChanged(on_ip_changed) != 0) return 1;
    if (zelInit() != 0) {
        zelExit(); /* a failed start may still hold the lock file */
        return 1;
    }
    clock_gettime(CLOCK_REALTIME, &end);
    end.tv_sec += argc > 1 ? atoi(argv[1]) : 30;
    pthread_mutex_lock(&lock);
    while (pthread_cond_timedwait(&changed, &lock, &end) == 0) {
        int sms = new_sms, sim = sim_changed;
        new_sms = sim_changed = 0;
        pthread_mutex_unlock(&lock);
        if (sms && zelCMGFSet(1) == 0) print_text(zelCMGLSet("REC UNREAD", &text), &text);
        if (sim) print_text(zelCPINGet(&text), &text);
        fflush(stdout);
        pthread_mutex_lock(&lock);
    }
    pthread_mutex_unlock(&lock);
    zelExit();
    return 0;
}
