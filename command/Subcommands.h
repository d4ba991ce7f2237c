// The subcommands: each adds itself with its options, and stands in the source of its name.
#ifndef LMLCOMMAND_SUBCOMMANDS_H
#define LMLCOMMAND_SUBCOMMANDS_H

#include "Session.h"

namespace command
{
void AddInfo(CLI::App& app, Session& session);
void AddView(CLI::App& app, Session& session);
void AddReport(CLI::App& app, Session& session);
void AddConvert(CLI::App& app, Session& session);
void AddMake(CLI::App& app, Session& session);
void AddPropagate(CLI::App& app, Session& session);
void AddAdvise(CLI::App& app, Session& session);
void AddPoints(CLI::App& app, Session& session);
void AddEncode(CLI::App& app, Session& session);
void AddFocus(CLI::App& app, Session& session);
void AddMeasure(CLI::App& app, Session& session);
void AddCompare(CLI::App& app, Session& session);
/// Hidden: writes the manual pages and the shell completion, from these options, into a folder.
void AddManual(CLI::App& app, Session& session);
} // namespace command

#endif
