// zelctl: drives the module's modem from the command line through
// libzelto_sdk and its public header alone.
#include <CLI/CLI.hpp>

#include <cctype>
#include <cstdio>
#include <map>
#include <iostream>

#include "glue.h"

namespace {

// "zelctl pdp define" for the subcommand `leaf`.
std::string commandPath(const CLI::App *leaf) {
    std::string path;
    for (const CLI::App *a = leaf; a != nullptr; a = a->get_parent()) path = a->get_name() + (path.empty() ? "" : " " + path);
    return path;
}

std::string subcommandNames(const CLI::App *app) {
    std::string names;
    for (const CLI::App *s : app->get_subcommands([](const CLI::App *) { return true; }))
        names += (names.empty() ? "" : ", ") + s->get_name();
    return names;
}

// Bad input: what is wrong, where to look, exit status 2.
int usage(const CLI::App &app, const CLI::ParseError &e) {
    const CLI::App *leaf = &app;
    while (!leaf->get_subcommands().empty()) leaf = leaf->get_subcommands().front();
    std::string problem = e.what();
    if (!problem.empty()) problem[0] = static_cast<char>(tolower(problem[0]));
    if (problem == "a subcommand is required") {
        auto extra = leaf->remaining();
        problem = (extra.empty() ? "missing subcommand" : "unknown subcommand '" + extra.front() + "'") +
                  " (one of: " + subcommandNames(leaf) + ")";
    }
    fprintf(stderr, "%s: %s\nRun '%s --help' for usage.\n", app.get_name().c_str(), problem.c_str(),
            commandPath(leaf).c_str());
    return 2;
}

// What every command's --help ends with (and so its manual page, made from
// the --help texts): one example and the exit statuses. A command without an
// example here fails the build of the manual page.
struct HelpTail {
    const char *example;
    const char *failure;  // what exit status 1 means besides a failed call
};
const std::map<std::string, HelpTail> kHelpTails = {
    {"zelctl", {"zelctl --json reg", ""}},
    {"zelctl info", {"zelctl info", ""}},
    {"zelctl signal", {"zelctl signal", ""}},
    {"zelctl reg", {"zelctl reg", ""}},
    {"zelctl scan", {"zelctl scan", ""}},
    {"zelctl pdp", {"zelctl pdp list", ""}},
    {"zelctl pdp list", {"zelctl --json pdp list", ""}},
    {"zelctl pdp define", {"zelctl pdp define 1 internet --type IPV4V6", ""}},
    {"zelctl pdp activate", {"zelctl pdp activate 1 --wait-ip 5", ""}},
    {"zelctl pdp deactivate", {"zelctl pdp deactivate 1", ""}},
    {"zelctl cells", {"zelctl cells", ""}},
    {"zelctl sim", {"zelctl sim status", ""}},
    {"zelctl sim status", {"zelctl sim status", ""}},
    {"zelctl sim pin", {"zelctl sim pin 1234", " or the PIN was refused"}},
    {"zelctl sim puk", {"zelctl sim puk 12345678 4321", " or the PUK was refused"}},
    {"zelctl sms", {"zelctl sms list --status unread", ""}},
    {"zelctl sms list", {"zelctl sms list --status unread", ""}},
    {"zelctl sms read", {"zelctl sms read 3", ""}},
    {"zelctl sms delete", {"zelctl sms delete 0 --flag 1", ""}},
    {"zelctl sms send", {"zelctl sms send +15550123 'On my way'", " or there is no /dev/smd10"}},
    {"zelctl gnss", {"zelctl gnss on", ""}},
    {"zelctl gnss on", {"zelctl gnss on", ""}},
    {"zelctl gnss off", {"zelctl gnss off", ""}},
    {"zelctl gnss position", {"zelctl gnss position --wait 60", " or no fix came within --wait seconds"}},
    {"zelctl ota", {"zelctl ota status", ""}},
    {"zelctl ota check", {"zelctl ota check http://updates.example.com/zm200", ", the step failed or it did not end within --timeout seconds"}},
    {"zelctl ota download", {"zelctl ota download http://updates.example.com/zm200/2.2.6", ", the step failed or it did not end within --timeout seconds"}},
    {"zelctl ota install", {"zelctl ota install --timeout 900", ", the step failed or it did not end within --timeout seconds"}},
    {"zelctl ota activate", {"zelctl ota activate", ", the step failed or it did not end within --timeout seconds"}},
    {"zelctl ota apply", {"zelctl ota apply", ""}},
    {"zelctl ota status", {"zelctl --json ota status", ""}},
    {"zelctl watch", {"zelctl watch --json --count 5 --timeout 60", " or fewer than --count events came within --timeout seconds"}},
    {"zelctl at", {"zelctl at 'AT+COPS?'", " or the modem answered anything but OK"}},
};

void addHelpTails(CLI::App *app) {
    auto tail = kHelpTails.find(commandPath(app));
    if (tail != kHelpTails.end())
        app->footer(std::string("Example: ") + tail->second.example +
                    "\n\nExit status: 0 success, 1 the library or the modem reported a failure" +
                    tail->second.failure + ", 2 bad usage (nothing is sent to the modem)." +
                    (app->get_subcommands([](const CLI::App *) { return true; }).empty()
                         ? ""
                         : "\nRun '" + commandPath(app) + " <command> --help' for the options of a command."));
    for (CLI::App *s : app->get_subcommands([](const CLI::App *) { return true; })) addHelpTails(s);
}

void reportFailure(const zelctl::Failure &f, bool json) {
    fprintf(stderr, "zelctl: %s\n", f.message().c_str());
    if (!json) return;
    zelctl::Json j = {{"error", f.message()}};
    if (!f.function.empty()) {
        j["function"] = f.function;
        j["status"] = f.status;
        j["meaning"] = zelctl::statusMeaning(f.status);
    }
    printf("%s\n", j.dump(2).c_str());
}

}  // namespace

int main(int argc, char **argv) {
    zelctl::Args args;
    std::map<const CLI::App *, zelctl::Action> actions;
    CLI::App app{"Drives the module's modem through libzelto_sdk.", "zelctl"};
    app.add_flag("--json", args.json, "Print one JSON document (watch: one JSON object per line)");
    app.require_subcommand(1, 1);
    zelctl::addCommands(app, args, actions);
    addHelpTails(&app);
    // --json is accepted after the subcommand as well.
    for (CLI::App *s : app.get_subcommands([](const CLI::App *) { return true; })) {
        s->fallthrough();
        for (CLI::App *leaf : s->get_subcommands([](const CLI::App *) { return true; })) leaf->fallthrough();
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &e) {
        if (e.get_exit_code() == 0) return app.exit(e);  // --help
        return usage(app, e);
    }
    const CLI::App *leaf = &app;
    while (!leaf->get_subcommands().empty()) leaf = leaf->get_subcommands().front();
    try {
        zelctl::Output out = actions.at(leaf)();
        if (args.json && !out.doc.is_null()) printf("%s\n", out.doc.dump(2).c_str());
        else if (!args.json) fputs(out.text ? out.text->c_str() : zelctl::human(out.doc).c_str(), stdout);
        fflush(stdout);
        if (out.failure) fprintf(stderr, "zelctl: %s\n", out.failure->c_str());
        return out.failure ? 1 : 0;
    } catch (const zelctl::Failure &f) {
        fflush(stdout);
        reportFailure(f, args.json);
        return 1;
    } catch (const std::exception &e) {
        fprintf(stderr, "zelctl: %s\n", e.what());
        return 1;
    }
}
