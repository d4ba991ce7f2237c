// Going the way of an advice: its steps by the members, in the frame of the source's plane.
#include "advice/AdviceText.h"
#include "advice/Ways.h"
#include "base/Constants.h"
#include "base/Mistakes.h"
#include "base/Parallel.h"
#include "base/WithMemory.h"
#include "field/FieldTools.h"
#include "simd/SinCos.h"
#include "transform/CentredFft.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>
#include <vector>

namespace LumoraLib
{
namespace
{
constexpr char fnFollow[] = "LumoraLib::FollowAdvice";

void ReportNoMemory()
{
    Error(ERR_MEMORY, "LumoraLib::Malloc", "advice");
}

/// magnitude * exp(2 pi i turns)
ComplexDouble Polar(double magnitude, double turns)
{
    double sine = 0.0;
    double cosine = 0.0;
    detail::SinCos1(detail::kTwoPi * std::fmod(turns, 1.0), sine, cosine);
    return ComplexDouble(magnitude * cosine, magnitude * sine);
}

/// sample(i, j) *= magnitude * exp(2 pi i (byX(i) + byY(j))), a factor a column and a factor a row, in double and
/// rounded once.
template <class ByX, class ByY>
void MultiplyPolar(Lumora& field, double magnitude, const ByX& byX, const ByY& byY)
{
    std::vector<ComplexDouble> columns;
    columns.reserve(static_cast<std::size_t>(field.GetNx()));
    for (std::int32_t i = 0; i < field.GetNx(); ++i)
        columns.push_back(Polar(magnitude, byX(i)));
    detail::ParallelRows(0, field.GetNy(),
                         [&](std::int32_t j)
                         {
                             const ComplexDouble row = Polar(1.0, byY(j));
                             for (std::int32_t i = 0; i < field.GetNx(); ++i)
                             {
                                 Complex& a = field.Pixel(i, j);
                                 const ComplexDouble b = columns[static_cast<std::size_t>(i)] * row;
                                 a = Complex(a.GetReal() * b.GetReal() - a.GetImag() * b.GetImag(),
                                             a.GetReal() * b.GetImag() + a.GetImag() * b.GetReal());
                             }
                         });
}

void Scale(Lumora& field, double magnitude, double turns)
{
    MultiplyPolar(
        field, magnitude, [turns](std::int32_t) { return turns; }, [](std::int32_t) { return 0.0; });
}

/// A cleared field of a step's grid and the wavenumber of `field`, in the plane of the coordinates.
Lumora GridOf(const Lumora& field, std::int32_t nx, std::int32_t ny, double px, double py)
{
    Lumora grid(nx, ny, px, py);
    grid.SetWavenumber(field.GetWavenumber());
    grid.SetOrigin(Vector(0.0, 0.0, 0.0)).SetNormalVector(Vector(0.0, 0.0, 1.0));
    grid.Form() = COMPLEX_AMPLITUDE;
    return grid.Clear();
}

/// The field in the middle of an nx by ny grid of its pitches, or the middle of the field.
void Fit(Lumora& field, std::int32_t nx, std::int32_t ny)
{
    if (nx == field.GetNx() && ny == field.GetNy())
        return;
    Lumora fitted = GridOf(field, nx, ny, field.GetPx(), field.GetPy());
    fitted.Form() = field.IsSpectrum() ? SPECTRUM : COMPLEX_AMPLITUDE;
    const std::int32_t columns = std::min(nx, field.GetNx());
    const std::int32_t rows = std::min(ny, field.GetNy());
    for (std::int32_t j = 0; j < rows; ++j)
    {
        const Complex* const from = &field.Pixel(field.GetNx() / 2 - columns / 2, field.GetNy() / 2 - rows / 2 + j);
        std::copy_n(from, columns, &fitted.Pixel(nx / 2 - columns / 2, ny / 2 - rows / 2 + j));
    }
    field = std::move(fitted);
}

/// The periodic field of the samples' spectrum, read at another pitch and beside: to the spectrum, a shift there, and a
/// transform of free pitch back.
void Resample(Lumora& field, const AdviceStep& step)
{
    if (field.GetPx() == step.px && field.GetPy() == step.py && step.shiftX == 0.0 && step.shiftY == 0.0)
        return Fit(field, step.nx, step.ny);
    const double stretchX = step.px / field.GetPx() / field.GetNx();
    const double stretchY = step.py / field.GetPy() / field.GetNy();
    const double scale = 1.0 / static_cast<double>(field.N());
    const bool oneRow = field.GetNy() == 1;
    field.Fft(-1);
    if (step.shiftX == 0.0 && step.shiftY == 0.0)
        detail::ScaleSamples(field.GetDataPointer(), field.N(), static_cast<float>(scale));
    else
        MultiplyPolar(
            field, scale, [&](std::int32_t i) { return field.X(i) * step.shiftX; },
            [&](std::int32_t j) { return oneRow ? 0.0 : field.Y(j) * step.shiftY; });
    // Conjugated, so that the transform's kernel exp(-) becomes the way back.
    field.ConvToConjugate();
    Fit(field, std::max(field.GetNx(), step.nx), std::max(field.GetNy(), step.ny));
    if (oneRow)
        field.ScaledFft1d(-stretchX * field.GetNx());
    else
        field.ScaledFft(-stretchX * field.GetNx(), -stretchY * field.GetNy());
    field.ConvToConjugate();
    Fit(field, step.nx, step.ny);
    field.Form() = COMPLEX_AMPLITUDE;
    field.SetPx(step.px).SetPy(step.py);
}

/// Rotate() by its parts, with the scale of a field (its own is of equal energies) and the carrier put back.
void Turn(Lumora& field, const AdviceStep& step, const double (&turn)[3][3])
{
    RMatrix rotation;
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            rotation.SetElement(c, r, turn[r][c]);
    const double area = field.GetPx() * field.GetPy() / (step.px * step.py);
    Lumora there = GridOf(field, step.nx, step.ny, step.px, step.py);
    field.Fft(-1);
    there.FakeFft();
    SFrequency carrier;
    there.RotateFs(field, rotation, &carrier, CUBIC8_INTERPOL, true);
    // What the energies were matched with: the brightest sample against its own lookup.
    std::size_t brightest = 0;
    for (std::size_t n = 0; n < there.N(); ++n)
        if (there[n].Intensity() > there[brightest].Intensity())
            brightest = n;
    const double matched = there[brightest].Amplitude();
    if (!(matched > 0.0)) // no light at all, or none that is a number
    {
        there.Clear();
        there.Form() = COMPLEX_AMPLITUDE;
        there.SetPx(step.px).SetPy(step.py);
        field = std::move(there);
        return;
    }
    const std::int32_t i = static_cast<std::int32_t>(brightest % static_cast<std::size_t>(there.GetNx()));
    const std::int32_t j = static_cast<std::int32_t>(brightest / static_cast<std::size_t>(there.GetNx()));
    const double u = there.X(i) + carrier.u;
    const double v = there.Y(j) + carrier.v;
    const double k = 1.0 / field.GetWavelength();
    const double w = std::sqrt(k * k - u * u - v * v);
    const Complex value = field.Cubic8Interpol(turn[0][0] * u + turn[1][0] * v + turn[2][0] * w,
                                               turn[0][1] * u + turn[1][1] * v + turn[2][1] * w);
    // The frequency element changes by the ratio of the frequencies along the two normals.
    const double jacobian = std::abs((turn[0][2] * u + turn[1][2] * v + turn[2][2] * w) / w);
    const double scale = area * value.Amplitude() * jacobian / matched / static_cast<double>(there.N());
    there.Fft(1);
    there.SetPx(step.px).SetPy(step.py);
    MultiplyPolar(
        there, scale, [&](std::int32_t n) { return carrier.u * there.X(n); },
        [&](std::int32_t n) { return carrier.v * there.Y(n); });
    field = std::move(there);
}

void GoShifted(Lumora& field, const AdviceStep& step)
{
    Lumora there = GridOf(field, step.nx, step.ny, step.px, step.py);
    there.SetOrigin(Vector(step.shiftX, step.shiftY, step.distance));
    field.SetOrigin(Vector(0.0, 0.0, 0.0));
    if (step.member == ADVISE_SHIFTED_ASM_PROP)
        there.ShiftedAsmProp(field, step.doublings);
    else if (field.GetNy() == 1)
    {
        const std::int32_t n = std::max(field.GetNx(), step.nx);
        Fit(field, n, 1);
        Fit(there, n, 1);
        there.SetOrigin(Vector(step.shiftX, step.shiftY, step.distance));
        there.ShiftedFresnelProp1d(field);
        Scale(there, 1.0, 0.125); // -i in front where the root of 1 / (i lambda z) belongs
        Fit(there, step.nx, 1);
    }
    else if (field.GetNx() == step.nx && field.GetNy() == step.ny)
        there.ShiftedFresnelProp(field);
    else
        there.ShiftedFresnelPropEx(field);
    field = std::move(there);
}

/// What the bare sum of a Fresnel transform lacks of the diffraction integral.
void GoFar(Lumora& field, const AdviceStep& step)
{
    const bool oneRow = field.GetNy() == 1;
    const double far = field.GetWavelength() * step.distance;
    const double magnitude =
        oneRow ? field.GetPx() / std::sqrt(std::abs(far)) : field.GetPx() * field.GetPy() / std::abs(far);
    if (step.member == ADVISE_FRESNEL_PROP)
        field.FresnelProp(step.distance);
    else
        field.FourierProp(step.distance);
    Scale(field, magnitude, (oneRow ? -0.125 : -0.25) * (far > 0.0 ? 1.0 : -1.0));
}

void Go(Lumora& field, const AdviceStep& step, const detail::PlanePair& pair)
{
    switch (step.member)
    {
    case ADVISE_RAW_ASM_PROP:
        field.RawAsmProp(step.distance);
        break;
    case ADVISE_ASM_PROP:
        field.AsmProp(step.distance);
        break;
    case ADVISE_EXACT_ASM_PROP:
        field.ExactAsmProp(step.distance);
        break;
    case ADVISE_SHIFTED_ASM_PROP:
    case ADVISE_SHIFTED_FRESNEL_PROP:
        GoShifted(field, step);
        break;
    case ADVISE_FRESNEL_PROP:
    case ADVISE_FOURIER_PROP:
        GoFar(field, step);
        break;
    case ADVISE_ROTATE:
        Turn(field, step, pair.turn);
        break;
    case ADVISE_EMBED:
        field.Embed(step.doublings);
        break;
    case ADVISE_EXTRACT:
        field.Extract(step.doublings);
        break;
    case ADVISE_RESAMPLE:
        Resample(field, step);
        break;
    case ADVISE_CONJUGATE:
        field.ConvToConjugate();
        break;
    default:
        break;
    }
}
} // namespace

void FollowAdvice(Lumora& destination, const Lumora& source, const AdviceMember& way)
{
    if (source.IsSpectrum())
        Error(ERR_SPECTRUM_OR_AMPLITUDE, fnFollow, "the source is a spectrum");
    if (destination.IsSpectrum())
        Error(ERR_PARAMETER, fnFollow, "the destination is a spectrum");
    if (!(destination.GetWavelength() == source.GetWavelength()))
        Error(ERR_PARAMETER, fnFollow, "the destination wavelength is different from the source");
    detail::FieldAccess::RequireSamples(source, fnFollow);
    detail::FieldAccess::RequireSamples(destination, fnFollow);
    if (way.steps.empty())
        Error(ERR_PARAMETER, fnFollow, "the way has no steps");
    const AdviceStep& last = way.steps.back();
    if (last.nx != destination.GetNx() || last.ny != destination.GetNy())
        Error(ERR_PARAMETER, fnFollow, "the way leads to another grid");
    const detail::PlanePair pair =
        detail::MakePair(source, {destination.GetNx(), destination.GetNy(), destination.GetPx(), destination.GetPy(),
                                  destination.GetOrigin(), destination.GetNormalVector()});
    const detail::MistakeScope inside;
    Lumora field(source);
    detail::MakeCartesian(field);
    field.SetOrigin(Vector(0.0, 0.0, 0.0)).SetNormalVector(Vector(0.0, 0.0, 1.0));
    field.SetWindowMax();
    detail::WithMemory(
        [&]
        {
            for (const AdviceStep& step : way.steps)
                Go(field, step, pair);
        },
        ReportNoMemory);
    detail::CopySamples(destination.GetDataPointer(), destination.N(), field.GetDataPointer(), field.N());
    detail::FieldAccess::SetPolar(destination, false);
}

namespace
{
AdviceResult Propagate(Lumora& destination, const Lumora& source, const AdviceOptions& options)
{
    AdviceResult result;
    result.advice = Advise(source, destination, options);
    result.way = result.advice.taken;
    const std::vector<AdviceMember>& ways = result.advice.ways;
    for (std::size_t n = 0; options.bestEffort && result.advice.taken < 0 && n < ways.size(); ++n)
        if (ways[n].error >= 0.0 &&
            (result.way < 0 || ways[n].error < ways[static_cast<std::size_t>(result.way)].error))
            result.way = static_cast<std::int32_t>(n);
    if (result.way < 0)
        Error(ERR_PARAMETER, "LumoraLib::PropagateTo", "no way is within the tolerance: see Advise for what to change");
    for (const AdviceStep& step : result.Way().steps)
        result.done.push_back(step.text); // nothing may fail once the destination has its samples
    const auto start = std::chrono::steady_clock::now();
    FollowAdvice(destination, source, result.Way());
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return result;
}
} // namespace

AdviceResult PropagateTo(Lumora& destination, const Lumora& source, const AdviceOptions& options)
{
    return detail::WithMemory([&] { return Propagate(destination, source, options); }, ReportNoMemory);
}
} // namespace LumoraLib
