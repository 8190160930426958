// zelctl's subcommands. Every value is checked while the command line is
// parsed, before the library starts, so bad input never reaches the modem.
// Each action starts the library, calls it through the public header only and
// hands back a JSON document (the human view is rendered from it).
#include <CLI/CLI.hpp>
#include <unistd.h>

#include <algorithm>

#include "glue.h"

namespace zelctl {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

CLI::Validator checked(std::function<std::string(const std::string &)> f, const std::string &desc) {
    return CLI::Validator([f](std::string &s) { return f(s); }, desc);
}

CLI::Validator intIn(long lo, long hi) {
    return checked([=](const std::string &s) { return checkInt(s, lo, hi); },
                   "INT " + std::to_string(lo) + ".." + std::to_string(hi));
}

// Lets the listener threads started by zelInit connect before events are due.
void settleListeners() { std::this_thread::sleep_for(milliseconds(300)); }

// Data that a reply was expected to carry but did not.
Json parsed(Json j, const char *function, const std::string &text) {
    if (j.is_null() || j.empty()) fail("", 0, "cannot read the reply of " + std::string(function) + ": '" + text + "'");
    return j;
}

// Sends an AT command with zelSendAtCommand; the reply, whatever it says.
std::string sendAt(const std::string &command) { return ZEL_TEXT(zelSendAtCommand, command.c_str()); }

void requireOk(const std::string &command, const std::string &reply) {
    std::string result = finalResult(reply);
    if (result != "OK")
        fail("", 0, "the modem answered " + command + " with " + (result.empty() ? "no final result" : result));
}

Output info() {
    Session session;
    int32_t major = 0, minor = 0, patch = 0;
    ZEL_CHECK(zelGetSDKVersion, &major, &minor, &patch);
    Json j;
    j["manufacturer"] = valueText(ZEL_TEXT(zelCgmiGet));
    j["model"] = valueText(ZEL_TEXT(zelCgmmGet));
    j["revision"] = valueText(ZEL_TEXT(zelCgmrGet));
    j["imei"] = valueText(ZEL_TEXT(zelGetIMEI));
    j["iccid"] = strip(ZEL_TEXT(zelGetICCID));
    j["imsi"] = valueText(ZEL_TEXT(zelCimiGet));
    j["clock"] = clockText(ZEL_TEXT(zelGetCCLK));
    j["library"] = std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch);
    return {j};
}

Output signalCmd() {
    Session session;
    std::string csq = ZEL_TEXT(zelGetCSQ);
    return {parsed(signalQuality(csq), "zelGetCSQ", csq)};
}

Output reg() {
    Session session;
    Json j;
    j["cs"] = registration(ZEL_TEXT(zelCregGet));
    j["ps"] = registration(ZEL_TEXT(zelCGREGGet));
    j["eps"] = registration(ZEL_TEXT(zelCEREGGet));
    j["operator"] = currentOperator(ZEL_TEXT(zelCopsGet));
    // Humans get the three domains as one table.
    Json rows = Json::array();
    for (const char *domain : {"cs", "ps", "eps"}) {
        Json row = {{"domain", domain}};
        row.update(j[domain]);
        rows.push_back(row);
    }
    return {j, table(rows) + "\n" + human({{"operator", j["operator"]}})};
}

Output scan() {
    Session session;
    std::string list;
    {
        Spinner spinner("Scanning for operators (up to 2 minutes)");
        list = ZEL_TEXT(zelCopsScan);
    }
    return {{{"operators", operatorList(list)}}};
}

Output pdpList() {
    Session session;
    std::string defined = ZEL_TEXT(zelGetCgdcont);
    std::string active = ZEL_TEXT(zelCGACTGet);
    std::string addresses = ZEL_TEXT(zelCGPADDRGet);
    return {{{"contexts", pdpContexts(defined, active, addresses)}}};
}

Output pdpDefine(const Args &a) {
    Session session;
    ZEL_CHECK(zelCGDCONTSet, a.cid, a.pdpType.c_str(), a.apn.c_str());
    Json j = {{"cid", a.cid}, {"type", a.pdpType}, {"apn", a.apn}};
    return {j, "Context " + std::to_string(a.cid) + " defined: " + a.pdpType + " \"" + a.apn + "\"\n"};
}

// AT+CGACT has no wrapper of its own; it goes through zelSendAtCommand.
Output pdpActivate(const Args &a, bool on) {
    Session session;
    if (on && a.waitIp > 0) registerIpChanges();
    std::string command = "AT+CGACT=" + std::string(on ? "1," : "0,") + std::to_string(a.cid);
    requireOk(command, sendAt(command));
    Json j = {{"cid", a.cid}, {"active", on}};
    std::string text = "Context " + std::to_string(a.cid) + (on ? " activated\n" : " deactivated\n");
    if (on && a.waitIp > 0) {
        j["ip_change"] = Json();
        auto deadline = steady_clock::now() + seconds(a.waitIp);
        while (auto e = events().pop(std::chrono::duration_cast<milliseconds>(deadline - steady_clock::now()))) {
            if (e->value("event", "") != "ip_change") continue;
            j["ip_change"] = (*e)["text"];
            break;
        }
        text += j["ip_change"].is_null() ? "No IP change within " + std::to_string(a.waitIp) + " s\n"
                                         : "IP change: " + j["ip_change"].get<std::string>() + "\n";
    }
    return {j, text};
}

Output cells() {
    Session session;
    zelNeighbourCellReport report{};
    zelString *out = nullptr;
    int32_t status = zelNeighbourCellGet(&out, &report);
    zelFreeString(out);
    if (status != 0 && status != 6) fail("zelNeighbourCellGet", status);  // 6: no neighbours
    zelModemInfo info{};
    out = nullptr;
    status = zelCmodemInfoGetV2(&out, &info);
    std::string line = out != nullptr ? out->data : "";
    zelFreeString(out);
    if (status != 0 && status != 6) fail("zelCmodemInfoGetV2", status);
    bool lte = line.find("\"LTE\"") != std::string::npos;
    bool known = lte || line.find("\"GSM\"") != std::string::npos;
    return {{{"neighbours", neighbourCells(report)}, {"modem_info", known ? modemInfo(info, lte) : Json()}}};
}

Output simStatus() {
    Session session;
    Json j;
    j["state"] = strip(ZEL_TEXT(zelCPINGet));
    j["counters"] = pinCounters(ZEL_TEXT(zelCPINRGet));
    return {j};
}

// PIN entry, or with a PUK the new PIN.
Output simUnlock(const std::string &code, const std::string &newPin) {
    Session session;
    ZEL_CHECK(zelCpinSet, code.c_str(), newPin.c_str());
    std::string state = strip(ZEL_TEXT(zelCPINGet));
    return {{{"accepted", true}, {"state", state}}, "Accepted; SIM state: " + state + "\n"};
}

const char *messageStatus(const std::string &word) {
    if (word == "unread") return "REC UNREAD";
    if (word == "read") return "REC READ";
    if (word == "unsent") return "STO UNSENT";
    if (word == "sent") return "STO SENT";
    return nullptr;
}

Output smsList(const Args &a) {
    Session session;
    ZEL_CHECK(zelCMGFSet, 1);  // text mode: the list carries readable headers and bodies
    zelString *out = nullptr;
    int32_t status = zelCMGLSet("ALL", &out);
    std::string list = out != nullptr ? out->data : "";
    zelFreeString(out);
    if (status == 5) {
        // An empty storage answers a bare OK, which the library reports as 5
        // as well; the storage counters tell the two apart.
        auto counts = splitFields(ZEL_TEXT(zelCPMSGet));
        if (counts.size() < 2 || toInt(counts[1]).value_or(-1) != 0) fail("zelCMGLSet", status);
    } else if (status != 0) {
        fail("zelCMGLSet", status);
    }
    Json messages = Json::array();
    const char *wanted = messageStatus(a.smsStatus);
    for (auto &m : messageList(list))
        if (wanted == nullptr || m["status"] == wanted) messages.push_back(m);
    return {{{"messages", messages}}};
}

Output smsRead(const Args &a) {
    Session session;
    ZEL_CHECK(zelCMGFSet, 1);
    Json m = {{"index", a.index}};
    m.update(message(ZEL_TEXT(zelCMGRSet, a.index)));
    return {m};
}

Output smsDelete(const Args &a) {
    Session session;
    ZEL_CHECK(zelCMGDSet, a.index, static_cast<uint32_t>(a.flag));
    return {{{"index", a.index}, {"deleted", true}}, "Message " + std::to_string(a.index) + " deleted\n"};
}

Output smsSend(const Args &a) {
    // The library writes the message to the modem port itself.
    if (access(zel::wire::kModemPort, F_OK) != 0)
        fail("", 0, std::string("sending needs the modem port ") + zel::wire::kModemPort + ", which this machine does not have "
                    "(zelsim provides it when run as root)");
    Session session;
    zelString *message = zelAllocString(a.body.data(), static_cast<int32_t>(a.body.size()));
    int32_t status = zelSendSMS(a.number.c_str(), message, a.pdu ? 1 : 0);
    zelFreeString(message);
    check("zelSendSMS", status);
    return {{{"number", a.number}, {"mode", a.pdu ? "pdu" : "text"}, {"sent", true}},
            "Message sent to " + a.number + "\n"};
}

Output gnssPower(bool on) {
    Session session;
    ZEL_CHECK(zelGnssSetEnGps, on ? 1 : 0);
    return {{{"enabled", on}}, std::string("GNSS receiver ") + (on ? "on\n" : "off\n")};
}

Json coordinateJson(const std::string &text) {
    auto v = coordinate(text);
    return v ? Json(*v) : Json(strip(text));
}

Output gnssPosition(const Args &a) {
    Session session;
    catchInterrupts();
    auto deadline = steady_clock::now() + seconds(a.waitFix);
    std::string lat;
    // Until the receiver has a fix the position queries fail.
    for (;;) {
        zelString *out = nullptr;
        int32_t status = zelGetCGPSGLAT(&out);
        lat = out != nullptr ? out->data : "";
        zelFreeString(out);
        if (status == 0) break;
        if (steady_clock::now() >= deadline || interrupted())
            fail("zelGetCGPSGLAT", status,
                 a.waitFix > 0 ? "no fix within " + std::to_string(a.waitFix) + " s"
                               : "no position yet (is the receiver on? --wait waits for a fix)");
        std::this_thread::sleep_for(milliseconds(500));
    }
    Json j;
    j["latitude"] = coordinateJson(lat);
    j["longitude"] = coordinateJson(ZEL_TEXT(zelGetCGPSGLON));
    j["altitude"] = coordinateJson(ZEL_TEXT(zelGetCGPSGALT));
    return {j};
}

// The firmware-update steps and how zelctl reads their status codes: the
// ranges are the library's; within a range the first code starts the step,
// `done` ends it, the codes after it are faults and the others progress.
struct OtaStep {
    size_t range;  // index into zel::wire::kOtaRanges
    const char *function;
    int done;
    const char *name() const { return zel::wire::kOtaRanges[range].step; }
    const char *word(int code) const {
        const zel::wire::OtaRange &r = zel::wire::kOtaRanges[range];
        return code == r.first ? "started" : code == done ? "done" : code > done && code <= r.last ? "failed" : "in progress";
    }
};
const OtaStep kOtaSteps[] = {
    {0, "zelOTACheckUpdate", 3},
    {1, "zelOTADownload", 19},
    {2, "zelOTAInstall", 92},
    {3, "zelOTAActivate", 111},
};

// Starts one step and follows its notifications until the modem reports its
// end; the install step draws a progress bar from them.
Output otaStep(const Args &a, const OtaStep &step, const std::function<int32_t()> &start) {
    Session session;
    catchInterrupts();
    registerOtaCallbacks();
    settleListeners();
    check(step.function, start());
    const bool bar = std::string(step.name()) == "install";
    const bool tty = isatty(STDOUT_FILENO);
    Json log = Json::array();
    auto deadline = steady_clock::now() + seconds(a.otaTimeout);
    int last = -1;
    for (;;) {
        auto left = std::chrono::duration_cast<milliseconds>(deadline - steady_clock::now());
        auto e = events().pop(std::max(left, milliseconds(0)));
        if (!e) {
            if (bar && tty && !a.json) printf("\n");
            fail("", 0, std::string(interrupted() ? "interrupted" : "timed out") + " while waiting for the " +
                            step.name() + " step to end");
        }
        if ((*e)["step"] != step.name()) continue;
        log.push_back(*e);
        int code = (*e)["status"], progress = (*e)["progress"];
        const std::string word = step.word(code);
        bool finished = word == "done" || (bar && progress >= 100);
        if (!a.json) {
            if (bar && progress != last) {
                printf("%sinstall %s%s", tty ? "\r" : "", progressBar(finished ? 100 : progress).c_str(),
                       tty ? "" : "\n");
                last = progress;
            } else if (!bar) {
                printf("%s: %s (status %d)\n", step.name(), word.c_str(), code);
            }
            fflush(stdout);
        }
        if (word == "failed") {
            if (bar && tty && !a.json) printf("\n");
            fail("", 0, std::string("the modem reported that the ") + step.name() + " step failed (status " +
                            std::to_string(code) + ")");
        }
        if (finished) break;
    }
    if (bar && tty && !a.json) printf("\n");
    Json j = {{"step", step.name()}, {"result", "done"}, {"events", log}};
    return {j, std::string("OTA ") + step.name() + " done\n"};
}

Output otaApply() {
    Session session;
    ZEL_CHECK(zelOTAApply);
    return {{{"applied", true}}, "Update applied; the module restarts to run it\n"};
}

Output otaStatus() {
    Session session;
    zelOTAStatus status{};
    ZEL_CHECK(zelOTAGetStatus, &status);
    int32_t mode = 0;
    ZEL_CHECK(zelOTAGetMode, &mode);
    static const char *const kModes[] = {"recovery", "non_recovery", "ab"};
    Json j;
    j["last_update"] = status.success ? "success" : "none or failed";
    j["completed"] = status.completedTimeText[0] ? Json(status.completedTimeText) : Json();
    j["completed_epoch"] = status.success ? Json(static_cast<long long>(status.completedTime)) : Json();
    j["mode"] = mode >= 0 && mode <= 2 ? kModes[mode] : "unknown";
    return {j};
}

Output watch(const Args &a) {
    // Registered before zelInit starts the listeners, so no event that reaches them is missed.
    registerNotifications();
    registerIpChanges();
    Session session;
    catchInterrupts();
    settleListeners();
    fprintf(stderr, "Watching notifications and IP changes (Ctrl-C ends)\n");
    auto deadline = steady_clock::now() + seconds(a.watchTimeout > 0 ? a.watchTimeout : 365L * 24 * 3600);
    int seen = 0;
    while (!interrupted() && (a.count == 0 || seen < a.count) && steady_clock::now() < deadline) {
        auto e = events().pop(std::chrono::duration_cast<milliseconds>(deadline - steady_clock::now()));
        if (!e) continue;
        std::string line = a.json ? e->dump() : eventLine(*e);
        // A closed pipe (zelctl watch | head) ends the watch.
        if (printf("%s\n", line.c_str()) < 0 || fflush(stdout) != 0) break;
        ++seen;
    }
    if (a.count > 0 && seen < a.count && !interrupted())
        fail("", 0, "saw " + std::to_string(seen) + " of " + std::to_string(a.count) + " events within " +
                        std::to_string(a.watchTimeout) + " s");
    return {Json(), ""};
}

Output at(const Args &a) {
    Session session;
    std::string reply = sendAt(a.command);
    std::string result = finalResult(reply);
    Output out({{"command", a.command}, {"reply", reply}, {"ok", result == "OK"}}, reply);
    if (reply.empty() || reply.back() != '\n') *out.text += "\n";
    if (result != "OK") out.failure = "the modem answered " + a.command + " with " + (result.empty() ? "no final result" : result);
    return out;
}

}  // namespace

void addCommands(CLI::App &app, Args &a, std::map<const CLI::App *, Action> &actions) {
    auto leaf = [&](CLI::App *parent, const char *name, const char *about, Action action) {
        CLI::App *c = parent->add_subcommand(name, about);
        actions[c] = std::move(action);
        return c;
    };
    auto group = [&](const char *name, const char *about) {
        CLI::App *g = app.add_subcommand(name, about);
        g->require_subcommand(1, 1);
        return g;
    };
    auto cidArg = [&](CLI::App *c) { c->add_option("cid", a.cid, "Context identifier")->required()->check(intIn(1, 8)); };

    leaf(&app, "info", "Manufacturer, model, revision, IMEI, ICCID, IMSI, clock and library version", info);
    leaf(&app, "signal", "Signal quality (AT+CSQ) with the level in dBm", signalCmd);
    leaf(&app, "reg", "Registration of the CS, PS and EPS domains, and the operator", reg);
    leaf(&app, "scan", "Scan for operators (takes up to two minutes)", scan);

    CLI::App *pdp = group("pdp", "Packet data contexts");
    leaf(pdp, "list", "Defined contexts with their state and address", pdpList);
    CLI::App *define = leaf(pdp, "define", "Define a context", [&] { return pdpDefine(a); });
    cidArg(define);
    define->add_option("apn", a.apn, "Access point name")->required()->check(
        checked([](const std::string &s) { return checkText(s, 99, "\r\n\",\x1a"); }, "APN"));
    define->add_option("--type", a.pdpType, "PDP type")->check(CLI::IsMember({"IP", "IPV6", "IPV4V6"}));
    CLI::App *activate = leaf(pdp, "activate", "Activate a context", [&] { return pdpActivate(a, true); });
    cidArg(activate);
    activate->add_option("--wait-ip", a.waitIp, "Seconds to wait for the IP change event")->check(intIn(0, 120));
    cidArg(leaf(pdp, "deactivate", "Deactivate a context", [&] { return pdpActivate(a, false); }));

    leaf(&app, "cells", "Neighbour cells and the serving cell's modem information, as tables (columns named after the tokens of the modem's lines)", cells);

    CLI::App *sim = group("sim", "SIM state, PIN entry and retry counters");
    leaf(sim, "status", "SIM state and PIN/PUK retry counters", simStatus);
    leaf(sim, "pin", "Enter the PIN", [&] { return simUnlock(a.pin, ""); })
        ->add_option("pin", a.pin, "PIN (4 to 8 digits)")->required()->check(
            checked([](const std::string &s) { return checkDigits(s, 4, 8); }, "PIN"));
    CLI::App *puk = leaf(sim, "puk", "Unblock with the PUK and set a new PIN", [&] { return simUnlock(a.puk, a.newPin); });
    puk->add_option("puk", a.puk, "PUK (8 digits)")->required()->check(
        checked([](const std::string &s) { return checkDigits(s, 8, 8); }, "PUK"));
    puk->add_option("new-pin", a.newPin, "New PIN (4 to 8 digits)")->required()->check(
        checked([](const std::string &s) { return checkDigits(s, 4, 8); }, "PIN"));

    CLI::App *sms = group("sms", "Stored messages and sending");
    leaf(sms, "list", "Stored messages", [&] { return smsList(a); })
        ->add_option("--status", a.smsStatus, "Which messages")->check(CLI::IsMember({"all", "unread", "read", "unsent", "sent"}));
    leaf(sms, "read", "Read a stored message", [&] { return smsRead(a); })
        ->add_option("index", a.index, "Storage index")->required()->check(intIn(0, 65535));
    CLI::App *del = leaf(sms, "delete", "Delete a stored message", [&] { return smsDelete(a); });
    del->add_option("index", a.index, "Storage index")->required()->check(intIn(0, 65535));
    del->add_option("--flag", a.flag, "Delete flag: 0 this message, 1 read, 2 read and sent, 3 read, sent and unsent, 4 all")
        ->check(intIn(0, 4));
    CLI::App *send = leaf(sms, "send", "Send a message over the modem port " ZEL_WIRE_MODEM_PORT, [&] { return smsSend(a); });
    send->add_option("number", a.number, "Destination number")->required()->check(checked(checkPhone, "NUMBER"));
    send->add_option("text", a.body, "Message text: at most 160 characters, 70 with --pdu")->required();
    send->add_flag("--pdu", a.pdu, "PDU mode (UCS-2, 10-digit national number, at most 70 characters)");
    send->callback([&] {
        std::string problem = a.pdu ? checkDigits(a.number, 10, 10) : "";
        if (!problem.empty()) throw CLI::ValidationError("number", problem + " (PDU mode takes the 10-digit national number)");
        problem = checkText(a.body, a.pdu ? 70 : 160, "\x1a\x1b");
        if (!problem.empty()) throw CLI::ValidationError("text", problem);
    });

    CLI::App *gnss = group("gnss", "GNSS receiver");
    leaf(gnss, "on", "Switch the receiver on", [] { return gnssPower(true); });
    leaf(gnss, "off", "Switch the receiver off", [] { return gnssPower(false); });
    leaf(gnss, "position", "Latitude, longitude and altitude", [&] { return gnssPosition(a); })
        ->add_option("--wait", a.waitFix, "Seconds to wait for a fix")->check(intIn(0, 600));

    CLI::App *ota = group("ota", "Firmware update");
    auto urlArg = [&](CLI::App *c) {
        c->add_option("url", a.url, "Address of the update")->required()->check(
            checked([](const std::string &s) { return checkText(s, 900, "\r\n\"\x1a "); }, "URL"));
    };
    auto timeoutArg = [&](CLI::App *c) {
        c->add_option("--timeout", a.otaTimeout, "Seconds to wait for the step to end")->capture_default_str()->check(intIn(1, 3600));
    };
    CLI::App *c = leaf(ota, "check", "Ask for an update", [&] { return otaStep(a, kOtaSteps[0], [&] { return zelOTACheckUpdate(a.url.c_str()); }); });
    urlArg(c);
    timeoutArg(c);
    c = leaf(ota, "download", "Download the update", [&] { return otaStep(a, kOtaSteps[1], [&] { return zelOTADownload(a.url.c_str()); }); });
    urlArg(c);
    timeoutArg(c);
    timeoutArg(leaf(ota, "install", "Install the downloaded update, with a progress bar", [&] { return otaStep(a, kOtaSteps[2], zelOTAInstall); }));
    timeoutArg(leaf(ota, "activate", "Activate the installed update", [&] { return otaStep(a, kOtaSteps[3], zelOTAActivate); }));
    leaf(ota, "apply", "Apply the activated update (the module restarts)", otaApply);
    leaf(ota, "status", "Result of the last update and the update mode", otaStatus);

    CLI::App *w = leaf(&app, "watch", "Print notifications and IP changes as they arrive, until interrupted",
                       [&] { return watch(a); });
    w->add_option("--count", a.count, "Stop after this many events")->check(intIn(1, 1000000));
    w->add_option("--timeout", a.watchTimeout, "Stop after this many seconds")->check(intIn(1, 86400));

    leaf(&app, "at", "Send any AT command and print the raw reply", [&] { return at(a); })
        ->add_option("command", a.command, "The command, for example AT+CSQ")->required()->check(
            checked(checkAtCommand, "COMMAND"));
}

}  // namespace zelctl
