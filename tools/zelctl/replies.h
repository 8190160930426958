// Reply texts of the library's text outputs, cut into named fields for
// zelctl. Pure functions over strings: no library calls, no sockets.
#ifndef ZELCTL_REPLIES_H
#define ZELCTL_REPLIES_H

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "core/wire.h"
#include "zelto_sdk.h"

namespace zelctl {

using Json = nlohmann::ordered_json;

// Comma-separated fields; double quotes group and are removed, blanks around
// fields are dropped, empty fields are kept ("1,,2" gives three fields).
std::vector<std::string> splitFields(const std::string &text);

// Non-empty lines of a multi-line text, each without `prefix` when it starts
// with it (replies repeat their prefix on every line after the first).
std::vector<std::string> lines(const std::string &text, const std::string &prefix = "");

// Whole decimal number (optional sign), or nothing.
std::optional<long> toInt(const std::string &text);

// "+CSQ" text "rssi,ber": {rssi, ber, dbm (null when unknown)}.
Json signalQuality(const std::string &csq);

// "+CREG"/"+CGREG"/"+CEREG" text "n,stat[,area,cell[,act]]":
// {stat, state, area, cell, act, technology}; absent parts are left out.
Json registration(const std::string &text);

// "+COPS" text "mode,format,"name",act": {mode, operator, act, technology};
// just {mode} when the modem is not on a network.
Json currentOperator(const std::string &text);

// Operator scan list "(stat,"long","short","numeric",act),...": one object
// per operator; the trailing lists of supported modes and formats are skipped.
Json operatorList(const std::string &text);

// Contexts from the texts of AT+CGDCONT?, AT+CGACT? (both after their first
// prefix) and AT+CGPADDR (whole), merged by context identifier.
Json pdpContexts(const std::string &cgdcont, const std::string &cgact, const std::string &cgpaddr);

// "+CPINR" text: one {code, retries, default} per counter line.
Json pinCounters(const std::string &text);

// Stored messages in text mode. `list` is the AT+CMGL text (one header line
// "+CMGL: index,"status","number",,"time"" then the body lines per message);
// `read` is the AT+CMGR text ("+CMGR: "status","number",,"time"" and body).
Json messageList(const std::string &list);
Json message(const std::string &read);

// A coordinate text such as "+CGPSGLAT: 22.543096" or "22.543096": the
// number, or nothing when there is none.
std::optional<double> coordinate(const std::string &text);

// The 20 clock bytes after "CCLK: " ("\"yy/MM/dd,hh:mm:ss+z"): the time as
// "20yy-MM-dd hh:mm:ss", or the text without quotes when it has another form.
std::string clockText(const std::string &cclk);

// Text with white space and double quotes removed at both ends.
std::string strip(const std::string &text);
// The value of a one-line answer: the text after its "+NAME: " prefix when
// it has one, stripped ("+IMEI: 8680..." and "8680..." give the same).
std::string valueText(const std::string &text);
// The final result line of a whole reply ("OK", "ERROR", "+CME ERROR: 10"),
// or "" when the reply has none.
std::string finalResult(const std::string &reply);

// Names for the values the library hands over.
const char *registrationState(long stat);  // "home", "roaming", ...
const char *technology(long act);          // "LTE", "GSM", ...
const char *notificationName(uint32_t type);
// The step a firmware-update status code belongs to ("check", "download",
// "install", "activate"), or nullptr.
const char *otaStep(int status);

// Records of the library as JSON, fields named as in the header; the level
// fields that the record keeps as 16-bit two's complement read back signed.
Json neighbourCells(const zelNeighbourCellReport &report);
Json modemInfo(const zelModemInfo &info, bool lte);
Json notification(const zelNotification &n);

}  // namespace zelctl

#endif
