// Fields from files: what a file is, how it is read, and what it says.
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

Format FormatOfName(const std::string& path)
{
    const auto found = kExtensions.find(Extension(path));
    if (found == kExtensions.end())
        throw Misuse(path + ": the extension must be one of lm, lw, de, npy, csv, bmp, hbi, raw or png");
    return found->second;
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
