// Fields into files, by the names that they are to have, whole or not at all.
#include "Output.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <map>
#include <memory>

namespace command
{
using namespace LumoraLib;

namespace
{
using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

struct Quantity
{
    Mode mode;
    PictureQuantity picture;
};
const std::map<std::string, Quantity> kQuantities = {{"amplitude", {ModeAmplitude, PICTURE_AMPLITUDE}},
                                                     {"intensity", {ModeIntensity, PICTURE_INTENSITY}},
                                                     {"phase", {ModePhase, PICTURE_PHASE}},
                                                     {"real", {ModeReal, PICTURE_REAL}},
                                                     {"imaginary", {ModeImag, PICTURE_IMAGINARY}}};

/// The largest value that a mode would show, for its white.
double LargestShown(const Lumora& field, Mode mode)
{
    if (mode != ModeReal && mode != ModeImag)
    {
        const double amplitude = field.GetAmplitudeMax();
        return mode == ModeIntensity ? amplitude * amplitude : amplitude;
    }
    double largest = 0.0;
    const LML_RECT w = const_cast<Lumora&>(field).Window();
    for (std::int32_t j = w.bottom; j < w.top; ++j)
        for (std::int32_t i = w.left; i < w.right; ++i)
            largest = std::max(largest, std::fabs(mode == ModeReal ? field.GetReal(i, j) : field.GetImag(i, j)));
    return largest;
}

struct Shown
{
    double low;
    double high;
};
Shown RangeOf(const Lumora& field, Mode mode, const std::optional<Pair>& asked)
{
    constexpr double kPi = 3.141592653589793;
    if (asked)
        return {asked->x, asked->y};
    if (mode == ModePhase)
        return {-kPi, kPi};
    double high = LargestShown(field, mode);
    if (!(high > 0.0))
        high = 1.0; // a field without light is black
    return {mode == ModeReal || mode == ModeImag ? -high : 0.0, high};
}

/// The list that LoadCSV() reads: sizes, then a sample a line.
void WriteCsv(const Lumora& field, const char* path)
{
    const Stream stream(std::fopen(path, "wb"), std::fclose);
    bool good = stream && std::fprintf(stream.get(), "%d,%d\n", field.GetNx(), field.GetNy()) > 0;
    for (std::size_t n = 0; good && n < field.N(); ++n)
    {
        if (n % 65536 == 0)
            CheckForSignal();
        const Complex value = field.GetDataPointer()[n];
        good = std::fprintf(stream.get(), "%.9g,%.9g\n", value.GetReal(), value.GetImag()) > 0;
    }
    if (!good || std::fflush(stream.get()) != 0)
        throw Failure(std::string(path) + ": cannot be written: " + std::strerror(errno));
}

bool IsWhole(const Lumora& field)
{
    const LML_RECT w = const_cast<Lumora&>(field).Window();
    return w.left == 0 && w.bottom == 0 && w.right == field.GetNx() && w.top == field.GetNy();
}

void SaveAs(const Lumora& field, Format format, const OutputOptions& options, const char* name)
{
    const Quantity quantity = kQuantities.at(options.quantity);
    const Shown range = RangeOf(field, quantity.mode, options.range);
    switch (format)
    {
    case Format::Lm:
        return options.segments ? SaveSegments(field, name, options.segments->x, options.segments->y)
                                : field.SaveAsLm(name);
    case Format::Lw:
        return field.SaveAsLw(name, nullptr);
    case Format::De:
        return field.SaveAsDE(name);
    case Format::Npy:
        return field.WinSaveNpy(name);
    case Format::Csv:
        return WriteCsv(field, name);
    case Format::Bmp:
        return field.WinSaveAsBMPEx(name, quantity.mode, range.low, range.high, GradationGrey, 0);
    case Format::Hbi:
        return field.WinSaveAsHBI(name, quantity.mode, range.low, range.high, nullptr);
    case Format::Raw:
        return field.WinSaveAsRAW(name, quantity.mode, range.low, range.high);
    default:
        break;
    }
}

/// Grey, a pixel a sample, so that the picture can be read back; lml view makes pictures to look at.
void SavePng(const Lumora& field, const OutputOptions& options)
{
    PictureStyle style;
    const Quantity quantity = kQuantities.at(options.quantity);
    const Shown range = RangeOf(field, quantity.mode, options.range);
    style.quantity = quantity.picture;
    style.colours = COLOURS_GREY;
    style.low = range.low;
    style.high = range.high;
    style.window = true;
    style.maxSize = 32768;
    style.minSize = 0;
    style.proportional = false;
    PictureImage image = RenderPicture(field, style);
    image.perMetreX = 1.0 / field.GetPx();
    image.perMetreY = 1.0 / field.GetPy();
    LumoraLib::SavePng(options.path, image);
}
} // namespace

void OutputOptions::AddTo(CLI::App& app, const char* name, bool required)
{
    app.add_option(name, path, "File to write, its kind by the extension: lm lw de npy csv bmp hbi raw png")
        ->required(required)
        ->type_name(required ? "" : "FILE");
    AddPictureTo(app);
}

void OutputOptions::AddPictureTo(CLI::App& app)
{
    const std::string group = "Writing";
    std::vector<std::string> names;
    for (const auto& item : kQuantities)
        names.push_back(item.first);
    app.add_option("--quantity", quantity, "What a picture holds")
        ->check(CLI::IsMember(names))
        ->capture_default_str()
        ->type_name("QUANTITY")
        ->group(group);
    AddPair(app, "--range", range, Kind::Number, "Values of black and white (default: 0 to the largest)")->group(group);
    AddWhole2(app, "--segments", segments, "Write a segmented LM file of so many segments", {1, 16383})->group(group);
}

void SaveBeside(const std::string& path, const std::function<void(const char*)>& save, LargeRanks* ranks)
{
    CheckForSignal();
    const bool first = ranks == nullptr || ranks->GetRank() == 0;
    std::optional<WholeFile> file;
    std::string beside;
    LargeTogether(ranks,
                  [&]
                  {
                      if (first)
                          beside = file.emplace(path.c_str()).Path();
                  });
    if (ranks != nullptr)
    {
        beside.resize(4096);
        ranks->Broadcast(beside.data(), beside.size(), 0);
        beside = beside.c_str();
    }
    try
    {
        save(beside.c_str());
    }
    catch (const LumoraException& failure)
    {
        std::string text = DescribeError(failure);
        for (std::size_t at = text.find(beside); at != std::string::npos; at = text.find(beside))
            text.replace(at, beside.size(), path);
        CheckForSignal();
        throw Failure(text);
    }
    CheckForSignal();
    LargeTogether(ranks,
                  [&]
                  {
                      if (first)
                          file->Commit();
                  });
}

void SaveOutput(const Lumora& field, const OutputOptions& options, Facts& facts)
{
    const Format format = FormatOfName(options.path);
    if (options.segments && format != Format::Lm)
        throw Misuse("--segments is for LM files: name the output .lm");
    if (options.range && !(options.range->x < options.range->y))
        throw Misuse("--range: the first value must be below the second");
    // Formats of whole grids take the part that the sizes of the source had only where it is all of it.
    const bool windowed = format == Format::Npy || format == Format::Bmp || format == Format::Hbi ||
                          format == Format::Raw || format == Format::Picture;
    if (format == Format::Picture)
    {
        CheckForSignal();
        SavePng(field, options);
    }
    else
        SaveBeside(options.path, [&](const char* name) { SaveAs(field, format, options, name); });
    facts.Add("written", "written", options.path);
    if (!windowed && !IsWhole(field))
        facts.Note("the grid was raised to " + std::to_string(field.GetNx()) + " by " + std::to_string(field.GetNy()) +
                   " samples, powers of two, with zeros around");
    if (format == Format::Lw)
        facts.Note("LW keeps pitch and wavelength in single precision, and no position");
    else if (format == Format::De)
        facts.Note("DE keeps the pitch in single precision, and neither wavelength nor position");
    else if (format == Format::Npy || format == Format::Csv)
        facts.Note("the file keeps samples alone: pitch and wavelength must be given when it is read");
    else if (format != Format::Lm)
        facts.Note("a picture keeps the " + options.quantity + " alone, in 256 steps");
}
} // namespace command
