// Fields from files: what a file is, how it is read, and what it says.
#ifndef LMLCOMMAND_FILES_H
#define LMLCOMMAND_FILES_H

#include "Container.h"
#include "Invocation.h"

#include <LmlPictures.h>

#include <optional>
#include <string>

namespace command
{
enum class Format
{
    Lm,
    Lw,
    De,
    Npy,
    Csv,
    Bmp,
    Hbi,
    Raw,
    Picture, // PNG, JPEG or a portable map
    Unknown
};
const char* NameOf(Format format);

/// What a file is, by its first bytes; text and RAW by the name.
Format FormatOfFile(const std::string& path);

/// The format that a name asks for; Misuse when it is none that can be written.
Format FormatOfName(const std::string& path);

/// Arguments that say what to read, and how where the file itself does not say.
struct InputOptions
{
    std::string path;
    std::optional<double> wavelength;
    std::optional<Pair> pitch;
    std::string value = "intensity"; // what grey values of pictures are
    std::optional<Whole2> rawSize;
    std::optional<Whole2> segment;
    std::optional<int> part;

    void AddTo(CLI::App& app, const char* name = "FILE", const char* help = "Field or picture to read");
    /// The same without the positional argument, for subcommands of several files.
    void AddReadingTo(CLI::App& app);
};

/// A field and what its file said about it.
struct Input
{
    LumoraLib::Lumora field{1, 1};
    Format format = Format::Unknown;
    bool knowsPitch = true;
    bool knowsWavelength = true;
    std::string path;

    /// Ends in Failure with the missing options. What carries light needs both.
    void RequireScale(bool wavelength = true) const;
};
Input LoadInput(const InputOptions& options);

/// Sizes, pitches, wavelength, place and form of a field as facts.
void AddParameters(Facts& facts, const LumoraLib::Lumora& field, bool knowsPitch = true, bool knowsWavelength = true);
} // namespace command

#endif
