// Fields into files, by the names that they are to have, whole or not at all.
#ifndef LMLCOMMAND_OUTPUT_H
#define LMLCOMMAND_OUTPUT_H

#include "Files.h"

#include <LmlLarge.h>

namespace command
{
/// Arguments of what is written.
struct OutputOptions
{
    std::string path;
    std::string quantity = "amplitude"; // what a picture shows
    std::optional<Pair> range;          // values of black and white
    std::optional<Whole2> segments;

    void AddTo(CLI::App& app, const char* name = "OUT", bool required = true);
    void AddPictureTo(CLI::App& app);
};

/// Saves whole or not at all; notes in `facts` what the format leaves out. The window is the whole grid, or the part of
/// it that came from a file of other sizes.
void SaveOutput(const LumoraLib::Lumora& field, const OutputOptions& options, Facts& facts);

/// Runs save(name) beside `path`; failures name `path`. Of several ranks (or null) all run it with the same name.
void SaveBeside(const std::string& path, const std::function<void(const char*)>& save,
                LumoraLib::LargeRanks* ranks = nullptr);
} // namespace command

#endif
