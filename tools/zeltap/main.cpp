// zeltap: records what the SDK server answers, in zelsim's scenario format.
//   zeltap record --out FILE [--redact] [--duration TIME] [--modem-port] [--port PATH] [--dir DIR]
//   zeltap restore [--dir DIR] [--port PATH]
#include <CLI/CLI.hpp>

#include "recorder.h"

int main(int argc, char **argv) {
    CLI::App app{"zeltap: records the traffic between applications and the SDK server as a zelsim scenario", "zeltap"};
    app.footer("Example: zeltap record --out field-report.yaml --duration 600s\n\n"
               "Exit status: 0 done, 1 it could not record, restore or write the file, 2 bad usage.");
    app.require_subcommand(1);
    zeltap::Options opt;
    std::string duration;

    CLI::App *rec = app.add_subcommand("record", "Stand in for the SDK server's sockets and record until stopped");
    rec->add_option("--out", opt.out, "The recording to write (YAML, replayed by zelsim --scenario FILE)")->required();
    rec->add_flag("--redact", opt.redact,
                  "Replace the IMEI, IMSI, ICCID, phone numbers, message texts, cell identities and GNSS positions "
                  "with consistent fakes (listed in the file's header)");
    rec->add_option("--duration", duration, "Stop after this long (250ms, 90s, up to a day); default: at SIGINT or SIGTERM");
    rec->add_option("--dir", opt.dir, "The server's sockets are in this directory instead of /tmp");
    rec->add_flag("--modem-port", opt.modem_port,
                  "Also record the modem port: it is renamed aside and a pseudo-terminal linked at its path");
    opt.port = zel::wire::kModemPort;
    rec->add_option("--port", opt.port, "The modem port's path (default /dev/smd10; tests give another)");
    rec->footer("The server's sockets are renamed to PATH.zeltap-server while it records and renamed back when it "
                "stops. PINs, PUKs, passwords and cloud credentials are never written: they stand as <masked>.\n\n"
                "Example: zeltap record --out /tmp/field-report.yaml\n\n"
                "Exit status: 0 the file is written, 1 nothing to record (no live server at the sockets, another "
                "zeltap records) or the file could not be written, 2 bad usage.");

    CLI::App *res = app.add_subcommand("restore", "Put back the server's sockets and the modem port after a recorder was killed");
    std::string restore_dir;
    res->add_option("--dir", restore_dir, "The server's sockets are in this directory instead of /tmp");
    std::string restore_port = zel::wire::kModemPort;
    res->add_option("--port", restore_port, "The modem port's path (default /dev/smd10)");
    res->footer("Example: zeltap restore\n\n"
                "Exit status: 0 the sockets are in place, 1 a recorder still runs or a socket could not be moved back, "
                "2 bad usage.");
    try {
        app.parse(argc, argv);
        if (!duration.empty()) {
            std::string why;
            if (!zelsim::parseDuration(duration, &opt.duration, &why))
                throw CLI::ValidationError("--duration", "'" + duration + "' is not a duration: " + why);
        }
    } catch (const CLI::ParseError &e) {
        int status = app.exit(e);
        return status == 0 ? 0 : 2;
    }
    if (*res) return zeltap::restore(restore_dir, restore_port);
    return zeltap::record(opt);
}
