// The subcommands: each adds itself with its options, and stands in the source of its name.
#ifndef LMLCOMMAND_SUBCOMMANDS_H
#define LMLCOMMAND_SUBCOMMANDS_H

#include "Invocation.h"

namespace command
{
void AddInfo(CLI::App& app, Invocation& invocation);
void AddView(CLI::App& app, Invocation& invocation);
void AddReport(CLI::App& app, Invocation& invocation);
void AddConvert(CLI::App& app, Invocation& invocation);
void AddMake(CLI::App& app, Invocation& invocation);
void AddPropagate(CLI::App& app, Invocation& invocation);
void AddAdvise(CLI::App& app, Invocation& invocation);
void AddPoints(CLI::App& app, Invocation& invocation);
void AddEncode(CLI::App& app, Invocation& invocation);
void AddFocus(CLI::App& app, Invocation& invocation);
void AddMeasure(CLI::App& app, Invocation& invocation);
void AddCompare(CLI::App& app, Invocation& invocation);
/// Hidden: writes the manual pages and the shell completion, from these options, into a folder.
void AddManual(CLI::App& app, Invocation& invocation);
} // namespace command

#endif
