// A program of subcommands: its command line, its help, and the one that is named.
#include "Program.h"

#include "Help.h"

#include <LmlLumora.h>

#include <cstdio>

namespace command
{
namespace
{
std::string VersionText(const std::string& name)
{
    using namespace LumoraLib;
    return name + " " + std::to_string(GetMajorVersion()) + "." + std::to_string(GetMinorVersion()) + "." +
           std::to_string(GetPatchNumber()) + ", " + std::to_string(GetNumProcs()) + " processors, " +
           GetInstructionSetString();
}

/// One line for a wrong command line, with the way to the help of the subcommand that it was for.
int Refuse(const CLI::App& app, const CLI::ParseError& error, int argc, char** argv)
{
    std::string name = app.get_name();
    const CLI::App* last = &app;
    while (!last->get_subcommands().empty())
    {
        last = last->get_subcommands().front();
        name += " " + last->get_name();
    }
    std::string text = error.what();
    if (last == &app && argc > 1 && argv[1][0] != '-')
        text = std::string("there is no subcommand \"") + argv[1] + "\"";
    for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n'))
        text.replace(at, 1, text.size() == at + 1 ? "" : " ");
    std::fprintf(stderr, "%s: %s (see %s --help)\n", name.c_str(), text.c_str(), name.c_str());
    return kUsage;
}
} // namespace

int RunProgram(int argc, char** argv, const std::string& name, const std::string& purpose, const std::string& footer,
               const std::function<void(CLI::App&, Invocation&)>& add,
               const std::function<int(const CLI::App&, Invocation&)>& run)
{
    CLI::App app(purpose, name);
    app.formatter(MakeFormatter());
    app.require_subcommand(1);
    app.set_version_flag("--version", VersionText(name), "Version, processors and instruction set");
    app.footer(footer +
               "Exit codes: 0 done, 1 failed, 2 wrong arguments, 3 the answer is no, 130 stopped by Ctrl-C.\n" + name +
               " SUBCOMMAND --help says more.");
    Invocation invocation;
    add(app, invocation);
    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::Success& wanted)
    {
        return app.exit(wanted); // --help and --version
    }
    catch (const CLI::ParseError& error)
    {
        return Refuse(app, error, argc, argv);
    }
    return run(app, invocation);
}
} // namespace command
