// The command lml: computer holography and scalar wave optics from the shell.
#include "Help.h"
#include "Subcommands.h"

#include <LmlLumora.h>

#include <cstdio>
#include <string>

namespace
{
std::string VersionText()
{
    using namespace LumoraLib;
    return std::string("lml ") + std::to_string(GetMajorVersion()) + "." + std::to_string(GetMinorVersion()) + "." +
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
    return command::kUsage;
}
} // namespace

int main(int argc, char** argv)
{
    using namespace command;
    CLI::App app("Computer holography and scalar wave optics from the shell", "lml");
    app.formatter(MakeFormatter());
    app.require_subcommand(1);
    app.set_version_flag("--version", VersionText(), "Version, processors and instruction set");
    app.footer("Lengths take units (532nm, 8um, 15cm; a bare number is metres), angles too (0.3deg, 5mrad).\n"
               "Exit codes: 0 done, 1 failed, 2 wrong arguments, 3 the answer is no, 130 stopped by Ctrl-C.\n"
               "lml SUBCOMMAND --help says more.");
    Invocation invocation;
    AddInfo(app, invocation);
    AddView(app, invocation);
    AddReport(app, invocation);
    AddConvert(app, invocation);
    AddMake(app, invocation);
    AddPropagate(app, invocation);
    AddAdvise(app, invocation);
    AddPoints(app, invocation);
    AddEncode(app, invocation);
    AddFocus(app, invocation);
    AddMeasure(app, invocation);
    AddCompare(app, invocation);
    AddManual(app, invocation);
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
    return invocation.Run();
}
