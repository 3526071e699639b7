// tova-kin: the library at a terminal. Each command lives in its own cmd_*.cpp
// and registers itself; this file only dispatches and reports errors.
#include <cstdio>
#include <exception>
#include <string>

#include "cli.hpp"

using namespace tova_cli;

static void print_usage(FILE *out) {
    std::fprintf(out, "usage: tova-kin COMMAND [options] [arguments]\n\ncommands:\n");
    for (const auto &[name, cmd] : registry())
        std::fprintf(out, "  %-12s %s\n", name.c_str(), cmd.summary.c_str());
    std::fprintf(out, "\n'tova-kin COMMAND --help' describes one command.\n"
                      "Exit status: 0 done, 1 no inverse-kinematics solution, 2 bad arguments or input,\n"
                      "3 internal error.\n");
}

int main(int argc, char **argv) {
    if (argc < 2) {
        print_usage(stderr);
        return kExitBadInput;
    }
    std::string name = argv[1];
    const bool help_on = name == "help" && argc > 2;  // tova-kin help CMD
    if (help_on) name = argv[2];
    else if (name == "-h" || name == "--help" || name == "help") {
        print_usage(stdout);
        return 0;
    }
    auto it = registry().find(name);
    if (it == registry().end()) {
        std::fprintf(stderr, "tova-kin: unknown command '%s' (try: tova-kin --help)\n", name.c_str());
        return kExitBadInput;
    }
    current_command() = name;
    Args args(argv + (help_on ? 3 : 2), argv + argc);
    if (help_on) args.insert(args.begin(), "--help");
    for (const auto &a : args) {
        if (a == "--") break;
        if (a == "--help" || a == "-h") {
            std::printf("%s\n", it->second.usage.c_str());
            return 0;
        }
    }
    try {
        return it->second.run(args);
    } catch (const CliError &e) {
        std::fprintf(stderr, "tova-kin %s: %s\n", name.c_str(), e.what());
        return kExitBadInput;
    } catch (const std::exception &e) {  // not the user's fault: out of memory and the like
        std::fprintf(stderr, "tova-kin %s: internal error: %s\n", name.c_str(), e.what());
        return 3;
    }
}
