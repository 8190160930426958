// zelsim: a stand-in for the SDK server and the modem behind it.
//   zelsim [-v] [--dir DIR] [--scenario FILE [--strict]] [--modem-link PATH | --no-modem-link]
//   zelsim ctl [--dir DIR] REQUEST...
#include <CLI/CLI.hpp>

#include <fstream>
#include <iostream>
#include <sstream>

#include "server.h"

int main(int argc, char **argv) {
    CLI::App app{"zelsim: the SDK server and the modem behind it, for running the library on a laptop", "zelsim"};
    app.footer("Example: zelsim -v --scenario tools/zelsim/scenarios/example.yaml\n\n"
               "Exit status: 0 stopped by SIGINT or SIGTERM, 1 it could not start (a server holds the sockets, "
               "the scenario is invalid), 2 bad usage.");
    zelsim::Options opt;
    std::string scenario_file, link;
    bool no_link = false;
    app.add_flag("-v,--verbose", opt.verbose, "Log every command and reply with timestamps");
    app.add_option("--dir", opt.dir, "Put the sockets in this directory instead of the library's fixed paths in /tmp");
    app.add_option("--scenario", scenario_file, "YAML file of faults, timed events and recorded exchanges (zeltap)")
        ->check(CLI::ExistingFile);
    app.add_flag("--strict", opt.strict,
                 "Answer commands the recording does not hold with ERROR, and exit with status 3 when any came");
    app.add_option("--modem-link", link,
                   "Link this path to the modem port's pseudo-terminal (default /dev/smd10, or DIR/smd10 with --dir)");
    app.add_flag("--no-modem-link", no_link, "Link nothing to the modem port");
    app.add_option("--socket-mode", opt.socket_mode, "Permissions of the sockets, in octal (default 0600: only this user)")
        ->transform([](std::string s) {
            char *end = nullptr;
            unsigned long mode = strtoul(s.c_str(), &end, 8);
            if (s.empty() || *end != '\0' || mode > 0777) throw CLI::ValidationError("--socket-mode", "an octal mode up to 0777");
            return std::to_string(mode);
        });

    CLI::App *ctl = app.add_subcommand("ctl", "Send a control request to a running simulator");
    std::string ctl_dir;
    std::vector<std::string> words;
    ctl->add_option("--dir", ctl_dir, "The simulator's socket directory");
    ctl->add_option("request", words,
                    "status | clear_faults | drop | a YAML entry, e.g. '{notify: {type: new_sms, value: 1}}'")
        ->required();
    ctl->footer("Example: zelsim ctl '{notify: {type: new_sms, value: 1}}'\n\n"
                "Exit status: 0 the simulator answered ok, 1 it answered an error or did not answer, 2 bad usage.");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &e) {
        int status = app.exit(e);  // prints the help, or what is wrong
        return status == 0 ? 0 : 2;
    }

    if (*ctl) {
        std::string request;
        for (const auto &w : words) request += (request.empty() ? "" : " ") + w;
        std::string answer = zelsim::control(ctl_dir, request);
        std::cout << answer << "\n";
        return answer.rfind("ok", 0) == 0 ? 0 : 1;
    }

    zelsim::Scenario scenario;
    if (!scenario_file.empty()) {
        std::ifstream in(scenario_file);
        std::stringstream text;
        text << in.rdbuf();
        try {
            scenario = zelsim::parseScenario(text.str());
        } catch (const zelsim::ScenarioError &e) {
            std::cerr << scenario_file << ": " << e.what() << "\n";
            return 1;
        }
    }
    if (opt.strict && scenario.exchanges.empty()) {
        std::cerr << "zelsim: --strict replays a recording: give --scenario a file with recorded exchanges\n";
        return 1;
    }
    if (!no_link) opt.modem_link = !link.empty() ? link : opt.dir.empty() ? zel::wire::kModemPort : opt.dir + "/smd10";
    return zelsim::serve(opt, scenario);
}
