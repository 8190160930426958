// The modem model: state that a real module keeps (identity, radio, SIM,
// contexts, messages, GNSS, cloud registration, firmware update, sleep) and
// the command table that reads and changes it. Feed it one command line and
// the time, get the reply bytes and any events. No sockets here.
#ifndef ZELSIM_MODEM_H
#define ZELSIM_MODEM_H

#include <functional>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "wire.h"

namespace zelsim {

// Something pushed besides the reply, `delay_ms` after the command.
struct Event {
    enum class Kind {
        Notification,  // bytes: one notification message
        IpChange,      // bytes: the event text
        Unsolicited,   // bytes: written to the command clients
        Restart,       // the SDK server goes away for `downtime_ms`
    };
    Kind kind;
    Ms delay_ms = 0;
    std::string bytes;
    Ms downtime_ms = 0;
};

struct Outcome {
    std::string reply;  // complete reply bytes; empty: no reply
    Ms delay_ms = 0;    // before the reply is written (a slow command)
    std::vector<Event> events;
    bool known = true;  // false: no row of the table matched
};

struct Sms {
    int index;
    std::string status;  // "REC UNREAD", "REC READ", "STO UNSENT", "STO SENT"
    std::string number;
    std::string text;
    std::string time;  // "yy/MM/dd,hh:mm:ss+zz"
};

struct Pdp {
    std::string type = "IP";
    std::string apn;
    bool active = false;
    std::string address;
};

enum class SimState { Ready, Pin, Puk, Blocked, Absent };

struct Modem {
    // Identity.
    std::string manufacturer = "ZELTO", model = "ZM200", revision = "ZM200_V2.2.5";
    std::string imei = "868000012345675", iccid = "89860012345678901234", imsi = "460990123456789";
    std::string msisdn = "+15550100";

    // Plain settings read and written by their own commands ("CRC" -> "0").
    std::map<std::string, std::string> settings;
    int cfun = 1;
    bool echo = false;
    int cmee = 1;

    // Clock: seconds added to the host's clock, and the zone in quarter hours.
    long clock_offset_s = 0;
    int tz_quarters = 0;

    // Radio and network.
    int rssi_base = 22;    // CSQ level around which the signal wanders
    bool network = true;   // a network is in reach
    bool gsm_rat = false;  // serving cell is GSM (else LTE)
    int cops_mode = 0;
    std::string oper_long = "Zelto Net", oper_short = "Zelto", plmn = "46099";
    Ms scan_ms = 3000;
    int tac = 0x1A2B, pci = 262, earfcn = 1850, band = 3;
    unsigned cell_id = 0x01A2B3C4;

    // SIM.
    SimState sim = SimState::Ready;
    std::string pin = "1234", puk = "12345678";
    bool pin_enabled = false;
    int pin_left = 3, puk_left = 10;

    // Calls.
    bool in_call = false;
    std::string call_cause = "No cause information available";

    // Packet data.
    std::map<int, Pdp> pdp;
    bool attached = true;
    int activations = 0;

    // Messages.
    std::vector<Sms> sms;
    int sms_capacity = 50, next_mr = 1;

    // GNSS.
    bool gnss_on = false;
    Ms gnss_fix_at = 0;  // time of the first fix after a start
    Ms ttff_ms = 2000;
    double lat0 = 22.543096, lon0 = 113.934540, speed_mps = 12.0, heading_deg = 40.0;
    bool xtra_time = false, xtra_data = false;
    std::map<int, int> gnss_cfg{{0, 1}, {1, 0}, {2, 1}, {3, 0}, {4, 1}};

    // Cloud device management.
    enum class Reg { Unregistered, Registering, Registered } vantor = Reg::Unregistered;
    Ms vantor_since = 0, vantor_ms = 2000;
    int dm_task = 0;  // 0 stopped, else the task kind started

    // Firmware update.
    struct Ota {
        std::string mode = "recovery";
        std::string step;  // running step: "check", "download", "install", "activate"
        Ms since = 0, duration = 0;
        int progress = 0;
        bool checked = false, downloaded = false, installed = false, activated = false;
        std::string last_status, completed;
        bool delta_downloaded = false;
    } ota;
    Ms ota_check_ms = 1000, ota_download_ms = 3000, ota_install_ms = 3000, ota_activate_ms = 1000;
    Ms restart_ms = 2000;
    std::string next_revision = "ZM200_V2.2.6";

    // Sleep.
    int wakeup_reason = 1;
    bool sleep_prepared = false, tty_closed = false;

    Ms now = 0;  // time of the command being answered, ms since start

    Modem();

    // Applies a named setting (scenario "modem:" keys, run-time "set"); false
    // for an unknown key or a value it cannot take, with the reason in `*why`.
    bool setParam(const std::string &key, const std::string &value, std::string *why = nullptr);

    // Answers one command line (without its line end) at `at` ms.
    Outcome handle(const std::string &line, Ms at);

    // A message arrives: stored unread, the new-message notification pushed.
    Outcome receiveSms(const std::string &number, const std::string &text, Ms at);
    // A message sent over the modem port; its reference, or a negative
    // +CMS ERROR code when it cannot be sent.
    int sendSms(const std::string &number, const std::string &text);

    // Derived state, shared by the commands that report it.
    bool registered() const;
    int csq() const;  // 0..31, or 99 when not registered
    int rssiDbm() const { return -113 + 2 * csq(); }
    int rsrp() const { return rssiDbm() - 22; }
    int rsrq() const { return -20 + csq() / 3; }
    int sinr() const { return csq() - 8; }
    std::string clockText() const;  // "yy/MM/dd,hh:mm:ss+zz"
    void position(double *lat, double *lon) const;

    // Replies of every shape, errors as +CMEE asks.
    std::string cme(int code) const;
    std::string cms(int code) const;
    // The SIM error for commands that need an unlocked card, or "".
    std::string simError() const;

    void settle();  // finishes steps whose time has come
};

// One row of the command table: a pattern over the whole command line
// (case-insensitive) and what answers it.
struct Args {
    std::vector<std::string> g;  // capture groups, g[1] first
    long num(size_t i) const;
    std::string str(size_t i) const;  // without surrounding double quotes
};
using Handler = std::function<Outcome(Modem &, const Args &)>;
struct Row {
    std::string pattern;
    Handler handler;
    std::regex re;
};

// The table, built once; the first matching row answers.
const std::vector<Row> &commandTable();
// Values of the plain settings after a reset.
const std::map<std::string, std::string> &defaultSettings();

// Every notification message is the bytes of its items.
Event notification(const std::string &items, Ms delay = 0);

}  // namespace zelsim

#endif
