// The command lml: computer holography and scalar wave optics from the shell.
#include "Program.h"
#include "Subcommands.h"

int main(int argc, char** argv)
{
    using namespace command;
    return RunProgram(
        argc, argv, "lml", "Computer holography and scalar wave optics from the shell",
        "Lengths take units (532nm, 8um, 15cm; a bare number is metres), angles too (0.3deg, 5mrad).\n",
        [](CLI::App& app, Invocation& invocation)
        {
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
        },
        [](const CLI::App&, Invocation& invocation) { return invocation.Run(); });
}
