/**
 * @file zelto_sdk.h
 * @brief Client library for the modem of the LTE/IoT module: the one public
 * header (C99 and C++).
 *
 * Conventions
 * -----------
 * Status codes: every API function returns a signed 32-bit status:
 * | Code | Meaning |
 * |-----:|:--------|
 * |  0   | success |
 * |  1   | an argument is outside its allowed range, or a text argument holds a control byte (below 0x20, or 0x7F) that would end or add a command: nothing is sent and the log names the argument |
 * |  2   | a required pointer argument is NULL |
 * |  4   | another running instance already holds the single-instance lock (zelInit() only) |
 * |  5   | generic failure: no reply within the timeout, an empty reply, a reply without the expected "OK" or response prefix, no memory, a socket, port or file that cannot be opened |
 * |  6   | the reply holds nothing before its "OK" (empty result) |
 * | -1   | callback table full, or a missing/invalid argument in the registration and firmware-update functions |
 * | -99  | the modem rejected a firmware-update command, its reply could not be understood, or the firmware-update handler could not be registered |
 *
 * zelVantorGetRegStatus() returns a registration state instead (see there);
 * the byte-level socket and port helpers return byte counts or -1. The
 * @ref errors guide tells, for each code, what causes it and what to do.
 *
 * Ownership: every zelString handed back by the library (text outputs,
 * replies of #sdkSendATcmd) is a new record owned by the caller, who frees it
 * with zelFreeString(). Records and strings passed in by the caller stay owned
 * by the caller. Outputs are written only through caller-supplied pointers;
 * integer outputs are written only on success. A text output is written only
 * on success, or set to NULL: start it at NULL and free it afterwards
 * whatever the status (zelFreeString(NULL) does nothing).
 *
 * Commands go to the SDK server, one at a time, with a 15 s timeout unless
 * stated otherwise. Text arguments are inserted into the command as they
 * are, unless they hold a control byte (status 1); a command longer than
 * 1023 bytes is refused and nothing is sent. Call zelInit() once before
 * anything else and zelExit() at the end.
 */
#ifndef ZELTO_SDK_H
#define ZELTO_SDK_H

#include <stdint.h>
#include <pthread.h>
#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define ZEL_PRINTF_LIKE(fmt_idx, arg_idx) __attribute__((format(printf, fmt_idx, arg_idx)))
#else
#define ZEL_PRINTF_LIKE(fmt_idx, arg_idx)
#endif
/**
 * @def ZEL_PRINTF_LIKE(fmt_idx, arg_idx)
 * @ingroup strings_log
 * @brief Lets GCC and Clang check the format of zelto_sdk_log() like
 * printf's: @p fmt_idx is the position of the format, @p arg_idx that of
 * the first value. Empty for other compilers.
 */

#if defined(__USE_TIME_BITS64)
#define ZEL_TIME64_SYMBOL(name) __asm__(#name "_time64")
#else
#define ZEL_TIME64_SYMBOL(name)
#endif
/**
 * @def ZEL_TIME64_SYMBOL(name)
 * @ingroup ota
 * @brief Picks the symbol of a function whose record holds a `time_t`.
 *
 * On a 32-bit platform whose C library offers both sizes of `time_t`
 * (glibc on 32-bit Arm), an application compiled with
 * `-D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64` calls `name_time64`, which fills
 * the record with a 64-bit `time_t`; one compiled without them calls `name`
 * and gets the 32-bit layout, where a time past January 2038 reads as 0.
 * Empty elsewhere: 64-bit platforms have one layout and one symbol.
 */

/* ======================================================================
 * Public records and callback types
 * ====================================================================== */

/**
 * @ingroup strings_log
 * @brief Text buffer: `data` holds `len` bytes followed by one zero byte.
 *
 * Record and buffer are separate heap blocks; free both with zelFreeString().
 * Made by zelAllocString() and by the library for every text it hands back.
 */
typedef struct zelString {
    char *data; /**< `len` bytes and a terminating zero byte (the text may hold zero bytes of its own). */
    int32_t len; /**< Number of bytes in `data`, without the terminating zero. */
} zelString;

/**
 * @ingroup events
 * @brief Notification types (value of zelNotification::type).
 */
enum {
    NOTIFICATION_NETWORK_MODE_CHANGE = 0, /**< Network mode changed; payload.value. */
    NOTIFICATION_TYPE_1 = 1,              /**< Type 1 of the server; payload.value. */
    NOTIFICATION_NEW_SMS = 2,             /**< payload.value: 1 new message, 0 none. */
    NOTIFICATION_OTA_STATUS = 3,          /**< Firmware update status; payload.ota.status, payload.ota.progress. */
    NOTIFICATION_URC = 4,                 /**< Unsolicited result code; payload.urc.length, payload.urc.data. */
    NOTIFICATION_TYPE_5 = 5,              /**< Type 5 of the server; payload.value. */
    NOTIFICATION_SIM_STATUS = 6,          /**< SIM state changed; payload.value. */
    NOTIFICATION_WAKEUP = 7               /**< payload.value: wake-up reason (see zelGetWakeupReason()). */
};

/**
 * @ingroup events
 * @brief One notification as delivered to notification callbacks.
 *
 * The payload union is 8 bytes on the 32-bit Arm target (on 64-bit hosts the
 * URC pointer widens it to 16); bytes a type does not use carry no meaning.
 * The record, and for URCs the text it points to, are valid only until the
 * callback returns.
 */
typedef struct zelNotification {
    uint32_t type; /**< One of the NOTIFICATION_* values (0 to 7). */
    /** The value of the type; which member is meaningful depends on `type`. */
    union {
        uint8_t value; /**< One-byte types 0, 1, 2, 5, 6, 7. */
        /** Firmware update status (type 3). */
        struct {
            uint8_t status;   /**< Firmware update status code (see zelOTACallbacks). */
            uint8_t progress; /**< Progress as sent by the modem. */
        } ota;                /**< Type 3. */
        /** Unsolicited result code (type 4). */
        struct {
            uint32_t length; /**< Bytes of URC text, host order. */
            char *data;      /**< URC text, not NUL-terminated; valid during the callback only. */
        } urc;               /**< Type 4. */
    } payload; /**< The value of the notification. */
} zelNotification;

/**
 * @ingroup events
 * @brief IP-change callback: called on the IP-change listener thread with
 * the NUL-terminated event text (at most 255 characters); the text is valid
 * only during the call.
 *
 * Callbacks (IP change, notifications, firmware update) run outside the
 * registry's lock and may call any function of this library, the
 * registration functions and the firmware-update steps included; a callback
 * registered from a callback is called from the next event on. Events of one
 * listener are delivered one at a time: a callback that makes a call holds
 * back that listener's later events for as long as the call takes (up to its
 * timeout, 15 s for most commands). See @ref threads.
 *
 * @param event_text the event as the server sent it, for example
 *        `ip_change cid=1 if=rmnet_data0 ip=10.0.0.2`.
 */
typedef void (*zelIPChangedCallback)(const char *event_text);

/**
 * @ingroup events
 * @brief Notification callback: called with each notification, on the
 * notification listener thread (or on the caller's thread for the wake-up
 * record of the sleep sequences); the rules of #zelIPChangedCallback apply.
 *
 * @param notification the record, valid only until the callback returns.
 */
typedef void (*zelNotificationCallback)(zelNotification *notification);

/* ---- Neighbour cell report (AT+CNBRCELL) ----
 * Fields are named after the token of the cell line that fills them. */
/**
 * @ingroup neighbours
 * @brief A GSM neighbour: a `neighbourcell` line of exactly 11 tokens.
 *
 * Each field `tokN` holds the decimal value of token N of the line (token 0
 * is the line's keyword), cut to the field's width.
 */
typedef struct zelGsmNeighbour {
    uint16_t tok2;  /**< Token 2. */
    uint8_t tok3;   /**< Token 3. */
    uint8_t tok4;   /**< Token 4. */
    uint8_t tok5;   /**< Token 5. */
    uint8_t tok6;   /**< Token 6. */
    uint8_t tok7;   /**< Token 7. */
    uint8_t tok8;   /**< Token 8. */
    uint16_t tok9;  /**< Token 9. */
    uint16_t tok10; /**< Token 10. */
} zelGsmNeighbour;

/**
 * @ingroup neighbours
 * @brief An LTE intra-frequency neighbour: a `neighbourcell intra` line of
 * at least 12 tokens; fields as in zelGsmNeighbour.
 */
typedef struct zelLteIntraNeighbour {
    uint16_t tok2;  /**< Token 2. */
    uint16_t tok3;  /**< Token 3. */
    uint16_t tok4;  /**< Token 4. */
    uint16_t tok5;  /**< Token 5. */
    uint16_t tok6;  /**< Token 6. */
    uint16_t tok7;  /**< Token 7. */
    uint8_t tok8;   /**< Token 8. */
    uint8_t tok9;   /**< Token 9. */
    uint8_t tok10;  /**< Token 10. */
    uint8_t tok11;  /**< Token 11. */
} zelLteIntraNeighbour;

/**
 * @ingroup neighbours
 * @brief An LTE inter-frequency neighbour: a `neighbourcell inter` line of
 * at least 11 tokens; fields as in zelGsmNeighbour.
 */
typedef struct zelLteInterNeighbour {
    uint16_t tok2;  /**< Token 2. */
    uint16_t tok3;  /**< Token 3. */
    uint16_t tok4;  /**< Token 4. */
    uint16_t tok5;  /**< Token 5. */
    uint16_t tok6;  /**< Token 6. */
    uint16_t tok7;  /**< Token 7. */
    uint8_t tok8;   /**< Token 8. */
    uint8_t tok9;   /**< Token 9. */
    uint8_t tok10;  /**< Token 10. */
} zelLteInterNeighbour;

/**
 * @ingroup neighbours
 * @brief A GERAN neighbour: a `neighbourcell` line of exactly 13 tokens;
 * fields as in zelGsmNeighbour. Field order differs from token order.
 */
typedef struct zelGeranNeighbour {
    int32_t tok5;   /**< Token 5. */
    uint16_t tok4;  /**< Token 4. */
    uint16_t tok7;  /**< Token 7. */
    uint8_t tok6;   /**< Token 6. */
    uint16_t tok8;  /**< Token 8. */
    int32_t tok2;   /**< Token 2. */
    int32_t tok3;   /**< Token 3. */
    int32_t tok9;   /**< Token 9. */
    int32_t tok10;  /**< Token 10. */
    int32_t tok11;  /**< Token 11. */
    int32_t tok12;  /**< Token 12. */
} zelGeranNeighbour;

/**
 * @ingroup neighbours
 * @brief The neighbour cells of one report, filled by
 * zelNeighbourCellGet() or parse_data().
 *
 * Caller-supplied; at most 16 GSM, 8 LTE intra, 24 LTE inter and 6 GERAN
 * entries are filled, the last slot of each array stays zero. Entries come
 * in the order of their lines.
 */
typedef struct zelNeighbourCellReport {
    zelGsmNeighbour gsm[17];           /**< GSM neighbours; `gsmCount` are filled. */
    zelLteIntraNeighbour lteIntra[9];  /**< LTE intra-frequency neighbours; `lteIntraCount` are filled. */
    zelLteInterNeighbour lteInter[25]; /**< LTE inter-frequency neighbours; `lteInterCount` are filled. */
    zelGeranNeighbour geran[7];        /**< GERAN neighbours; `geranCount` are filled. */
    uint8_t lteIntraCount;             /**< Entries filled in `lteIntra` (at most 8). */
    uint8_t lteInterCount;             /**< Entries filled in `lteInter` (at most 24). */
    uint8_t gsmCount;                  /**< Entries filled in `gsm` (at most 16). */
    uint8_t geranCount;                /**< Entries filled in `geran` (at most 6). */
} zelNeighbourCellReport;

/* ---- Modem information (AT+CMODEMINFO), fields by position ---- */
/**
 * @ingroup modeminfo
 * @brief The serving cell's values from a `+CMODEMINFO:` line, by position.
 *
 * An LTE line (it holds `"LTE"`) fills the fields in the order 1, 2, 3, 4, 5,
 * 6, 9, 13, 10, 11, 12, 7, 15, 16, 17, 18, 19, 8; a GSM line (it holds
 * `"GSM"`) in the order 1, 2, 4, 5, 8, 6, 14, 10. Below, "value N" is the
 * N-th comma-separated value of the line, counted from 1.
 * Defaults after parsing: zero/empty, except field15..field17 = -1 and
 * field18, field19 = -1.0.
 */
typedef struct zelModemInfo {
    char field1[16];  /**< Value 1 (quoted text, at most 15 characters). */
    char field2[8];   /**< Value 2 (quoted text: "LTE" or "GSM", at most 7 characters). */
    int32_t field3;   /**< LTE value 3. */
    uint16_t field4;  /**< LTE value 4; GSM value 3. */
    uint16_t field5;  /**< LTE value 5; GSM value 4. */
    uint32_t field6;  /**< LTE value 6; GSM value 6. */
    uint32_t field7;  /**< LTE value 12. */
    uint32_t field8;  /**< LTE value 18; GSM value 5. */
    uint16_t field9;  /**< LTE value 7. */
    char field10[16]; /**< LTE value 9; GSM value 8 (text, at most 15 characters). */
    float field11;    /**< LTE value 10. */
    float field12;    /**< LTE value 11. */
    uint16_t field13; /**< LTE value 8. */
    uint16_t field14; /**< GSM value 7. */
    int32_t field15;  /**< LTE value 13; -1 when absent. */
    int32_t field16;  /**< LTE value 14; -1 when absent. */
    int32_t field17;  /**< LTE value 15; -1 when absent. */
    float field18;    /**< LTE value 16; -1.0 when absent. */
    float field19;    /**< LTE value 17; -1.0 when absent. */
} zelModemInfo;

/* ---- Serving-cell records decoded from the modem's hex replies ----
 * Fields by position; multi-byte wire fields are big-endian. */
/**
 * @ingroup serving
 * @brief Part of nas_ss_info: wire fields 2 and 3.
 */
typedef struct nas_ss_group1 {
    uint8_t field2;  /**< Wire field 2 (1 byte). */
    int32_t field3;  /**< Wire field 3 (4 bytes). */
} nas_ss_group1;

/**
 * @ingroup serving
 * @brief Part of nas_ss_info: wire fields 5 to 8.
 */
typedef struct nas_ss_group2 {
    uint8_t field5;  /**< Wire field 5 (1 byte). */
    int32_t field6;  /**< Wire field 6 (4 bytes). */
    int32_t field7;  /**< Wire field 7 (4 bytes). */
    int32_t field8;  /**< Wire field 8 (4 bytes). */
} nas_ss_group2;

/**
 * @ingroup serving
 * @brief Part of nas_ss_info: wire fields 12 and 13.
 */
typedef struct nas_ss_group3 {
    uint8_t field12;  /**< Wire field 12 (1 byte). */
    int32_t field13;  /**< Wire field 13 (4 bytes). */
} nas_ss_group3;

/**
 * @ingroup serving
 * @brief Part of nas_ss_info: wire fields 15 to 19.
 */
typedef struct nas_ss_group4 {
    uint8_t field15;  /**< Wire field 15 (1 byte). */
    uint8_t field16;  /**< Wire field 16 (1 byte). */
    uint16_t field17; /**< Wire field 17 (2 bytes). */
    int32_t field18;  /**< Wire field 18 (4 bytes). */
    int32_t field19;  /**< Wire field 19 (4 bytes). */
} nas_ss_group4;

/**
 * @ingroup serving
 * @brief Signal strength (AT+CMODEMSS, 58 wire bytes): 24 fields by
 * position, multi-byte wire fields big-endian, no padding on the wire.
 */
typedef struct nas_ss_info {
    uint8_t field1;       /**< Wire field 1 (1 byte). */
    nas_ss_group1 group1; /**< Wire fields 2 and 3. */
    uint8_t field4;       /**< Wire field 4 (1 byte). */
    nas_ss_group2 group2; /**< Wire fields 5 to 8. */
    uint8_t field9;       /**< Wire field 9 (1 byte). */
    uint8_t field10;      /**< Wire field 10 (1 byte). */
    uint8_t field11;      /**< Wire field 11 (1 byte). */
    nas_ss_group3 group3; /**< Wire fields 12 and 13. */
    uint8_t field14;      /**< Wire field 14 (1 byte). */
    nas_ss_group4 group4; /**< Wire fields 15 to 19. */
    uint8_t field20;      /**< Wire field 20 (1 byte). */
    int32_t field21;      /**< Wire field 21 (4 bytes). */
    int32_t field22;      /**< Wire field 22 (4 bytes). */
    int32_t field23;      /**< Wire field 23 (4 bytes). */
    int32_t field24;      /**< Wire field 24 (4 bytes). */
} nas_ss_info;

/**
 * @ingroup serving
 * @brief Active band (AT+CMODEMBAND, 6 wire bytes); one-byte wire fields
 * widen without sign.
 */
typedef struct nas_active_band_info {
    int32_t field1;  /**< 1 wire byte */
    int32_t field2;  /**< 1 wire byte */
    uint16_t field3; /**< 2 wire bytes */
    uint8_t field4;  /**< 1 wire byte */
    int32_t field5;  /**< 1 wire byte */
} nas_active_band_info;

/**
 * @ingroup serving
 * @brief Cell location (AT+CMODEMCL, 29 wire bytes).
 */
typedef struct nas_cell_location_info {
    uint8_t field1;   /**< 1 wire byte */
    int32_t field2;   /**< 1 wire byte, widened without sign */
    uint8_t field3;   /**< 1 wire byte */
    uint16_t field4;  /**< 2 wire bytes */
    uint8_t field5;   /**< 1 wire byte */
    uint16_t field6;  /**< 2 wire bytes */
    uint16_t field7;  /**< 2 wire bytes */
    int32_t field8;   /**< 1 wire byte, widened with sign */
    uint16_t field9;  /**< 2 wire bytes */
    int32_t field10;  /**< 4 wire bytes */
    int32_t field11;  /**< 4 wire bytes */
    int32_t field12;  /**< 4 wire bytes */
    int32_t field13;  /**< 4 wire bytes */
} nas_cell_location_info;

/* ---- GNSS signal-to-noise summary (AT+CGPSGFULLSNR) ---- */
/**
 * @ingroup gnss
 * @brief GNSS signal-to-noise summary: the four values of a
 * `+CGPSGFULLSNR:` line, in order.
 */
typedef struct zelGnssSnrInfo {
    int32_t field1; /**< Value 1 (integer). */
    int32_t field2; /**< Value 2 (integer). */
    int32_t field3; /**< Value 3 (integer). */
    double field4;  /**< Value 4 (decimal, read in the C locale). */
} zelGnssSnrInfo;

/* ---- Firmware update ---- */

/**
 * @ingroup ota
 * @brief OTA mode values used by zelOTAGetMode() / zelOTAChangeMode().
 */
typedef enum zelOTAMode {
    ZEL_OTA_MODE_RECOVERY = 0,     /**< "RECOVERY" */
    ZEL_OTA_MODE_NON_RECOVERY = 1, /**< "NON_RECOVERY" */
    ZEL_OTA_MODE_AB = 2            /**< "AB" */
} zelOTAMode;

/**
 * @ingroup ota
 * @brief Result of the last update, filled by zelOTAGetStatus().
 */
typedef struct zelOTAStatus {
    uint8_t success;            /**< 1 when the last update reported SUCCESS. */
    time_t completedTime;       /**< Completion time (local time); 0 if none, or past January 2038 with a 32-bit `time_t`. */
    char completedTimeText[20]; /**< Completion time as sent (`YYYY-MM-DD HH:MM:SS`), terminated. */
    uint8_t extra;              /**< Always 0. */
} zelOTAStatus;

/**
 * @ingroup ota
 * @brief OTA step callback of the check, download and activate steps.
 * @param status the notification's status code.
 */
typedef void (*zelOTAStatusCallback)(int32_t status);
/**
 * @ingroup ota
 * @brief OTA install callback.
 * @param status the notification's status code (90 to 96).
 * @param progress the notification's progress byte, as the modem sent it.
 */
typedef void (*zelOTAInstallStatusCallback)(int32_t status, int32_t progress);

/**
 * @ingroup ota
 * @brief Application callbacks for OTA status notifications; any member may
 * be NULL.
 *
 * The record is not copied: it must stay valid for the rest of the process.
 * The callbacks run on the notification listener thread; the rules of
 * #zelIPChangedCallback apply.
 */
typedef struct zelOTACallbacks {
    zelOTAStatusCallback onCheckStatus;           /**< Codes 2..7. */
    zelOTAStatusCallback onDownloadStatus;        /**< Codes 17..20. */
    zelOTAInstallStatusCallback onInstallStatus;  /**< Codes 90..96, with the progress. */
    zelOTAStatusCallback onActivateStatus;        /**< Codes 110..112. */
} zelOTACallbacks;

/**
 * @ingroup link
 * @brief Reply queue of the server link (opaque; made by create_queue()).
 */
struct response_queue;

/* ======================================================================
 * Exported data
 * ====================================================================== */

/**
 * @ingroup link
 * @brief Send function used by every command wrapper; set to
 * sdkSendATcmdViaSocket() before each command.
 *
 * Takes the command bytes, their count and the timeout in seconds; returns a
 * new record with the complete reply (owned by the caller) or NULL.
 */
extern zelString *(*sdkSendATcmd)(const char *command, int32_t length, int32_t timeout_seconds);
/**
 * @ingroup link
 * @brief Final result codes besides OK/ERROR that end a reply:
 * "CME ERROR", "CMS ERROR", "PDP ERROR", "CERROR", "CONNECT ERROR".
 */
extern char *extended_errors[5];
/**
 * @ingroup lifecycle
 * @brief Descriptor of the single-instance lock file, -1 when not held.
 */
extern int32_t lock_fd;
/**
 * @ingroup modem_port
 * @brief Guards every use of the direct modem port /dev/smd10 (not recursive).
 */
extern pthread_mutex_t smd_lock;

/* ======================================================================
 * Functions
 * ====================================================================== */

/* ---- Lifecycle and version ---- */
/**
 * @defgroup lifecycle Lifecycle and version
 * @brief Starting and ending the library; its version.
 *
 * One process at a time runs the library: zelInit() creates and locks
 * `/tmp/zelto-sdk-lock`. Whatever zelInit() returns, call zelExit() before
 * the process ends, or a lock file left behind makes every later start
 * return 4. See @ref threads for signals and for calls in flight at the end.
 * @{
 */
/**
 * @brief Starts the library: opens the system log (ident "SDKTag"), installs
 * the signal handler, takes the single-instance lock, connects to the SDK
 * server at `/tmp/zelto_unix_socket` with its receive thread, and starts the
 * two event listeners (500 ms apart).
 *
 * Returns within 16 s whatever the server does. Installs the library's
 * handler for SIGSEGV, SIGUSR1, SIGUSR2, SIGABRT, SIGTERM, SIGTSTP, SIGQUIT,
 * SIGINT and SIGHUP (and ignores SIGPIPE): such a signal removes the lock
 * file and ends the process with the signal's number as its exit status
 * within 1 s, through zelExit() and exit() when they can finish in time,
 * else through _exit(). The two event listeners start once per process and
 * run until it ends; a listener that cannot start is logged and does not
 * fail the call.
 *
 * @return 0 on success; 4 when another instance holds the lock (log line
 *         "ZELTO SDK already running."); 5 on any other failure, such as no
 *         server listening ("Connection Failed"). After 5 the lock is still
 *         held: call zelExit().
 */
int32_t zelInit(void);
/**
 * @brief Stops the server link, releases and removes the lock file, puts
 * back the signal dispositions zelInit() replaced and closes the log;
 * within 2 s.
 *
 * Calls waiting at that moment return failure within 1 s; calls made
 * afterwards fail at once (status 5) until the next zelInit(). Safe after a
 * failed zelInit() and when the library was never started. The event
 * listeners keep running, and registered callbacks stay registered.
 *
 * @return always 0.
 */
int32_t zelExit(void);
/**
 * @brief The library's version, 2.2.5. Needs no zelInit().
 * @param[out] major 2.
 * @param[out] minor 2.
 * @param[out] patch 5.
 * @return 0; 5 when any pointer is NULL (nothing is written then).
 */
int32_t zelGetSDKVersion(int32_t *major, int32_t *minor, int32_t *patch);
/** @} */

/* ---- Result buffers and log ---- */
/**
 * @defgroup strings_log Result buffers and log
 * @brief The text record every text output uses, and the library's system
 * log front end. See @ref logging.
 * @{
 */
/**
 * @brief A new record with a zero-terminated copy of @p len bytes of @p src.
 * @param src the bytes to copy (not read past @p len; may hold zero bytes).
 * @param len how many bytes to copy.
 * @return the new record, owned by the caller (free it with
 *         zelFreeString()); NULL when @p src is NULL, @p len <= 0 or out of
 *         memory.
 */
zelString *zelAllocString(const char *src, int32_t len);
/**
 * @brief Frees the record and its buffer.
 * @param s a record from this library; NULL is ignored.
 */
void zelFreeString(zelString *s);
/**
 * @brief Opens the system log for the library's messages, with the process
 * id, LOG_CONS (to the console when no log daemon listens) and the facility
 * LOG_USER. zelInit() calls it with "SDKTag"; nothing is logged before it.
 * @param ident the ident of every line; the text must stay valid while the
 *        log is open (a string literal).
 */
void zelto_sdk_open_log(const char *ident);
/**
 * @brief Writes a line to the system log once the log is open (at most 4094
 * characters; longer text is cut).
 *
 * A priority the application masked with setlogmask() is neither formatted
 * nor written; only reading the mask remains, which takes the system log's
 * lock briefly. The link's traffic traces are LOG_DEBUG, so
 * `setlogmask(LOG_UPTO(LOG_INFO))` turns them off.
 *
 * @param priority a syslog priority (LOG_CRIT ... LOG_DEBUG).
 * @param format a printf format; NULL writes nothing.
 * @param ... the values of @p format.
 */
void zelto_sdk_log(int priority, const char *format, ...) ZEL_PRINTF_LIKE(2, 3);
/** @brief Closes the system log connection (zelExit() calls it). */
void zelto_sdk_close_log(void);
/** @} */

/* ---- Server link ---- */
/**
 * @defgroup link Server link
 * @brief The connection to the SDK server: one command at a time, its
 * complete reply back. The command wrappers use it; an application rarely
 * needs it directly (zelSendAtCommand() is the friendlier way to send any
 * command).
 * @{
 */
/**
 * @brief Sends one command and waits up to @p timeout_seconds for its
 * complete reply.
 *
 * The time spent waiting for another thread's command, connecting and
 * sending counts against the same timeout. A reply is complete once it holds
 * `\r\nOK\r\n`, `\r\nERROR\r\n` or one of #extended_errors. A connection the
 * server closed is replaced on the next call (three attempts).
 *
 * @param command the bytes to send, line end included (`AT+CSQ\r\n`).
 * @param length how many bytes of @p command to send (at least 1).
 * @param timeout_seconds the whole call's deadline, in seconds.
 * @return a new record with the reply, owned by the caller (free it with
 *         zelFreeString()); NULL on any failure: NULL or empty command, no
 *         link (before zelInit(), after zelExit()), no reply in time ("rc ==
 *         ETIMEDOUT" in the log), and at once when the server closes the
 *         connection ("Server closed the connection").
 */
zelString *sdkSendATcmdViaSocket(const char *command, int32_t length, int32_t timeout_seconds);
/**
 * @brief Reads one burst from a socket: sets a 1 ms receive timeout on it and
 * reads until 1 ms of silence, the end of the stream or 8192 bytes.
 * @param fd a connected socket.
 * @param[out] out room for 8192 bytes; not terminated.
 * @return the byte count, 0 for none, -1 for a negative @p fd or a NULL @p out.
 */
int32_t zelto_at_client_recv(int32_t fd, void *out);
/**
 * @brief Makes a new, empty reply queue the link's queue (zelInit() does
 * this).
 * @return the queue, freed with destroy_queue(); NULL when out of memory.
 */
struct response_queue *create_queue(void);
/**
 * @brief Frees a queue and the replies still in it; the link stops using it.
 * @param queue from create_queue(); NULL is ignored.
 */
void destroy_queue(struct response_queue *queue);
/** @} */

/* ---- Event registration ---- */
/**
 * @defgroup events Events and callbacks
 * @brief IP changes and server notifications, delivered to application
 * callbacks on two listener threads.
 *
 * Each listener connects to its socket (`/tmp/ip_change_notify.sock`,
 * `/tmp/sdk_server_notification.sock`), retries every 2 s while the server
 * is away, and runs until the process ends. Each has ten callback slots,
 * filled in registration order and never emptied; callbacks are called in
 * that order. A notification of the state-like types 0, 1, 5 and 6 whose
 * value equals the last one delivered for its type is dropped (the first
 * ones are compared with 9, 5, 0 and 5). Register before zelInit() to miss
 * no early event. See @ref threads for what a callback may do.
 * @{
 */
/**
 * @brief Starts the IP-change listener thread, once per process (zelInit()
 * does this).
 *
 * Should the process have no descriptor left for a socket, the listener
 * ends the process with status 1.
 * @return 0, also when it already runs; -1 when the thread cannot start.
 */
int32_t init_ip_listener_thread(void);
/**
 * @brief Adds an IP-change callback to the next free slot.
 * @param callback called with each event text; NULL takes a slot and is
 *        skipped.
 * @return 0, or -1 when all 10 slots are used.
 */
int32_t RegisterIPChangedEvent(zelIPChangedCallback callback);
/**
 * @brief Adds an IP-change callback: RegisterIPChangedEvent() with the
 * status convention of the API.
 * @param callback called with each event text on the listener thread.
 * @return 0, or 5 for a NULL callback or a full table (log line
 *         "RegisterIPChangedEvent: failed to register").
 */
int32_t zelRegisterIPChanged(zelIPChangedCallback callback);
/**
 * @brief Starts the notification listener thread, once per process
 * (zelInit() does this); as init_ip_listener_thread().
 * @return 0, also when it already runs; -1 when the thread cannot start.
 */
int32_t InitNotificationListenerThread(void);
/**
 * @brief Adds a notification callback to the next free slot.
 * @param callback called with each notification; NULL takes a slot and is
 *        skipped.
 * @return 0, or -1 when all 10 slots are used.
 */
int32_t RegisterNotification(zelNotificationCallback callback);
/**
 * @brief Adds a notification callback: RegisterNotification() with the
 * status convention of the API. The firmware-update steps take one slot for
 * the library's own handler.
 * @param callback called with each notification on the listener thread.
 * @return 0, or 5 for a NULL callback or a full table (log line
 *         "RegisterNotification: failed to register").
 */
int32_t zelRegisterNotification(zelNotificationCallback callback);
/**
 * @brief Calls every registered notification callback with the record, in
 * registration order, on the calling thread.
 * @param notification the record to deliver; NULL is ignored.
 */
void notifyCallbacks(zelNotification *notification);
/** @} */

/* ---- Generic command and helpers ---- */
/**
 * @defgroup generic Generic command and helpers
 * @brief Any AT command with its raw reply, and the trimming helper.
 * @{
 */
/**
 * @brief Sends `<command>\r\n` and hands back the whole reply, whatever the
 * modem answered.
 * @param command the command without its line end, such as `AT+COPS?`.
 * @param[out] reply a new record with the complete reply, final result
 *        code included; owned by the caller (free it with zelFreeString()).
 * @return 0 with @p reply set, also when the modem answered ERROR (look at
 *         the text); 2 for a NULL argument; 5 when no reply came within
 *         15 s, the reply was empty or the command is longer than 1021
 *         bytes (@p reply is left alone then).
 *
 * A raw pass-through: unlike every other wrapper, which refuses text holding
 * a control byte with 1, it sends the command as given, so never pass on
 * text you do not trust.
 */
int32_t zelSendAtCommand(const char *command, zelString **reply);
/**
 * @brief Removes leading and trailing white space (space, tab, CR, LF,
 * vertical tab, form feed) in place.
 * @param text a terminated text; NULL and "" are returned as they are.
 * @return @p text.
 */
char *trim(char *text);
/** @} */

/* ---- Direct modem port (/dev/smd10) ---- */
/**
 * @defgroup modem_port Direct modem port
 * @brief The building blocks of the exchanges that bypass the SDK server
 * (voice dial, SMS sending) on the modem's AT port `/dev/smd10`, always
 * under #smd_lock.
 * @{
 */
/**
 * @brief Logs the caller's name ("SMD10 access lock by: ..."), then takes
 * #smd_lock.
 * @param caller a name for the log line; NULL logs "(null)".
 * @return pthread_mutex_lock()'s result (0 on success).
 */
int32_t zel_smd_access_lock(const char *caller);
/**
 * @brief Logs the caller's name ("SMD10 access release by: ..."), then
 * releases #smd_lock.
 * @param caller a name for the log line; NULL logs "(null)".
 * @return pthread_mutex_unlock()'s result (0 on success).
 */
int32_t zel_smd_access_unlock(const char *caller);
/**
 * @brief Discards pending input by reading until nothing is left.
 * @param fd a non-blocking descriptor.
 * @return the last read's result: 0 at the end of the file, -1 when it
 *         failed (EAGAIN on an empty non-blocking port, the usual case).
 */
int32_t zel_flush_all_data_in_fd(int32_t fd);
/**
 * @brief Writes every byte: partial writes go on at once; a write that would
 * block is retried after 100 ms; 3 failed writes at most, any other error
 * ends at once ("Write to fd ..." in the log).
 * @param fd the descriptor to write to.
 * @param data the bytes.
 * @param len how many bytes to write.
 * @return @p len when every byte was written, else -1 (also for NULL
 *         @p data or a negative @p len).
 */
int32_t zel_send_data_to_fd(int32_t fd, const void *data, int32_t len);
/**
 * @brief Reads a reply: until a final `\r\nOK\r\n` or `\r\nERROR\r\n`, a
 * full buffer or the end of the budget, spent in 200 ms steps of silence.
 * @param fd a non-blocking descriptor.
 * @param[out] buffer receives the bytes; not terminated (zero it first).
 * @param size room in @p buffer.
 * @param timeout_ms the budget of silence, in milliseconds.
 * @return the bytes read, or -1 when none came ("Read from fd ..., timeout
 *         exit" in the log), for a NULL @p buffer or a @p size of 0 or less.
 */
int32_t zel_read_data_from_modem(int32_t fd, char *buffer, int32_t size, int32_t timeout_ms);
/** @} */

/* ---- Call control ---- */
/**
 * @defgroup call Call control
 * @brief Dial, answer and hang up; call settings, the extended error report,
 * activity status and phonebook storage.
 * @{
 */
/**
 * @brief Dials a voice call over the direct modem port (not the SDK
 * server): sends `ATD<number>;` and waits up to 5 s for the modem's answer.
 * @param number the number to dial.
 * @return 0 when the modem answered OK; 5 for a NULL or empty number
 *         ("Invalid phone number"), a number too long for the command, a
 *         port that cannot be opened ("Unable to open /dev/smd10"), no
 *         answer, or any other answer.
 */
int32_t zelATDGet(const char *number);
/**
 * @brief Answers an incoming call (`ATA;`).
 * \ret_ok
 */
int32_t zelATAGet(void);
/**
 * @brief Hangs up (`ATH;`).
 * \ret_ok
 */
int32_t zelATHGet(void);
/**
 * @brief Hangs up every call (`AT+CHUP;`).
 * \ret_ok
 */
int32_t zelCHUPGet(void);
/**
 * @brief Reads the cellular result code setting (`AT+CRC?`).
 * @param[out] mode the setting.
 * \ret_int{CRC:}
 */
int32_t zelCRCGet(int32_t *mode);
/**
 * @brief Sets the cellular result code setting (`AT+CRC=<mode>`).
 * @param mode sent as it is.
 * \ret_ok
 */
int32_t zelCRCSet(int32_t mode);
/**
 * @brief Reads the type of address (`AT+CSTA?`).
 * @param[out] type the type of address.
 * \ret_int{CSTA:}
 */
int32_t zelCSTAGet(int32_t *type);
/**
 * @brief Sets the type of address (`AT+CSTA=<type>`).
 * @param type sent as it is (129 national, 145 international).
 * \ret_ok
 */
int32_t zelCSTASet(int32_t type);
/**
 * @brief Reads the voice hang-up control (`AT+CVHU?`).
 * @param[out] mode the setting.
 * \ret_int{CVHU:}
 */
int32_t zelCVHUGet(int32_t *mode);
/**
 * @brief Sets the voice hang-up control (`AT+CVHU=<mode>`).
 * @param mode sent as it is.
 * \ret_ok
 */
int32_t zelCVHUSet(int32_t mode);
/**
 * @brief The extended error report of the last call (`AT+CEER`).
 * @param[out] report the report.
 * \ret_text{+CEER: }
 */
int32_t zelCEERGet(zelString **report);
/**
 * @brief The phone activity status (`AT+CPAS`).
 * @param[out] status the status text.
 * \ret_text{+CPAS: }
 */
int32_t zelCPASGet(zelString **status);
/**
 * @brief The selected phonebook storage (`AT+CPBS?`).
 * @param[out] storage the storage text.
 * \ret_text{+CPBS: }
 */
int32_t zelCPBSGet(zelString **storage);
/**
 * @brief Selects the phonebook storage (`AT+CPBS="<storage>"`).
 * @param storage the storage name, such as "SM".
 * @return 2 for a NULL @p storage (nothing is sent); otherwise as the
 *         other set commands: 0 when the reply holds "OK", else 5.
 */
int32_t zelCpbsSet(const char *storage);
/**
 * @brief The emergency numbers setting (`AT+CEN?`).
 * @param[out] text the reply text.
 * \ret_all
 */
int32_t zelCENGet(zelString **text);
/**
 * @brief Sets emergency number reporting (`AT+CEN=<value>`).
 * @param value sent as it is.
 * \ret_ok
 */
int32_t zelCENSet(int32_t value);
/**
 * @brief The UE mode of operation (`AT+CEMODE?`).
 * @param[out] mode the mode text.
 * \ret_text{+CEMODE: }
 */
int32_t zelCEMODEGet(zelString **mode);
/**
 * @brief Sets the radio link protocol (`AT+CRLP=<a>,<b>,<c>,<d>,<e>`) and
 * hands back the reply text.
 * @param a the interworking function to mobile window size, sent as it is.
 * @param b the mobile to interworking function window size.
 * @param c the acknowledgement timer.
 * @param d the retransmission attempts.
 * @param e the protocol version.
 * @param[out] reply the reply text.
 * \ret_all
 */
int32_t zelCRLPSet(int32_t a, int32_t b, int32_t c, int32_t d, int32_t e, zelString **reply);
/**
 * @brief The radio link protocol settings (`AT+CRLP?`).
 * @param[out] text the reply text.
 * \ret_all
 */
int32_t zelGetCRLP(zelString **text);
/** @} */

/* ---- General device ---- */
/**
 * @defgroup general General device
 * @brief Identification, echo, reset, error reporting, clock, thermal and
 * the module's own device commands.
 * @{
 */
/**
 * @brief The identification text (`ATI`).
 * @param[out] info the reply text.
 * \ret_all
 */
int32_t zelATIGet(zelString **info);
/**
 * @brief Turns command echo off (`ATE0`).
 * \ret_ok
 */
int32_t zelATE0Get(void);
/**
 * @brief Turns command echo on (`ATE1`).
 * \ret_ok
 */
int32_t zelATE1Get(void);
/**
 * @brief Resets to the stored profile (`ATZ`).
 * \ret_ok
 */
int32_t zelATZGet(void);
/**
 * @brief Resets to the factory settings (`AT&F`).
 * \ret_ok
 */
int32_t zelATFGet(void);
/**
 * @brief Sets error reporting (`AT+CMEE=<mode>`): 0 plain ERROR, 1 numeric,
 * 2 verbose `+CME ERROR:` codes.
 * @param mode sent as it is.
 * \ret_ok
 */
int32_t zelCmeeSet(int32_t mode);
/**
 * @brief Reads the error reporting mode (`AT+CMEE?`).
 * @param[out] mode the mode.
 * \ret_int{CMEE:}
 */
int32_t zelCmeeGet(int32_t *mode);
/**
 * @brief The manufacturer (`AT+CGMI`).
 * @param[out] text the reply text.
 * \ret_all
 */
int32_t zelCgmiGet(zelString **text);
/**
 * @brief The model (`AT+CGMM`).
 * @param[out] text the reply text.
 * \ret_all
 */
int32_t zelCgmmGet(zelString **text);
/**
 * @brief The firmware revision (`AT+CGMR`).
 * @param[out] text the reply text.
 * \ret_all
 */
int32_t zelCgmrGet(zelString **text);
/**
 * @brief The serial number (`AT+CGSN`).
 * @param[out] text the reply text.
 * \ret_all
 */
int32_t zelCgsnGet(zelString **text);
/**
 * @brief Whether the module accepts `AT+CSCS` (sent without '?': it reads
 * nothing; zelCSCSGet() reads the character set).
 * \ret_ok
 */
int32_t zelCscsGet(void);
/**
 * @brief The clock (`AT+CCLK?`): the 20 bytes after "CCLK: ", untrimmed
 * (the quoted clock text starts there).
 * @param[out] clock the clock text.
 * \ret_fixed{CCLK: ,20}
 */
int32_t zelGetCCLK(zelString **clock);
/**
 * @brief The manufacturer (`AT+GMI`).
 * @param[out] text the reply text.
 * \ret_all
 */
int32_t zelGmiGet(zelString **text);
/**
 * @brief The model (`AT+GMM`).
 * @param[out] text the reply text.
 * \ret_all
 */
int32_t zelGmmGet(zelString **text);
/**
 * @brief The firmware revision (`AT+GMR`).
 * @param[out] text the reply text.
 * \ret_all
 */
int32_t zelGmrGet(zelString **text);
/**
 * @brief The capabilities (`AT+GCAP`): the 8 bytes after "GCAP: ",
 * untrimmed.
 * @param[out] caps the capabilities text.
 * \ret_fixed{GCAP: ,8}
 */
int32_t zelGetGcap(zelString **caps);
/**
 * @brief The serial number (`AT+GSN`).
 * @param[out] text the reply text.
 * \ret_all
 */
int32_t zelGsnGet(zelString **text);
/**
 * @brief The real-time clock query `AT+CRTC=<n>`.
 * @param n sent as it is.
 * @param[out] text the reply text.
 * \ret_all
 */
int32_t zelCRTCGet(int32_t n, zelString **text);
/**
 * @brief Reads an ADC channel (`AT+CADCREAD=<channel>`).
 * @param channel sent as it is.
 * @param[out] text the reply text.
 * \ret_all
 */
int32_t zelCADCREADGet(int32_t channel, zelString **text);
/**
 * @brief The IMEI (`AT+IMEI?`).
 * @param[out] imei the reply text.
 * \ret_all
 */
int32_t zelGetIMEI(zelString **imei);
/**
 * @brief The thermal readings (`AT+THERMAL`).
 * @param[out] text the reply text.
 * \ret_all
 */
int32_t zelThermalGet(zelString **text);
/**
 * @brief Triggers the module's `AT+TRB` command.
 * \ret_ok
 */
int32_t zelTRBGet(void);
/**
 * @brief Switches the module to its download mode (`AT+EDLMODE`).
 * \ret_ok
 */
int32_t zelEdlModeSet(void);
/**
 * @brief Sends `AT+CONFIG=<a>,<value>,<b>` with the value's text unquoted.
 * @param a sent as it is.
 * @param value its `data` is inserted; the record stays the caller's.
 * @param b sent as it is.
 * @return 5 for a NULL @p value or data (nothing is sent); otherwise 0 when
 *         the reply holds "OK", else 5.
 */
int32_t zelConfig(int32_t a, const zelString *value, int32_t b);
/** @} */

/* ---- Network registration and operator ---- */
/**
 * @defgroup network Network registration and operator
 * @brief Functionality level, access technology, CS/PS/EPS registration,
 * operator selection and scan, indicators and signal, facility locks.
 * @{
 */
/**
 * @brief Reads the functionality level (`AT+CFUN?`); zelCfunSet() sets it.
 * @param[out] fun the level (1 full, 4 radio off, ...).
 * \ret_int{+CFUN:}
 */
int32_t zelCfunGet(int32_t *fun);
/**
 * @brief The wireless data service (`AT+WS46?`).
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelWS46Get(zelString **out);
/**
 * @brief Selects the wireless data service (`AT+WS46=<n>`).
 * @param n sent as it is.
 * \ret_ok
 */
int32_t zelWs46Set(int32_t n);
/**
 * @brief GPRS registration (`AT+CGREG?`), such as `0,1`.
 * @param[out] out the registration text.
 * \ret_text{+CGREG: }
 */
int32_t zelCGREGGet(zelString **out);
/**
 * @brief Sets GPRS registration reporting (`AT+CGREG=<n>`).
 * @param n sent as it is (0 off, 1 on, 2 with location).
 * \ret_ok
 */
int32_t zelCGREGSet(int32_t n);
/**
 * @brief EPS registration (`AT+CEREG?`), such as `0,1`.
 * @param[out] out the registration text.
 * \ret_text{+CEREG: }
 */
int32_t zelCEREGGet(zelString **out);
/**
 * @brief Sets EPS registration reporting (`AT+CEREG=<n>`).
 * @param n sent as it is (0 off, 1 on, 2 with location).
 * \ret_ok
 */
int32_t zelCEREGSet(int32_t n);
/**
 * @brief Selects the operator (`AT+COPS=<mode>,<format>,"<oper>",<act>`).
 * @param mode 0 automatic, 1 manual, 3 format only.
 * @param format 0 long name, 1 short name, 2 numeric.
 * @param oper the operator in @p format.
 * @param act the access technology, 0 to 9.
 * @return 1 for a @p mode or @p format out of range, then 2 for a NULL
 *         @p oper, then 1 for an @p act out of range (nothing is sent);
 *         otherwise 0 when the reply holds "OK", else 5.
 */
int32_t zelCopsSet(uint32_t mode, uint32_t format, const char *oper, uint32_t act);
/**
 * @brief The current operator (`AT+COPS?`).
 * @param[out] out the operator text, such as `0,0,"Zelnet",7`.
 * \ret_text{+COPS: }
 */
int32_t zelCopsGet(zelString **out);
/**
 * @brief CS registration (`AT+CREG?`).
 * @param[out] out the registration text.
 * \ret_text{+CREG: }
 */
int32_t zelCregGet(zelString **out);
/**
 * @brief Sets CS registration reporting (`AT+CREG=<n>`).
 * @param n sent as it is.
 * \ret_ok
 */
int32_t zelCregSet(int32_t n);
/**
 * @brief The indicators (`AT+CIND?`).
 * @param[out] out the indicator values.
 * \ret_text{+CIND: }
 */
int32_t zelGetCIND(zelString **out);
/**
 * @brief Signal quality (`AT+CSQ`): `<rssi>,<ber>`, rssi 0..31 (99 unknown).
 * @param[out] out the signal text.
 * \ret_text{+CSQ: }
 */
int32_t zelGetCSQ(zelString **out);
/**
 * @brief Reads the selected preferred operator list (`AT+CPLS?`).
 * @param[out] list the list number.
 * \ret_int{CPLS:}
 */
int32_t zelCPLSGet(int32_t *list);
/**
 * @brief Selects the preferred operator list (`AT+CPLS=<list>`).
 * @param list sent as it is.
 * \ret_ok
 */
int32_t zelCPLSSet(int32_t list);
/**
 * @brief The operator names the module knows (`AT+COPN`).
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelCOPNGet(zelString **out);
/**
 * @brief Locks, unlocks or queries a facility (`AT+CLCK=<fac>,<mode>,"<passwd>",<class>`).
 * @param fac the facility, inserted as it is (such as `"SC"`, quotes included).
 * @param mode 0 unlock, 1 lock, 2 query.
 * @param passwd the password.
 * @param svc_class the service class: 1, 2, 4, 8, 32, 64 or 128.
 * @return 2 for a NULL @p fac, 1 for a @p mode over 2, 2 for a NULL
 *         @p passwd, 1 for another class (checked in this order, nothing is
 *         sent); otherwise 0 when the reply holds "OK", else 5.
 */
int32_t zelClckSet(const char *fac, uint32_t mode, const char *passwd, uint32_t svc_class);
/**
 * @brief Changes a facility password (`AT+CPWD=<fac>,<oldpwd>,"<newpwd>"`).
 * @param fac the facility, inserted as it is.
 * @param oldpwd the old password, inserted as it is.
 * @param newpwd the new password.
 * @return 2 for any NULL argument (nothing is sent); otherwise 0 when the
 *         reply holds "OK", else 5.
 */
int32_t zelCpwdSet(const char *fac, const char *oldpwd, const char *newpwd);
/**
 * @brief The module's operator report (`AT+CCOPS?`).
 * @param[out] out the report text.
 * \ret_text{+CCOPS: }
 */
int32_t zelCCopsGet(zelString **out);
/**
 * @brief Scans for operators (`AT+COPS=?`); waits up to 120 s.
 * @param[out] out the list, from after the first "+COPS: " to the first
 *        "OK" after it, trimmed; owned by the caller.
 * @return 0 with @p out set; 5 for a NULL @p out (nothing is sent), no reply
 *         within 120 s, or a reply without "OK" or "+COPS: " (@p out is NULL
 *         then).
 */
int32_t zelCopsScan(zelString **out);
/**
 * @brief Reads whether GSM is enabled (`AT+GSM?`).
 * @param[out] enabled 1 enabled, 0 disabled.
 * \ret_int{GSM:}
 */
int32_t zelGSMGet(int32_t *enabled);
/**
 * @brief Enables or disables GSM (`AT+GSM=<enabled>`).
 * @param enabled sent as it is.
 * \ret_ok
 */
int32_t zelGSMSet(int32_t enabled);
/** @} */

/* ---- Packet data contexts ---- */
/**
 * @defgroup pdp Packet data contexts
 * @brief Context definition, attach and activation, dynamic parameters,
 * addresses, EPS QoS, the access point and the network interfaces. A
 * context coming up is also reported as an IP change (see @ref events).
 * @{
 */
/**
 * @brief The dynamic parameters of a context (`AT+CGCONTRDP=<cid>`).
 * @param cid the context, sent as it is.
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelCGCONTRDPGet(int32_t cid, zelString **out);
/**
 * @brief The dynamic parameters of a secondary context (`AT+CGSCONTRDP=<cid>`).
 * @param cid the context, sent as it is.
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelCGSCONTRDPGet(int32_t cid, zelString **out);
/**
 * @brief The traffic flow template of a context (`AT+CGTFTRDP=<cid>`).
 * @param cid the context, sent as it is.
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelCGTFTRDPGet(int32_t cid, zelString **out);
/**
 * @brief Sets EPS QoS for a context (`AT+CGEQOS=<cid>,<qci>,...`) and hands
 * back the reply text. All values are sent as they are.
 * @param cid the context.
 * @param qci the QoS class identifier.
 * @param dl_gbr guaranteed downlink bit rate, kbit/s.
 * @param ul_gbr guaranteed uplink bit rate, kbit/s.
 * @param dl_mbr maximum downlink bit rate, kbit/s.
 * @param ul_mbr maximum uplink bit rate, kbit/s.
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelCGEQOSSet(int32_t cid, int32_t qci, int32_t dl_gbr, int32_t ul_gbr, int32_t dl_mbr,
                     int32_t ul_mbr, zelString **out);
/**
 * @brief The EPS QoS settings (`AT+CGEQOS?`).
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelGetCGEQOS(zelString **out);
/**
 * @brief Reads the packet domain attach state (`AT+CGATT?`).
 * @param[out] state 1 attached, 0 detached.
 * \ret_int{CGATT:}
 */
int32_t zelCGATTGet(int32_t *state);
/**
 * @brief Attaches to or detaches from the packet domain (`AT+CGATT=<state>`).
 * @param state sent as it is.
 * \ret_ok
 */
int32_t zelCGATTSet(int32_t state);
/**
 * @brief The activation state of the contexts (`AT+CGACT?`).
 * @param[out] out the reply text, such as `1,1`.
 * \ret_text{+CGACT: }
 */
int32_t zelCGACTGet(zelString **out);
/**
 * @brief Defines a context (`AT+CGDCONT=<cid>,"<pdpType>","<apn>"`).
 * @param cid the context, 1 to 8.
 * @param pdpType such as "IP" or "IPV4V6".
 * @param apn the access point name.
 * @return 1 for a @p cid out of range, then 2 for a NULL text (nothing is
 *         sent); otherwise 0 when the reply holds "OK", else 5.
 */
int32_t zelCGDCONTSet(int32_t cid, const char *pdpType, const char *apn);
/**
 * @brief Enters data state on a context (`AT+CGDATA=<l2p>,"<cid>"`); the
 * module activates the context.
 * @param l2p the layer 2 protocol, inserted as it is (such as `"M-0000"`).
 * @param cid the context, 1 to 8.
 * @return 2 for a NULL @p l2p, then 1 for a @p cid out of range (nothing
 *         is sent); otherwise 0 when the reply holds "OK", else 5.
 */
int32_t zelCGDATASet(const char *l2p, int32_t cid);
/**
 * @brief The addresses of the contexts (`AT+CGPADDR`).
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelCGPADDRGet(zelString **out);
/**
 * @brief The connection manager setting (`AT+QCMAPEN?`).
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelGetQcmapen(zelString **out);
/**
 * @brief Enables or disables the connection manager (`AT+QCMAPEN=<enable>`).
 * @param enable sent as it is.
 * \ret_ok
 */
int32_t zelSetQcmapen(int32_t enable);
/**
 * @brief The network interfaces (`AT+NETIF?`).
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelGetNetif(zelString **out);
/**
 * @brief The context definitions (`AT+CGDCONT?`).
 * @param[out] out the reply text.
 * \ret_text{+CGDCONT: }
 */
int32_t zelGetCgdcont(zelString **out);
/**
 * @brief The access point names (`AT+CAPN?`).
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelApnGet(zelString **out);
/** @} */

/* ---- Neighbour cell report ---- */
/**
 * @defgroup neighbours Neighbour cell report
 * @brief The neighbour cells (`AT+CNBRCELL=1`), as text and parsed into a
 * zelNeighbourCellReport; the parsing steps are exported for tests and
 * tools.
 * @{
 */
/**
 * @brief Zeroes and fills @p report from `AT+CNBRCELL=1`; @p out receives
 * the reply text.
 * @param[out] out the reply text before "OK", trimmed; owned by the caller.
 * @param[out] report zeroed, then filled by parse_data().
 * @return 0; 6 when the reply begins with "OK" (no cells; @p out untouched);
 *         5 for a NULL argument (nothing is sent), no reply or no "OK".
 */
int32_t zelNeighbourCellGet(zelString **out, zelNeighbourCellReport *report);
/**
 * @brief Parses a whole reply into @p report: cuts it into lines (the first
 * 2047 characters, at most 49 lines of up to 511 characters) and hands each
 * to tokenize_line().
 *
 * The parsing steps are safe on several threads at once (each with its own
 * report) and leave the caller's strtok() state alone. A NULL text, line or
 * report does nothing; NULL tokens count as none.
 * @param text the reply text.
 * @param[in,out] report entries are appended after those already there.
 */
void parse_data(const char *text, zelNeighbourCellReport *report);
/**
 * @brief Cuts one line at commas (at most 20 tokens, blanks and quotes
 * trimmed) and maps it by its keyword: `neighbourcell intra`,
 * `neighbourcell inter`, or `neighbourcell` with 11 tokens (GSM) or 13
 * (GERAN).
 * @param[in,out] line the line; cut in place.
 * @param[in,out] report receives the entry.
 */
void tokenize_line(char *line, zelNeighbourCellReport *report);
/**
 * @brief Cuts trailing tabs, CR, LF and spaces off a line of two or more
 * characters (after its leading blanks), in place.
 * @param[in,out] line the line.
 */
void trim_lines(char *line);
/**
 * @brief Appends an LTE intra-frequency entry made of @p tokens (needs 12;
 * fewer, or a full array, is logged and ignored).
 * @param tokens the line's tokens, token 0 its keyword.
 * @param count how many tokens there are.
 * @param[in,out] report receives the entry.
 */
void map_lte_intra(char **tokens, int32_t count, zelNeighbourCellReport *report);
/**
 * @brief Appends an LTE inter-frequency entry (needs 11 tokens); as
 * map_lte_intra().
 * @param tokens the line's tokens, token 0 its keyword.
 * @param count how many tokens there are.
 * @param[in,out] report receives the entry.
 */
void map_lte_inter(char **tokens, int32_t count, zelNeighbourCellReport *report);
/**
 * @brief Appends a GSM entry (needs 11 tokens); as map_lte_intra().
 * @param tokens the line's tokens, token 0 its keyword.
 * @param count how many tokens there are.
 * @param[in,out] report receives the entry.
 */
void map_gsm(char **tokens, int32_t count, zelNeighbourCellReport *report);
/**
 * @brief Appends a GERAN entry (needs 13 tokens); as map_lte_intra().
 * @param tokens the line's tokens, token 0 its keyword.
 * @param count how many tokens there are.
 * @param[in,out] report receives the entry.
 */
void map_geran(char **tokens, int32_t count, zelNeighbourCellReport *report);
/** @} */

/* ---- Modem information ---- */
/**
 * @defgroup modeminfo Modem information
 * @brief The serving cell's `+CMODEMINFO:` line, as text and parsed into a
 * zelModemInfo.
 * @{
 */
/**
 * @brief The modem information (`AT+CMODEMINFO?`).
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelCmodemInfoGet(zelString **out);
/**
 * @brief The modem information (`AT+CMODEMINFO=1`), also parsed into
 * @p info (zeroed before sending).
 * @param[out] out the reply text before "OK", trimmed; owned by the caller.
 * @param[out] info filled by parseModemInfo().
 * @return 0; 6 when the reply begins with "OK" (@p out untouched); 5 for a
 *         NULL argument (nothing is sent), no reply or no "OK".
 */
int32_t zelCmodemInfoGetV2(zelString **out, zelModemInfo *info);
/**
 * @brief Parses a `+CMODEMINFO:` line into @p info: the LTE format when the
 * text holds `"LTE"`, else the GSM format when it holds `"GSM"`. Numbers are
 * read in the C locale.
 * @param text the line; NULL leaves the defaults.
 * @param[out] info reset to the defaults (see zelModemInfo), then filled.
 * @return the number of values matched; 0 when neither LTE nor GSM, for
 *         NULL text, or for a NULL @p info.
 */
int32_t parseModemInfo(const char *text, zelModemInfo *info);
/** @} */

/* ---- Serving-cell hex records ---- */
/**
 * @defgroup serving Serving-cell hex records
 * @brief Three fixed records of the modem's network layer, sent as hex
 * digits (big-endian fields, no padding), and their decoders.
 * @{
 */
/**
 * @brief Signal strength (`AT+CMODEMSS?`).
 *
 * The record is zeroed once text stands before the reply's "OK", then
 * decoded.
 * @param[out] info the record.
 * @return 0; 5 for a NULL record (nothing is sent) or any reply that is not
 *         exactly the record's hex text before "OK".
 */
int32_t zelModemSignalStrengthGet(nas_ss_info *info);
/**
 * @brief Active band (`AT+CMODEMBAND?`); as zelModemSignalStrengthGet().
 * @param[out] info the record.
 * @return 0; 5 for a NULL record (nothing is sent) or any reply that is not
 *         exactly the record's hex text before "OK".
 */
int32_t zelModemActiveBandGet(nas_active_band_info *info);
/**
 * @brief Cell location (`AT+CMODEMCL?`); as zelModemSignalStrengthGet().
 * @param[out] info the record.
 * @return 0; 5 for a NULL record (nothing is sent) or any reply that is not
 *         exactly the record's hex text before "OK".
 */
int32_t zelModemCellLocationGet(nas_cell_location_info *info);
/**
 * @brief Decodes the 58-byte signal strength record from hex digits.
 * @param hex two digits per byte, either case.
 * @param[out] info filled only on success.
 * @return 0 when @p hex decodes to exactly the record's size, else 5 with
 *         @p info untouched (also for NULL arguments).
 */
int32_t nas_ss_deserialize_from_hex(const char *hex, nas_ss_info *info);
/**
 * @brief Decodes the 6-byte active band record; as
 * nas_ss_deserialize_from_hex().
 * @param hex two digits per byte, either case.
 * @param[out] info filled only on success.
 * @return 0, or 5 with @p info untouched.
 */
int32_t nas_active_band_deserialize_from_hex(const char *hex, nas_active_band_info *info);
/**
 * @brief Decodes the 29-byte cell location record; as
 * nas_ss_deserialize_from_hex(). Logs the text it was given.
 * @param hex two digits per byte, either case.
 * @param[out] info filled only on success.
 * @return 0, or 5 with @p info untouched.
 */
int32_t nas_cell_location_deserialize_from_hex(const char *hex, nas_cell_location_info *info);
/** @} */

/* ---- Time zone, voice, band and throughput ---- */
/**
 * @defgroup radio Time zone, voice, band and throughput
 * @brief Time zone reporting and update, VoLTE, caller identification,
 * band settings, bearer state, latency and throughput measurement.
 * @{
 */
/**
 * @brief Stops a running ping (`AT+PINGSTOP`).
 * \ret_ok
 */
int32_t zelPINGSTOP(void);
/**
 * @brief Reads time zone reporting (`AT+CTZR?`).
 * @param[out] mode the setting.
 * \ret_int{CTZR:}
 */
int32_t zelCTZRGet(int32_t *mode);
/**
 * @brief Sets time zone reporting (`AT+CTZR=<mode>`).
 * @param mode sent as it is.
 * \ret_ok
 */
int32_t zelCTZRSet(int32_t mode);
/**
 * @brief Reads automatic time zone update (`AT+CTZU?`).
 * @param[out] mode the setting.
 * \ret_int{CTZU:}
 */
int32_t zelCTZUGet(int32_t *mode);
/**
 * @brief Sets automatic time zone update (`AT+CTZU=<mode>`).
 * @param mode sent as it is.
 * \ret_ok
 */
int32_t zelCTZUSet(int32_t mode);
/**
 * @brief Reads whether VoLTE is enabled (`AT+VOLTE?`).
 * @param[out] enabled 1 enabled, 0 disabled.
 * \ret_int{VOLTE:}
 */
int32_t zelVOLTEGet(int32_t *enabled);
/**
 * @brief Enables or disables VoLTE (`AT+VOLTE=<enabled>`).
 * @param enabled sent as it is.
 * \ret_ok
 */
int32_t zelVOLTESet(int32_t enabled);
/**
 * @brief Caller identification presentation (`AT+CLIP?`).
 * @param[out] out the setting text.
 * \ret_text{+CLIP: }
 */
int32_t zelCLIPGet(zelString **out);
/**
 * @brief Sets caller identification presentation (`AT+CLIP=<n>`).
 * @param n sent as it is.
 * \ret_ok
 */
int32_t zelCLIPSet(int32_t n);
/**
 * @brief The active bands (`AT+CACTBANDS?`).
 * @param[out] out the band text.
 * \ret_text{+CACTBANDS: }
 */
int32_t zelCACTBANDSGet(zelString **out);
/**
 * @brief The network time zone (`AT+CNTZ?`) in quarter hours.
 * @param[out] quarters -48..48; 0 when the value is out of that range.
 * @return 0; 5 for a NULL @p quarters (nothing is sent), no reply, a reply
 *         without "OK" or "+CNTZ:", or a value out of range.
 */
int32_t zelCNTZGet(int32_t *quarters);
/**
 * @brief The LTE band setting (`AT+CLSWB?`).
 * @param[out] out the setting text.
 * \ret_text{+CLSWB: }
 */
int32_t zelCLSWBGet(zelString **out);
/**
 * @brief Sets the LTE bands (`AT+CLSWB="<bands>"`).
 * @param bands the band list as the module takes it.
 * @return 2 for NULL @p bands (nothing is sent); otherwise 0 when the reply
 *         holds "OK", else 5.
 */
int32_t zelCLSWBSet(const char *bands);
/**
 * @brief The GSM band setting (`AT+CGSWB?`).
 * @param[out] out the setting text.
 * \ret_text{+CGSWB: }
 */
int32_t zelCGSWBGet(zelString **out);
/**
 * @brief Sets the GSM bands (`AT+CGSWB="<bands>"`).
 * @param bands the band list as the module takes it.
 * @return 2 for NULL @p bands (nothing is sent); otherwise 0 when the reply
 *         holds "OK", else 5.
 */
int32_t zelCGSWBSet(const char *bands);
/**
 * @brief The bearer state (`AT+CBRSTATE`).
 * @param[out] out the state text.
 * \ret_text{+CBRSTATE: }
 */
int32_t zelCBRSTATEGet(zelString **out);
/**
 * @brief The latency measurement (`AT+CLATENCY?`).
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelCLATENCYGet(zelString **out);
/**
 * @brief The uplink throughput measurement (`AT+CALUPSPEED?`).
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelCalUpSpeedGet(zelString **out);
/**
 * @brief Starts or stops an uplink throughput measurement:
 * `AT+CALUPSPEED=<n>,"<text>",<value>`, or `AT+CALUPSPEED=<n>` alone unless
 * @p text is non-empty and @p value > 0.
 * @param n sent as it is.
 * @param text the measurement's target; may be NULL.
 * @param value the measurement's value.
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelCalUpSpeedSet(int32_t n, const char *text, int32_t value, zelString **out);
/**
 * @brief The downlink throughput measurement (`AT+CALDLSPEED?`).
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelCalDlSpeedGet(zelString **out);
/**
 * @brief Starts or stops a downlink throughput measurement; as
 * zelCalUpSpeedSet() with `AT+CALDLSPEED`.
 * @param n sent as it is.
 * @param text the measurement's target; may be NULL.
 * @param value the measurement's value.
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelCalDlSpeedSet(int32_t n, const char *text, int32_t value, zelString **out);
/** @} */

/* ---- GNSS ---- */
/**
 * @defgroup gnss GNSS
 * @brief Receiver control, position and satellite texts, gpsOneXTRA
 * injection, A-GNSS settings, status and the signal-to-noise summary.
 * @{
 */
/**
 * @brief Turns the receiver on or off (`AT+CGPS=<enable>`).
 * @param enable 1 on, 0 off.
 * \ret_ok
 */
int32_t zelGnssSetEnGps(int32_t enable);
/**
 * @brief Reads whether the receiver is on (`AT+CGPS?`).
 * @param[out] enable 1 on, 0 off.
 * \ret_int{+CGPS: }
 */
int32_t zelGnssGetEnGps(int32_t *enable);
/**
 * @brief Resets the receiver (`AT+CGPSRST`).
 * \ret_ok
 */
int32_t zelGnssResetGps(void);
/**
 * @brief Selects the NMEA output port (`AT+GPSPORT=<port>`).
 * @param port sent as it is.
 * \ret_ok
 */
int32_t zelGnssSetOutPort(int32_t port);
/**
 * @brief Reads the NMEA output port (`AT+GPSPORT?`).
 * @param[out] port the port.
 * \ret_int{+GPSPORT: }
 */
int32_t zelGnssGetOutPort(int32_t *port);
/**
 * @brief The position as NMEA sentences (`AT+CGPSGPOS=<selector>`).
 * @param selector which sentences, sent as it is.
 * @param[out] out the text from the first '$' up to the first "OK",
 *        trimmed; owned by the caller.
 * @return 0; 5 for a NULL @p out (nothing is sent), no reply, or a reply
 *         without "OK" or '$' (nothing is allocated then).
 */
int32_t zelGnssGetPos(int32_t selector, zelString **out);
/**
 * @brief The latitude (`AT+CGPSGLAT`).
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelGetCGPSGLAT(zelString **out);
/**
 * @brief The longitude (`AT+CGPSGLON`).
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelGetCGPSGLON(zelString **out);
/**
 * @brief The altitude (`AT+CGPSGALT`).
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelGetCGPSGALT(zelString **out);
/**
 * @brief Hot start (`AT+CGPSHOT`).
 * \ret_ok
 */
int32_t zelCGPSHOTGet(void);
/**
 * @brief Warm start (`AT+CGPSWARM`).
 * \ret_ok
 */
int32_t zelCGPSWARMGet(void);
/**
 * @brief Cold start (`AT+CGPSCOLD`).
 * \ret_ok
 */
int32_t zelCGPSCOLDGet(void);
/**
 * @brief The satellites in view (`AT+CGPSNSAT=<selector>`).
 * @param selector which constellation, sent as it is.
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelCGPSNSATGet(int32_t selector, zelString **out);
/**
 * @brief Injects the XTRA time (`AT+CGPSXTRATIME`).
 * \ret_ok
 */
int32_t zelGpsInjectXtraTimeSet(void);
/**
 * @brief Reads the XTRA time state (`AT+CGPSXTRATIME?`).
 * @param[out] state the one character after "+CGPSXTRATIME: " as a digit
 *        value (not checked for being a digit).
 * @return 0; 5 for a NULL @p state (nothing is sent), no reply, or a reply
 *         without the prefix or with nothing after it.
 */
int32_t zelGpsInjectXtraTimeGet(int32_t *state);
/**
 * @brief Injects XTRA data: `AT+CGPSXTRADATA=<data>`, or
 * `AT+CGPSXTRADATA` alone for NULL @p data; waits up to 22 s.
 * @param data inserted as it is; may be NULL.
 * \ret_ok
 */
int32_t zelGpsInjectXtraDataSet(const char *data);
/**
 * @brief Reads the XTRA data state (`AT+CGPSXTRADATA?`); as
 * zelGpsInjectXtraTimeGet() with "+CGPSXTRADATA: ".
 * @param[out] state the digit value.
 * @return 0; 5 for a NULL @p state (nothing is sent), no reply, or a reply
 *         without the prefix or with nothing after it.
 */
int32_t zelGpsInjectXtraDataGet(int32_t *state);
/**
 * @brief Sets a receiver configuration item (`AT+CGPSCFG=<item>,<value>`).
 * @param item 0..4.
 * @param value sent as it is.
 * @return 1 for an @p item over 4 (nothing is sent); otherwise 0 when the
 *         reply holds "OK", else 5.
 */
int32_t zelCgpsCfgSet(uint32_t item, int32_t value);
/**
 * @brief The receiver configuration (`AT+CGPSCFG?`).
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelCgpsCfgGet(zelString **out);
/**
 * @brief Sets the A-GNSS satellite systems (`AT+CGPSAGNSSSV=<a>,<b>`).
 * @param a sent as it is.
 * @param b sent as it is.
 * \ret_ok
 */
int32_t zelCgpsAgnsssvSet(int32_t a, int32_t b);
/**
 * @brief The A-GNSS satellite systems (`AT+CGPSAGNSSSV?`).
 * @param[out] out the setting text.
 * \ret_text{+CGPSAGNSSSV: }
 */
int32_t zelCgpsAgnsssvGet(zelString **out);
/**
 * @brief The A-GNSS server URL (`AT+CGPSAGNSSURL?`).
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelCgpsAgnssURL(zelString **out);
/**
 * @brief The time stamp of the last fix (`AT+CGPSGTIMEST`).
 * @param[out] out the reply text.
 * \ret_all
 */
int32_t zelCGPSTimestampGet(zelString **out);
/**
 * @brief The receiver status (`AT+CGPSSTATUS?`).
 * @param[out] status the status.
 * \ret_int{+CGPSSTATUS: }
 */
int32_t zelCGPSStatusGet(int32_t *status);
/**
 * @brief The signal-to-noise summary (`AT+CGPSGFULLSNR`), parsed by
 * parse_snr_result().
 * @param[out] info the four values.
 * @return 0; 5 for no reply, a reply without "OK" or "+CGPSGFULLSNR: ",
 *         text that does not parse, or a NULL @p info (refused after the
 *         command was sent).
 */
int32_t zelCGPSSNRGet(zelGnssSnrInfo *info);
/**
 * @brief Parses "%d,%d,%d,%lf" into @p info, in the C locale.
 * @param text the values.
 * @param[out] info the record; fields before the first mismatch are written.
 * @return 0, or 5 unless all four values match (also for NULL arguments).
 */
int32_t parse_snr_result(const char *text, zelGnssSnrInfo *info);
/** @} */

/* ---- Cloud device management ---- */
/**
 * @defgroup vantor Cloud device management
 * @brief Registration with the Vantor device-management service, its
 * state, and its device-management task and client.
 * @{
 */
/**
 * @brief Registers the device (`AT+VANTORREG=<a>,<b>,<c>`, the texts
 * inserted as they are).
 *
 * Only the data of each record is used. Registration then completes in the
 * background: poll zelVantorGetRegStatus().
 * @param a the first registration value.
 * @param b the second registration value.
 * @param c the third registration value.
 * @return 0 once the modem answers REGISTERING; 1 for a NULL record or data,
 *         or for texts too long for one command (nothing is sent); 5 for no
 *         reply or any other answer.
 */
int32_t zelVantorReg(const zelString *a, const zelString *b, const zelString *c);
/**
 * @brief The registration state (`AT+VANTORREG?`).
 * @return 0 registered, 1 registering, 2 unregistered, 3 unknown (no
 *         "+VANTORREG: " or no known word after it), 5 no reply.
 */
int32_t zelVantorGetRegStatus(void);
/**
 * @brief Starts the device-management task (`AT+VANTORDM=<first>,<second>`).
 * @param first 0..1.
 * @param second 1..2.
 * @param[out] out the text after "+VANTORDM: " up to "OK", or up to
 *        "ERROR" when the modem refused; owned by the caller. It may hold
 *        the modem's error text even when 5 is returned: free it whenever it
 *        is not NULL.
 * @return 1 for an argument out of range, then 2 for a NULL @p out (nothing
 *         is sent); 0 when the reply holds "OK"; 5 otherwise.
 */
int32_t zelVantDMStart(uint32_t first, uint32_t second, zelString **out);
/**
 * @brief The device-management task state (`AT+VANTORDM?`).
 * @param[out] state 1 when "1," follows the prefix, else 0 when a "0" does,
 *        else 2.
 * @return 0; 2 for a NULL @p state (nothing is sent); 5 for no reply or no
 *         "+VANTORDM: ".
 */
int32_t zelVantDMTaskStatus(int32_t *state);
/**
 * @brief The device-management client state (`AT+VANTDMSTATUS?`).
 * @param[out] state the state.
 * @return 2 for a NULL @p state (nothing is sent); otherwise 0 with the
 *         integer after "+VANTDMSTATUS: ", or 5 for no reply or no prefix.
 */
int32_t zelVantDMClientStatus(int32_t *state);
/** @} */

/* ---- Firmware update ---- */
/**
 * @defgroup ota Firmware update
 * @brief Delta firmware download and execution; the OTA mode and steps
 * (check, download, install, activate, apply), status and progress; the
 * status notifications delivered to zelOTACallbacks.
 *
 * Each step's progress arrives as #NOTIFICATION_OTA_STATUS notifications,
 * which the library's own handler (one notification slot, registered on
 * first use) hands to the application's zelOTACallbacks. A typical update:
 * zelOTARegisterCallbacks(), zelOTACheckUpdate(), zelOTADownload(),
 * zelOTAInstall(), zelOTAActivate(), each started once the callbacks report
 * the step before as done, then zelOTAApply().
 * @{
 */
/**
 * @brief Downloads a delta firmware package (`AT+DLDFOTA=<package>`).
 * @param package its `data` is inserted as it is; the record stays the
 *        caller's.
 * @return 0 when the reply holds "DOWNLOAD_SUCCESS"; 1 when `package.data`
 *         is NULL, `package.len` is 0 or less, or the text is too long for
 *         one command (nothing is sent); else 5.
 */
int32_t zelDFotaDownload(zelString package);
/**
 * @brief Executes the downloaded delta firmware (`AT+DFOTA`).
 * @return 0 when the reply holds "SUCCESS" anywhere, else 5.
 */
int32_t zelDFotaExecute(void);
/**
 * @brief Registers the application's OTA callbacks, and the library's
 * notification handler on first use.
 * @param callbacks stored as a pointer (not a copy): it must stay valid for
 *        the rest of the process. A later call replaces it.
 * @return 0; -1 for NULL; -99 if the handler cannot be registered (all ten
 *         notification slots are used).
 */
int32_t zelOTARegisterCallbacks(const zelOTACallbacks *callbacks);
/**
 * @brief Reads the OTA mode (`AT+OTA=GET_MODE`).
 * @param[out] mode a #zelOTAMode value, from the reply's word
 *        (`non_recovery`, `recovery` or `ab`, looked for in that order).
 * @return 0; -1 for a NULL @p mode (nothing is sent); 5 for no reply; -99
 *         when the reply names no known mode.
 */
int32_t zelOTAGetMode(int32_t *mode);
/**
 * @brief Changes the OTA mode (`AT+OTA=CHANGE_MODE,<RECOVERY|NON_RECOVERY|AB>`).
 * @param mode 0..2 (#zelOTAMode).
 * @return 0 when the reply holds "OK"; -1 for another mode (nothing is
 *         sent); 5 for no reply; -99 for any other reply.
 */
int32_t zelOTAChangeMode(uint32_t mode);
/**
 * @brief Asks the update server for an update (`AT+OTA=CHECK,<url>`); the
 * outcome arrives as codes 2..7 at zelOTACallbacks::onCheckStatus.
 *
 * This, zelOTADownload(), zelOTAInstall() and zelOTAActivate() first
 * register the library's OTA notification handler once (-99, nothing sent,
 * when the registry is full).
 * @param url the server's URL, inserted as it is.
 * @return 0 when the reply holds "OK"; -1 for a NULL URL or one too long for
 *         one command; 5 for no reply; -99 for "ERROR" or any other reply.
 */
int32_t zelOTACheckUpdate(const char *url);
/**
 * @brief Downloads the update (`AT+OTA=DOWNLOAD,<url>`); codes 17..20
 * arrive at zelOTACallbacks::onDownloadStatus.
 * @param url the package's URL, inserted as it is.
 * @return 0 when the reply holds "OK"; -1 for a NULL URL or one too long for
 *         one command; 5 for no reply; -99 otherwise.
 */
int32_t zelOTADownload(const char *url);
/**
 * @brief Applies the installed update (`AT+OTA=APPLY`); on success the
 * device reboots to apply it.
 * @return 0 when the reply holds "OK"; 5 for no reply; -99 otherwise.
 */
int32_t zelOTAApply(void);
/**
 * @brief Installs the downloaded update (`AT+OTA=INSTALL`); codes 90..96
 * with progress arrive at zelOTACallbacks::onInstallStatus.
 * @return 0 when the reply holds "OK"; 5 for no reply; -99 otherwise.
 */
int32_t zelOTAInstall(void);
/**
 * @brief Activates the installed update (`AT+OTA=ACTIVATE`); codes
 * 110..112 arrive at zelOTACallbacks::onActivateStatus.
 * @return 0 when the reply holds "OK"; 5 for no reply; -99 otherwise.
 */
int32_t zelOTAActivate(void);
/**
 * @brief The result of the last update (`AT+OTA=STATUS`).
 *
 * The record is cleared, then filled from "OTA Status: SUCCESS" or
 * "OTA Status: FAILED" and, on success, "Completed Time: ", read as local
 * time. A reply without "OTA Status: " leaves it cleared.
 * @param[out] status the record.
 * @return 0; 5 for no reply; -99 for a reply without "OK", another status
 *         word, or a success without its time; then -1 for a NULL record
 *         (the command has been sent).
 *
 * The record holds a `time_t`: on 32-bit Arm, an application built with
 * 64-bit `time_t` calls zelOTAGetStatus_time64 (see #ZEL_TIME64_SYMBOL)
 * and reads times past 2038; one built without reads such a time as 0.
 */
int32_t zelOTAGetStatus(zelOTAStatus *status) ZEL_TIME64_SYMBOL(zelOTAGetStatus);
/**
 * @brief The progress of the running step (`AT+OTA=GET_PROGRESS`).
 * @param[out] progress the integer after "+OTA=GET_PROGRESS,".
 * @return 0; -1 for a NULL @p progress (nothing is sent); 5 for no reply;
 *         -99 when the modem reports FAILED or no value.
 */
int32_t zelOTAGetProgress(int32_t *progress);
/**
 * @brief Removes the update's files from the module (`AT+OTA=CLEAN`).
 * @return 0 when the reply holds "OK"; 5 for no reply; -99 otherwise.
 */
int32_t zelOTACleanUp(void);
/** @} */

/* ---- Peripherals ---- */
/**
 * @defgroup peripherals Peripherals
 * @brief Functionality level, UART mode, USB profile, and GPIO lines through
 * the sysfs GPIO files under `/sys/class/gpio`.
 * @{
 */
/**
 * @brief Sets the functionality level: `AT+CFUN=<level>,<reset>`, or
 * `AT+CFUN=<level>` alone when @p reset is 2.
 * @param level 1 full, 4 radio off, sent as it is.
 * @param reset 0 no reset, 1 reset first, 2 send the level alone.
 * \ret_ok
 */
int32_t zelCfunSet(int32_t level, int32_t reset);
/**
 * @brief Sets the UART mode (`AT+UARTMODE=none` or `AT+UARTMODE=peripheral`).
 * @param mode 0 none, 1 peripheral.
 * @return 1 for another mode (nothing is sent); otherwise 0 when the reply
 *         holds "OK", else 5.
 */
int32_t zelSetUartMode(int32_t mode);
/**
 * @brief Sets the USB profile (`AT+USBPROF=<profile>,<flag1>,...,<flag4>`).
 * @param profile inserted as it is.
 * @param flag1 0 or 1.
 * @param flag2 0 or 1.
 * @param flag3 0 or 1.
 * @param flag4 0 or 1.
 * @return 2 for a NULL @p profile, then 1 for a flag over 1 (nothing is
 *         sent); otherwise 0 when the reply holds "OK", else 5.
 */
int32_t zelUsbProfSet(const char *profile, uint32_t flag1, uint32_t flag2, uint32_t flag3,
                      uint32_t flag4);
/**
 * @brief The USB profile (`AT+USBPROF?`).
 * @param[out] out the profile text.
 * \ret_text{+USBPROF: }
 */
int32_t zelUsbprofGet(zelString **out);
/**
 * @brief Exports a sysfs GPIO line unless its directory exists.
 *
 * GPIO lines are 0..999; the GPIO functions refuse any other number (-1
 * here, 1 in the others) and touch nothing.
 * @param line the line number.
 * @return 0, or -1 (out of range, or the export file cannot be opened or
 *         written; logged).
 */
int32_t init_gpio(int32_t line);
/**
 * @brief Exports the line if needed and sets its direction.
 * @param line 0..999.
 * @param direction 0 input, otherwise output.
 * @return 0; 1 for a line out of range; 5 when the line cannot be exported
 *         ("failed to init") or its direction file cannot be written.
 */
int32_t zelGpioSetDir(int32_t line, int32_t direction);
/**
 * @brief Sets the level of an exported output line.
 * @param line 0..999.
 * @param level 0 low, otherwise high.
 * @return 0; 1 for a line out of range; 5 when its value file cannot be
 *         opened or written.
 */
int32_t zelGpioSet(int32_t line, int32_t level);
/**
 * @brief Reads the level of an exported line.
 * @param line 0..999.
 * @param[out] level 0 or 1.
 * @return 0; 5 for a NULL @p level; 1 for a line out of range; 5 when its
 *         value file cannot be opened or read.
 */
int32_t zelGpioGet(int32_t line, uint8_t *level);
/** @} */

/* ---- SIM ---- */
/**
 * @defgroup sim SIM
 * @brief SIM slot switch, PIN, identities, SIM access and PIN counters.
 * Commands that need the card fail (5) while it waits for its PIN.
 * @{
 */
/**
 * @brief Switches the SIM slot (`AT^SIMSWAP=<slot>`).
 * @param slot sent as it is.
 * \ret_ok
 */
int32_t zelSimSwap(int32_t slot);
/**
 * @brief Reads the SIM slot (`AT^SIMSWAP?`).
 * @param[out] mode the slot.
 * \ret_int{SIMSWAP:}
 */
int32_t zelSimModeGet(int32_t *mode);
/**
 * @brief The SIM state (`AT+CPIN?`): READY, SIM PIN, SIM PUK, ...
 * @param[out] state the state text.
 * \ret_text{+CPIN: }
 */
int32_t zelCPINGet(zelString **state);
/**
 * @brief Enters the PIN, or the PUK and a new PIN (`AT+CPIN=<pin>,"<newpin>"`).
 * @param pin the PIN (or the PUK), inserted as it is.
 * @param newpin the new PIN after a PUK; "" when entering a PIN.
 * @return 2 for a NULL argument (nothing is sent); otherwise 0 when the
 *         reply holds "OK", else 5 (a wrong PIN: `+CME ERROR: 16`).
 */
int32_t zelCpinSet(const char *pin, const char *newpin);
/**
 * @brief The subscriber numbers (`AT+CNUM`).
 * @param[out] numbers the reply text.
 * \ret_all
 */
int32_t zelCNUMGet(zelString **numbers);
/**
 * @brief The ICCID (`AT+ICCID`): the 20 bytes after "ICCID: ".
 * @param[out] iccid the ICCID text.
 * \ret_fixed{ICCID: ,20}
 */
int32_t zelGetICCID(zelString **iccid);
/**
 * @brief The IMSI (`AT+CIMI`).
 * @param[out] imsi the reply text.
 * \ret_all
 */
int32_t zelCimiGet(zelString **imsi);
/**
 * @brief Reads the SIM support setting (`AT+CSIMSUPP?`).
 * @param[out] value the setting.
 * \ret_int{CSIMSUPP:}
 */
int32_t zelCSIMSUPPGet(int32_t *value);
/**
 * @brief Sets the SIM support setting (`AT+CSIMSUPP=<value>`).
 * @param value sent as it is.
 * \ret_ok
 */
int32_t zelCSIMSUPPSet(int32_t value);
/**
 * @brief Sends a command to the card (`AT+CSIM=<length>,"<command>"`); the
 * card's answer in the reply is not handed back.
 * @param length the command's length in hex digits, inserted as it is.
 * @param command the command as hex digits.
 * @return 2 for a NULL argument (nothing is sent); otherwise 0 when the
 *         reply holds "OK", else 5.
 */
int32_t zelCSIMSet(const char *length, const char *command);
/**
 * @brief Restricted SIM access (`AT+CRSM=<command>,<fileid>,<p1>,<p2>,<p3>,"<data>"`).
 * @param command the access command (176 read binary, 178 read record, ...).
 * @param fileid the elementary file.
 * @param p1 parameter 1.
 * @param p2 parameter 2.
 * @param p3 parameter 3.
 * @param data the data, as hex digits ("" for none).
 * @param[out] response the reply text.
 * @return 5 for NULL @p data (nothing is sent); otherwise as the other text
 *         queries: 0 with the reply text before "OK", trimmed, owned by the
 *         caller; 5 for a NULL @p response, no reply or no "OK".
 */
int32_t zelCRSMSet(int32_t command, int32_t fileid, int32_t p1, int32_t p2, int32_t p3,
                   const char *data, zelString **response);
/**
 * @brief The PIN and PUK retry counters (`AT+CPINR?`).
 * @param[out] counters the counter text.
 * \ret_text{+CPINR: }
 */
int32_t zelCPINRGet(zelString **counters);
/** @} */

/* ---- SIM toolkit ---- */
/**
 * @defgroup stk SIM toolkit
 * @brief SIM toolkit commands; toolkit data passes through as quoted text.
 * @{
 */
/**
 * @brief Sets the toolkit mode (`AT+CSTK=<mode>`).
 * @param mode sent as it is.
 * \ret_ok
 */
int32_t eZelSetSTKMode(int32_t mode);
/**
 * @brief Sets the toolkit pop-up mode (`AT+CSTKPUP=<mode>`).
 * @param mode sent as it is.
 * \ret_ok
 */
int32_t eZelSetSTKPupMode(int32_t mode);
/**
 * @brief A custom toolkit command (`AT+CSTKCMD="<first>","<second>","<third>"`).
 * @param first inserted as it is.
 * @param second inserted as it is.
 * @param third inserted as it is.
 * @param[out] response the reply text before "OK", trimmed; owned by the
 *        caller.
 * @return 2 for a NULL text (nothing is sent); otherwise 0, or 5 for a NULL
 *         @p response, no reply or no "OK".
 */
int32_t eZelSTKCustomCmd(const char *first, const char *second, const char *third,
                         zelString **response);
/**
 * @brief Sends a terminal response (`AT+STKTR="<terminal_response>"`).
 * @param terminal_response the response as hex digits.
 * @param[out] response the reply text before "OK", trimmed; owned by the
 *        caller.
 * @return 2 for a NULL text (nothing is sent); otherwise 0, or 5 for a NULL
 *         @p response, no reply or no "OK".
 */
int32_t eZelSTKTerminalRespCmd(const char *terminal_response, zelString **response);
/**
 * @brief Sends an envelope (`AT+STKENV="<envelope>"`).
 * @param envelope the envelope as hex digits.
 * @param[out] response the reply text before "OK", trimmed; owned by the
 *        caller.
 * @return 2 for a NULL text (nothing is sent); otherwise 0, or 5 for a NULL
 *         @p response, no reply or no "OK".
 */
int32_t eZelSTKEnvelopCmd(const char *envelope, zelString **response);
/** @} */

/* ---- Sleep and wake ---- */
/**
 * @defgroup sleep Sleep and wake
 * @brief USB controller mode, LTE wake-up, the wake-up reason, and the deep
 * and fast suspend sequences.
 *
 * These functions run shell commands that suspend the real system (rtcwake,
 * `/sys/power/state`) and switch the USB controller
 * (`/sys/kernel/debug/msm_otg/mode`): call them on the module only.
 * @{
 */
/**
 * @brief Switches the USB controller's mode through its debug file, then
 * waits 3 s.
 * @param mode 0 none, 1 peripheral, 2 host, 3 otg.
 * @return 0; 1 for another mode (nothing runs); 5 when the shell command
 *         cannot run.
 */
int32_t zelSetUsbMode(uint32_t mode);
/**
 * @brief Sets LTE wake-up: `AT+CLTEWAKEUP=<enable>,<value>`, or
 * `AT+CLTEWAKEUP=<enable>` alone when @p value is -1.
 * @param enable 0..1.
 * @param value sent as it is; -1 leaves it out.
 * @return 1 for an @p enable over 1 (nothing is sent); otherwise 0 when the
 *         reply holds "OK", else 5.
 */
int32_t zellteWakeupSet(uint32_t enable, int32_t value);
/**
 * @brief The reason of the last wake-up (`AT+CWAKER?`).
 * @param[out] reason 10 until a valid reason (0..10) was read.
 * @return 0; 5 for a NULL @p reason, no reply, or a reply without "OK" or a
 *         reason in range after "+CWAKER: ".
 */
int32_t zelGetWakeupReason(uint32_t *reason);
/**
 * @brief Suspends the system in deep sleep and wakes it again.
 *
 * Reads the functionality level, holds the radio at level 4, closes the
 * modem's UART port, switches USB off, prepares the modem (`AT+CENSLEEP`),
 * suspends, then undoes each step in reverse, waits 5 s and restores the
 * level it read (1, full functionality, when none could be read). On wake,
 * @p reason is read and a #NOTIFICATION_WAKEUP is delivered on the calling
 * thread. Returns after the system has woken.
 * @param seconds the time to sleep; less than 1 sleeps until another
 *        wake-up source.
 * @param[out] reason the wake-up reason (see zelGetWakeupReason()).
 * @return 0 after a good wake; 5 for a NULL @p reason (nothing is done) or
 *         when a step failed (the level is restored).
 */
int32_t zelEnterDeepSleep(int32_t seconds, uint32_t *reason);
/**
 * @brief Suspends the system in fast sleep: as zelEnterDeepSleep() without
 * the radio level and USB steps.
 * @param seconds the time to sleep; less than 1 sleeps until another
 *        wake-up source.
 * @param[out] reason the wake-up reason (see zelGetWakeupReason()).
 * @return 0 after a good wake; 5 for a NULL @p reason (nothing is done) or
 *         when a step failed.
 */
int32_t zelEnterFastSleep(int32_t seconds, uint32_t *reason);
/** @} */

/* ---- SMS sending (direct port) ---- */
/**
 * @defgroup sms_send SMS sending
 * @brief Sending a message over the direct modem port, in text or PDU mode,
 * and the helpers of the PDU.
 * @{
 */
/**
 * @brief Sends one message over `/dev/smd10` (not the SDK server), under
 * #smd_lock: sets the message format, sends `AT+CMGS`, waits for the "> "
 * prompt, then sends the text or PDU closed by Ctrl-Z and waits for the
 * modem's verdict.
 *
 * Text mode waits 1.5 s for the prompt and 6 s for "OK"; PDU mode (UCS-2
 * user data, each byte of the text one character) 3 s and 8 s, and counts a
 * "+CMGS:" as sent too. When the prompt does not come, ESC is sent before
 * the port is closed, so the modem leaves message entry. A text-mode number
 * over 115 characters is cut with the rest of its command.
 * @param number digits after an optional leading '+'. Text mode: as the
 *        modem takes it ("+15550123"); PDU mode: national digits, sent as
 *        the international number `91<number>`, or with a leading '+' the
 *        international number as given; 20 digits at most either way.
 * @param message the text: one message, so at most 160 characters in text
 *        mode and 70 (bytes, each one UCS-2 character) in PDU mode; the
 *        record stays the caller's.
 * @param mode 0 text, otherwise PDU.
 * @return 0 sent; 1 refused before the port is opened, with a log line: a
 *         number that is not digits after an optional '+' (or too long for
 *         PDU mode), a text longer than one message, a text-mode message
 *         holding Ctrl-Z (0x1A) or ESC (0x1B); 5 not sent (log lines
 *         "send_text_sms: No > prompt", "open_smd_port: cannot open smd10
 *         (...)"), or refused: NULL or empty number, NULL message or data,
 *         `len` 0.
 */
int32_t zelSendSMS(const char *number, const zelString *message, int32_t mode);
/**
 * @brief Writes each byte of @p text as four hex digits ("%04X").
 * @param text a terminated text.
 * @return a new text, freed by the caller with free(); NULL for NULL text
 *         or no memory.
 */
char *convert_to_ucs2(const char *text);
/**
 * @brief Swaps digit pairs into @p out ('F' pads an odd count), as a PDU
 * address holds them.
 * @param digits a terminated string of digits; NULL does nothing.
 * @param[out] out holds at least strlen(digits) rounded up to even, plus 1,
 *        bytes; terminated.
 */
void encode_number_semi_octet(const char *digits, char *out);
/** @} */

/* ---- SMS configuration and storage ---- */
/**
 * @defgroup sms SMS configuration and storage
 * @brief Message format, character set, new message indications, storage,
 * and listing, reading and deleting stored messages.
 * @{
 */
/**
 * @brief Reads whether text mode shows header values (`AT+CSDH?`).
 * @param[out] value the setting.
 * \ret_int{CSDH:}
 */
int32_t zelCSDHGet(int32_t *value);
/**
 * @brief Sets whether text mode shows header values (`AT+CSDH=<value>`).
 * @param value sent as it is.
 * \ret_ok
 */
int32_t zelCSDHSet(int32_t value);
/**
 * @brief Selects the character set (`AT+CSCS="<charset>"`).
 * @param charset such as "GSM", "IRA" or "UCS2".
 * @return 2 for a NULL @p charset (nothing is sent); otherwise 0 when the
 *         reply holds "OK", else 5.
 */
int32_t zelCSCSSet(const char *charset);
/**
 * @brief The character set (`AT+CSCS?`).
 * @param[out] charset the quoted set name.
 * \ret_text{+CSCS: }
 */
int32_t zelCSCSGet(zelString **charset);
/**
 * @brief Sets new message indications (`AT+CNMI=<mode>,<mt>,<bm>,<ds>,<bfr>`).
 * @param mode 0..2.
 * @param mt 0..3.
 * @param bm 0..2.
 * @param ds 0..2.
 * @param bfr 0..1.
 * @return 1 for any value out of range (nothing is sent); otherwise 0 when
 *         the reply holds "OK", else 5.
 */
int32_t zelCNMISet(uint32_t mode, uint32_t mt, uint32_t bm, uint32_t ds, uint32_t bfr);
/**
 * @brief The new message indication settings (`AT+CNMI?`).
 * @param[out] settings the settings text.
 * \ret_text{+CNMI: }
 */
int32_t zelCNMIGet(zelString **settings);
/**
 * @brief Lists stored messages with the given status (`AT+CMGL="<status>"`).
 * @param status such as "ALL" or "REC UNREAD" (text mode, zelCMGFSet(1)).
 * @param[out] list the listing before "OK", trimmed; owned by the caller.
 * @return 5 for NULL @p status (nothing is sent); otherwise 0, or 5 for a
 *         NULL @p list, no reply, no "OK" or an empty listing.
 */
int32_t zelCMGLSet(const char *status, zelString **list);
/**
 * @brief Selects the message storages (`AT+CPMS="<mem1>","<mem2>","<mem3>"`).
 * @param mem1 storage to read and delete from, such as "SM" or "ME".
 * @param mem2 storage to write to.
 * @param mem3 storage for received messages.
 * @param[out] reply the reply text before "OK", trimmed; owned by the caller.
 * @return 5 for a NULL storage (nothing is sent); otherwise 0, or 5 for a
 *         NULL @p reply, no reply or no "OK".
 */
int32_t zelCPMSSet(const char *mem1, const char *mem2, const char *mem3, zelString **reply);
/**
 * @brief The message storages and their use (`AT+CPMS?`).
 * @param[out] settings the settings text.
 * \ret_text{+CPMS: }
 */
int32_t zelCPMSGet(zelString **settings);
/**
 * @brief Reads the stored message at an index (`AT+CMGR=<index>`); the
 * module marks it read.
 * @param index the storage index.
 * @param[out] message the reply text.
 * \ret_all
 */
int32_t zelCMGRSet(int32_t index, zelString **message);
/**
 * @brief Deletes stored messages (`AT+CMGD=<index>,<flag>,`).
 * @param index the storage index.
 * @param flag 0 this one, 1 all read, 2 all read and sent, 3 all but unread,
 *        4 all.
 * @return 1 for a @p flag over 4 (nothing is sent); otherwise 0 when the
 *         reply holds "OK", else 5.
 */
int32_t zelCMGDSet(int32_t index, uint32_t flag);
/**
 * @brief Reads the message format (`AT+CMGF?`).
 * @param[out] value 0 PDU, 1 text.
 * \ret_int{CMGF:}
 */
int32_t zelCMGFGet(int32_t *value);
/**
 * @brief Sets the message format (`AT+CMGF=<value>`).
 * @param value 0 PDU, 1 text.
 * \ret_ok
 */
int32_t zelCMGFSet(int32_t value);
/** @} */

/* ---- TCP/IP service ---- */
/**
 * @defgroup tcpip TCP/IP service
 * @brief Settings and status of the modem's own TCP/IP service.
 * @{
 */
/**
 * @brief Reads the connection multiplexing setting (`AT+CIPMUX?`).
 * @param[out] value 0 single, 1 multiple.
 * \ret_int{CIPMUX:}
 */
int32_t zelCIPMUXGet(int32_t *value);
/**
 * @brief Sets connection multiplexing (`AT+CIPMUX=<value>`).
 * @param value sent as it is.
 * \ret_ok
 */
int32_t zelCIPMUXSet(int32_t value);
/**
 * @brief Sets TCP keep-alive (`AT+CIPTKA=<on>,<idle>,<interval>,<probes>`).
 * @param on 0..1.
 * @param idle seconds of idleness before the first probe, 30..7200.
 * @param interval seconds between probes: 30, 75 or 600.
 * @param probes 1..9.
 * @return 1 for any value out of range (nothing is sent); otherwise 0 when
 *         the reply holds "OK", else 5.
 */
int32_t zelCIPTKASet(uint32_t on, uint32_t idle, int32_t interval, uint32_t probes);
/**
 * @brief The keep-alive settings (`AT+CIPTKA?`).
 * @param[out] settings the settings text.
 * \ret_text{+CIPTKA: }
 */
int32_t zelCIPTKAGet(zelString **settings);
/**
 * @brief The connection status (`AT+CIPSTATUS`).
 * @param[out] status the reply text.
 * \ret_all
 */
int32_t zelCIPSTATUSGet(zelString **status);
/**
 * @brief Shuts the TCP/IP service down (`AT+CIPSHUT`).
 * @param[out] reply the text before "OK".
 * \ret_all
 */
int32_t zelGetCIPSHUT(zelString **reply);
/**
 * @brief Reads the transfer mode (`AT+CIPMODE?`).
 * @param[out] value 0 normal, 1 transparent.
 * \ret_int{CIPMODE:}
 */
int32_t zelCIPMODEGet(int32_t *value);
/**
 * @brief Sets the transfer mode (`AT+CIPMODE=<value>`).
 * @param value sent as it is.
 * \ret_ok
 */
int32_t zelCIPMODESet(int32_t value);
/**
 * @brief Reads whether the remote address is shown with received data
 * (`AT+CIPSRIP?`).
 * @param[out] value the setting.
 * \ret_int{CIPSRIP:}
 */
int32_t zelCIPSRIPGet(int32_t *value);
/**
 * @brief Sets whether the remote address is shown (`AT+CIPSRIP=<value>`).
 * @param value sent as it is.
 * \ret_ok
 */
int32_t zelCIPSRIPSet(int32_t value);
/**
 * @brief Reads whether the transport protocol is shown (`AT+CIPSHOWTP?`).
 * @param[out] value the setting.
 * \ret_int{CIPSHOWTP:}
 */
int32_t zelCIPSHOWTPGet(int32_t *value);
/**
 * @brief Sets whether the transport protocol is shown (`AT+CIPSHOWTP=<value>`).
 * @param value sent as it is.
 * \ret_ok
 */
int32_t zelCIPSHOWTPSet(int32_t value);
/**
 * @brief Reads the send prompt setting (`AT+CIPSPRT?`).
 * @param[out] value the setting.
 * \ret_int{CIPSPRT:}
 */
int32_t zelCIPSPRTGet(int32_t *value);
/**
 * @brief Sets the send prompt (`AT+CIPSPRT=<value>`).
 * @param value sent as it is.
 * \ret_ok
 */
int32_t zelCIPSPRTSet(int32_t value);
/**
 * @brief Reads the receive mode (`AT+CIPRXMODE?`).
 * @param[out] value the mode.
 * \ret_int{CIPRXMODE:}
 */
int32_t zelCIPRXMODGet(int32_t *value);
/**
 * @brief Sets the receive mode (`AT+CIPRXMODE=<value>`).
 * @param value sent as it is.
 * \ret_ok
 */
int32_t zelCIPRXMODSet(int32_t value);
/**
 * @brief Starts or stops the listening server (`AT+CIPSERVER=<mode>,<port>`).
 * @param mode 0 stop, 1 start.
 * @param port the port, inserted as it is.
 * @return 1 for a @p mode over 1, then 2 for a NULL @p port (nothing is
 *         sent); otherwise 0 when the reply holds "OK", else 5.
 */
int32_t zelCIPSERVERSet(uint32_t mode, const char *port);
/**
 * @brief The listening server's settings (`AT+CIPSERVER?`).
 * @param[out] settings the settings text.
 * \ret_text{+CIPSERVER: }
 */
int32_t zelCIPSERVERGet(zelString **settings);
/** @} */

#ifdef __cplusplus
}
#endif

#endif /* ZELTO_SDK_H */
