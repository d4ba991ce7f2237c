// The texts about options: for --help, the manual pages and the completion alike.
#ifndef LMLCOMMAND_HELP_H
#define LMLCOMMAND_HELP_H

#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <vector>

namespace command
{
/// Names on the command line: "-d, --distance"; of an argument its name.
std::string NamesOf(const CLI::Option& option);
/// The word for the value, such as LENGTH; empty for flags.
std::string WordOf(const CLI::Option& option);
/// The values of an option that takes one of a list.
std::vector<std::string> ValuesOf(const CLI::Option& option);
/// What it does, which values it takes, and the default.
std::string MeaningOf(const CLI::Option& option);

/// Writes --help in these words.
std::shared_ptr<CLI::Formatter> MakeFormatter();
} // namespace command

#endif
