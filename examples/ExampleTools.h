// What the examples share: command lines that are checked, slides from pictures and the look of their pictures,
// progress lines with the time left, and time in seconds.
//
// A wrong command line ends as every failure of the library does: one clear message through Error, exit code 1.
#ifndef LML_EXAMPLETOOLS_H
#define LML_EXAMPLETOOLS_H

#include <LmlPictures.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <variant>
#include <vector>

#include <sys/resource.h>

namespace example
{
/// Most memory that the process has used so far, in MiB.
inline double PeakMiB()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

/// Options of the form --name value. Add() binds each to a variable that holds its default.
class Options
{
public:
    Options(const char* program, const char* purpose) : program_(program), purpose_(purpose) {}

    void Add(const char* name, double& value, const char* meaning) { items_.push_back({name, &value, meaning}); }
    void Add(const char* name, int& value, const char* meaning) { items_.push_back({name, &value, meaning}); }
    void Add(const char* name, std::string& value, const char* meaning) { items_.push_back({name, &value, meaning}); }
    /// A value without a name, such as a file to read.
    void AddPositional(const char* name, std::string& value, const char* meaning)
    {
        positional_ = {name, &value, meaning};
        hasPositional_ = true;
    }
    /// The picture that LoadSlide() reads.
    void AddPicture(std::string& picture)
    {
        AddPositional("PICTURE", picture, "PNG, JPEG, BMP or portable map (default: a resolution target)");
    }
    /// What nearly every example takes, last in its help.
    void AddCommon(int& threads, std::string& out, const char* folder = "folder for the pictures")
    {
        Add("--threads", threads, "threads of the library");
        AddOut(out, folder);
    }
    /// The folder for what the program writes; Read() makes it where it is missing.
    void AddOut(std::string& out, const char* folder)
    {
        Add("--out", out, folder);
        out_ = &out;
    }

    /// False when the program has nothing more to do (--help); wrong words end the program through Error.
    bool Read(int argc, char** argv)
    {
        for (int n = 1; n < argc; ++n)
        {
            const std::string word = argv[n];
            if (word == "--help" || word == "-h")
            {
                Help();
                return false;
            }
            if (word.rfind("--", 0) != 0)
            {
                if (!hasPositional_)
                    Refuse("unexpected word: " + word);
                *std::get<std::string*>(positional_.target) = word;
                continue;
            }
            Item* const item = Find(word);
            if (!item)
                Refuse("unknown option: " + word);
            if (n + 1 >= argc)
                Refuse("a value is missing behind " + word);
            Store(*item, argv[++n]);
        }
        // Now rather than behind a long computation.
        std::error_code failure;
        if (out_ != nullptr && !std::filesystem::is_directory(*out_, failure) &&
            !std::filesystem::create_directories(*out_, failure))
            Refuse("--out is no folder and cannot be made one: " + *out_);
        return true;
    }
    int ExitCode() const { return 0; }

    /// Ends the program with one clear message when a condition on the options does not hold.
    void Require(bool condition, const std::string& message) const
    {
        if (!condition)
            Refuse(message);
    }
    void RequireMetres(const char* name, double value) const
    {
        Require(std::isfinite(value), std::string(name) + " must be a number of metres");
    }
    void RequireAboveZero(const char* name, double value) const
    {
        Require(std::isfinite(value) && value > 0.0, std::string(name) + " must be above 0");
    }
    /// A pitch whose waves have a largest angle, asin(wavelength / (2 pitch)).
    void RequirePitch(double pitch, double wavelength) const
    {
        Require(std::isfinite(pitch) && pitch > wavelength / 2.0, "--pitch must be above half the wavelength");
    }

private:
    struct Item
    {
        const char* name = nullptr;
        std::variant<double*, int*, std::string*> target;
        const char* meaning = nullptr;
    };

    Item* Find(const std::string& name)
    {
        for (Item& item : items_)
            if (name == item.name)
                return &item;
        return nullptr;
    }

    void Store(const Item& item, const char* text)
    {
        char* end = nullptr;
        if (double* const* const real = std::get_if<double*>(&item.target))
            **real = std::strtod(text, &end);
        else if (int* const* const whole = std::get_if<int*>(&item.target))
        {
            const long value = std::strtol(text, &end, 10);
            if (value < -2147483647L || value > 2147483647L)
                Refuse(std::string("out of range: ") + item.name + " " + text);
            **whole = static_cast<int>(value);
        }
        else
        {
            *std::get<std::string*>(item.target) = text;
            return;
        }
        if (end == text || *end != '\0')
            Refuse(std::string("not a number: ") + item.name + " " + text);
    }

    [[noreturn]] void Refuse(const std::string& message) const
    {
        LumoraLib::Error(LumoraLib::ERR_PARAMETER, program_, message.c_str());
    }

    void Help() const
    {
        std::printf("%s: %s\n\n", program_, purpose_);
        if (hasPositional_)
            std::printf("  %-14s %s\n", positional_.name, positional_.meaning);
        for (const Item& item : items_)
        {
            std::printf("  %-14s %s (default ", item.name, item.meaning);
            if (const double* const* const real = std::get_if<double*>(&item.target))
                std::printf("%g)\n", **real);
            else if (const int* const* const whole = std::get_if<int*>(&item.target))
                std::printf("%d)\n", **whole);
            else
                std::printf("%s)\n", std::get<std::string*>(item.target)->c_str());
        }
        std::printf("  %-14s %s\n", "--help", "this text");
    }

    const char* program_;
    const char* purpose_;
    std::vector<Item> items_;
    Item positional_;
    bool hasPositional_ = false;
    std::string* out_ = nullptr;
};

/// How a picture is read: grey values as amplitudes, a sample for each pixel.
inline LumoraLib::PictureLoadOptions SlideOptions(double pitch, double wavelength, double room = 1.0)
{
    LumoraLib::PictureLoadOptions options;
    options.value = LumoraLib::PICTURE_VALUE_AMPLITUDE;
    options.pitch = pitch;
    options.wavelength = wavelength;
    options.room = room;
    return options;
}

/// The picture in the middle of the field, at most `width` by `height` metres, its sharp edges smoothed to details of
/// `finest` metres.
inline void PlaceSlide(LumoraLib::Lumora& field, const std::string& picture, double width, double height, double finest)
{
    LumoraLib::PictureLoadOptions options = SlideOptions(0.0, 0.0);
    options.width = width;
    options.height = height;
    LumoraLib::LoadPicture(field, picture, options);
    field.Fft(-1);
    const double scale = 1.0 / static_cast<double>(field.N());
    for (int j = 0; j < field.GetNy(); ++j)
        for (int i = 0; i < field.GetNx(); ++i)
        {
            const double f = std::hypot(field.X(i), field.Y(j)) * finest;
            field.SetPixel(i, j, field.GetPixel(i, j) * (std::exp(-2.0 * f * f) * scale));
        }
    field.Fft(1);
    field.SetWindowMax();
}

/// The look of pictures that stand side by side: some 500 pixels, a bar that tells the size.
inline LumoraLib::PictureStyle Look(LumoraLib::PictureQuantity quantity = LumoraLib::PICTURE_AMPLITUDE,
                                    LumoraLib::PictureColours colours = LumoraLib::COLOURS_AUTOMATIC)
{
    LumoraLib::PictureStyle style;
    style.quantity = quantity;
    style.colours = colours;
    style.maxSize = 640;
    style.minSize = 512;
    style.scaleBar = true;
    style.textSize = 1.7;
    return style;
}

/// The look of a picture that stands alone: axes, the colours with their values, a title.
inline LumoraLib::PictureStyle LookAlone(const std::string& title,
                                         LumoraLib::PictureQuantity quantity = LumoraLib::PICTURE_AMPLITUDE,
                                         LumoraLib::PictureColours colours = LumoraLib::COLOURS_AUTOMATIC)
{
    LumoraLib::PictureStyle style = Look(quantity, colours);
    style.title = title;
    style.axes = true;
    style.colourBar = true;
    style.scaleBar = false;
    style.textSize = 1.2;
    return style;
}

/// Wall-clock seconds since construction.
class Seconds
{
public:
    Seconds() : start_(std::chrono::steady_clock::now()) {}
    double Read() const { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count(); }

private:
    std::chrono::steady_clock::time_point start_;
};

/// A progress line through the library's log: how much is done and how long the rest will take at this pace.
class Progress
{
public:
    Progress(const char* what, long total) : what_(what), total_(total) {}
    /// `done` of the total; prints at most every `interval` seconds and at the end.
    void Report(long done, double interval = 1.0)
    {
        const double now = clock_.Read();
        if (done < total_ && now - last_ < interval)
            return;
        last_ = now;
        const double left = done > 0 ? now / static_cast<double>(done) * static_cast<double>(total_ - done) : 0.0;
        LumoraLib::PrintL("%s: %ld of %ld, %.1f s left\n", what_, done, total_, left);
    }

private:
    const char* what_;
    long total_;
    double last_ = -1e9;
    Seconds clock_;
};
} // namespace example

#endif
