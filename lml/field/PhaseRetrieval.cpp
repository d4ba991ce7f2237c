// Iterative phase retrieval: fields of given amplitudes in two planes, by going to and fro between them.
//
// Sums run row by row and are joined in row order, so that the factors in the samples, and with them the samples, are
// the same for every thread count.
#include "base/Parallel.h"
#include "base/Progress.h"
#include "base/Reduce.h"
#include "field/FieldTools.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>

namespace LumoraLib
{
namespace
{
using Floats = std::unique_ptr<float[], detail::FreeMemory>;
constexpr char kLabel[] = "phase retrieval";
constexpr char fnRetrieve[] = "LumoraLib::Lumora::RetrievePhase";

/// Sums of several quantities over the grid, each row on its own thread's account: row(j, sums) adds its samples.
template <std::size_t Count, class Row>
std::array<double, Count> SumRows(const Lumora& field, const Row& row)
{
    const std::size_t rows = static_cast<std::size_t>(field.N() == 0 ? 0 : field.GetNy());
    const auto sums = detail::MallocArray<std::array<double, Count>>(rows, kLabel);
    detail::ParallelFlat(rows,
                         [&](std::size_t j)
                         {
                             std::array<double, Count> sum{};
                             row(j, sum);
                             sums[j] = sum;
                         });
    std::array<double, Count> total{};
    for (std::size_t j = 0; j < rows; ++j)
        for (std::size_t n = 0; n < Count; ++n)
            total[n] += sums[j][n];
    return total;
}

double Square(const Complex& c)
{
    const double re = c.GetReal();
    const double im = c.GetImag();
    return re * re + im * im;
}

/// Sum of the squared amplitudes of cartesian samples.
double Energy(const Lumora& field)
{
    const Complex* const samples = field.GetDataPointer();
    const std::size_t nx = static_cast<std::size_t>(field.GetNx());
    return SumRows<1>(field,
                      [=](std::size_t j, std::array<double, 1>& sum)
                      {
                          for (std::size_t n = j * nx; n < (j + 1) * nx; ++n)
                              sum[0] += Square(samples[n]);
                      })[0];
}

/// Amplitudes of a field of any form, sample by sample.
Floats Amplitudes(const Lumora& field)
{
    auto amplitude = detail::MallocArray<float>(field.N(), kLabel);
    const Complex* const samples = field.GetDataPointer();
    const bool polar = field.IsPolarForm();
    detail::ParallelFlat(
        field.N(), [&](std::size_t n)
        { amplitude[n] = polar ? std::fabs(samples[n].Real()) : static_cast<float>(std::sqrt(Square(samples[n]))); });
    return amplitude;
}

/// Sample n := amplitude(n) in the direction of from[n]; a sample of 0 has the phase 0.
template <class Amplitude>
void Impose(Complex* to, const Complex* from, std::size_t count, const Amplitude& amplitude)
{
    detail::ParallelFlat(count,
                         [&](std::size_t n)
                         {
                             const double length = std::sqrt(Square(from[n]));
                             const double a = amplitude(n);
                             to[n] = length > 0.0
                                         ? Complex(from[n].GetReal() * (a / length), from[n].GetImag() * (a / length))
                                         : Complex(a, 0.0);
                         });
}

double RootOfRatio(double a, double b)
{
    return b > 0.0 ? std::sqrt(a / b) : 0.0;
}

void RequireSize(const Lumora& a, const Lumora& b, const char* function)
{
    if (a.GetNx() != b.GetNx() || a.GetNy() != b.GetNy())
        Error(ERR_PARAMETER, function, "sizes differ");
}
} // namespace

Lumora& Lumora::ReplaceAmplitude(const Lumora& source)
{
    static constexpr char fn[] = "LumoraLib::Lumora::ReplaceAmplitude";
    RequireSize(*this, source, fn);
    RequireSamples(fn);
    source.RequireSamples(fn);
    const Floats amplitude = Amplitudes(source); // taken first: the source may be this field
    const bool wasPolar = detail::MakeCartesian(*this);
    const std::size_t nx = static_cast<std::size_t>(nx_);
    const double wanted = SumRows<1>(*this,
                                     [&](std::size_t j, std::array<double, 1>& sum)
                                     {
                                         for (std::size_t n = j * nx; n < (j + 1) * nx; ++n)
                                             sum[0] += double{amplitude[n]} * double{amplitude[n]};
                                     })[0];
    const double factor = RootOfRatio(Energy(*this), wanted);
    Impose(dataPointer_, dataPointer_, N(), [&](std::size_t n) { return factor * double{amplitude[n]}; });
    detail::RestorePolar(*this, wasPolar);
    return *this;
}

Lumora& Lumora::RetrievePhase(const Lumora& target, const PhaseRetrieval& how)
{
    if (how.iterations < 0 || !(how.feedback >= 0.0 && how.feedback <= 1.0) || !std::isfinite(how.distance))
        Error(ERR_PARAMETER, fnRetrieve, "iterations, feedback or distance out of range");
    if ((how.forward == nullptr) != (how.back == nullptr))
        Error(ERR_PARAMETER, fnRetrieve, "forward and back must be given together");
    RequireSize(*this, target, fnRetrieve);
    RequireSamples(fnRetrieve);
    target.RequireSamples(fnRetrieve);

    const auto forward = [&how](Lumora& field)
    {
        if (how.forward)
            how.forward(field);
        else if (how.distance != 0.0)
            field.AsmProp(how.distance);
        else
            field.Fft(-1);
    };
    const auto back = [&how](Lumora& field)
    {
        if (how.back)
            how.back(field);
        else if (how.distance != 0.0)
            field.AsmProp(-how.distance);
        else
            field.Fft(1);
    };

    const std::size_t count = N();
    const std::size_t nx = static_cast<std::size_t>(nx_);
    const Floats own = Amplitudes(*this);
    const Floats wanted = Amplitudes(target);
    const Floats weight = detail::MallocArray<float>(how.weighted ? count : 0, kLabel);
    std::fill_n(weight.get(), how.weighted ? count : 0, 1.0f);
    Lumora work(*this);
    const bool wasPolar = detail::MakeCartesian(*this);
    const auto keepPhase = [&](const Lumora& from)
    {
        Impose(dataPointer_, from.GetDataPointer(), count, [&](std::size_t n) { return double{own[n]}; });
    };
    detail::Progress progress(fnRetrieve, how.iterations, 1);
    // The field stays sound whatever ends the loop: its own amplitudes with the phases of the last whole iteration.
    try
    {
        for (int iteration = 0; iteration < how.iterations; ++iteration)
        {
            progress.Step(iteration);
            work.CopyParam(*this);
            detail::CopySamples(work.GetDataPointer(), count, dataPointer_, count);
            forward(work);
            RequireSize(*this, work, fnRetrieve);
            detail::MakeCartesian(work);
            Complex* const samples = work.GetDataPointer();

            // Energies in the plane, in its lit samples, of the wanted amplitudes, and the products of both amplitudes.
            const auto [energy, lit, asked, product] =
                SumRows<4>(work,
                           [&](std::size_t j, std::array<double, 4>& sum)
                           {
                               for (std::size_t n = j * nx; n < (j + 1) * nx; ++n)
                               {
                                   const double square = Square(samples[n]);
                                   const double t = double{wanted[n]};
                                   sum[0] += square;
                                   sum[1] += t > 0.0 ? square : 0.0;
                                   sum[2] += t * t;
                                   sum[3] += std::sqrt(square) * t;
                               }
                           });
            // |G| - g T over the plane with the energies matched, and over the lit samples with their own.
            const auto distance = [asked = asked, product = product](double sum)
            {
                const double g = RootOfRatio(sum, asked);
                return RootOfRatio(std::max(0.0, sum - 2.0 * g * product + g * g * asked), sum);
            };
            const PhaseRetrievalStep step{iteration, distance(energy), distance(lit),
                                          energy > 0.0 ? lit / energy : 0.0};
            if (how.each && !how.each(step))
                break;

            if (how.weighted)
            {
                // Samples that are too dark get more: the mean of the lit ones is the measure.
                const double g = RootOfRatio(lit, asked);
                detail::ParallelFlat(count,
                                     [&](std::size_t n)
                                     {
                                         const double amplitude = std::sqrt(Square(samples[n]));
                                         if (!(wanted[n] > 0.0f) || !(amplitude > 0.0))
                                             return;
                                         const double ratio = std::min(g * double{wanted[n]} / amplitude, 10.0);
                                         const double w = double{weight[n]} * (1.0 + how.feedback * (ratio - 1.0));
                                         weight[n] = static_cast<float>(std::clamp(w, 1e-6, 1e6));
                                     });
            }
            const double shown = how.weighted
                                     ? SumRows<1>(work,
                                                  [&](std::size_t j, std::array<double, 1>& sum)
                                                  {
                                                      for (std::size_t n = j * nx; n < (j + 1) * nx; ++n)
                                                      {
                                                          const double t = double{wanted[n]} * double{weight[n]};
                                                          sum[0] += t * t;
                                                      }
                                                  })[0]
                                     : asked;
            const double factor = RootOfRatio(energy, shown);
            Impose(samples, samples, count,
                   [&](std::size_t n)
                   { return factor * double{wanted[n]} * (how.weighted ? double{weight[n]} : 1.0); });
            back(work);
            RequireSize(*this, work, fnRetrieve);
            detail::MakeCartesian(work);
            keepPhase(work);
        }
    }
    catch (...)
    {
        detail::RestorePolar(*this, wasPolar);
        throw;
    }
    detail::RestorePolar(*this, wasPolar);
    return *this;
}
} // namespace LumoraLib
