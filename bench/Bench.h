// What the benchmarks share: names that the report pairs, random fields, FFTW plans made once, checks before anything
// is timed.
//
// A benchmark is called OPERATION/WHO/SIZE/THREADS; WHO is "ours" or the rival's name, and the report divides the
// medians.
#ifndef LML_BENCH_H
#define LML_BENCH_H

#include "LmlLumora.h"
#include "base/Isa.h"

#include <benchmark/benchmark.h>
#include <fftw3.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace lmlbench
{
using namespace LumoraLib;

inline void Fill(Lumora& field, unsigned seed = 1)
{
    unsigned s = seed;
    for (std::size_t n = 0; n < field.N(); ++n)
    {
        s = s * 1664525u + 1013904223u;
        const float re = static_cast<float>(static_cast<int>(s)) * 4.656612873e-10f;
        s = s * 1664525u + 1013904223u;
        const float im = static_cast<float>(static_cast<int>(s)) * 4.656612873e-10f;
        field[n] = Complex(re, im);
    }
}

inline double RelativeL2(const Lumora& a, const Lumora& b)
{
    double num = 0.0;
    double den = 0.0;
    for (std::size_t n = 0; n < a.N(); ++n)
    {
        const double dr = a.GetDataPointer()[n].GetReal() - b.GetDataPointer()[n].GetReal();
        const double di = a.GetDataPointer()[n].GetImag() - b.GetDataPointer()[n].GetImag();
        num += dr * dr + di * di;
        den += b.GetDataPointer()[n].Intensity();
    }
    return std::sqrt(num / den);
}

/// Ends the program when a result is not what it must be: no figure is printed for wrong results.
inline void Verify(const char* what, double error, double bound)
{
    if (error <= bound)
        return;
    std::fprintf(stderr, "%s: the results differ by %g, more than %g\n", what, error, bound);
    std::exit(2);
}

inline fftwf_complex* Fftw(Lumora& field)
{
    return reinterpret_cast<fftwf_complex*>(field.GetDataPointer());
}

/// The benchmark that is being timed, or null.
inline benchmark::State* timedState = nullptr;

/// A buffer for repeated unscaled transforms: made at first use, refilled with tiny numbers before they can overflow,
/// from a copy. Large refills are not timed; small ones are, since stopping the clock would cost more than they do.
class Rounds
{
public:
    Rounds(int nx, int ny) : nx_(nx), ny_(ny) {}
    Lumora& Next()
    {
        if (!field_)
        {
            field_ = std::make_unique<Lumora>(nx_, ny_);
            std::vector<Complex>& start = Start();
            if (start.empty())
            {
                Fill(*field_);
                *field_ *= 1e-25;
                start.assign(field_->GetDataPointer(), field_->GetDataPointer() + field_->N());
            }
            std::copy(start.begin(), start.end(), field_->GetDataPointer());
        }
        else if (const float level = field_->GetDataPointer()[1].Real(); !(std::fabs(level) < 1e22f))
        {
            const std::vector<Complex>& start = Start();
            const bool pause = timedState && start.size() > 1 << 15;
            if (pause)
                timedState->PauseTiming();
            std::copy(start.begin(), start.end(), field_->GetDataPointer());
            if (pause)
                timedState->ResumeTiming();
        }
        return *field_;
    }

private:
    /// One for all benchmarks of a shape.
    std::vector<Complex>& Start() const
    {
        static std::map<std::pair<int, int>, std::vector<Complex>> starts;
        return starts[{nx_, ny_}];
    }

    int nx_;
    int ny_;
    std::unique_ptr<Lumora> field_;
};

/// In-place FFTW plan, MEASURE, made once for each shape, sign and thread count on a buffer of its own. Planning is not
/// counted.
inline fftwf_plan PlanOf(int nx, int ny, int sign, int threads)
{
    static std::map<std::tuple<int, int, int, int>, fftwf_plan> plans;
    fftwf_plan& plan = plans[{nx, ny, sign, threads}];
    if (!plan)
    {
        Lumora field(nx, ny);
        field.Clear();
        fftwf_plan_with_nthreads(threads);
        const int direction = sign < 0 ? FFTW_FORWARD : FFTW_BACKWARD;
        plan = ny == 1 ? fftwf_plan_dft_1d(nx, Fftw(field), Fftw(field), direction, FFTW_MEASURE)
                       : fftwf_plan_dft_2d(ny, nx, Fftw(field), Fftw(field), direction, FFTW_MEASURE);
    }
    return plan;
}

inline void FftwTransform(Lumora& field, int sign, int threads)
{
    fftwf_execute_dft(PlanOf(field.GetNx(), field.GetNy(), sign, threads), Fftw(field), Fftw(field));
}

/// Registers one side of a comparison. `samples` per run for the items counter.
inline void Add(const std::string& operation, const std::string& who, int size, int threads, double samples,
                std::function<void()> run, int iterations = 0)
{
    const std::string name = operation + "/" + who + "/" + std::to_string(size) + "/" + std::to_string(threads);
    auto* const b = benchmark::RegisterBenchmark(name.c_str(),
                                                 [run, samples, threads, warm = false](benchmark::State& state) mutable
                                                 {
                                                     SetNumThreads(threads);
                                                     if (!warm)
                                                         run(); // tables, plans, pages
                                                     warm = true;
                                                     timedState = &state;
                                                     for (auto _ : state)
                                                         run();
                                                     timedState = nullptr;
                                                     state.counters["samples"] = samples;
                                                     SetNumThreads(1);
                                                 });
    b->UseRealTime()->Unit(benchmark::kMillisecond);
    if (iterations > 0)
        b->Iterations(iterations);
}

void AddTransforms(bool quick);
void AddPropagation(bool quick);
void AddFields(bool quick);
void AddPoints(bool quick);
void AddFiles(bool quick);
} // namespace lmlbench

#endif
