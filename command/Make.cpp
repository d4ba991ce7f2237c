// lml make: fields of simple shapes and waves.
#include "Grid.h"
#include "Output.h"
#include "Subcommands.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <functional>
#include <memory>

namespace command
{
using namespace LumoraLib;

namespace
{
constexpr double kPi = 3.14159265358979323846;

struct Options
{
    GridOptions grid;
    OutputOptions output;
    double amplitude = 1.0;
    bool randomPhase = false;
    unsigned seed = 1;
    // Of the shapes; each uses some.
    double width = 0.0;
    std::optional<double> height;
    double order = 2.0;
    std::optional<Pair> at;
    std::optional<Pair> angle;
    double distance = 0.1;
    double period = 100e-6;
    double turn = 0.0;
    double depth = kPi;
    std::string profile = "sine";
    double focal = 0.1;
    std::string picture;
    std::string value = "intensity";
    bool negative = false;
};

using Sample = std::function<std::complex<double>(double x, double y)>;

/// Every sample := the function of its place, counted from `at`.
void Fill(Lumora& field, const Options& options, const Sample& sample)
{
    const Pair at = options.at.value_or(Pair{0.0, 0.0});
    for (std::int32_t j = 0; j < field.GetNy(); ++j)
    {
        CheckForSignal();
        for (std::int32_t i = 0; i < field.GetNx(); ++i)
        {
            const std::complex<double> value = sample(field.X(i) - at.x, field.Y(j) - at.y);
            field.SetPixel(i, j, Complex(value.real(), value.imag()));
        }
    }
}

/// A remark when waves at the largest angle of the shape turn too fast for the pitch.
void CheckSampling(const Lumora& field, double sine, Facts& facts)
{
    const double pitch = std::max(std::fabs(field.GetPx()), std::fabs(field.GetPy()));
    const double most = field.GetWavelength() / (2.0 * pitch);
    if (std::fabs(sine) > most)
        facts.Note("the wave turns faster than the pitch can carry: angles up to " +
                   Show(std::asin(std::min(1.0, std::fabs(sine))), Kind::Angle) + " need a pitch of at most " +
                   Show(field.GetWavelength() / (2.0 * std::fabs(sine)), Kind::Length));
}

/// The largest distance of a sample of the grid from `at`.
double Reach(const Lumora& field, const Options& options)
{
    const Pair at = options.at.value_or(Pair{0.0, 0.0});
    return std::hypot(std::fabs(at.x) - field.GetMinX(), std::fabs(at.y) - field.GetMinY());
}

void MakeRectangle(Lumora& field, const Options& options, Facts&)
{
    const double wx = options.width / 2.0;
    const double wy = options.height.value_or(options.width) / 2.0;
    if (!options.at)
    {
        field.SetRect(2.0 * wx, 2.0 * wy, 1.0);
        return;
    }
    Fill(field, options, [=](double x, double y) { return x >= -wx && x < wx && y >= -wy && y < wy ? 1.0 : 0.0; });
}

void MakeCircle(Lumora& field, const Options& options, Facts&)
{
    const double radius = options.width / 2.0;
    Fill(field, options, [=](double x, double y) { return std::hypot(x, y) <= radius ? 1.0 : 0.0; });
}

void MakeGaussian(Lumora& field, const Options& options, Facts&)
{
    Fill(field, options,
         [&](double x, double y) { return std::exp(-std::pow(std::hypot(x, y) / options.width, options.order)); });
}

void MakePlane(Lumora& field, const Options& options, Facts& facts)
{
    const Pair angle = options.angle.value_or(Pair{0.0, 0.0});
    const double cosX = std::sin(angle.x);
    const double cosY = std::sin(angle.y);
    if (cosX * cosX + cosY * cosY > 1.0)
        throw Misuse("--angle: no wave has these two angles at once; their squared sines must add up to 1 at most");
    field.SetPlaneWave(cosX, cosY, Phase(0.0));
    CheckSampling(field, std::max(std::fabs(cosX), std::fabs(cosY)), facts);
}

void MakeSpherical(Lumora& field, const Options& options, Facts& facts)
{
    const double z = options.distance;
    if (z == 0.0)
        throw Misuse("--distance must not be 0: above 0 the wave diverges, below it converges");
    const double k = std::copysign(field.GetWavenumber(), z);
    Fill(field, options,
         [=](double x, double y)
         {
             const double side = x * x + y * y;
             const double r = std::sqrt(side + z * z);
             // r - |z| without the cancellation of two long ways.
             return std::polar(std::fabs(z) / r, k * side / (r + std::fabs(z)));
         });
    const double reach = Reach(field, options);
    CheckSampling(field, reach / std::hypot(reach, z), facts);
}

void MakeGrating(Lumora& field, const Options& options, Facts& facts)
{
    const double u = std::cos(options.turn) / options.period;
    const double v = std::sin(options.turn) / options.period;
    const std::string& profile = options.profile;
    Fill(field, options,
         [&](double x, double y) -> std::complex<double>
         {
             const double turns = u * x + v * y;
             const double place = turns - std::floor(turns);
             if (profile == "sine")
                 return 0.5 + 0.5 * std::cos(2.0 * kPi * turns);
             if (profile == "binary")
                 return place < 0.5 ? 1.0 : 0.0;
             if (profile == "phase")
                 return std::polar(1.0, options.depth * 0.5 * std::cos(2.0 * kPi * turns));
             if (profile == "binary-phase")
                 return std::polar(1.0, place < 0.5 ? options.depth : 0.0);
             return std::polar(1.0, 2.0 * kPi * place); // blazed
         });
    const double least = 2.0 * std::max(std::fabs(u) * field.GetPx(), std::fabs(v) * field.GetPy()) * options.period;
    if (options.period < least)
        facts.Note("the period is below two samples: take at least " + Show(least, Kind::Length));
}

void MakeZonePlate(Lumora& field, const Options& options, Facts& facts)
{
    const double f = options.focal;
    if (f == 0.0)
        throw Misuse("--focal must not be 0");
    const double radius = options.width / 2.0;
    const double k = std::copysign(field.GetWavenumber(), f);
    const std::string& profile = options.profile;
    Fill(field, options,
         [&, k, radius, f](double x, double y) -> std::complex<double>
         {
             const double side = x * x + y * y;
             if (side > radius * radius)
                 return 0.0;
             const double phase = -k * side / (std::sqrt(side + f * f) + std::fabs(f));
             if (profile == "lens")
                 return std::polar(1.0, phase);
             const double sign = std::cos(phase) >= 0.0 ? 1.0 : -1.0;
             return profile == "binary-phase" ? sign : 0.5 + 0.5 * sign;
         });
    CheckSampling(field, radius / std::hypot(radius, f), facts);
}

void MakePicture(Lumora& field, const Options& options, Facts&)
{
    PictureLoadOptions how;
    how.width = options.width;
    how.height = options.height.value_or(0.0);
    how.value = options.value == "phase"       ? PICTURE_VALUE_PHASE
                : options.value == "amplitude" ? PICTURE_VALUE_AMPLITUDE
                                               : PICTURE_VALUE_INTENSITY;
    how.negative = options.negative;
    if (options.width > field.GetWidth() || how.height > field.GetHeight())
        throw Misuse("the picture is wider than the grid's " + Show(field.GetWidth(), Kind::Length) + " by " +
                     Show(field.GetHeight(), Kind::Length) + ": lessen --width or enlarge --size or --pitch");
    LoadPicture(field, options.picture, how);
}

using Maker = void (*)(Lumora&, const Options&, Facts&);

/// A bare "--diameter 1" is a metre.
void CheckExtent(const Lumora& field, const Options& options, Facts& facts)
{
    const double wide = std::max(options.width, options.height.value_or(0.0));
    if (wide > std::max(field.GetWidth(), field.GetHeight()))
        facts.Note("the shape, " + Show(wide, Kind::Length) + " wide, reaches beyond the grid of " +
                   Show(field.GetWidth(), Kind::Length) + " by " + Show(field.GetHeight(), Kind::Length));
}

int Make(const Options& options, Maker maker, Facts& facts)
{
    FormatOfName(options.output.path);
    Lumora field = options.grid.Make(facts);
    maker(field, options, facts);
    CheckExtent(field, options, facts);
    field.SetWindowMax();
    if (options.amplitude != 1.0)
        field *= options.amplitude;
    if (options.randomPhase)
    {
        std::srand(options.seed); // which ModRandomPhase() draws from: equal seeds give equal fields
        field.ModRandomPhase();
    }
    SaveOutput(field, options.output, facts);
    AddParameters(facts, field);
    return kDone;
}

std::shared_ptr<Options> AddShape(CLI::App& make, Invocation& invocation, const char* name, const char* purpose,
                                  Maker maker, const std::function<void(CLI::App&, Options&)>& own)
{
    CLI::App& sub = *make.add_subcommand(name, purpose);
    const auto options = std::make_shared<Options>();
    own(sub, *options);
    options->output.AddTo(sub);
    AddQuantity(sub, "--amplitude", options->amplitude, Kind::Number, "Factor on all amplitudes");
    sub.add_flag("--random-phase", options->randomPhase, "Random phases in place of its own: a surface that scatters");
    sub.add_option("--seed", options->seed, "Of the random phases")->capture_default_str()->type_name("N");
    options->grid.AddTo(sub);
    sub.footer("");
    invocation.OnCall(sub, [options, maker, &invocation] { return Make(*options, maker, invocation.facts); });
    return options;
}

void AddPlace(CLI::App& app, Options& options)
{
    AddPlacePair(app, "--at", options.at, Kind::Length, "Place of its centre");
}

void AddApertures(CLI::App& make, Invocation& invocation)
{
    AddShape(make, invocation, "rectangle", "A bright rectangle", MakeRectangle,
             [](CLI::App& sub, Options& options)
             {
                 options.width = 1e-3;
                 AddQuantity(sub, "--width", options.width, Kind::Length, "Width", kPositive);
                 AddQuantity(sub, "--height", options.height, Kind::Length, "Height (default: the width)", kPositive);
                 AddPlace(sub, options);
             });
    AddShape(make, invocation, "circle", "A bright disc", MakeCircle,
             [](CLI::App& sub, Options& options)
             {
                 options.width = 1e-3;
                 AddQuantity(sub, "--diameter", options.width, Kind::Length, "Diameter", kPositive);
                 AddPlace(sub, options);
             });
    AddShape(make, invocation, "gaussian", "A Gaussian beam at its waist", MakeGaussian,
             [](CLI::App& sub, Options& options)
             {
                 options.width = 1e-3;
                 AddQuantity(sub, "--radius", options.width, Kind::Length, "Radius at 1/e of the amplitude", kPositive);
                 AddQuantity(sub, "--order", options.order, Kind::Number, "Above 2 the top is flat", {0.1, 1000});
                 AddPlace(sub, options);
             });
}

void AddWaves(CLI::App& make, Invocation& invocation)
{
    AddShape(make, invocation, "plane", "A plane wave", MakePlane,
             [](CLI::App& sub, Options& options)
             {
                 AddPlacePair(sub, "--angle", options.angle, Kind::Angle, "Angles to the normal along x and y",
                              {-kPi / 2.0, kPi / 2.0});
             });
    AddShape(make, invocation, "spherical", "A spherical wave of amplitude 1 at its centre", MakeSpherical,
             [](CLI::App& sub, Options& options)
             {
                 AddQuantity(sub, "--distance", options.distance, Kind::Length,
                             "From its source; below 0 it converges to a point behind the plane");
                 AddPlace(sub, options);
             });
}
} // namespace

void AddMake(CLI::App& app, Invocation& invocation)
{
    CLI::App& make =
        *app.add_subcommand("make", "Make a field: rectangle, circle, gaussian, plane, spherical, grating, "
                                    "zoneplate, picture");
    make.require_subcommand(1);
    make.footer("Examples:\n  lml make circle pinhole.lm --diameter 0.5mm --size 1024 --pitch 4um\n  lml make picture "
                "photo.png "
                "object.lm --width 6mm --random-phase");
    AddApertures(make, invocation);
    AddWaves(make, invocation);
    AddShape(make, invocation, "grating", "A grating over the whole grid", MakeGrating,
             [](CLI::App& sub, Options& options)
             {
                 AddQuantity(sub, "--period", options.period, Kind::Length, "Period", kPositive);
                 AddQuantity(sub, "--turn", options.turn, Kind::Angle, "Direction of its vector from the x axis");
                 sub.add_option("--profile", options.profile, "Profile")
                     ->check(CLI::IsMember({"sine", "binary", "phase", "binary-phase", "blazed"}))
                     ->capture_default_str()
                     ->type_name("PROFILE");
                 AddQuantity(sub, "--depth", options.depth, Kind::Angle, "Depth of the phase profiles, peak to peak");
                 AddPlace(sub, options);
             });
    AddShape(make, invocation, "zoneplate", "A zone plate or thin lens", MakeZonePlate,
             [](CLI::App& sub, Options& options)
             {
                 options.profile = "binary";
                 AddQuantity(sub, "--focal", options.focal, Kind::Length, "Focal length; below 0 it diverges");
                 options.width = 1e-3;
                 AddQuantity(sub, "--diameter", options.width, Kind::Length, "Diameter", kPositive);
                 sub.add_option("--profile", options.profile, "Profile")
                     ->check(CLI::IsMember({"binary", "binary-phase", "lens"}))
                     ->capture_default_str()
                     ->type_name("PROFILE");
                 AddPlace(sub, options);
             });
    AddShape(make, invocation, "picture", "A picture (PNG, JPEG, BMP, portable map) in the middle of the grid",
             MakePicture,
             [](CLI::App& sub, Options& options)
             {
                 sub.add_option("PICTURE", options.picture, "Picture to read")->required()->type_name("");
                 options.width = 1e-3;
                 AddQuantity(sub, "--width", options.width, Kind::Length, "Width on the field", kPositive);
                 AddQuantity(sub, "--height", options.height, Kind::Length,
                             "With the width: the largest size that fits both", kPositive);
                 sub.add_option("--as", options.value, "What grey values are")
                     ->check(CLI::IsMember({"intensity", "amplitude", "phase"}))
                     ->capture_default_str()
                     ->type_name("QUANTITY");
                 sub.add_flag("--negative", options.negative, "Exchange black and white");
             });
}
} // namespace command
