// A program of subcommands: its command line, its help, and the one that is named.
#ifndef LMLCOMMAND_PROGRAM_H
#define LMLCOMMAND_PROGRAM_H

#include "Invocation.h"

#include <functional>
#include <string>

namespace command
{
/// Parses the command line and runs what it names: `add` adds the subcommands, `run` carries the invocation out when
/// the line is in order (Invocation::Run, and what must stand around it). Returns the exit code.
int RunProgram(int argc, char** argv, const std::string& name, const std::string& purpose, const std::string& footer,
               const std::function<void(CLI::App&, Invocation&)>& add,
               const std::function<int(const CLI::App&, Invocation&)>& run);
} // namespace command

#endif
