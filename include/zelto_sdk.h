/*
 * zelto_sdk.h - client library for the modem of the LTE/IoT module.
 *
 * Conventions
 * -----------
 * Status codes: every API function returns a signed 32-bit status:
 *    0  success
 *    1  an argument is outside its allowed range, or a text argument holds
 *       a control byte (below 0x20, or 0x7F) that would end or add a
 *       command (nothing is sent; the log names the argument)
 *    2  a required pointer argument is NULL
 *    4  another running instance already holds the single-instance lock
 *       (zelInit only)
 *    5  generic failure: no reply within the timeout, an empty reply, a reply
 *       without the expected "OK" or response prefix, no memory, a socket,
 *       port or file that cannot be opened
 *    6  the reply holds nothing before its "OK" (empty result)
 *   -1  callback table full, or a missing/invalid argument in the
 *       registration and firmware-update functions
 *  -99  the modem rejected a firmware-update command, its reply could not be
 *       understood, or the firmware-update handler could not be registered
 * zelVantorGetRegStatus returns a registration state instead (see there);
 * the byte-level socket and port helpers return byte counts or -1.
 *
 * Ownership: every zelString handed back by the library (text outputs,
 * replies of sdkSendATcmd) is a new record owned by the caller, who frees it
 * with zelFreeString. Records and strings passed in by the caller stay owned
 * by the caller. Outputs are written only through caller-supplied pointers;
 * integer outputs are written only on success.
 *
 * Commands go to the SDK server, one at a time, with a 15 s timeout unless
 * stated otherwise. Call zelInit once before anything else and zelExit at
 * the end.
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

/* ======================================================================
 * Public records and callback types
 * ====================================================================== */

/* Text buffer: `data` holds `len` bytes followed by one zero byte.
 * Record and buffer are separate heap blocks; free both with zelFreeString. */
typedef struct zelString {
    char *data;
    int32_t len;
} zelString;

/* Notification types (value of zelNotification.type). */
enum {
    NOTIFICATION_NETWORK_MODE_CHANGE = 0, /* payload.value */
    NOTIFICATION_TYPE_1 = 1,              /* payload.value */
    NOTIFICATION_NEW_SMS = 2,             /* payload.value: 1 new message, 0 none */
    NOTIFICATION_OTA_STATUS = 3,          /* payload.ota.status, payload.ota.progress */
    NOTIFICATION_URC = 4,                 /* payload.urc.length, payload.urc.data */
    NOTIFICATION_TYPE_5 = 5,              /* payload.value */
    NOTIFICATION_SIM_STATUS = 6,          /* payload.value */
    NOTIFICATION_WAKEUP = 7               /* payload.value: wake-up reason */
};

/* One notification as delivered to notification callbacks.
 * The payload union is 8 bytes on the 32-bit Arm target (on 64-bit hosts the
 * URC pointer widens it to 16); bytes a type does not use carry no meaning.
 * The record, and for URCs the text it points to, are valid only until the
 * callback returns. */
typedef struct zelNotification {
    uint32_t type; /* NOTIFICATION_* */
    union {
        uint8_t value; /* one-byte types 0, 1, 2, 5, 6, 7 */
        struct {
            uint8_t status;   /* firmware update status code */
            uint8_t progress; /* progress as sent by the modem */
        } ota;                /* type 3 */
        struct {
            uint32_t length; /* bytes of URC text, host order */
            char *data;      /* URC text, not NUL-terminated */
        } urc;               /* type 4 */
    } payload;
} zelNotification;

/* Called on the IP-change listener thread with the NUL-terminated event text
 * (at most 255 characters); the text is valid only during the call.
 *
 * Callbacks (IP change, notifications, firmware update) run outside the
 * registry's lock and may call any function of this library, the
 * registration functions and the firmware-update steps included; a callback
 * registered from a callback is called from the next event on. Events of one
 * listener are delivered one at a time: a callback that makes a call holds
 * back that listener's later events for as long as the call takes (up to its
 * timeout, 15 s for most commands). */
typedef void (*zelIPChangedCallback)(const char *event_text);

/* Called with each notification, on the notification listener thread (or on
 * the caller's thread for the wake-up record of the sleep sequences); the
 * rules above apply. */
typedef void (*zelNotificationCallback)(zelNotification *notification);

/* ---- Neighbour cell report (AT+CNBRCELL) ----
 * Fields are named after the token of the cell line that fills them. */
typedef struct zelGsmNeighbour {
    uint16_t tok2;
    uint8_t tok3;
    uint8_t tok4;
    uint8_t tok5;
    uint8_t tok6;
    uint8_t tok7;
    uint8_t tok8;
    uint16_t tok9;
    uint16_t tok10;
} zelGsmNeighbour;

typedef struct zelLteIntraNeighbour {
    uint16_t tok2;
    uint16_t tok3;
    uint16_t tok4;
    uint16_t tok5;
    uint16_t tok6;
    uint16_t tok7;
    uint8_t tok8;
    uint8_t tok9;
    uint8_t tok10;
    uint8_t tok11;
} zelLteIntraNeighbour;

typedef struct zelLteInterNeighbour {
    uint16_t tok2;
    uint16_t tok3;
    uint16_t tok4;
    uint16_t tok5;
    uint16_t tok6;
    uint16_t tok7;
    uint8_t tok8;
    uint8_t tok9;
    uint8_t tok10;
} zelLteInterNeighbour;

/* Field order differs from token order. */
typedef struct zelGeranNeighbour {
    int32_t tok5;
    uint16_t tok4;
    uint16_t tok7;
    uint8_t tok6;
    uint16_t tok8;
    int32_t tok2;
    int32_t tok3;
    int32_t tok9;
    int32_t tok10;
    int32_t tok11;
    int32_t tok12;
} zelGeranNeighbour;

/* Caller-supplied; at most 16 GSM, 8 LTE intra, 24 LTE inter and 6 GERAN
 * entries are filled, the last slot of each array stays zero. */
typedef struct zelNeighbourCellReport {
    zelGsmNeighbour gsm[17];
    zelLteIntraNeighbour lteIntra[9];
    zelLteInterNeighbour lteInter[25];
    zelGeranNeighbour geran[7];
    uint8_t lteIntraCount;
    uint8_t lteInterCount;
    uint8_t gsmCount;
    uint8_t geranCount;
} zelNeighbourCellReport;

/* ---- Modem information (AT+CMODEMINFO), fields by position ----
 * Defaults after parsing: zero/empty, except field15..field17 = -1 and
 * field18, field19 = -1.0. */
typedef struct zelModemInfo {
    char field1[16];
    char field2[8];
    int32_t field3;
    uint16_t field4;
    uint16_t field5;
    uint32_t field6;
    uint32_t field7;
    uint32_t field8;
    uint16_t field9;
    char field10[16];
    float field11;
    float field12;
    uint16_t field13;
    uint16_t field14;
    int32_t field15;
    int32_t field16;
    int32_t field17;
    float field18;
    float field19;
} zelModemInfo;

/* ---- Serving-cell records decoded from the modem's hex replies ----
 * Fields by position; multi-byte wire fields are big-endian. */
typedef struct nas_ss_group1 {
    uint8_t field2;
    int32_t field3;
} nas_ss_group1;

typedef struct nas_ss_group2 {
    uint8_t field5;
    int32_t field6;
    int32_t field7;
    int32_t field8;
} nas_ss_group2;

typedef struct nas_ss_group3 {
    uint8_t field12;
    int32_t field13;
} nas_ss_group3;

typedef struct nas_ss_group4 {
    uint8_t field15;
    uint8_t field16;
    uint16_t field17;
    int32_t field18;
    int32_t field19;
} nas_ss_group4;

/* Signal strength (AT+CMODEMSS, 58 wire bytes). */
typedef struct nas_ss_info {
    uint8_t field1;
    nas_ss_group1 group1;
    uint8_t field4;
    nas_ss_group2 group2;
    uint8_t field9;
    uint8_t field10;
    uint8_t field11;
    nas_ss_group3 group3;
    uint8_t field14;
    nas_ss_group4 group4;
    uint8_t field20;
    int32_t field21;
    int32_t field22;
    int32_t field23;
    int32_t field24;
} nas_ss_info;

/* Active band (AT+CMODEMBAND, 6 wire bytes). */
typedef struct nas_active_band_info {
    int32_t field1;  /* 1 wire byte */
    int32_t field2;  /* 1 wire byte */
    uint16_t field3;
    uint8_t field4;
    int32_t field5;  /* 1 wire byte */
} nas_active_band_info;

/* Cell location (AT+CMODEMCL, 29 wire bytes). */
typedef struct nas_cell_location_info {
    uint8_t field1;
    int32_t field2;  /* 1 wire byte, widened without sign */
    uint8_t field3;
    uint16_t field4;
    uint8_t field5;
    uint16_t field6;
    uint16_t field7;
    int32_t field8;  /* 1 wire byte, widened with sign */
    uint16_t field9;
    int32_t field10;
    int32_t field11;
    int32_t field12;
    int32_t field13;
} nas_cell_location_info;

/* ---- GNSS signal-to-noise summary (AT+CGPSGFULLSNR) ---- */
typedef struct zelGnssSnrInfo {
    int32_t field1;
    int32_t field2;
    int32_t field3;
    double field4;
} zelGnssSnrInfo;

/* ---- Firmware update ---- */

/* OTA mode values used by zelOTAGetMode / zelOTAChangeMode. */
typedef enum zelOTAMode {
    ZEL_OTA_MODE_RECOVERY = 0,     /* "RECOVERY" */
    ZEL_OTA_MODE_NON_RECOVERY = 1, /* "NON_RECOVERY" */
    ZEL_OTA_MODE_AB = 2            /* "AB" */
} zelOTAMode;

/* Result of the last update, filled by zelOTAGetStatus. */
typedef struct zelOTAStatus {
    uint8_t success;            /* 1 when the last update reported SUCCESS */
    time_t completedTime;       /* completion time (local time), 0 if none */
    char completedTimeText[20]; /* completion time as sent, terminated */
    uint8_t extra;              /* always 0 */
} zelOTAStatus;

/* OTA step callbacks; status and progress are the notification's bytes. */
typedef void (*zelOTAStatusCallback)(int32_t status);
typedef void (*zelOTAInstallStatusCallback)(int32_t status, int32_t progress);

/* Application callbacks for OTA status notifications; any member may be NULL.
 * The record is not copied: it must stay valid for the rest of the process. */
typedef struct zelOTACallbacks {
    zelOTAStatusCallback onCheckStatus;           /* codes 2..7 */
    zelOTAStatusCallback onDownloadStatus;        /* codes 17..20 */
    zelOTAInstallStatusCallback onInstallStatus;  /* codes 90..96 */
    zelOTAStatusCallback onActivateStatus;        /* codes 110..112 */
} zelOTACallbacks;

/* Reply queue of the server link (opaque). */
struct response_queue;

/* ======================================================================
 * Exported data
 * ====================================================================== */

/* Send function used by every command wrapper; set to sdkSendATcmdViaSocket. */
extern zelString *(*sdkSendATcmd)(const char *command, int32_t length, int32_t timeout_seconds);
/* Final result codes besides OK/ERROR that end a reply:
 * "CME ERROR", "CMS ERROR", "PDP ERROR", "CERROR", "CONNECT ERROR". */
extern char *extended_errors[5];
/* Descriptor of the single-instance lock file, -1 when not held. */
extern int32_t lock_fd;
/* Guards every use of the direct modem port /dev/smd10 (not recursive). */
extern pthread_mutex_t smd_lock;

/* ======================================================================
 * Functions
 * ====================================================================== */

/* ---- Lifecycle and version ---- */
/* Starts the library: 0, 4 when another instance runs, 5 on failure; within
 * 16 s whatever the server does. Installs the library's handler for SIGSEGV,
 * SIGUSR1, SIGUSR2, SIGABRT, SIGTERM, SIGTSTP, SIGQUIT, SIGINT and SIGHUP
 * (and ignores SIGPIPE): such a signal removes the lock file and ends the
 * process with the signal's number as its exit status within 1 s, through
 * zelExit and exit() when they can finish in time, else through _exit(). The
 * two event listeners start once per process and run until it ends. */
int32_t zelInit(void);
/* Stops the server link, releases the lock file and puts back the signal
 * dispositions zelInit replaced; always 0, within 2 s. Calls waiting at that
 * moment return failure within 1 s; calls made afterwards fail at once. */
int32_t zelExit(void);
/* Writes 2, 2, 5; 5 when any pointer is NULL. Needs no zelInit. */
int32_t zelGetSDKVersion(int32_t *major, int32_t *minor, int32_t *patch);

/* ---- Result buffers and log ---- */
/* New record with a zero-terminated copy of len bytes of src;
 * NULL when src is NULL, len <= 0 or out of memory. */
zelString *zelAllocString(const char *src, int32_t len);
/* Frees the record and its buffer; NULL is ignored. */
void zelFreeString(zelString *s);
void zelto_sdk_open_log(const char *ident);
/* Writes to the system log once the log is open (at most 4094 characters).
 * A priority the application masked with setlogmask is neither formatted
 * nor written; only reading the mask remains, which takes the system log's
 * lock briefly. The link's traffic traces are LOG_DEBUG, so
 * setlogmask(LOG_UPTO(LOG_INFO)) turns them off. */
void zelto_sdk_log(int priority, const char *format, ...) ZEL_PRINTF_LIKE(2, 3);
void zelto_sdk_close_log(void);

/* ---- Server link ---- */
/* Sends one command and waits up to timeout_seconds for its complete reply;
 * the time spent waiting for another thread's command, connecting and
 * sending counts against the same timeout. Returns a new record owned by the
 * caller, or NULL on any failure; NULL at once when the server closes the
 * connection (the next call reconnects). */
zelString *sdkSendATcmdViaSocket(const char *command, int32_t length, int32_t timeout_seconds);
/* Reads one burst (out holds 8192 bytes): byte count, 0 for none, -1 for a bad fd. */
int32_t zelto_at_client_recv(int32_t fd, void *out);
struct response_queue *create_queue(void);
void destroy_queue(struct response_queue *queue);

/* ---- Event registration ---- */
int32_t init_ip_listener_thread(void);
/* 0, or -1 when all 10 slots are used. */
int32_t RegisterIPChangedEvent(zelIPChangedCallback callback);
/* 0, or 5 for a NULL callback or a full table. */
int32_t zelRegisterIPChanged(zelIPChangedCallback callback);
int32_t InitNotificationListenerThread(void);
/* 0, or -1 when all 10 slots are used. */
int32_t RegisterNotification(zelNotificationCallback callback);
/* 0, or 5 for a NULL callback or a full table. */
int32_t zelRegisterNotification(zelNotificationCallback callback);
/* Calls every registered notification callback with the record. */
void notifyCallbacks(zelNotification *notification);

/* ---- Generic command and helpers ---- */
/* Sends "<command>\r\n"; *reply receives the whole reply (0 whatever the
 * modem answered); 2 for a NULL argument. A raw pass-through: unlike every
 * other wrapper, which refuses text holding a control byte with 1, it sends
 * the command as given, so the caller must never pass on text it does not
 * trust. */
int32_t zelSendAtCommand(const char *command, zelString **reply);
/* Removes leading and trailing white space in place; returns text. */
char *trim(char *text);

/* ---- Direct modem port (/dev/smd10) ---- */
/* Log the caller's name, then take or release smd_lock; the pthread result. */
int32_t zel_smd_access_lock(const char *caller);
int32_t zel_smd_access_unlock(const char *caller);
/* Discards pending input; returns the last read's result. */
int32_t zel_flush_all_data_in_fd(int32_t fd);
/* Returns len when every byte was written, else -1 (3 failed writes at most). */
int32_t zel_send_data_to_fd(int32_t fd, const void *data, int32_t len);
/* Reads until a final OK/ERROR, a full buffer or the end of the budget, spent
 * in 200 ms steps of silence: bytes read, or -1 when none came. */
int32_t zel_read_data_from_modem(int32_t fd, char *buffer, int32_t size, int32_t timeout_ms);

/* ---- Call control ---- */
/* Dials over the direct port (not the SDK server). */
int32_t zelATDGet(const char *number);
int32_t zelATAGet(void);
int32_t zelATHGet(void);
int32_t zelCHUPGet(void);
int32_t zelCRCGet(int32_t *mode);
int32_t zelCRCSet(int32_t mode);
int32_t zelCSTAGet(int32_t *type);
int32_t zelCSTASet(int32_t type);
int32_t zelCVHUGet(int32_t *mode);
int32_t zelCVHUSet(int32_t mode);
int32_t zelCEERGet(zelString **report);
int32_t zelCPASGet(zelString **status);
int32_t zelCPBSGet(zelString **storage);
int32_t zelCpbsSet(const char *storage);
int32_t zelCENGet(zelString **text);
int32_t zelCENSet(int32_t value);
int32_t zelCEMODEGet(zelString **mode);
/* Sets the radio link protocol and hands back the reply text. */
int32_t zelCRLPSet(int32_t a, int32_t b, int32_t c, int32_t d, int32_t e, zelString **reply);
int32_t zelGetCRLP(zelString **text);

/* ---- General device ---- */
int32_t zelATIGet(zelString **info);
int32_t zelATE0Get(void);
int32_t zelATE1Get(void);
int32_t zelATZGet(void);
int32_t zelATFGet(void);
int32_t zelCmeeSet(int32_t mode);
int32_t zelCmeeGet(int32_t *mode);
int32_t zelCgmiGet(zelString **text);
int32_t zelCgmmGet(zelString **text);
int32_t zelCgmrGet(zelString **text);
int32_t zelCgsnGet(zelString **text);
int32_t zelCscsGet(void);
/* The 20 bytes after "CCLK: ", untrimmed. */
int32_t zelGetCCLK(zelString **clock);
int32_t zelGmiGet(zelString **text);
int32_t zelGmmGet(zelString **text);
int32_t zelGmrGet(zelString **text);
/* The 8 bytes after "GCAP: ", untrimmed. */
int32_t zelGetGcap(zelString **caps);
int32_t zelGsnGet(zelString **text);
int32_t zelCRTCGet(int32_t n, zelString **text);
int32_t zelCADCREADGet(int32_t channel, zelString **text);
int32_t zelGetIMEI(zelString **imei);
int32_t zelThermalGet(zelString **text);
int32_t zelTRBGet(void);
int32_t zelEdlModeSet(void);
/* Sends AT+CONFIG=a,<value->data>,b. */
int32_t zelConfig(int32_t a, const zelString *value, int32_t b);

/* ---- Network registration and operator ---- */
/* 5 for a NULL pointer. */
int32_t zelCfunGet(int32_t *fun);
int32_t zelWS46Get(zelString **out);
int32_t zelWs46Set(int32_t n);
int32_t zelCGREGGet(zelString **out);
int32_t zelCGREGSet(int32_t n);
int32_t zelCEREGGet(zelString **out);
int32_t zelCEREGSet(int32_t n);
/* mode 0, 1 or 3, format <= 2, act <= 9 (else 1); oper required (else 2). */
int32_t zelCopsSet(uint32_t mode, uint32_t format, const char *oper, uint32_t act);
int32_t zelCopsGet(zelString **out);
int32_t zelCregGet(zelString **out);
int32_t zelCregSet(int32_t n);
int32_t zelGetCIND(zelString **out);
int32_t zelGetCSQ(zelString **out);
int32_t zelCPLSGet(int32_t *list);
int32_t zelCPLSSet(int32_t list);
int32_t zelCOPNGet(zelString **out);
/* fac and passwd required (2); mode <= 2 and class in {1,2,4,8,32,64,128} (1). */
int32_t zelClckSet(const char *fac, uint32_t mode, const char *passwd, uint32_t svc_class);
int32_t zelCpwdSet(const char *fac, const char *oldpwd, const char *newpwd);
int32_t zelCCopsGet(zelString **out);
/* Operator scan; waits up to 120 s. */
int32_t zelCopsScan(zelString **out);
int32_t zelGSMGet(int32_t *enabled);
int32_t zelGSMSet(int32_t enabled);

/* ---- Packet data contexts ---- */
int32_t zelCGCONTRDPGet(int32_t cid, zelString **out);
int32_t zelCGSCONTRDPGet(int32_t cid, zelString **out);
int32_t zelCGTFTRDPGet(int32_t cid, zelString **out);
/* Sets EPS QoS for cid and hands back the reply text. */
int32_t zelCGEQOSSet(int32_t cid, int32_t qci, int32_t dl_gbr, int32_t ul_gbr, int32_t dl_mbr,
                     int32_t ul_mbr, zelString **out);
int32_t zelGetCGEQOS(zelString **out);
int32_t zelCGATTGet(int32_t *state);
int32_t zelCGATTSet(int32_t state);
int32_t zelCGACTGet(zelString **out);
/* cid 1..8 (else 1); pdpType and apn required (else 2). */
int32_t zelCGDCONTSet(int32_t cid, const char *pdpType, const char *apn);
/* l2p required (else 2); cid 1..8 (else 1). */
int32_t zelCGDATASet(const char *l2p, int32_t cid);
int32_t zelCGPADDRGet(zelString **out);
int32_t zelGetQcmapen(zelString **out);
int32_t zelSetQcmapen(int32_t enable);
int32_t zelGetNetif(zelString **out);
int32_t zelGetCgdcont(zelString **out);
int32_t zelApnGet(zelString **out);

/* ---- Neighbour cell report ---- */
/* Zeroes and fills *report; *out receives the reply text. 6 when the reply
 * begins with "OK"; 5 for a NULL argument, before anything is sent. */
int32_t zelNeighbourCellGet(zelString **out, zelNeighbourCellReport *report);
/* Parsing steps. Safe on several threads at once (each with its own report);
 * they leave the caller's strtok state alone. A NULL text, line or report does
 * nothing; NULL tokens count as none. */
void parse_data(const char *text, zelNeighbourCellReport *report);
void tokenize_line(char *line, zelNeighbourCellReport *report);
void trim_lines(char *line);
void map_lte_intra(char **tokens, int32_t count, zelNeighbourCellReport *report);
void map_lte_inter(char **tokens, int32_t count, zelNeighbourCellReport *report);
void map_gsm(char **tokens, int32_t count, zelNeighbourCellReport *report);
void map_geran(char **tokens, int32_t count, zelNeighbourCellReport *report);

/* ---- Modem information ---- */
int32_t zelCmodemInfoGet(zelString **out);
/* Also parses the line into *info (zeroed before sending). 6 when the reply
 * begins with "OK"; 5 for a NULL argument, before anything is sent. */
int32_t zelCmodemInfoGetV2(zelString **out, zelModemInfo *info);
/* Returns the number of values matched, 0 when neither LTE nor GSM (or for
 * NULL text, which leaves the defaults); a NULL record gives 0. */
int32_t parseModemInfo(const char *text, zelModemInfo *info);

/* ---- Serving-cell hex records ---- */
/* The record is zeroed once text stands before the reply's "OK", then
 * decoded; 5 for a NULL record (nothing sent) or any reply that is not
 * exactly the record's hex text. */
int32_t zelModemSignalStrengthGet(nas_ss_info *info);
int32_t zelModemActiveBandGet(nas_active_band_info *info);
int32_t zelModemCellLocationGet(nas_cell_location_info *info);
/* 0 and *info filled when hex decodes to exactly the record's size, else 5
 * with *info untouched. */
int32_t nas_ss_deserialize_from_hex(const char *hex, nas_ss_info *info);
int32_t nas_active_band_deserialize_from_hex(const char *hex, nas_active_band_info *info);
int32_t nas_cell_location_deserialize_from_hex(const char *hex, nas_cell_location_info *info);

/* ---- Time zone, voice, band and throughput ---- */
int32_t zelPINGSTOP(void);
int32_t zelCTZRGet(int32_t *mode);
int32_t zelCTZRSet(int32_t mode);
int32_t zelCTZUGet(int32_t *mode);
int32_t zelCTZUSet(int32_t mode);
int32_t zelVOLTEGet(int32_t *enabled);
int32_t zelVOLTESet(int32_t enabled);
int32_t zelCLIPGet(zelString **out);
int32_t zelCLIPSet(int32_t n);
int32_t zelCACTBANDSGet(zelString **out);
/* Network time zone in quarter hours (-48..48). */
int32_t zelCNTZGet(int32_t *quarters);
int32_t zelCLSWBGet(zelString **out);
int32_t zelCLSWBSet(const char *bands);
int32_t zelCGSWBGet(zelString **out);
int32_t zelCGSWBSet(const char *bands);
int32_t zelCBRSTATEGet(zelString **out);
int32_t zelCLATENCYGet(zelString **out);
int32_t zelCalUpSpeedGet(zelString **out);
/* Sends n alone unless text is non-empty and value > 0. */
int32_t zelCalUpSpeedSet(int32_t n, const char *text, int32_t value, zelString **out);
int32_t zelCalDlSpeedGet(zelString **out);
int32_t zelCalDlSpeedSet(int32_t n, const char *text, int32_t value, zelString **out);

/* ---- GNSS ---- */
int32_t zelGnssSetEnGps(int32_t enable);
int32_t zelGnssGetEnGps(int32_t *enable);
int32_t zelGnssResetGps(void);
int32_t zelGnssSetOutPort(int32_t port);
int32_t zelGnssGetOutPort(int32_t *port);
/* NMEA text from the first '$'. */
int32_t zelGnssGetPos(int32_t selector, zelString **out);
int32_t zelGetCGPSGLAT(zelString **out);
int32_t zelGetCGPSGLON(zelString **out);
int32_t zelGetCGPSGALT(zelString **out);
int32_t zelCGPSHOTGet(void);
int32_t zelCGPSWARMGet(void);
int32_t zelCGPSCOLDGet(void);
int32_t zelCGPSNSATGet(int32_t selector, zelString **out);
int32_t zelGpsInjectXtraTimeSet(void);
int32_t zelGpsInjectXtraTimeGet(int32_t *state);
/* data may be NULL; waits up to 22 s. */
int32_t zelGpsInjectXtraDataSet(const char *data);
int32_t zelGpsInjectXtraDataGet(int32_t *state);
/* item 0..4 (else 1). */
int32_t zelCgpsCfgSet(uint32_t item, int32_t value);
int32_t zelCgpsCfgGet(zelString **out);
int32_t zelCgpsAgnsssvSet(int32_t a, int32_t b);
int32_t zelCgpsAgnsssvGet(zelString **out);
int32_t zelCgpsAgnssURL(zelString **out);
int32_t zelCGPSTimestampGet(zelString **out);
int32_t zelCGPSStatusGet(int32_t *status);
int32_t zelCGPSSNRGet(zelGnssSnrInfo *info);
/* Parses "%d,%d,%d,%lf" into *info: 0, or 5 unless all four match. */
int32_t parse_snr_result(const char *text, zelGnssSnrInfo *info);

/* ---- Cloud device management ---- */
/* Only the data of each record is used; 1 for a NULL record or data, or for
 * texts too long for one command. 0 once the modem answers REGISTERING. */
int32_t zelVantorReg(const zelString *a, const zelString *b, const zelString *c);
/* Returns 0 registered, 1 registering, 2 unregistered, 3 unknown, 5 no reply. */
int32_t zelVantorGetRegStatus(void);
/* first 0..1, second 1..2 (else 1). *out may hold the modem's error text
 * even when 5 is returned; free it whenever it is not NULL. */
int32_t zelVantDMStart(uint32_t first, uint32_t second, zelString **out);
/* 2 for a NULL state. */
int32_t zelVantDMTaskStatus(int32_t *state);
int32_t zelVantDMClientStatus(int32_t *state);

/* ---- Firmware update ---- */
/* 1 when package.data is NULL, package.len is 0 or less, or the text is too
 * long for one command; 0 when the reply holds "DOWNLOAD_SUCCESS", else 5. */
int32_t zelDFotaDownload(zelString package);
/* 0 when the reply holds "SUCCESS" anywhere, else 5. */
int32_t zelDFotaExecute(void);
/* Stores the pointer (not a copy); -1 for NULL, -99 if registration fails. */
int32_t zelOTARegisterCallbacks(const zelOTACallbacks *callbacks);
/* -1 for a NULL mode; -99 when the reply names no known mode. */
int32_t zelOTAGetMode(int32_t *mode);
/* mode 0..2 (zelOTAMode), else -1. */
int32_t zelOTAChangeMode(uint32_t mode);
/* -1 for a NULL URL or one too long for one command. These two and
 * zelOTAInstall/zelOTAActivate first register the library's OTA notification
 * handler once (-99, nothing sent, when the registry is full). */
int32_t zelOTACheckUpdate(const char *url);
int32_t zelOTADownload(const char *url);
/* On success the device reboots to apply the update. */
int32_t zelOTAApply(void);
int32_t zelOTAInstall(void);
int32_t zelOTAActivate(void);
/* -99 for a reply without "OK"; then -1 for a NULL record (the command has
 * been sent). The completion time is read as local time. */
int32_t zelOTAGetStatus(zelOTAStatus *status);
/* -1 for a NULL progress; -99 when the modem reports failure or no value. */
int32_t zelOTAGetProgress(int32_t *progress);
int32_t zelOTACleanUp(void);

/* ---- Peripherals ---- */
/* reset 2 sends the level alone. */
int32_t zelCfunSet(int32_t level, int32_t reset);
/* 0 none, 1 peripheral (else 1, nothing sent). */
int32_t zelSetUartMode(int32_t mode);
/* profile required (else 2); flags 0 or 1 (else 1). */
int32_t zelUsbProfSet(const char *profile, uint32_t flag1, uint32_t flag2, uint32_t flag3,
                      uint32_t flag4);
int32_t zelUsbprofGet(zelString **out);
/* Exports a sysfs GPIO line if needed: 0, or -1. GPIO lines are 0..999; the
 * GPIO functions refuse any other number (-1 here, 1 below) and touch nothing. */
int32_t init_gpio(int32_t line);
/* direction 0 input, otherwise output. */
int32_t zelGpioSetDir(int32_t line, int32_t direction);
int32_t zelGpioSet(int32_t line, int32_t level);
int32_t zelGpioGet(int32_t line, uint8_t *level);

/* ---- SIM ---- */
int32_t zelSimSwap(int32_t slot);
int32_t zelSimModeGet(int32_t *mode);
int32_t zelCPINGet(zelString **state);
int32_t zelCpinSet(const char *pin, const char *newpin);
int32_t zelCNUMGet(zelString **numbers);
/* The 20 bytes after "ICCID: ". */
int32_t zelGetICCID(zelString **iccid);
int32_t zelCimiGet(zelString **imsi);
int32_t zelCSIMSUPPGet(int32_t *value);
int32_t zelCSIMSUPPSet(int32_t value);
int32_t zelCSIMSet(const char *length, const char *command);
int32_t zelCRSMSet(int32_t command, int32_t fileid, int32_t p1, int32_t p2, int32_t p3,
                   const char *data, zelString **response);
int32_t zelCPINRGet(zelString **counters);

/* ---- SIM toolkit ---- */
int32_t eZelSetSTKMode(int32_t mode);
int32_t eZelSetSTKPupMode(int32_t mode);
int32_t eZelSTKCustomCmd(const char *first, const char *second, const char *third,
                         zelString **response);
int32_t eZelSTKTerminalRespCmd(const char *terminal_response, zelString **response);
int32_t eZelSTKEnvelopCmd(const char *envelope, zelString **response);

/* ---- Sleep and wake ---- */
/* 0 none, 1 peripheral, 2 host, 3 otg (else 1). */
int32_t zelSetUsbMode(uint32_t mode);
/* value -1 sends enable alone; enable 0..1 (else 1). */
int32_t zellteWakeupSet(uint32_t enable, int32_t value);
/* *reason is 10 until a valid reason (0..10) was read. */
int32_t zelGetWakeupReason(uint32_t *reason);
/* Suspend for seconds (< 1: until another wake-up source); on wake, *reason
 * is read and a NOTIFICATION_WAKEUP is delivered on the calling thread. Deep
 * sleep also holds the radio at level 4 and then restores the level it read
 * before (1, full functionality, when none could be read). */
int32_t zelEnterDeepSleep(int32_t seconds, uint32_t *reason);
int32_t zelEnterFastSleep(int32_t seconds, uint32_t *reason);

/* ---- SMS sending (direct port) ---- */
/* mode 0 text, otherwise PDU (UCS-2; number is 10 national digits).
 * 0 sent, 5 not sent (or refused: NULL/empty number, NULL message or data, len 0),
 * 1 for a text-mode message holding Ctrl-Z (0x1A) or ESC (0x1B).
 * A text-mode number over 115 characters is cut with the rest of its command. */
int32_t zelSendSMS(const char *number, const zelString *message, int32_t mode);
/* "%04X" per input byte; result freed by the caller with free(). */
char *convert_to_ucs2(const char *text);
/* Swaps digit pairs into out ('F' pads an odd count); out holds at least
 * strlen(digits) rounded up to even, plus 1, bytes. */
void encode_number_semi_octet(const char *digits, char *out);

/* ---- SMS configuration and storage ---- */
int32_t zelCSDHGet(int32_t *value);
int32_t zelCSDHSet(int32_t value);
int32_t zelCSCSSet(const char *charset);
int32_t zelCSCSGet(zelString **charset);
/* mode 0..2, mt 0..3, bm 0..2, ds 0..2, bfr 0..1 (else 1). */
int32_t zelCNMISet(uint32_t mode, uint32_t mt, uint32_t bm, uint32_t ds, uint32_t bfr);
int32_t zelCNMIGet(zelString **settings);
/* Lists stored messages with the given status. */
int32_t zelCMGLSet(const char *status, zelString **list);
int32_t zelCPMSSet(const char *mem1, const char *mem2, const char *mem3, zelString **reply);
int32_t zelCPMSGet(zelString **settings);
/* Reads the stored message at index. */
int32_t zelCMGRSet(int32_t index, zelString **message);
/* flag 0..4 (else 1). */
int32_t zelCMGDSet(int32_t index, uint32_t flag);
int32_t zelCMGFGet(int32_t *value);
int32_t zelCMGFSet(int32_t value);

/* ---- TCP/IP service ---- */
int32_t zelCIPMUXGet(int32_t *value);
int32_t zelCIPMUXSet(int32_t value);
/* on 0..1, idle 30..7200, interval 30/75/600, probes 1..9 (else 1). */
int32_t zelCIPTKASet(uint32_t on, uint32_t idle, int32_t interval, uint32_t probes);
int32_t zelCIPTKAGet(zelString **settings);
int32_t zelCIPSTATUSGet(zelString **status);
/* Shuts the TCP/IP service down; *reply is the text before "OK". */
int32_t zelGetCIPSHUT(zelString **reply);
int32_t zelCIPMODEGet(int32_t *value);
int32_t zelCIPMODESet(int32_t value);
int32_t zelCIPSRIPGet(int32_t *value);
int32_t zelCIPSRIPSet(int32_t value);
int32_t zelCIPSHOWTPGet(int32_t *value);
int32_t zelCIPSHOWTPSet(int32_t value);
int32_t zelCIPSPRTGet(int32_t *value);
int32_t zelCIPSPRTSet(int32_t value);
int32_t zelCIPRXMODGet(int32_t *value);
int32_t zelCIPRXMODSet(int32_t value);
/* mode 0..1 (else 1), then port required (else 2). */
int32_t zelCIPSERVERSet(uint32_t mode, const char *port);
int32_t zelCIPSERVERGet(zelString **settings);

#ifdef __cplusplus
}
#endif

#endif /* ZELTO_SDK_H */
