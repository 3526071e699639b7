// tova-kin: the library at a terminal. Each command lives in its own cmd_*.cpp
// and registers itself; this file only dispatches and reports errors.
#include <cstdio>
#include <exception>

#include "cli.hpp"

using namespace tova_cli;

static void print_usage(FILE *out) {
    std::fprintf(out, "usage: tova-kin COMMAND [options] [arguments]\n\ncommands:\n");
    for (const auto &[name, cmd] : registry())
        std::fprintf(out, "  %-12s %s\n", name.c_str(), cmd.summary.c_str());
    std::fprintf(out, "\n'tova-kin COMMAND --help' describes one command.\n");
}

int main(int argc, char **argv) {
    if (argc < 2) {
        print_usage(stderr);
        return 2;
    }
    std::string name = argv[1];
    if (name == "-h" || name == "--help" || name == "help") {
        print_usage(stdout);
        return 0;
    }
    auto it = registry().find(name);
    if (it == registry().end()) {
        std::fprintf(stderr, "tova-kin: unknown command '%s' (try: tova-kin --help)\n", name.c_str());
        return 2;
    }
    Args args(argv + 2, argv + argc);
    for (const auto &a : args) {
        if (a == "--help" || a == "-h") {
            std::printf("%s\n", it->second.usage.c_str());
            return 0;
        }
    }
    try {
        return it->second.run(args);
    } catch (const CliError &e) {
        std::fprintf(stderr, "tova-kin %s: %s\n", name.c_str(), e.what());
        return 2;
    } catch (const std::exception &e) {
        std::fprintf(stderr, "tova-kin %s: %s\n", name.c_str(), e.what());
        return 1;
    }
}
