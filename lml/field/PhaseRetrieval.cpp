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

/// Sums over the grid, row by row; the memory for them is taken before samples change.
class RowSums
{
public:
    explicit RowSums(const Lumora& field)
        : rows_(static_cast<std::size_t>(field.N() == 0 ? 0 : field.GetNy())),
          sums_(detail::MallocArray<std::array<double, 4>>(rows_, kLabel))
    {
    }
    /// row(j, sums) adds the samples of a row to up to four sums.
    template <class Row>
    std::array<double, 4> operator()(const Row& row) const
    {
        detail::ParallelFlat(rows_,
                             [&](std::size_t j)
                             {
                                 std::array<double, 4> sum{};
                                 row(j, sum);
                                 sums_[j] = sum;
                             });
        std::array<double, 4> total{};
        for (std::size_t j = 0; j < rows_; ++j)
            for (std::size_t n = 0; n < total.size(); ++n)
                total[n] += sums_[j][n];
        return total;
    }

private:
    std::size_t rows_;
    std::unique_ptr<std::array<double, 4>[], detail::FreeMemory> sums_;
};

double Square(const Complex& c)
{
    const double re = c.GetReal();
    const double im = c.GetImag();
    return re * re + im * im;
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

/// The iterations of RetrievePhase(). All memory of their own is taken before the field changes.
class Retrieval
{
public:
    Retrieval(Lumora& field, const Lumora& target, const PhaseRetrieval& how)
        : field_(field), how_(how), count_(field.N()), nx_(static_cast<std::size_t>(field.GetNx())),
          own_(Amplitudes(field)), wanted_(Amplitudes(target)),
          weight_(detail::MallocArray<float>(how.weighted ? count_ : 0, kLabel)), sums_(field), work_(field)
    {
        std::fill_n(weight_.get(), how.weighted ? count_ : 0, 1.0f);
    }
    /// To the other plane and back; false when the caller has seen enough.
    bool Iterate(int iteration);

private:
    /// Energies in the plane, in its lit samples, of the wanted amplitudes, and the products of both amplitudes.
    struct Found
    {
        double energy, lit, asked, product;
    };
    void Forward();
    void Back();
    Found Measure() const;
    static PhaseRetrievalStep StepOf(int iteration, const Found& found);
    void Reweigh(const Found& found);
    double Wanted(std::size_t n) const { return double{wanted_[n]} * (how_.weighted ? double{weight_[n]} : 1.0); }

    Lumora& field_;
    const PhaseRetrieval& how_;
    const std::size_t count_;
    const std::size_t nx_;
    const Floats own_;
    const Floats wanted_;
    const Floats weight_;
    const RowSums sums_;
    Lumora work_;
};

void Retrieval::Forward()
{
    work_.CopyParam(field_);
    detail::CopySamples(work_.GetDataPointer(), count_, field_.GetDataPointer(), count_);
    if (how_.forward)
        how_.forward(work_);
    else if (how_.distance != 0.0)
        work_.AsmProp(how_.distance);
    else
        work_.Fft(-1);
    RequireSize(field_, work_, fnRetrieve);
    detail::MakeCartesian(work_);
}

void Retrieval::Back()
{
    if (how_.back)
        how_.back(work_);
    else if (how_.distance != 0.0)
        work_.AsmProp(-how_.distance);
    else
        work_.Fft(1);
    RequireSize(field_, work_, fnRetrieve);
    detail::MakeCartesian(work_);
}

Retrieval::Found Retrieval::Measure() const
{
    const Complex* const samples = work_.GetDataPointer();
    const auto [energy, lit, asked, product] = sums_(
        [&](std::size_t j, std::array<double, 4>& sum)
        {
            for (std::size_t n = j * nx_; n < (j + 1) * nx_; ++n)
            {
                const double square = Square(samples[n]);
                const double t = double{wanted_[n]};
                sum[0] += square;
                sum[1] += t > 0.0 ? square : 0.0;
                sum[2] += t * t;
                sum[3] += std::sqrt(square) * t;
            }
        });
    return {energy, lit, asked, product};
}

// |G| - g T over the plane with the energies matched, and over the lit samples with their own.
PhaseRetrievalStep Retrieval::StepOf(int iteration, const Found& found)
{
    const auto distance = [&found](double sum)
    {
        const double g = RootOfRatio(sum, found.asked);
        return RootOfRatio(std::max(0.0, sum - 2.0 * g * found.product + g * g * found.asked), sum);
    };
    return {iteration, distance(found.energy), distance(found.lit),
            found.energy > 0.0 ? found.lit / found.energy : 0.0};
}

// Samples that are too dark get more: the mean of the lit ones is the measure.
void Retrieval::Reweigh(const Found& found)
{
    const Complex* const samples = work_.GetDataPointer();
    const double g = RootOfRatio(found.lit, found.asked);
    detail::ParallelFlat(count_,
                         [&](std::size_t n)
                         {
                             const double amplitude = std::sqrt(Square(samples[n]));
                             if (!(wanted_[n] > 0.0f) || !(amplitude > 0.0))
                                 return;
                             const double ratio = std::min(g * double{wanted_[n]} / amplitude, 10.0);
                             const double w = double{weight_[n]} * (1.0 + how_.feedback * (ratio - 1.0));
                             weight_[n] = static_cast<float>(std::clamp(w, 1e-6, 1e6));
                         });
}

bool Retrieval::Iterate(int iteration)
{
    Forward();
    const Found found = Measure();
    if (how_.each && !how_.each(StepOf(iteration, found)))
        return false;
    double shown = found.asked;
    if (how_.weighted)
    {
        Reweigh(found);
        shown = sums_(
            [&](std::size_t j, std::array<double, 4>& sum)
            {
                for (std::size_t n = j * nx_; n < (j + 1) * nx_; ++n)
                    sum[0] += Wanted(n) * Wanted(n);
            })[0];
    }
    const double factor = RootOfRatio(found.energy, shown);
    Complex* const samples = work_.GetDataPointer();
    Impose(samples, samples, count_, [&](std::size_t n) { return factor * Wanted(n); });
    Back();
    Impose(field_.GetDataPointer(), work_.GetDataPointer(), count_, [&](std::size_t n) { return double{own_[n]}; });
    return true;
}
} // namespace

Lumora& Lumora::ReplaceAmplitude(const Lumora& source)
{
    static constexpr char fn[] = "LumoraLib::Lumora::ReplaceAmplitude";
    RequireSize(*this, source, fn);
    RequireSamples(fn);
    source.RequireSamples(fn);
    const Floats amplitude = Amplitudes(source); // taken first: the source may be this field
    const RowSums sums(*this);
    const detail::CartesianSamples cartesian(*this);
    const std::size_t nx = static_cast<std::size_t>(nx_);
    const std::array<double, 4> energies = sums(
        [&](std::size_t j, std::array<double, 4>& sum)
        {
            for (std::size_t n = j * nx; n < (j + 1) * nx; ++n)
            {
                sum[0] += Square(dataPointer_[n]);
                sum[1] += double{amplitude[n]} * double{amplitude[n]};
            }
        });
    const double factor = RootOfRatio(energies[0], energies[1]);
    Impose(dataPointer_, dataPointer_, N(), [&](std::size_t n) { return factor * double{amplitude[n]}; });
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

    Retrieval retrieval(*this, target, how);
    const bool wasPolar = detail::MakeCartesian(*this);
    detail::Progress progress(fnRetrieve, how.iterations, 1);
    // The field stays sound whatever ends the loop: its own amplitudes with the phases of the last whole iteration.
    try
    {
        bool more = true;
        for (int iteration = 0; more && iteration < how.iterations; ++iteration)
        {
            progress.Step(iteration);
            more = retrieval.Iterate(iteration);
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
