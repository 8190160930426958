// zelctl: drives the module's modem from the command line through
// libzelto_sdk and its public header alone.
#include <CLI/CLI.hpp>

#include <cctype>
#include <cstdio>
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
    app.footer("Exit status: 0 success, 1 the library or the modem reported a failure, 2 bad usage.\n"
               "Run 'zelctl <command> --help' for the options of a command.");
    app.add_flag("--json", args.json, "Print one JSON document (watch: one JSON object per line)");
    app.require_subcommand(1, 1);
    zelctl::addCommands(app, args, actions);
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
