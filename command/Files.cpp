// Fields from files and into files, by what stands in them and by the names that they are to have.
#include "Files.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>

namespace command
{
using namespace LumoraLib;

namespace
{
using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

Stream Open(const std::string& path)
{
    Stream stream(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!stream)
        throw Failure(path + ": " + std::strerror(errno));
    if (std::filesystem::is_directory(path))
        throw Failure(path + ": is a folder");
    return stream;
}

std::string Extension(const std::string& path)
{
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return extension;
}

const std::map<std::string, Format> kExtensions = {
    {".lm", Format::Lm},       {".lw", Format::Lw},   {".de", Format::De},   {".ca", Format::De},
    {".npy", Format::Npy},     {".csv", Format::Csv}, {".bmp", Format::Bmp}, {".hbi", Format::Hbi},
    {".png", Format::Picture}, {".raw", Format::Raw},
};

const std::map<std::string, PictureValue> kPictureValues = {
    {"intensity", PICTURE_VALUE_INTENSITY}, {"amplitude", PICTURE_VALUE_AMPLITUDE}, {"phase", PICTURE_VALUE_PHASE}};

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

/// Resolutions below are those of displays and printers and say nothing about a field.
constexpr double kLeastPerMetre = 1000.0 / 25.4e-3;

void PlaceInto(Input& input, const PictureImage& image, const InputOptions& options)
{
    const auto raised = [](std::int32_t size)
    {
        return static_cast<int>(std::bit_ceil(static_cast<unsigned>(size)));
    };
    const bool scaled = image.perMetreX >= kLeastPerMetre && image.perMetreY >= kLeastPerMetre;
    input.knowsPitch = scaled;
    input.knowsWavelength = false;
    const double px = scaled ? 1.0 / image.perMetreX : Lumora::GetDefaultPx();
    const double py = scaled ? 1.0 / image.perMetreY : Lumora::GetDefaultPy();
    input.field = Lumora(raised(image.width), raised(image.height), px, py);
    input.field.Clear();
    PictureLoadOptions how;
    how.width = px * image.width;
    how.height = py * image.height;
    how.keepAspect = false;
    how.value = kPictureValues.at(options.value);
    PlacePicture(input.field, image, how);
}

PictureImage ReadRaw(const InputOptions& options)
{
    if (!options.rawSize)
        throw Misuse(options.path + " has no head: say its size, such as --raw-size 1920x1080");
    PictureImage image;
    image.width = options.rawSize->x;
    image.height = options.rawSize->y;
    image.channels = 1;
    const std::size_t pixels = static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height);
    if (std::filesystem::file_size(options.path) < pixels)
        throw Failure(options.path + ": " + std::to_string(image.width) + " by " + std::to_string(image.height) +
                      " pixels are more than the file's " + std::to_string(std::filesystem::file_size(options.path)) +
                      " bytes; correct --raw-size");
    std::vector<unsigned char> bytes(pixels);
    const Stream stream = Open(options.path);
    if (std::fread(bytes.data(), 1, pixels, stream.get()) != pixels)
        throw Failure(options.path + ": cannot be read to its end");
    image.samples.assign(bytes.begin(), bytes.end());
    return image;
}

void LoadContainer(Input& input, const InputOptions& options)
{
    const LmHead head = ReadLmHead(options.path);
    if (head.kind == LmKind::Parts)
    {
        if (!options.part)
            throw Misuse(options.path + " has " + std::to_string(head.parts) +
                         " parts: choose one by --part, counted from 0");
        input.field = LoadPart(options.path, *options.part);
    }
    else if (head.kind == LmKind::Segments)
        input.field = options.segment ? LoadSegment(options.path, head, options.segment->x, options.segment->y)
                                      : LoadWhole(options.path, head);
    else
        input.field.LoadLm(options.path.c_str());
}

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

const char* NameOf(Format format)
{
    constexpr std::array kNames = {"LM container", "LW field",    "DE field",   "NPY array", "list of samples (CSV)",
                                   "BMP picture",  "HBI picture", "RAW pixels", "picture",   "unknown"};
    return kNames[static_cast<std::size_t>(format)];
}

Format FormatOfFile(const std::string& path)
{
    const Stream stream = Open(path);
    std::array<char, 6> first{};
    const std::size_t got = std::fread(first.data(), 1, first.size(), stream.get());
    const std::string_view head(first.data(), got);
    const auto named = kExtensions.find(Extension(path));
    const Format byName = named == kExtensions.end() ? Format::Unknown : named->second;
    if (byName == Format::Raw || byName == Format::Csv)
        return byName;
    constexpr std::pair<std::string_view, Format> kLetters[] = {
        {"LM", Format::Lm},      {"LW", Format::Lw},      {"DE20", Format::De},         {"\x93NUMPY", Format::Npy},
        {"BM", Format::Bmp},     {"HB", Format::Hbi},     {"\x89PNG", Format::Picture}, {"\xff\xd8", Format::Picture},
        {"P1", Format::Picture}, {"P2", Format::Picture}, {"P3", Format::Picture},      {"P4", Format::Picture},
        {"P5", Format::Picture}, {"P6", Format::Picture}};
    for (const auto& [letters, format] : kLetters)
        if (head.substr(0, letters.size()) == letters)
            return format;
    if (got == 0)
        throw Failure(path + ": the file is empty");
    throw Failure(path + ": is no file of a known kind (LM, LW, DE, NPY, CSV, BMP, HBI, RAW, PNG, JPEG, portable map)");
}

void InputOptions::AddTo(CLI::App& app, const char* name, const char* help)
{
    app.add_option(name, path, help)->required()->type_name("");
    AddReadingTo(app);
}

void InputOptions::AddReadingTo(CLI::App& app)
{
    const std::string group = "Reading";
    AddQuantity(app, "--wavelength", wavelength, Kind::Length, "Wavelength, in place of what the file says",
                kWavelength)
        ->group(group);
    AddPair(app, "--pitch", pitch, Kind::Length, "Pitch of the samples, in place of what the file says", kPitch)
        ->group(group);
    app.add_option("--as", value, "What the grey values of a picture are")
        ->check(CLI::IsMember({"intensity", "amplitude", "phase"}))
        ->capture_default_str()
        ->type_name("QUANTITY")
        ->group(group);
    AddWhole2(app, "--raw-size", rawSize, "Width and height of RAW pixels", {1, 65536})->group(group);
    AddWhole2(app, "--segment", segment, "One segment of a segmented LM file, column,row from 0", {0, 65535})
        ->type_name("I,J")
        ->group(group);
    app.add_option("--part", part, "One part of a multi-part LM file, from 0")
        ->check(CLI::Range(0, 16382))
        ->type_name("N")
        ->group(group);
}

void Input::RequireScale(bool wavelength) const
{
    std::string missing;
    if (!knowsPitch)
        missing += " --pitch 8um";
    if (wavelength && !knowsWavelength)
        missing += " --wavelength 532nm";
    if (!missing.empty())
        throw Misuse(path + " does not say its scale: give, for instance," + missing);
}

Input LoadInput(const InputOptions& options)
{
    Input input;
    input.path = options.path;
    input.format = FormatOfFile(options.path);
    const char* const path = options.path.c_str();
    switch (input.format)
    {
    case Format::Lm:
        LoadContainer(input, options);
        break;
    case Format::Lw:
        input.field.LoadLw(path, nullptr);
        break;
    case Format::De:
        input.field.LoadDE(path);
        input.knowsWavelength = false;
        break;
    case Format::Npy:
        input.field.LoadNpy(path);
        input.knowsPitch = input.knowsWavelength = false;
        break;
    case Format::Csv:
        // A list that ends early leaves what was there: once for the sizes, and once onto zeros.
        input.field.LoadCSV(path);
        input.field.Clear().LoadCSV(path).SetWindowMax();
        input.knowsPitch = input.knowsWavelength = false;
        break;
    case Format::Hbi:
        input.field.LoadHBI(path, options.value == "phase"       ? ModePhase
                                  : options.value == "amplitude" ? ModeAmplitude
                                                                 : ModeIntensity);
        input.knowsWavelength = false;
        break;
    case Format::Raw:
        PlaceInto(input, ReadRaw(options), options);
        break;
    default:
        PlaceInto(input, ReadPicture(options.path), options);
    }
    if (options.wavelength)
        input.field.SetWavelength(*options.wavelength);
    if (options.pitch)
        input.field.SetPx(options.pitch->x).SetPy(options.pitch->y);
    input.knowsWavelength = input.knowsWavelength || options.wavelength;
    input.knowsPitch = input.knowsPitch || options.pitch;
    CheckForSignal();
    return input;
}

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

Format FormatOfName(const std::string& path)
{
    const auto found = kExtensions.find(Extension(path));
    if (found == kExtensions.end())
        throw Misuse(path + ": the extension must be one of lm, lw, de, npy, csv, bmp, hbi, raw or png");
    return found->second;
}

void SaveBeside(const std::string& path, const std::function<void(const char*)>& save)
{
    CheckForSignal();
    WholeFile file(path.c_str());
    const std::string beside = file.Path();
    try
    {
        save(file.Path());
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
    file.Commit();
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

void AddParameters(Facts& facts, const Lumora& field, bool knowsPitch, bool knowsWavelength)
{
    const bool spectrum = field.IsSpectrum();
    const Kind kind = spectrum ? Kind::Frequency : Kind::Length;
    const double px = field.GetPx();
    const double py = field.GetPy();
    facts.Add("domain", "domain", std::string(spectrum ? "spectrum" : "field"));
    facts.Add("samples", "samples", {static_cast<double>(field.GetNx()), static_cast<double>(field.GetNy())},
              Kind::Integer);
    if (!knowsPitch)
        facts.Add("pitch", "pitch", std::string("not said by the file"));
    else
    {
        facts.Add("pitch", "pitch", {px, py}, kind);
        facts.Add("extent", "extent", {px * field.GetNx(), py * field.GetNy()}, kind);
    }
    if (!knowsWavelength)
        facts.Add("wavelength", "wavelength", std::string("not said by the file"));
    else
        facts.Add("wavelength", "wavelength", field.GetWavelength(), Kind::Length);
    const Vector origin = field.GetOrigin();
    const Vector normal = field.GetNormalVector();
    facts.Add("origin", "origin", {origin.x, origin.y, origin.z}, Kind::Length, ", ");
    facts.Add("normal", "normal", {normal.x, normal.y, normal.z}, Kind::Number, ", ");
    if (knowsPitch && knowsWavelength && !spectrum)
    {
        const auto angle = [&](double pitch)
        {
            return std::asin(std::min(1.0, field.GetWavelength() / (2.0 * std::fabs(pitch))));
        };
        facts.Add("largest_angle", "largest angle", {angle(px), angle(py)}, Kind::Angle);
    }
}
} // namespace command
